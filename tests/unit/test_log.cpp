#include "support/calls.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using lines = std::vector<std::string>;

namespace
{

const std::int32_t initial_level = m_log_level;

// What stands before a message: 59 characters, unless the name is longer than its column.
std::string prefix(char letter, const std::string& name, const std::string& date = "11/20 10:42:52")
{
    return date + " d[" + letter + "] " + std::string(name.size() < 36 ? 36 - name.size() : 0, ' ') + name + " | ";
}
constexpr std::size_t LONGEST_MESSAGE = 399 - 59;

void writer(const char* text)
{
    VESK_LOG_E("%s", text);
}

// What the function prints to standard output in a process of its own: each element is what one write brought. The
// process ends without writing what is left in its buffers.
lines writes_of(const std::function<void()>& function)
{
    std::fflush(stdout);
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_DIRECT), 0); // each write is read as it came
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        function();
        _exit(0);
    }
    close(ends[1]);
    lines writes;
    char data[4096];
    for (ssize_t n; (n = read(ends[0], data, sizeof(data))) > 0;)
        writes.emplace_back(data, static_cast<std::size_t>(n));
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return writes;
}

constexpr std::int64_t MIB = 1024 * 1024;

// A log named "agent" with a file of this size, or none.
announced_log agent_log(const std::string& dir, std::optional<std::int64_t> size = {}, bool rotates = false)
{
    return {.dir = dir, .name = "agent", .size = size, .rotates = rotates};
}

// Each of these tests runs in a copy of this program: the buffering is set with the first line of a process.
class log_output : public testing::Test
{
protected:
    static void in_a_copy(const std::function<void()>& body)
    {
        if (std::getenv("HALDO_TEST_COPY") != nullptr) {
            body();
            return;
        }
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
        std::FILE* copy = popen(("HALDO_TEST_COPY=1 env -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX " EMULATOR " '" +
                                 program + "' --gtest_filter=log_output." + test +
                                 " --gtest_repeat=1 --gtest_brief=0 --gtest_color=no --gtest_output= 2>&1")
                                    .c_str(),
                                "r");
        ASSERT_NE(copy, nullptr);
        std::string output;
        for (int c; (c = std::fgetc(copy)) != EOF;)
            output += static_cast<char>(c);
        const int status = pclose(copy);
        EXPECT_TRUE(status == 0 && output.find("[  PASSED  ] 1 test.") != std::string::npos) << output;
    }
};

} // namespace

TEST_F(log_output, is_written_line_by_line)
{
    in_a_copy([] {
        const lines writes = writes_of([] {
            writer("one");
            writer("%s %d 100% two");
            writer("three\n");
        });
        ASSERT_EQ(writes.size(), 3u);
        const char* const texts[] = {"one\n", "%s %d 100% two\n", "three\n"};
        for (std::size_t i = 0; i < writes.size(); ++i)
            EXPECT_EQ(writes[i].substr(std::strlen("11/20 10:42:52")), prefix('E', "writer", "") + texts[i]);
    });
}

TEST_F(log_output, sets_the_buffering_once)
{
    in_a_copy([] {
        const lines writes = writes_of([] {
            writer("one");
            std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
            writer("two");
        });
        ASSERT_EQ(writes.size(), 1u);
        EXPECT_TRUE(writes[0].ends_with("one\n"));
    });
}

TEST_F(log_output, shows_the_time_of_the_clock)
{
    in_a_copy([] {
        const std::time_t before = std::time(nullptr);
        const lines writes = writes_of([] { writer("text"); });
        const std::time_t after = std::time(nullptr);
        ASSERT_EQ(writes.size(), 1u);
        lines times;
        for (std::time_t seconds = before; seconds <= after; ++seconds) {
            char text[32];
            const std::size_t length = std::strftime(text, sizeof(text), "%m/%d %H:%M:%S", std::localtime(&seconds));
            times.emplace_back(text, length);
        }
        const std::string shown = writes[0].substr(0, std::strlen("11/20 10:42:52"));
        EXPECT_EQ(std::ranges::count(times, shown), 1) << shown << " is none of " << testing::PrintToString(times);
    });
}

