// The simulated card's state by name, as profiles and commands set it.

#include "profile.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

namespace
{

using cardsim::json;
using cardsim::state;

cardsim::profile read(const std::string& text)
{
    std::istringstream lines(text);
    return cardsim::read_profile(lines, "some.profile");
}

std::string error_of(const auto& call)
{
    try {
        call();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no error";
}

std::string set_error(const std::string& key, const std::string& text)
{
    state of;
    state before;
    std::memcpy(static_cast<void*>(&before), &of, sizeof(of)); // what is between members, too
    const std::string error = error_of([&] { set_state(of, key, text); });
    EXPECT_EQ(std::memcmp(&of, &before, sizeof(of)), 0) << key;
    return error;
}

// What the key's value is once it was set to this text.
std::string after(const std::string& key, const std::string& text)
{
    state of;
    set_state(of, key, text);
    return state_text(of, key);
}

TEST(CardState, sets_every_key_from_its_own_text)
{
    state full;
    for (const std::string& key : cardsim::state_keys()) {
        state other;
        std::memset(static_cast<void*>(&other.kept), 0, sizeof(other.kept));
        std::memset(static_cast<void*>(&other.offered), 0, sizeof(other.offered));
        set_state(other, key, state_text(full, key));
        EXPECT_EQ(state_text(other, key), state_text(full, key)) << key;
    }
}

TEST(CardState, has_keys_that_differ_and_bytes_of_their_own)
{
    const auto keys = cardsim::state_keys();
    EXPECT_EQ(std::set(keys.begin(), keys.end()).size(), keys.size());
    state of;
    std::memset(static_cast<void*>(&of.kept), 0, sizeof(of.kept));
    std::memset(static_cast<void*>(&of.offered), 0, sizeof(of.offered));
    std::map<std::string, std::string> at_first;
    for (const std::string& key : keys)
        at_first[key] = state_text(of, key);
    for (const std::string& key : keys) {
        state changed = of;
        set_state(changed, key, key.find("display.") != std::string::npos ? "3x4+1-2/5" : "1");
        for (const std::string& other : keys)
            EXPECT_EQ(state_text(changed, other) != at_first[other], other == key) << key << ' ' << other;
    }
}

TEST(CardState, puts_each_value_where_the_requests_find_it)
{
    state of;
    const std::pair<const char*, const char*> values[] = {
        {"commands", "avail_cmd var_set"},
        {"readable", "0x2806"},
        {"writable", "none"},
        {"context.cur_shape_caches", "515"},
        {"context.hoip_enable", "7"},
        {"session.transitions", "9"},
        {"tag.text", "desk 2"},
        {"ipv4", "1 192.0.2.9 0xFFFFFF00"},
        {"stats", "5 6"},
        {"port", "0x1234"},
        {"host_state", "-3"},
        {"display.1", "1280x1024-1280+56/3"},
        {"cached_display.3", "1x2+3+4"},
        {"rate.2", "254"},
        {"monitor.1.serial", "fourteen chars"},
        {"driver.kbd_delay", "65535"},
        {"pointer.visible", "1"},
        {"local_info", "4294967295"},
    };
    for (const auto& [key, text] : values)
        set_state(of, key, text);
    EXPECT_EQ(of.offered.commands.map[0], 5U);
    EXPECT_EQ(of.offered.readable.map[0], 0x2806U);
    EXPECT_EQ(of.offered.writable.map[0], 0U);
    EXPECT_EQ(of.offered.kmp_context.cur_shape_caches, 515);
    EXPECT_EQ(of.offered.kmp_context.hoip_enable, 7);
    EXPECT_EQ(of.kept.sess_link.trans_cnt, 9);
    EXPECT_STREQ(of.kept.sess_tag.tag, "desk 2");
    EXPECT_EQ(of.kept.ipv4.words[1], 0xC0000209U);
    EXPECT_EQ(of.kept.ipv4.words[2], 0xFFFFFF00U);
    EXPECT_EQ(of.kept.ipv4.words[3], 0U);
    EXPECT_EQ(of.kept.stats.words[1], 6U);
    EXPECT_EQ(of.kept.stats.words[24], 0U);
    EXPECT_EQ(of.kept.port.port, 0x1234U);
    EXPECT_EQ(of.kept.host_sess_state, -3);
    EXPECT_EQ(of.kept.topology.disp[1].pos_x, -1280);
    EXPECT_EQ(of.kept.topology.disp[1].pos_y, 56);
    EXPECT_EQ(of.kept.topology.disp[1].width, 1280);
    EXPECT_EQ(of.kept.topology.disp[1].height, 1024);
    EXPECT_EQ(of.kept.topology.disp[1].rotation, 3U);
    EXPECT_EQ(of.kept.cached_topology.topo.disp[3].pos_y, 4);
    EXPECT_EQ(of.kept.cached_topology.rate[2], 254);
    EXPECT_EQ(std::string(of.kept.cached_topology.monitor[1].serial, 14), "fourteen chars");
    EXPECT_EQ(of.kept.kbd_delay, 65535);
    EXPECT_TRUE(of.kept.pointer_visible);
    EXPECT_EQ(of.kept.local_info, 0xFFFFFFFFU);
}

TEST(CardState, writes_values_as_they_are_read)
{
    EXPECT_EQ(after("commands", "all"), "avail_cmd var_get var_set");
    EXPECT_EQ(after("commands", "none"), "none");
    EXPECT_EQ(after("commands", "0x80000001"), "avail_cmd bit31");
    EXPECT_EQ(after("commands", "bit255 var_get"), "var_get bit255");
    EXPECT_EQ(after("readable", "img_user_ext_cfg  sess_link"), "sess_link img_user_ext_cfg");
    EXPECT_EQ(after("display.0", "-"), "-");
    EXPECT_EQ(after("display.0", "65535x1-9-8"), "65535x1-9-8");
    EXPECT_EQ(after("link_info", "0x10 0.0.1.0"), "16 256 0 0 0 0 0 0");
    EXPECT_EQ(after("pointer.visible", "0x1"), "1");
    EXPECT_EQ(after("tag.text", ""), "");
}

TEST(CardState, names_the_word_that_is_wrong)
{
    EXPECT_EQ(set_error("hue", "1"), "'hue' is not a key");
    EXPECT_EQ(set_error("context.reserved", "1"), "'context.reserved' is not a key");
    EXPECT_EQ(set_error("commands", "var_get fly"), "'fly' is not a command");
    EXPECT_EQ(set_error("readable", "bit256"), "'bit256' is not a variable");
    EXPECT_EQ(set_error("readable", "4294967296"), "'4294967296' is not a number of 32 bits");
    EXPECT_EQ(set_error("context.hoip_enable", "256"), "'256' is not a number of 8 bits");
    EXPECT_EQ(set_error("context.cur_shape_caches", "0x10000"), "'0x10000' is not a number of 16 bits");
    EXPECT_EQ(set_error("port", ""), "'' is not a number of 32 bits");
    EXPECT_EQ(set_error("port", "0x"), "'0x' is not a number of 32 bits");
    EXPECT_EQ(set_error("port", "-1"), "'-1' is not a number of 32 bits");
    EXPECT_EQ(set_error("port", "1 2"), "'1 2' is not a number of 32 bits");
    EXPECT_EQ(set_error("pointer.visible", "2"), "'2' is not a number of 1 bits");
    EXPECT_EQ(set_error("host_state", "2147483648"), "'2147483648' is not a signed number of 32 bits");
    EXPECT_EQ(set_error("link_info", "1 x"), "'x' is not a number of 32 bits or an IPv4 address");
    EXPECT_EQ(set_error("link_info", "1 2 3 4 5 6 7 8 9"), "'9' is one word too many");
    EXPECT_EQ(set_error("monitor.0.vid", "12345"), "'12345' is longer than 4 characters");
    for (const std::string text : {"", "1x2", "1x2+3", "1x2+3+4 ", "1x2+3+4/", "1x2+3+4/x", "65536x2+3+4", "-1x2+3+4",
                                   "none", "1x2+3+4/0", "01x2+3+4", "1x2+2147483648+0"})
        EXPECT_EQ(set_error("display.0", text),
                  "'" + text + "' is not a display, WIDTHxHEIGHT+X+Y in decimal, with /ROTATION unless it is 0, or -");
}

TEST(CardState, is_an_object_for_each_dot)
{
    state of;
    set_state(of, "tag.text", "desk \"2\"");
    set_state(of, "display.1", "1x2+3+4");
    set_state(of, "host_state", "-1");
    const json all = state_json(of);
    EXPECT_EQ(all["commands"], (json{"avail_cmd", "var_get", "var_set"}));
    EXPECT_EQ(all["context"].size(), 30U);
    EXPECT_EQ(all["context"]["cur_shape_caches"], 16);
    EXPECT_EQ(all["tag"], (json{{"flags", 0}, {"text", "desk \"2\""}}));
    EXPECT_EQ(all["link_info"], (json{1, 1000, 2, 1500, 0x02000000, 7, 86400, 3}));
    EXPECT_EQ(all["display"], (json{{"0", "1920x1080+0+0"}, {"1", "1x2+3+4"}, {"2", "-"}, {"3", "-"}}));
    EXPECT_EQ(all["host_state"], -1);
    EXPECT_EQ(all["pointer"]["visible"], false);
    EXPECT_EQ(all["monitor"]["0"]["name"], "Haldo display");
}

TEST(CardProfile, is_a_card_of_its_own_without_a_line)
{
    const auto empty = read("");
    const state expected;
    for (const std::string& key : cardsim::state_keys())
        EXPECT_EQ(state_text(empty.start, key), state_text(expected, key));
    EXPECT_EQ(empty.session, "");
}

TEST(CardProfile, reads_keys_between_comments_blanks_and_empty_lines)
{
    const auto given = read("# comment = 1\n"
                            "\n"
                            "  \t\n"
                            "port=1\r\n"
                            "  # another\n"
                            "\tport\t=  2 \n"
                            "tag.text = a = # b \n"
                            "session = 192.0.2.1\n"
                            "unicode = 7");
    EXPECT_EQ(given.start.kept.port.port, 2U);
    EXPECT_STREQ(given.start.kept.sess_tag.tag, "a = # b");
    EXPECT_EQ(given.start.kept.unicode, 7U);
    EXPECT_EQ(given.session, "192.0.2.1");
    EXPECT_EQ(read("session = 192.0.2.1\nsession=none\n").session, "");
}

TEST(CardProfile, names_file_line_and_word)
{
    EXPECT_EQ(error_of([] { read("# 1\nport = 1\nhue = 3\n"); }), "some.profile:3: 'hue' is not a key");
    EXPECT_EQ(error_of([] { read("port = x\n"); }), "some.profile:1: 'x' is not a number of 32 bits");
    EXPECT_EQ(error_of([] { read("\nport 1\n"); }), "some.profile:2: 'port 1' is not KEY=VALUE");
    EXPECT_EQ(error_of([] { read("session\n"); }), "some.profile:1: 'session' is not KEY=VALUE");
    EXPECT_EQ(error_of([] { read("= 1\n"); }), "some.profile:1: '' is not a key");
    EXPECT_EQ(error_of([] { read("session =\n"); }), "some.profile:1: '' has no length between 1 and 35");
    const std::string long_ip(36, '1');
    EXPECT_EQ(error_of([&] { read("session = " + long_ip); }),
              "some.profile:1: '" + long_ip + "' has no length between 1 and 35");
    EXPECT_EQ(read("session = " + long_ip.substr(1)).session, long_ip.substr(1));
    for (const char* address : {"a b", "a\tb", "a\nb", "a\x7F"})
        EXPECT_EQ(error_of([&] { cardsim::session_address(address); }),
                  "'a' is followed by a blank or a control character");
    EXPECT_EQ(cardsim::session_address("d\xC3\xA9sk"), "d\xC3\xA9sk");
}

const std::string shipped = SHIPPED_PROFILES;

cardsim::profile find(const std::string& name)
{
    return cardsim::find_profile(name, std::vector<std::string>{"/nonexistent", shipped});
}

TEST(CardProfile, is_found_by_name_or_file)
{
    EXPECT_EQ(find("brokered").session, "192.0.2.90");
    EXPECT_EQ(find(shipped + "/brokered.profile").session, "192.0.2.90");
    EXPECT_EQ(error_of([] { find("brokered.profile"); }),
              "'brokered.profile' is not a profile; a file's name has a '/'");
    EXPECT_EQ(error_of([] { find("/nonexistent/file"); }), "'/nonexistent/file' cannot be read");
    EXPECT_EQ(error_of([] { find(shipped); }), "'" + shipped + "' cannot be read");
}

TEST(CardProfile, ships_with_these)
{
    std::set<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(shipped))
        names.insert(file.path().filename());
    EXPECT_EQ(names, (std::set<std::string>{"brokered.profile", "client-idle-hide.profile", "client-sc.profile",
                                            "full.profile", "minimal-firmware.profile"}));

    const state own;
    const auto full = find("full");
    for (const std::string& key : cardsim::state_keys())
        EXPECT_EQ(state_text(full.start, key), state_text(own, key));
    EXPECT_EQ(full.session, "192.0.2.77");

    EXPECT_EQ(find("brokered").start.kept.sess_tag.flags, HMI_SESS_TAG_BROKERED);
    EXPECT_EQ(find("client-sc").start.offered.kmp_context.cur_shape_fadeout_enable, 0);
    EXPECT_EQ(find("client-idle-hide").start.offered.kmp_context.cur_shape_fadeout_enable, 1);
    const auto minimal = find("minimal-firmware");
    EXPECT_EQ(minimal.start.offered.readable.map[0], 1U << HMI_VAR_SESS_LINK);
    EXPECT_EQ(minimal.start.offered.writable.map[0], 0U);
    EXPECT_EQ(minimal.start.offered.kmp_context.haldo_kmp_1_supported, 0);
}

std::string manual()
{
    std::ifstream file(CARDSIM_MANUAL);
    std::stringstream all;
    all << file.rdbuf();
    return all.str();
}

// The keys that the manual describes, without its typesetting: from "commands" to the end of the section.
std::set<std::string> keys_of_the_manual()
{
    std::string text = manual();
    text = text.substr(0, text.find(".SH EXIT STATUS")).substr(text.find(".TP\n.BR commands"));
    text = std::regex_replace(text, std::regex(R"(\\\n)"), "");
    std::set<std::string> keys;
    const std::regex tag(R"(\.TP\n\.BR?I? (.*)\n)");
    for (std::sregex_iterator found(text.begin(), text.end(), tag), end; found != end; ++found) {
        std::string words = std::regex_replace((*found)[1].str(), std::regex(R"(\\f[RP]|["\\])"), "");
        words = std::regex_replace(words, std::regex(R"(\. ([A-Z]+))"), ".$1");
        words = std::regex_replace(std::regex_replace(words, std::regex(" +\\."), "."), std::regex(","), " ");
        std::istringstream each(words);
        for (std::string key; each >> key;)
            keys.insert(key);
    }
    return keys;
}

TEST(CardProfile, has_its_keys_in_the_manual_and_no_others)
{
    std::set<std::string> expected{"session", "context.FIELD"};
    for (const std::string& key : cardsim::state_keys())
        if (!key.starts_with("context."))
            expected.insert(std::regex_replace(key, std::regex(R"(\.[0-3])"), ".N"));
    EXPECT_EQ(keys_of_the_manual(), expected);
}

TEST(CardProfile, has_its_shipped_profiles_in_the_manual)
{
    const std::string text = std::regex_replace(manual(), std::regex(R"(\\)"), "");
    for (const auto& file : std::filesystem::directory_iterator(shipped)) {
        const std::string name = file.path().stem().string();
        EXPECT_NE(text.find(".TP\n.B " + name + "\n"), std::string::npos) << name << " is not in the manual";
    }
}

} // namespace
