#include "config.h"
#include "support/host.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>

using record = sVESK_HOSTSW_DAEMON_CONFIG_STRUCT;
using lines = std::vector<std::string>;
using namespace std::string_literals;

namespace
{

// A host on which the configuration file is read.
struct config_host : host {
    explicit config_host(std::int32_t level = VESK_LOG_INFO) { m_log_level = level; }
    record read(const std::string& text)
    {
        expect_config(text);
        return get();
    }
    record read_without_file()
    {
        expect("fopen /etc/haldohostswd.conf", -1, ENOENT);
        return get();
    }

private:
    static record get()
    {
        record cfg;
        std::memset(&cfg, 0xA5, sizeof(cfg));
        get_config(&cfg);
        return cfg;
    }
};

// A member that holds the text and is zero after it; text that fills it has no terminator.
template <std::size_t size> void set(char (&member)[size], const std::string& text)
{
    std::memset(member, 0, size);
    std::memcpy(member, text.data(), std::min(size, text.size()));
}

record default_record()
{
    record cfg{};
    cfg.DaemonEnable = 1;
    set(cfg.LogDirLocation, "/var/log/haldo");
    cfg.LogFileSize = 2;
    cfg.DaemonLogLevel = 3;
    cfg.DaemonStartDelay = 1;
    cfg.HostSWLogLevel = 3;
    set(cfg.HostSWPath, "/usr/bin");
    cfg.HostSWLoginStartDelay = 10;
    cfg.HostSWRestartDelay = 1;
    cfg.DaemonXAuthDelay = 5;
    cfg.DaemonRootHaldoAgent = 0;
    return cfg;
}

// What a file changes in the default configuration.
using change = void (*)(record&);
struct file_case {
    std::string text;
    change changes;
};

void expect_changes(const std::vector<file_case>& cases)
{
    for (const file_case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        config_host h(VESK_LOG_OFF);
        record expected = default_record();
        c.changes(expected);
        EXPECT_EQ(bytes_of(h.read(c.text)), bytes_of(expected));
    }
}

void nothing(record&) {}

void disabled(record& cfg)
{
    cfg.DaemonEnable = 0;
}

} // namespace

TEST(config_lookup_table, holds_the_defaults)
{
    struct {
        const char* name;
        int type;
        const char* string_value;
        int int_value;
    } const expected[] = {
        {"DaemonEnable", 1, "", 1},
        {"LogDirLocation", 0, "/var/log/haldo", 0},
        {"LogFileSize", 1, "", 2},
        {"DaemonLogLevel", 1, "", 3},
        {"DaemonStartDelay", 1, "", 1},
        {"HostSWLogLevel", 1, "", 3},
        {"HostSWOptions", 0, "", 0},
        {"HostSWPath", 0, "/usr/bin", 0},
        {"HostSWLoginStartDelay", 1, "", 10},
        {"HostSWRestartDelay", 1, "", 1},
        {"DaemonXAuthDelay", 1, "", 5},
        {"DaemonRootHaldoAgent", 1, "", 0},
    };
    host h;
    ASSERT_EQ(std::size(config_lookup_table), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_STREQ(config_lookup_table[i].name, expected[i].name);
        EXPECT_EQ(config_lookup_table[i].type, expected[i].type);
        EXPECT_STREQ(config_lookup_table[i].string_value, expected[i].string_value);
        EXPECT_EQ(config_lookup_table[i].int_value, expected[i].int_value);
    }
    EXPECT_EQ(sizeof(config_lookup_table[0].string_value), 500u);
}

TEST(get_config, gives_the_defaults_for_an_empty_file)
{
    expect_changes({{"", nothing}});
}