TEST_F(log_output, is_not_printed_twice_by_a_process_that_forks)
{
    in_a_copy([] {
        const std::string cut(400, 'x');
        const lines writes = writes_of([&cut] {
            writer("before");
            writer(cut.c_str());
            if (const pid_t child = fork()) {
                waitpid(child, nullptr, 0);
                writer("parent");
            } else {
                writer("child");
            }
            std::fflush(stdout);
        });
        lines texts;
        for (const std::string& text : writes)
            texts.push_back(text.substr(text.find('|') + 2));
        EXPECT_EQ(texts, (lines{"before\n", cut.substr(0, LONGEST_MESSAGE), "child\n", "parent\n"}));
    });
}

TEST_F(log_output, stays_behind_what_the_program_printed_before)
{
    in_a_copy([] {
        const std::string cut(400, 'x');
        const lines writes = writes_of([&cut] {
            std::printf("before ");
            writer(cut.c_str());
            std::printf("between ");
            writer(cut.c_str());
            std::puts("after");
        });
        std::string output;
        for (const std::string& text : writes)
            output += text;
        const std::size_t line = prefix('E', "writer").size() + LONGEST_MESSAGE;
        EXPECT_EQ(output.substr(0, 7), "before ");
        EXPECT_EQ(output.substr(7 + line - LONGEST_MESSAGE, LONGEST_MESSAGE), cut.substr(0, LONGEST_MESSAGE));
        EXPECT_EQ(output.substr(7 + line, 8), "between ");
        EXPECT_EQ(output.substr(7 + line + 8 + line), "after\n");
    });
}

TEST(log_level, is_info_before_anything_is_configured)
{
    EXPECT_EQ(initial_level, 3);
}

TEST(log_line, carries_date_mark_letter_name_and_message)
{
    host h(VESK_LOG_DEBUG);
    VESK_LOG_AS("an_operation", VESK_LOG_CRITICAL, "c %d", 1);
    VESK_LOG_AS("an_operation", VESK_LOG_ERROR, "e %s", "two");
    VESK_LOG_AS("an_operation", VESK_LOG_INFO, "i");
    VESK_LOG_AS("an_operation", VESK_LOG_DEBUG, "");
    EXPECT_EQ(h.raw_log(), "11/20 10:42:52 d[C]                         an_operation | c 1\n"
                           "11/20 10:42:52 d[E]                         an_operation | e two\n"
                           "11/20 10:42:52 d[I]                         an_operation | i\n"
                           "11/20 10:42:52 d[D]                         an_operation | \n");
}

TEST(log_line, carries_the_name_of_the_function_that_writes)
{
    host h(VESK_LOG_DEBUG);
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "text\n");
    const auto check = [] { VESK_LOG_ASSERTION("../haldo_link/src/vesk_haldo_link_kmp", 123); };
    check();
    EXPECT_EQ(h.raw_log(), prefix('C', "operator()") +
                               "assertion in file ../haldo_link/src/vesk_haldo_link_kmp, function operator(), "
                               "line 123\n");
}

TEST(log_line, is_written_when_the_level_reaches_its_letter)
{
    const std::map<std::int32_t, std::string> printed{
        {INT_MIN, ""}, {-1, ""}, {0, ""}, {1, "C"}, {2, "CE"}, {3, "CEI"}, {4, "CEID"}, {5, "CEID"}, {INT_MAX, "CEID"}};
    for (const auto& [level, letters] : printed) {
        SCOPED_TRACE(level);
        host h(level);
        int evaluated = 0;
        VESK_LOG_AS("f", VESK_LOG_CRITICAL, "%d", ++evaluated);
        VESK_LOG_E("%d", ++evaluated);
        VESK_LOG_I("%d", ++evaluated);
        VESK_LOG_D("%d", ++evaluated);
        std::string seen;
        for (const std::string& line : h.log())
            seen += line[line.find(' ') + 1];
        EXPECT_EQ(seen, letters);
        EXPECT_EQ(static_cast<std::size_t>(evaluated), letters.size());
    }
}

TEST(log_line, shows_month_day_and_time_with_two_digits_each)
{
    host h;
    h.now = 1704423849;
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "01/05 03:04:09") + "text\n");
    h.now = 1735689599;
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "12/31 23:59:59") + "text\n");
}

TEST(log_line, shows_a_time_that_does_not_fit_31_bits)
{
    host h;
    h.now = 2147483648;
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "01/19 03:14:08") + "text\n");
}

TEST(log_line, shows_the_local_time)
{
    const std::pair<const char*, const char*> cases[] = {
        {"EAST-5:30", "11/20 16:12:53"}, {"WEST7:40:45", "11/20 03:02:09"}, {"NEXTDAY-14", "11/21 00:42:55"}};
    int second = 0;
    for (const auto& [zone, date] : cases) {
        host h;
        h.now += ++second;
        setenv("TZ", zone, 1);
        writer("text");
        EXPECT_EQ(h.raw_log(), prefix('E', "writer", date) + "text\n");
    }
}

TEST(log_line, converts_the_time_once_a_second)
{
    host h;
    h.now += 5;
    writer("text");
    setenv("TZ", "EAST-5:30", 1);
    h.raw_log();
    writer("the same second");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 10:42:57") + "the same second\n");
    h.now += 1;
    writer("the next one");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 16:12:58") + "the next one\n");
    h.now -= 2;
    writer("the clock was set back");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 16:12:56") + "the clock was set back\n");
}

TEST(log_line, pads_a_name_to_36_columns_and_keeps_a_longer_one_whole)
{
    for (const std::size_t length : {1, 35, 36, 37, 100}) {
        host h;
        const std::string name(length, 'n');
        VESK_LOG_AS(name.c_str(), VESK_LOG_INFO, "text");
        EXPECT_EQ(h.raw_log(), prefix('I', name) + "text\n");
    }
}

TEST(log_line, is_cut_at_399_characters_without_its_newline)
{
    for (const std::size_t length : {338, 339, 340, 341, 399, 400, 5000}) {
        SCOPED_TRACE(length);
        host h;
        const std::string text(length, 'x');
        writer(text.c_str());
        EXPECT_EQ(h.raw_log(), (prefix('E', "writer") + text + "\n").substr(0, 399));
    }
}

TEST(log_line, is_cut_in_a_name_that_leaves_no_room)
{
    for (const std::size_t length : {370, 375, 376, 379, 380, 400, 5000}) {
        SCOPED_TRACE(length);
        host h;
        const std::string name(length, 'n');
        VESK_LOG_AS(name.c_str(), VESK_LOG_INFO, "text");
        EXPECT_EQ(h.raw_log(), (prefix('I', name) + "text\n").substr(0, 399));
    }
}

TEST(log_line, ends_in_one_newline_when_the_message_brings_its_own)
{
    const std::pair<std::string, std::string> cases[] = {
        {"text\n", "text\n"},
        {"\n", "\n"},
        {"text\n\n", "text\n\n"},
        {"te\nxt", "te\nxt\n"},
        {"text\n ", "text\n \n"},
        // The newline is the last character but one of the cut line.
        {std::string(LONGEST_MESSAGE - 2, 'x') + "\nx", std::string(LONGEST_MESSAGE - 2, 'x') + "\n"},
        {std::string(LONGEST_MESSAGE - 1, 'x') + "\nx", std::string(LONGEST_MESSAGE - 1, 'x') + "\n"},
    };
    for (const auto& [message, printed] : cases) {
        SCOPED_TRACE(testing::PrintToString(message));
        host h;
        writer(message.c_str());
        EXPECT_EQ(h.raw_log(), prefix('E', "writer") + printed);
    }
}

TEST(log_line, interprets_a_percent_sign_again_where_no_argument_is_needed)
{
    const std::pair<const char*, const char*> cases[] = {
        {"50%%", "50%"},
        {"%%%%", "%%"},
        {"%%s", "%s"},
        {"%m", "No such file or directory"},
        {"<%m%%%m>", "<No such file or directory%No such file or directory>"},
        {"%%m", "%m"},
    };
    for (const auto& [message, printed] : cases) {
        SCOPED_TRACE(message);
        host h;
        errno = ENOENT;
        writer(message);
        EXPECT_EQ(h.raw_log(), prefix('E', "writer") + printed + "\n");
    }
}