TEST(get_config, reads_each_key_into_its_own_member)
{
    expect_changes({
        {"DaemonEnable=0\n", disabled},
        {"LogDirLocation=/srv/log\n", [](record& cfg) { set(cfg.LogDirLocation, "/srv/log"); }},
        {"LogFileSize=21\n", [](record& cfg) { cfg.LogFileSize = 21; }},
        {"DaemonLogLevel=22\n", [](record& cfg) { cfg.DaemonLogLevel = 22; }},
        {"DaemonStartDelay=23\n", [](record& cfg) { cfg.DaemonStartDelay = 23; }},
        {"HostSWLogLevel=24\n", [](record& cfg) { cfg.HostSWLogLevel = 24; }},
        {"HostSWOptions=-v\n", [](record& cfg) { set(cfg.HostSWOptions, "-v"); }},
        {"HostSWPath=/opt\n", [](record& cfg) { set(cfg.HostSWPath, "/opt"); }},
        {"HostSWLoginStartDelay=25\n", [](record& cfg) { cfg.HostSWLoginStartDelay = 25; }},
        {"HostSWRestartDelay=26\n", [](record& cfg) { cfg.HostSWRestartDelay = 26; }},
        {"DaemonXAuthDelay=27\n", [](record& cfg) { cfg.DaemonXAuthDelay = 27; }},
        {"DaemonRootHaldoAgent=28\n", [](record& cfg) { cfg.DaemonRootHaldoAgent = 28; }},
    });
}

TEST(get_config, skips_lines_without_a_key)
{
    expect_changes({
        {"\n", nothing},
        {"   \n", nothing},
        {"===\n", nothing},
        {" = \n", nothing},
        {"#DaemonEnable=0\n", nothing},
        {"# DaemonEnable=0\n", nothing},
        {"\0DaemonEnable=0\n"s, nothing},
        {"\n  \n#\nDaemonEnable=0\n", disabled},
    });
}

TEST(get_config, ignores_a_key_that_is_not_spelled_exactly)
{
    expect_changes({
        {"daemonenable=0\n", nothing},
        {"DAEMONENABLE=0\n", nothing},
        {"DaemonEnabl=0\n", nothing},
        {"DaemonEnableX=0\n", nothing},
        {" #DaemonEnable=0\n", nothing},
        {"\tDaemonEnable=0\n", nothing},
        {"DaemonEnable\t=0\n", nothing},
        {"DaemonEnable\r\n", nothing},
        {"NoSuchKey=1\nDaemonEnable=0\n", disabled},
    });
}

TEST(get_config, splits_a_line_at_blanks_and_equals_signs)
{
    expect_changes({
        {"DaemonEnable=0", disabled},
        {"   DaemonEnable=0\n", disabled},
        {"=DaemonEnable=0\n", disabled},
        {"DaemonEnable 0\n", disabled},
        {"DaemonEnable = 0\n", disabled},
        {"DaemonEnable==0\n", disabled},
        {"DaemonEnable=0=1\n", disabled},
        {"HostSWPath = /opt\n", [](record& cfg) { set(cfg.HostSWPath, " /opt"); }},
        {"HostSWPath /opt\n", [](record& cfg) { set(cfg.HostSWPath, "/opt"); }},
        {"HostSWPath  /opt\n", [](record& cfg) { set(cfg.HostSWPath, " /opt"); }},
        {"HostSWOptions=-a -b\n", [](record& cfg) { set(cfg.HostSWOptions, "-a -b"); }},
        {"HostSWOptions=-a -b \n", [](record& cfg) { set(cfg.HostSWOptions, "-a -b "); }},
        {"HostSWOptions=\t-a\t\n", [](record& cfg) { set(cfg.HostSWOptions, "\t-a\t"); }},
        {"HostSWOptions=-a # -b\n", [](record& cfg) { set(cfg.HostSWOptions, "-a # -b"); }},
        {"LogDirLocation==/srv\n", [](record& cfg) { set(cfg.LogDirLocation, "/srv"); }},
        {"LogDirLocation=/srv=/tmp\n", [](record& cfg) { set(cfg.LogDirLocation, "/srv"); }},
    });
}