TEST(log_line, prints_a_conversion_that_needs_an_argument_as_text)
{
    for (const std::string conversion :
         {"%s",  "%n",  "%d",  "%i",          "%u",   "%x",   "%X",  "%o",  "%c",   "%p",  "%f",
          "%e",  "%g",  "%a",  "%C",          "%S",   "%hhn", "%hn", "%ln", "%lld", "%Lf", "%zu",
          "%jd", "%td", "%*d", "%.*s",        "%1$s", "%1$n", "%5m", "%-m", "%.3m", "%lm", "%1$m",
          "% m", "%5%", "%-%", "%999999999d", "%y",   "%w",   "%",   "% ",  "100%"}) {
        SCOPED_TRACE(conversion);
        host h;
        writer(conversion.c_str());
        EXPECT_EQ(h.raw_log(), prefix('E', "writer") + conversion + "\n");
    }
}

TEST(log_line, stays_in_bounds_when_it_is_nothing_but_percent_signs)
{
    const std::string percents(1000, '%');
    std::string conversions;
    while (conversions.size() < 1000)
        conversions += "%s";
    host h;
    writer(percents.c_str());
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + std::string(LONGEST_MESSAGE / 2, '%'));
    writer(conversions.c_str());
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + conversions.substr(0, LONGEST_MESSAGE));
    // Cut between the two signs: what is left is one.
    writer(("x" + percents).c_str());
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "x" + std::string(LONGEST_MESSAGE / 2, '%'));
}

TEST(log_line, interprets_a_name_again_too)
{
    host h;
    VESK_LOG_AS("a%%b%s", VESK_LOG_INFO, "text");
    EXPECT_EQ(h.raw_log(), prefix('I', "a%%b%s").replace(prefix('I', "a%%b%s").find("%%"), 2, "%") + "text\n");
}

TEST(log_line, leaves_errno_as_it_was)
{
    host h;
    setenv("TZ", "No/Such/Zone", 1); // looked for with an errno of its own
    errno = EXDEV;
    writer("%m");
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "Invalid cross-device link\n");
}

TEST(log_line, leaves_errno_as_it_was_when_it_cannot_be_written)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        close(STDOUT_FILENO);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        errno = EXDEV;
        writer("text");
        _exit(errno == EXDEV ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(filesize, counts_any_part_of_a_mebibyte_as_a_whole_one)
{
    const std::pair<std::int64_t, std::int32_t> cases[] = {
        {1, 1}, {MIB - 1, 1}, {MIB, 1}, {MIB + 1, 2}, {2 * MIB, 2}, {2 * MIB + 1, 3}, {10 * 1024 * MIB + 1, 10241}};
    for (const auto& [size, mib] : cases) {
        host h;
        h.expect_stat("/a%s.log", size);
        EXPECT_EQ(filesize("/a%s.log"), mib);
        EXPECT_EQ(h.log(), (lines{"filesize I Logfile: /a%s.log is =< " + std::to_string(mib) + " MB"}));
    }
}

TEST(filesize, is_zero_for_an_empty_and_for_a_missing_file)
{
    host h;
    h.expect_stat("/a.log", 0);
    EXPECT_EQ(filesize("/a.log"), 0);
    for (const int error : {ENOENT, EACCES}) {
        h.expect("stat /a.log", -1, error);
        EXPECT_EQ(filesize("/a.log"), 0);
    }
    EXPECT_EQ(h.log(), lines(3, "filesize I Logfile: /a.log is =< 0 MB"));
}

TEST(filesize, says_nothing_at_the_error_level)
{
    host h(VESK_LOG_ERROR);
    h.expect_stat("/a.log", 1);
    EXPECT_EQ(filesize("/a.log"), 1);
    EXPECT_EQ(h.log(), lines{});
}

TEST(log_file_path, is_directory_and_name_and_generation_zero)
{
    const std::string longest(400, 'd');
    const std::pair<std::string, std::string> cases[] = {
        {"/srv", "//srv/agent.0.log"},
        {"srv", "/srv/agent.0.log"},
        {longest.substr(0, 386), "/" + longest.substr(0, 386) + "/agent.0.log"},
        {longest.substr(0, 387), "/" + longest.substr(0, 387) + "/agent.0.lo"},
        {longest, "/" + longest.substr(0, 398)},
    };
    for (const auto& [dir, expected] : cases) {
        char path[VESK_LOG_PATH_SIZE];
        log_file_path(path, dir.c_str(), "agent");
        EXPECT_EQ(path, expected);
    }
}

TEST(init_logging, prepares_the_directory_opens_the_file_and_points_both_outputs_at_it)
{
    for (const eVESK_LOG_LEVEL level : {VESK_LOG_INFO, VESK_LOG_DEBUG}) {
        host h(VESK_LOG_CRITICAL);
        h.expect("system mkdir -p '//srv/log'");
        h.expect("stat //srv/log/agent.0.log", -1, ENOENT);
        h.expect("open //srv/log/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", 7);
        h.expect("dup2 7 1", 1);
        h.expect("dup2 7 2", 2);
        h.expect("close 7");
        h.expect("system chmod -R 777 '//srv/log'");
        EXPECT_EQ(init_logging(level, "/srv/log", "agent", 2), VESK_LOG_READY);
        EXPECT_EQ(m_log_level, level);
        EXPECT_EQ(h.log(),
                  (lines{"filesize I Logfile: //srv/log/agent.0.log is =< 0 MB",
                         "init_logging I success: level " + std::to_string(level) + ", file //srv/log/agent.0.log"}));
    }
}

TEST(init_logging, maps_a_level_above_four_to_error)
{
    const std::pair<std::int32_t, std::int32_t> cases[] = {
        {INT_MIN, INT_MIN}, {-1, -1}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 2}, {7, 2}, {INT_MAX, 2}};
    for (const auto& [level, set] : cases) {
        SCOPED_TRACE(level);
        host h(VESK_LOG_DEBUG);
        expect_log_opened(h, agent_log("/srv/log", MIB));
        EXPECT_EQ(init_logging(static_cast<eVESK_LOG_LEVEL>(level), "/srv/log", "agent", 2), 0);
        EXPECT_EQ(m_log_level, set);
        EXPECT_EQ(h.log(), set < VESK_LOG_INFO ? lines{}
                                               : (lines{"filesize I Logfile: //srv/log/agent.0.log is =< 1 MB",
                                                        "init_logging I success: level " + std::to_string(level) +
                                                            ", file //srv/log/agent.0.log"}));
    }
}