TEST(get_config, ends_a_value_at_an_equals_sign_or_newline_alone)
{
    std::string value;
    for (int c = 1; c <= 0xFF; ++c)
        value += c == '=' || c == '\n' ? "" : std::string(1, static_cast<char>(c));
    config_host h(VESK_LOG_OFF);
    record expected = default_record();
    set(expected.LogDirLocation, value);
    EXPECT_EQ(bytes_of(h.read("LogDirLocation=" + value + "=rest\n")), bytes_of(expected));
}

TEST(get_config, makes_a_text_without_a_value_empty)
{
    expect_changes({
        {"HostSWPath\n", [](record& cfg) { set(cfg.HostSWPath, ""); }},
        {"HostSWPath=\n", [](record& cfg) { set(cfg.HostSWPath, ""); }},
        {"HostSWPath==\n", [](record& cfg) { set(cfg.HostSWPath, ""); }},
        {"HostSWPath", [](record& cfg) { set(cfg.HostSWPath, ""); }},
        {"HostSWPath= \n", [](record& cfg) { set(cfg.HostSWPath, " "); }},
    });
}

TEST(get_config, keeps_a_number_without_a_value)
{
    expect_changes({
        {"LogFileSize\n", nothing},
        {"LogFileSize=\n", nothing},
        {"LogFileSize", nothing},
        {"LogFileSize=9\nLogFileSize=\n", [](record& cfg) { cfg.LogFileSize = 9; }},
        {"LogFileSize\0=7\nDaemonEnable=0\n"s, disabled},
    });
}

// What strtoll makes of the text in base 10, which is the choice of this daemon.
TEST(get_config, converts_what_is_a_number_and_ignores_the_rest)
{
    struct {
        const char* text;
        std::int32_t number;
    } const cases[] = {
        {"0", 0},
        {"7", 7},
        {"007", 7},
        {"+7", 7},
        {"-7", -7},
        {"   7", 7},
        {"7 8", 7},
        {"5MB", 5},
        {"5.9", 5},
        {"7\r", 7},
        {"abc", 0},
        {" ", 0},
        {"-", 0},
        {"0x10", 0},
        {"2147483647", INT_MAX},
        {"-2147483648", INT_MIN},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        config_host h;
        EXPECT_EQ(h.read("LogFileSize="s + c.text + "\n").LogFileSize, c.number);
    }
}

// The choice of this daemon: a number is taken as strtoll gives it, its nearest one where there are too many digits,
// and reduced to 32 bits.
TEST(get_config, reduces_what_strtoll_gives_to_32_bits)
{
    const std::pair<const char*, std::int32_t> cases[] = {
        {"2147483648", INT_MIN},
        {"4294967297", 1},
        {"99999999999999999999", -1},
        {"-99999999999999999999", 0},
    };
    for (const auto& [text, number] : cases) {
        SCOPED_TRACE(text);
        config_host h;
        EXPECT_EQ(h.read("LogFileSize="s + text + "\n").LogFileSize, number);
    }
}

TEST(get_config, keeps_the_carriage_return_of_a_text)
{
    expect_changes({
        {"HostSWPath=/opt\r\nDaemonEnable=0\r\n",
         [](record& cfg) {
             set(cfg.HostSWPath, "/opt\r");
             cfg.DaemonEnable = 0;
         }},
    });
}

TEST(get_config, takes_the_later_of_two_lines)
{
    expect_changes({
        {"DaemonEnable=5\nDaemonEnable=0\n", disabled},
        {"HostSWPath=/a/longer/path\nHostSWPath=/b\n", [](record& cfg) { set(cfg.HostSWPath, "/b"); }},
    });
}