TEST(init_logging, opens_no_file_at_level_zero)
{
    host h(VESK_LOG_DEBUG);
    h.expect("system mkdir -p '//srv/log'");
    h.expect("system chmod -R 777 '//srv/log'");
    EXPECT_EQ(init_logging(VESK_LOG_OFF, "/srv/log", "agent", 2), 0);
    EXPECT_EQ(m_log_level, 0);
    EXPECT_EQ(h.log(), lines{});
}

TEST(init_logging, rotates_a_file_above_the_limit)
{
    const struct {
        std::optional<std::int64_t> size;
        std::int32_t limit;
        bool rotates;
    } cases[] = {
        {{}, 2, false},         {0, 2, false},  {2 * MIB, 2, false}, {2 * MIB + 1, 2, true}, {2 * MIB + 1, 3, false},
        {3 * MIB + 1, 3, true}, {{}, 0, false}, {0, 0, false},       {1, 0, true},           {1, 1, false},
        {{}, -1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.size) + " bytes, limit " + std::to_string(c.limit));
        host h;
        expect_log_opened(h, agent_log("/srv/log", c.size, c.rotates));
        EXPECT_EQ(init_logging(VESK_LOG_INFO, "/srv/log", "agent", c.limit), 0);
        const std::string exceeds =
            "init_logging I Daemon logfile: //srv/log/agent.0.log exceeds max size, recreating.";
        const lines log = h.log();
        EXPECT_EQ(std::ranges::count(log, exceeds), c.rotates);
        EXPECT_EQ(log.back(), "init_logging I success: level 3, file //srv/log/agent.0.log");
    }
}

TEST(init_logging, says_why_it_rotates)
{
    host h;
    expect_log_opened(h, agent_log("/srv/log", 2 * MIB + 1, true));
    init_logging(VESK_LOG_INFO, "/srv/log", "agent", 2);
    EXPECT_EQ(h.log(), (lines{
                           "filesize I Logfile: //srv/log/agent.0.log is =< 3 MB",
                           "init_logging I Daemon logfile: //srv/log/agent.0.log exceeds max size, recreating.",
                           "init_logging I success: level 3, file //srv/log/agent.0.log",
                       }));
}

TEST(init_logging, quotes_the_directory_for_mkdir_and_chmod_but_not_for_mv)
{
    host h;
    h.expect("system mkdir -p '/a b$c'");
    h.expect_stat("/a b$c/agent.0.log", MIB + 1);
    h.expect("system mv /a b$c/agent.3.log /a b$c/agent.4.log");
    h.expect("system mv /a b$c/agent.2.log /a b$c/agent.3.log");
    h.expect("system mv /a b$c/agent.1.log /a b$c/agent.2.log");
    h.expect("system mv /a b$c/agent.0.log /a b$c/agent.1.log");
    h.expect("open /a b$c/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", 7);
    h.expect("dup2 7 1", 1);
    h.expect("dup2 7 2", 2);
    h.expect("close 7");
    h.expect("system chmod -R 777 '/a b$c'");
    EXPECT_EQ(init_logging(VESK_LOG_INFO, "a b$c", "agent", 1), 0);
}

TEST(init_logging, does_not_notice_commands_that_fail)
{
    for (const int status : {-1, 256, 9}) {
        host h;
        announced_log log = agent_log("/srv/log", 2 * MIB + 1, true);
        log.status = status;
        expect_log_opened(h, log);
        EXPECT_EQ(init_logging(VESK_LOG_ERROR, "/srv/log", "agent", 2), 0);
        EXPECT_EQ(h.log(), lines{});
    }
}

TEST(init_logging, refuses_a_directory_of_two_characters_or_fewer)
{
    for (const std::string dir : {"", "a", "/", "ab", "//"}) {
        SCOPED_TRACE(dir);
        host h(VESK_LOG_DEBUG);
        EXPECT_EQ(init_logging(VESK_LOG_ERROR, dir.c_str(), "agent", 2), VESK_LOG_DIR_TOO_SHORT);
        EXPECT_EQ(m_log_level, VESK_LOG_DEBUG);
        EXPECT_EQ(h.log(), (lines{"init_logging E Error using log directory " + dir}));
    }
    host h(VESK_LOG_CRITICAL);
    EXPECT_EQ(init_logging(VESK_LOG_DEBUG, "ab", "agent", 2), -500);
    EXPECT_EQ(m_log_level, VESK_LOG_CRITICAL);
    EXPECT_EQ(h.log(), lines{});
}

TEST(init_logging, accepts_a_directory_of_three_characters)
{
    host h;
    expect_log_opened(h, agent_log("abc"));
    EXPECT_EQ(init_logging(VESK_LOG_INFO, "abc", "agent", 2), 0);
}

TEST(init_logging, reads_no_further_than_400_characters_of_the_directory)
{
    const std::vector<char> dir(400, 'd');
    const std::string text(400, 'd');
    const std::string path = "/" + text.substr(0, 398);
    host h(VESK_LOG_ERROR);
    h.expect("system mkdir -p '/" + text + "'");
    h.expect_stat(path, MIB + 1);
    expect_log_rotated(h, agent_log(text));
    h.expect("open " + path + " O_WRONLY|O_CREAT|O_APPEND 0666", -1, ENAMETOOLONG);
    EXPECT_EQ(init_logging(VESK_LOG_ERROR, dir.data(), "agent", 1), -1);
    EXPECT_EQ(h.raw_log(), (prefix('E', "init_logging") + "Error opening logfile " + path).substr(0, 399));
}

TEST(init_logging, sets_the_level_after_the_directory_is_made)
{
    host h(VESK_LOG_DEBUG);
    h.expect_meanwhile("system mkdir -p '/srv'", [] { EXPECT_EQ(m_log_level, VESK_LOG_DEBUG); });
    h.expect("system chmod -R 777 '/srv'");
    EXPECT_EQ(init_logging(VESK_LOG_OFF, "srv", "agent", 2), 0);
}

TEST(init_logging, announces_what_it_does_and_reports_what_it_has_done)
{
    lines before_rotation;
    lines before_mode;
    host h;
    {
        h.expect("system mkdir -p '/srv'");
        h.expect_stat("/srv/agent.0.log", MIB + 1);
        h.expect_meanwhile("system mv /srv/agent.3.log /srv/agent.4.log", [&] { before_rotation = h.log(); });
        h.expect("system mv /srv/agent.2.log /srv/agent.3.log");
        h.expect("system mv /srv/agent.1.log /srv/agent.2.log");
        h.expect("system mv /srv/agent.0.log /srv/agent.1.log");
        h.expect("open /srv/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", -1, EACCES);
        EXPECT_EQ(init_logging(VESK_LOG_INFO, "srv", "agent", 1), -1);
        EXPECT_EQ(before_rotation.back(),
                  "init_logging I Daemon logfile: /srv/agent.0.log exceeds max size, recreating.");
        h.log();
    }
    h.expect("system mkdir -p '/srv'");
    h.expect("stat /srv/agent.0.log", -1, ENOENT);
    h.expect("open /srv/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", 7);
    h.expect("dup2 7 1", 1);
    h.expect("dup2 7 2", 2);
    h.expect("close 7");
    h.expect_meanwhile("system chmod -R 777 '/srv'", [&] { before_mode = h.log(); });
    EXPECT_EQ(init_logging(VESK_LOG_INFO, "srv", "agent", 1), 0);
    EXPECT_EQ(before_mode, (lines{"filesize I Logfile: /srv/agent.0.log is =< 0 MB"}));
}