TEST(get_config, keeps_the_last_value_of_a_key_that_disappears)
{
    config_host h;
    record expected = default_record();
    expected.DaemonEnable = 0;
    set(expected.HostSWPath, "/opt");
    EXPECT_EQ(bytes_of(h.read("DaemonEnable=0\nHostSWPath=/opt\n")), bytes_of(expected));
    EXPECT_EQ(bytes_of(h.read("")), bytes_of(expected));
    EXPECT_EQ(bytes_of(h.read_without_file()), bytes_of(expected));
    expected.DaemonEnable = 1;
    EXPECT_EQ(bytes_of(h.read("DaemonEnable=1\n")), bytes_of(expected));
}

TEST(get_config, leaves_no_byte_of_a_longer_text_behind)
{
    config_host h;
    h.read("LogDirLocation=" + std::string(450, 'x') + "\n");
    record expected = default_record();
    set(expected.LogDirLocation, "/a");
    EXPECT_EQ(bytes_of(h.read("LogDirLocation=/a\n")), bytes_of(expected));
    EXPECT_EQ(bytes_of(h.read("")), bytes_of(expected));
}

TEST(get_config, fills_a_member_with_text_of_its_size_and_cuts_longer_text)
{
    for (const std::size_t beyond : {0, 1, 2}) {
        config_host h;
        const std::string dir(399 + beyond, 'd');
        const std::string options(99 + beyond, 'o');
        const std::string path(399 + beyond, 'p');
        record expected = default_record();
        set(expected.LogDirLocation, dir);
        set(expected.HostSWOptions, options);
        set(expected.HostSWPath, path);
        const std::string text = "LogDirLocation=" + dir + "\nHostSWOptions=" + options + "\nHostSWPath=" + path + "\n";
        EXPECT_EQ(bytes_of(h.read(text)), bytes_of(expected));
        EXPECT_EQ(config_lookup_table[1].string_value, dir);
        EXPECT_EQ(config_lookup_table[6].string_value, options);
        EXPECT_EQ(config_lookup_table[7].string_value, path);
    }
}

TEST(get_config, reads_a_line_of_500_characters_or_more_in_pieces_of_499)
{
    const std::string key = "LogDirLocation=";
    const auto value = [&](std::size_t length) { return std::string(length - key.size(), 'x'); };
    struct {
        std::size_t length;
        std::string value;
        lines log;
    } const cases[] = {
        {498, value(498), {}},
        {499, value(499), {}},
        {500, value(499), {"get_field_name_index E failed to find 'x'"}},
        {502, value(499), {"get_field_name_index E failed to find 'xxx'"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        config_host h;
        h.read(key + value(c.length) + "\n");
        EXPECT_EQ(config_lookup_table[1].string_value, c.value);
        EXPECT_EQ(h.log(), c.log);
    }
}

TEST(get_config, takes_the_rest_of_a_long_line_for_a_line)
{
    expect_changes({
        {"#" + std::string(498, 'x') + "DaemonEnable=0\n", disabled},
        {"#" + std::string(497, 'x') + "DaemonEnable=0\n", nothing},
        {"HostSWOptions=" + std::string(485, 'o') + "DaemonEnable=0\n",
         [](record& cfg) {
             cfg.DaemonEnable = 0;
             set(cfg.HostSWOptions, std::string(100, 'o'));
         }},
        {std::string(1497, 'x') + "DaemonEnable=0\n", disabled},
        {std::string(1500, 'x') + "\nDaemonEnable=0\n", disabled},
    });
}

TEST(get_config, traces_each_line_at_the_debug_level)
{
    const std::string text = "# comment\n\n LogFileSize = 5MB\n  NoSuchKey=1\nHostSWOptions\nDaemonXAuthDelay\n";
    const std::string unknown = "get_field_name_index E failed to find 'NoSuchKey'";
    {
        config_host h(VESK_LOG_DEBUG);
        h.read(text);
        EXPECT_EQ(h.log(), (lines{
                               "get_config D Processing field name: LogFileSize",
                               "get_field_name_index D matched field 'LogFileSize' at index 2",
                               "get_config D value =  5MB",
                               "get_config D Processing field name: NoSuchKey",
                               unknown,
                               "get_config D returned idx -1, skipping line:   NoSuchKey",
                               "get_config D Processing field name: HostSWOptions",
                               "get_field_name_index D matched field 'HostSWOptions' at index 6",
                               "get_config D value = ",
                               "get_config D Processing field name: DaemonXAuthDelay",
                               "get_field_name_index D matched field 'DaemonXAuthDelay' at index 10",
                               "get_config D value = ",
                           }));
    }
    for (const std::int32_t level : {VESK_LOG_INFO, VESK_LOG_ERROR}) {
        config_host h(level);
        h.read(text);
        EXPECT_EQ(h.log(), (lines{unknown}));
    }
    config_host h(VESK_LOG_CRITICAL);
    h.read(text);
    EXPECT_EQ(h.log(), lines{});
}

TEST(get_config, names_unknown_keys_as_they_stand)
{
    config_host h;
    h.read(" #DaemonEnable=0\ndaemonenable=0\nDaemonEnable\r\n");
    EXPECT_EQ(h.log(), (lines{
                           "get_field_name_index E failed to find '#DaemonEnable'",
                           "get_field_name_index E failed to find 'daemonenable'",
                           "get_field_name_index E failed to find 'DaemonEnable\r'",
                       }));
}

TEST(get_config, says_that_there_is_no_file_and_gives_the_table)
{
    for (const std::int32_t level : {VESK_LOG_ERROR, VESK_LOG_INFO, VESK_LOG_DEBUG}) {
        config_host h(level);
        EXPECT_EQ(bytes_of(h.read_without_file()), bytes_of(default_record()));
        EXPECT_EQ(h.log(), level == VESK_LOG_ERROR
                               ? lines{}
                               : (lines{"get_config I Unable to open daemon config file /etc/haldohostswd.conf"}));
    }
}

TEST(get_config, ignores_a_value_of_an_illegal_type)
{
    config_host h;
    config_lookup_table[2].type = 7;
    config_lookup_table[7].type = -1;
    EXPECT_EQ(bytes_of(h.read("LogFileSize=9\nHostSWPath=/opt\n")), bytes_of(default_record()));
    EXPECT_EQ(h.log(), (lines{
                           "get_config E Illegal type 7 in lookup table at index 2 field LogFileSize",
                           "get_config E Illegal type -1 in lookup table at index 7 field HostSWPath",
                       }));
    EXPECT_STREQ(config_lookup_table[2].string_value, "");
    EXPECT_EQ(config_lookup_table[7].int_value, 0);
}

TEST(get_field_name_index, finds_every_key_at_its_place)
{
    config_host h(VESK_LOG_DEBUG);
    lines expected;
    for (int i = 0; i < CONFIG_KEY_COUNT; ++i) {
        std::string name = config_lookup_table[i].name;
        EXPECT_EQ(get_field_name_index(name.data()), i);
        expected.push_back("get_field_name_index D matched field '" + name + "' at index " + std::to_string(i));
    }
    EXPECT_EQ(h.log(), expected);
}

TEST(get_field_name_index, takes_the_first_of_two_equal_keys)
{
    config_host h;
    config_lookup_table[9].name = "LogFileSize";
    std::string name = "LogFileSize";
    EXPECT_EQ(get_field_name_index(name.data()), 2);
}

TEST(get_field_name_index, answers_minus_one_for_an_unknown_key)
{
    config_host h;
    for (std::string name : {"", "logfilesize", "LogFileSiz", "LogFileSize ", "%s"}) {
        EXPECT_EQ(get_field_name_index(name.data()), -1);
        EXPECT_EQ(h.log(), (lines{"get_field_name_index E failed to find '" + name + "'"}));
    }
}

TEST(dump_config, logs_three_lines_at_the_info_level)
{
    record cfg = default_record();
    set(cfg.HostSWOptions, "-a -b");
    cfg.DaemonLogLevel = -4;
    cfg.HostSWLogLevel = 2;
    cfg.DaemonStartDelay = 6;
    cfg.HostSWRestartDelay = 7;
    cfg.LogFileSize = 8;
    for (const std::int32_t level : {VESK_LOG_ERROR, VESK_LOG_INFO, VESK_LOG_DEBUG}) {
        config_host h(level);
        dump_config(&cfg);
        EXPECT_EQ(h.log(), level == VESK_LOG_ERROR
                               ? lines{}
                               : (lines{
                                     "dump_config I Log Directory: /var/log/haldo, Max Size: 8 MB",
                                     "dump_config I Daemon: Log level -4, Enable 1, Delay 6, xAuth 5 ",
                                     "dump_config I /usr/bin/haldo_agent: start delay 10/7, log level 2, "
                                     "Options: -a -b",
                                 }));
    }
}

TEST(dump_config, reads_no_further_than_a_member_that_has_no_terminator)
{
    record cfg = default_record();
    set(cfg.HostSWOptions, std::string(100, 'o'));
    {
        config_host h;
        dump_config(&cfg);
        EXPECT_EQ(h.log().back(), "dump_config I /usr/bin/haldo_agent: start delay 10/1, log level 3, Options: " +
                                      std::string(100, 'o'));
    }
    set(cfg.LogDirLocation, std::string(400, 'd'));
    set(cfg.HostSWPath, std::string(400, 'p'));
    config_host h;
    dump_config(&cfg);
    const auto line = [](const std::string& text) {
        return ("11/20 10:42:52 d[I] " + std::string(25, ' ') + "dump_config | " + text + "\n").substr(0, 399);
    };
    EXPECT_EQ(h.raw_log(), line("Log Directory: " + std::string(400, 'd')) +
                               line("Daemon: Log level 3, Enable 1, Delay 1, xAuth 5 ") + line(std::string(400, 'p')));
}

// --- What a user reads of the keys ---

namespace
{

struct documented_key {
    std::string key;
    std::string initial;
    std::string sentence;
    bool operator==(const documented_key&) const = default;
};
void PrintTo(const documented_key& one, std::ostream* to)
{
    *to << one.key << "=" << one.initial << ": " << one.sentence;
}
using documented_keys = std::vector<documented_key>;

documented_keys keys_of_the_table()
{
#define NUMBER(key, initial, least, greatest, unit, sentence)  {#key, #initial, sentence},
#define TEXT(key, initial, least, greatest, is_path, sentence) {#key, initial, sentence},
    return {VESK_CONFIG_KEYS(NUMBER, TEXT)};
#undef NUMBER
#undef TEXT
}

// Each place where the pattern fits, made a key of by its groups.
documented_keys keys_in(const char* path, const char* pattern, documented_key (*key_of)(const std::smatch&))
{
    std::ifstream file(path);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::regex expression(pattern);
    documented_keys found;
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        found.push_back(key_of(*at));
    return found;
}

} // namespace

TEST(configuration_keys, stand_in_the_sample_file_with_default_and_sentence)
{
    const auto key_of = [](const std::smatch& found) { return documented_key{found[2], found[3], found[1]}; };
    EXPECT_EQ(keys_in(SAMPLE_FILE, R"(\n(?:# (.*)\n)?#?(\w+)=(.*)(?=\n))", key_of), keys_of_the_table());
}

TEST(configuration_keys, stand_in_the_manual_page_with_default_and_sentence)
{
    EXPECT_EQ(keys_in(MANUAL_PAGE, R"/(\.TP\n\.BR (\w+) " \((.*)\)"\n(.*)\n)/",
                      [](const std::smatch& found) {
                          return documented_key{found[1], found[2] == "empty" ? "" : found[2].str(), found[3]};
                      }),
              keys_of_the_table());
}