TEST(init_logging, keeps_the_file_open_where_it_took_the_place_of_a_closed_output)
{
    for (const int fd : {0, 1, 2}) {
        host h;
        announced_log log = agent_log("srv");
        log.fd = fd;
        expect_log_opened(h, log);
        EXPECT_EQ(init_logging(VESK_LOG_INFO, "srv", "agent", 2), 0);
    }
}

TEST(init_logging, stops_when_the_file_cannot_be_opened)
{
    for (const eVESK_LOG_LEVEL level : {VESK_LOG_CRITICAL, VESK_LOG_ERROR, VESK_LOG_INFO}) {
        host h(VESK_LOG_DEBUG);
        expect_log_directory_made(h, agent_log("/srv/log"));
        h.expect("stat //srv/log/agent.0.log", -1, EACCES);
        h.expect("open //srv/log/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", -1, EACCES);
        EXPECT_EQ(init_logging(level, "/srv/log", "agent", 2), VESK_LOG_NOT_OPENED);
        EXPECT_EQ(m_log_level, level);
        EXPECT_EQ(h.log(), at_level(level, {"filesize I Logfile: //srv/log/agent.0.log is =< 0 MB",
                                            "init_logging E Error opening logfile //srv/log/agent.0.log (ret -1)"}));
    }
}

TEST(init_logging, leaves_the_old_content_in_the_first_generation_and_a_fresh_file)
{
    std::string dir = testing::TempDir() + "haldo_log_XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    const auto file = [&](int generation) { return dir + "/log/agent." + std::to_string(generation) + ".log"; };
    const auto size = [&](int generation) {
        struct stat status;
        return stat(file(generation).c_str(), &status) == 0 ? status.st_size : -1;
    };
    // At the error level, so that nothing is written to the fresh file.
    const auto start = [&] { init_logging(VESK_LOG_ERROR, (dir + "/log").c_str(), "agent", 2); };

    EXPECT_EQ(writes_of(start), lines{});
    EXPECT_EQ(size(0), 0);
    struct stat status;
    ASSERT_EQ(stat((dir + "/log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0777u);

    EXPECT_EQ(truncate(file(0).c_str(), 2 * MIB), 0);
    writes_of(start);
    EXPECT_EQ(size(0), 2 * MIB);
    EXPECT_EQ(size(1), -1);

    for (int generation = 1; generation <= 5; ++generation) {
        EXPECT_EQ(truncate(file(0).c_str(), 2 * MIB + generation), 0);
        writes_of(start);
        EXPECT_EQ(size(0), 0);
    }
    for (int generation = 1; generation <= 4; ++generation)
        EXPECT_EQ(size(generation), 2 * MIB + 6 - generation);
    EXPECT_EQ(size(5), -1);
    std::filesystem::remove_all(dir);
}

TEST(init_logging, sends_what_is_written_afterwards_to_the_file)
{
    std::string dir = testing::TempDir() + "haldo_log_XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    for (int run = 0; run < 2; ++run) {
        const lines before = writes_of([&] {
            std::puts("before");
            std::fflush(stdout);
            init_logging(VESK_LOG_ERROR, dir.c_str(), "agent", 2);
            std::puts("to standard output");
            std::fflush(stdout);
            std::fputs("to standard error\n", stderr);
        });
        EXPECT_EQ(before, (lines{"before\n"}));
    }
    std::ifstream file(dir + "/agent.0.log");
    const std::string once = "to standard output\nto standard error\n";
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), once + once);
    std::filesystem::remove_all(dir);
}
