#include "host_commands.h"
#include "support/host.h"
#include "vesk_log.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>

using lines = std::vector<std::string>;

namespace
{

constexpr int CORE_DUMPED = 0x80;

// A buffer of exactly the size that the operations ask for, so that a byte beyond it is noticed.
class text_buffer
{
public:
    text_buffer(std::size_t size, const std::string& text) : content(size, '~')
    {
        std::memcpy(content.data(), text.c_str(), text.size() + 1);
    }
    char* data() { return content.data(); }
    std::string text() const { return {content.data(), strnlen(content.data(), content.size())}; }

private:
    std::vector<char> content;
};

int run(std::string command)
{
    return run_cmd(command.data());
}

struct who_case {
    std::string output;
    int result;
    std::string user;
};

void expect_logins(const std::vector<who_case>& cases)
{
    for (const who_case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.output));
        host h;
        h.expect_popen("who -u", c.output);
        text_buffer user(USER_NAME_SIZE, "before");
        EXPECT_EQ(is_user_logged_in_locally(user.data()), c.result);
        EXPECT_EQ(user.text(), c.user);
        EXPECT_EQ(h.log(), lines{});
    }
}

sVESK_HOSTSW_DAEMON_CONFIG_STRUCT config_with_path(const std::string& path)
{
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT cfg{};
    std::memcpy(cfg.HostSWPath, path.data(), path.size());
    std::memset(&cfg.HostSWLoginStartDelay, 'x', sizeof(std::int32_t));
    return cfg;
}

// What the lookup leaves in a buffer that held "before".
std::string xauthority_after(host& h, const std::string& output)
{
    h.expect("sleep 0");
    h.expect_popen("/usr/bin/haldo_xauthority", output);
    auto cfg = config_with_path("/usr/bin");
    text_buffer dst(XAUTHORITY_SIZE, "before");
    get_xauthority(0, dst.data(), &cfg);
    return dst.text();
}

} // namespace

TEST(run_cmd, tells_whether_the_command_was_interrupted)
{
    const std::pair<int, int> cases[] = {
        {0, 0},
        {1 << 8, 0},
        {SIGINT << 8, 0},
        {SIGQUIT << 8, 0},
        {130 << 8, 0},
        {255 << 8, 0},
        {SIGHUP, 0},
        {SIGINT, 1},
        {SIGQUIT, 1},
        {SIGINT | CORE_DUMPED, 1},
        {SIGQUIT | CORE_DUMPED, 1},
        {SIGKILL, 0},
        {SIGTERM, 0},
        {SIGSEGV | CORE_DUMPED, 0},
        {-1, 0},
        {0x7F, 0},
        {SIGINT << 8 | 0x7F, 0},
        {SIGQUIT << 8 | 0x7F, 0},
        {0xFFFF, 0},
    };
    for (const auto& [status, interrupted] : cases) {
        SCOPED_TRACE(status);
        host h;
        h.expect("system agent", status);
        EXPECT_EQ(run("agent"), interrupted);
        EXPECT_EQ(h.log(),
                  interrupted != 0 ? (lines{"run_cmd I Host SW Received signal: haldo daemon exiting."}) : lines{});
    }
}

TEST(run_cmd, shows_the_command_at_the_debug_level)
{
    host h(VESK_LOG_DEBUG);
    h.expect("system agent -x 'a b' 50%% %s", SIGINT);
    EXPECT_EQ(run("agent -x 'a b' 50%% %s"), 1);
    EXPECT_EQ(h.log(), (lines{
                           "run_cmd D ----",
                           "run_cmd D Executing [agent -x 'a b' 50% %s]",
                           "run_cmd D ----",
                           "run_cmd I Host SW Received signal: haldo daemon exiting.",
                       }));
}

TEST(run_cmd, shows_the_command_before_it_runs)
{
    host h(VESK_LOG_DEBUG);
    lines before;
    h.expect_meanwhile("system agent", [&] { before = h.log(); });
    EXPECT_EQ(run("agent"), 0);
    EXPECT_EQ(before.size(), 3u);
    EXPECT_EQ(h.log(), lines{});
}

TEST(run_cmd, says_nothing_at_the_error_level)
{
    host h(VESK_LOG_ERROR);
    h.expect("system agent", SIGINT);
    EXPECT_EQ(run("agent"), 1);
    EXPECT_EQ(h.log(), lines{});
}

TEST(is_user_logged_in_locally, finds_the_user_of_a_display)
{
    expect_logins({
        {"alice    :0           2026-11-20 09:12   ?          1234 (:0)\n", 1, "alice"},
        {"alice :0", 1, "alice"},
        {"alice\t:1\n", 1, "alice"},
        {"  alice :0\n", 1, "alice"},
        {"alice :17.2\n", 1, "alice"},
        {"alice : 5\n", 1, "alice"},
        {"alice :-1\n", 1, "alice"},
    });
}

TEST(is_user_logged_in_locally, takes_a_display_of_the_login_screen_for_nobodys)
{
    expect_logins({
        {"(unknown) :0           2026-11-20 09:12   ?          1234 (:0)\n", 0, "(unknown)"},
        {"(unknownX :0\n", 0, "(unknownX"},
        {"(unknown :0\n", 0, "(unknown"},
        {"(unknow :0\n", 1, "(unknow"},
        {"(unknow) :0\n", 1, "(unknow)"},
        {"unknown :0\n", 1, "unknown"},
        {"(Unknown) :0\n", 1, "(Unknown)"},
        {"(unknown):0\n", 0, "(unknown):0"},
    });
}

TEST(is_user_logged_in_locally, considers_only_the_first_display)
{
    expect_logins({
        {"(unknown) :0\nalice :1\n", 0, "(unknown)"},
        {"alice :1\n(unknown) :0\n", 1, "alice"},
        {"alice :1\nbob :2\n", 1, "alice"},
        {"bob pts/1 2026-11-20 09:12 00:01 4321 (:0.0)\n(unknown) :0\n", 1, "bob"},
        {"(unknown) :0\nbob pts/1 2026-11-20 09:12 00:01 4321 (:0.0)\n", 0, "(unknown)"},
    });
}

TEST(is_user_logged_in_locally, finds_the_user_of_a_terminal_on_a_display)
{
    expect_logins({
        {"bob      pts/1        2026-11-20 09:12 00:01        4321 (:0.0)\n", 1, "bob"},
        {"bob pts/1 (:", 1, "bob"},
        {"  bob pts/1 (:1)\n", 1, "bob"},
        {"(unknown) pts/1 (:0)\n", 1, "(unknown)"},
        {"bob pts/1(:0)\n", 0, "bob"},
        {"bob pts/1 ( :0)\n", 0, "bob"},
        {"bob pts/1 :0\n", 0, "bob"},
    });
}

TEST(is_user_logged_in_locally, finds_the_user_of_a_seat_by_its_display)
{
    expect_logins({
        {"alice    seat0        2026-11-20 09:12   ?          1234 (:0)\n"
         "alice    tty7         2026-11-20 09:12  old         1234 (:0)\n",
         1, "alice"},
        {"alice    seat0        2026-11-20 09:12   ?          1234\n", 0, "alice"},
    });
}

TEST(is_user_logged_in_locally, finds_nobody_among_remote_sessions)
{
    expect_logins({
        {"carol    pts/0        2026-11-20 09:12   .          4000 (192.0.2.7)\n"
         "dave     pts/2        2026-11-20 09:15 00:03        4100 (2001:db8::1)\n",
         0, "dave"},
        {"erin     tty1         2026-11-20 09:12   .          4000\n", 0, "erin"},
        {"carol pts/0 (192.0.2.7)\nalice :0\n", 1, "alice"},
    });
}

TEST(is_user_logged_in_locally, leaves_the_first_word_of_the_last_line)
{
    expect_logins({
        {"", 0, "before"},
        {"\n", 0, "before"},
        {"carol pts/0\n   \n", 0, "carol"},
        {"carol pts/0\ndave\n", 0, "dave"},
        {"carol :\n", 0, "carol"},
        {"carol :x\n", 0, "carol"},
    });
}

TEST(is_user_logged_in_locally, reads_200_characters_of_a_name)
{
    const std::string name(250, 'n');
    expect_logins({
        {name.substr(0, 200) + " :0\n", 1, name.substr(0, 200)},
        {name.substr(0, 201) + " :0\n", 0, name.substr(0, 200)},
        {name + " :0\n", 0, name.substr(0, 200)},
        {name + " :0 (:0)\n", 1, name.substr(0, 200)},
        {name.substr(0, 200) + ":0\n", 1, name.substr(0, 200)},
    });
}

TEST(is_user_logged_in_locally, reads_a_long_line_in_pieces_of_499)
{
    expect_logins({
        {std::string(499, 'x') + "alice :0\n", 1, "alice"},
        {std::string(498, 'x') + "\nalice :0\n", 1, "alice"},
        {"carol" + std::string(494, ' ') + "(:0)\n", 0, "(:0)"},
        {"carol" + std::string(490, ' ') + " (:0)\n", 1, "carol"},
    });
}

TEST(is_user_logged_in_locally, shows_the_lines_that_it_read_at_the_debug_level)
{
    host h(VESK_LOG_DEBUG);
    char user[USER_NAME_SIZE];
    h.expect_popen("who -u", "carol pts/0 (192.0.2.7)\nalice :2 100%%\nbob :3\n");
    EXPECT_EQ(is_user_logged_in_locally(user), 1);
    EXPECT_EQ(h.log(), (lines{
                           "is_user_logged_in_locally D 'who -u' data: carol pts/0 (192.0.2.7)",
                           "is_user_logged_in_locally D 'who -u' data: alice :2 100%",
                           "is_user_logged_in_locally D user alice logged in locally :2",
                       }));
    h.expect_popen("who -u", "(unknown) :0");
    EXPECT_EQ(is_user_logged_in_locally(user), 0);
    EXPECT_EQ(h.log(), (lines{
                           "is_user_logged_in_locally D 'who -u' data: (unknown) :0",
                           "is_user_logged_in_locally D user (unknown) logged in locally :0",
                       }));
    h.expect_popen("who -u", "bob pts/1 (:0.0)\ndave :0\n");
    EXPECT_EQ(is_user_logged_in_locally(user), 1);
    EXPECT_EQ(h.log(), (lines{
                           "is_user_logged_in_locally D 'who -u' data: bob pts/1 (:0.0)",
                           "is_user_logged_in_locally D user bob logged in locally",
                       }));
}

TEST(is_user_logged_in_locally, says_that_who_could_not_be_started)
{
    for (const std::int32_t level : {VESK_LOG_CRITICAL, VESK_LOG_ERROR, VESK_LOG_DEBUG}) {
        host h(level);
        h.expect("popen who -u", -1, ENOMEM);
        text_buffer user(USER_NAME_SIZE, "before");
        EXPECT_EQ(is_user_logged_in_locally(user.data()), -1);
        EXPECT_EQ(user.text(), "before");
        EXPECT_EQ(h.log(), level == VESK_LOG_CRITICAL
                               ? lines{}
                               : (lines{
                                     "is_user_logged_in_locally E popen() failed, code=12 (Cannot allocate memory)",
                                     "is_user_logged_in_locally E Unable to determine whether user logged in "
                                     "locally!",
                                 }));
    }
}

TEST(is_user_logged_in_locally, answers_the_same_when_the_pipe_cannot_be_closed)
{
    const struct {
        int close_result;
        int error;
        lines log;
    } cases[] = {
        {-1, ECHILD, {}},
        {-1, EINTR, {"is_user_logged_in_locally E pclose() failed, code=4 (Interrupted system call)"}},
        {1 << 8, EINTR, {}},
        {SIGPIPE, 0, {}},
    };
    for (const auto& c : cases) {
        host h;
        char user[USER_NAME_SIZE];
        for (const auto& [output, result] : {std::pair("alice :0\n", 1), {"(unknown) :0\n", 0}, {"", 0}}) {
            h.expect_popen("who -u", output, c.close_result, c.error);
            EXPECT_EQ(is_user_logged_in_locally(user), result);
            EXPECT_EQ(h.log(), c.log);
        }
    }
}

TEST(get_xauthority, takes_what_follows_the_first_equals_sign_with_its_line_end)
{
    const std::pair<const char*, const char*> cases[] = {
        {"XAUTHORITY=/run/user/1000/Xauthority\n", "/run/user/1000/Xauthority\n"},
        {"XAUTHORITY=/a", "/a"},
        {"XAUTHORITY=/a\r\n", "/a\r\n"},
        {"XAUTHORITY= /a b \n", " /a b \n"},
        {"XAUTHORITY==\n", "=\n"},
        {"export XAUTHORITY=/a\n", "/a\n"},
        {"MYXAUTHORITY=/a\n", "/a\n"},
        {"A=B XAUTHORITY=/a\n", "B XAUTHORITY=/a\n"},
        {"one\nXAUTHORITY=/a\ntwo=2\n", "/a\n"},
        {"XAUTHORITY=/first\nXAUTHORITY=/second\n", "/second\n"},
        {"XAUTHORITY=/the/longer/path\nXAUTHORITY=/b", "/b"},
    };
    for (const auto& [output, value] : cases) {
        SCOPED_TRACE(output);
        host h;
        EXPECT_EQ(xauthority_after(h, output), value);
        EXPECT_EQ(h.log(), lines{});
    }
}

TEST(get_xauthority, keeps_the_old_value_when_there_is_none)
{
    for (const char* output : {"", "\n", "nothing\n", "XAUTHORITY=", "XAUTHORITY=\n", "xauthority=/a\n",
                               "XAUTHORITY /a\n", "XAUTHORITY =/a\n"}) {
        SCOPED_TRACE(output);
        host h;
        EXPECT_EQ(xauthority_after(h, output), "before");
    }
    host h;
    EXPECT_EQ(xauthority_after(h, "XAUTHORITY=/a\nXAUTHORITY=\n"), "/a\n");
}

TEST(get_xauthority, reads_a_long_line_in_pieces_of_499)
{
    const std::string key = "XAUTHORITY=";
    const std::string path(488, 'p');
    host h;
    EXPECT_EQ(xauthority_after(h, key + path.substr(1) + "\n"), path.substr(1) + "\n");
    EXPECT_EQ(xauthority_after(h, key + path + "\n"), path);
    EXPECT_EQ(xauthority_after(h, key + path + path + "\n"), path);
    EXPECT_EQ(xauthority_after(h, std::string(499, 'x') + key + "/a\n"), "/a\n");
    EXPECT_EQ(xauthority_after(h, std::string(495, 'x') + key + "/a\n"), "before");
}

TEST(get_xauthority, shows_each_step_at_the_debug_level)
{
    host h(VESK_LOG_DEBUG);
    h.expect("sleep 5");
    h.expect_popen("/opt/haldo/haldo_xauthority", "looking\nXAUTHORITY=/a\nXAUTHORITY=\n");
    auto cfg = config_with_path("/opt/haldo");
    char dst[XAUTHORITY_SIZE] = "";
    get_xauthority(5, dst, &cfg);
    EXPECT_EQ(h.log(), (lines{
                           "get_xauthority D Trying XAUTHORITY.",
                           "get_xauthority D sleep 5 seconds",
                           "get_xauthority D /opt/haldo/haldo_xauthority",
                           "get_xauthority D looking",
                           "get_xauthority D XAUTHORITY=/a",
                           "get_xauthority D XAUTHORITY cookie is /a",
                           "get_xauthority D XAUTHORITY=",
                           "get_xauthority D Done.",
                       }));
}

TEST(get_xauthority, says_how_long_before_it_sleeps)
{
    host h(VESK_LOG_DEBUG);
    lines before;
    h.expect_meanwhile("sleep 5", [&] { before = h.log(); });
    h.expect_popen("/usr/bin/haldo_xauthority", "");
    auto cfg = config_with_path("/usr/bin");
    char dst[XAUTHORITY_SIZE] = "";
    get_xauthority(5, dst, &cfg);
    EXPECT_EQ(before, (lines{"get_xauthority D Trying XAUTHORITY.", "get_xauthority D sleep 5 seconds"}));
}

TEST(get_xauthority, sleeps_no_longer_than_asked_and_not_at_all_for_a_negative_time)
{
    const std::pair<int, const char*> cases[] = {{1, "sleep 1"}, {0, "sleep 0"}, {-3, "sleep 0"}};
    for (const auto& [seconds, call] : cases) {
        host h(VESK_LOG_DEBUG);
        h.expect(call);
        h.expect_popen("/usr/bin/haldo_xauthority", "");
        auto cfg = config_with_path("/usr/bin");
        char dst[XAUTHORITY_SIZE] = "";
        get_xauthority(seconds, dst, &cfg);
        EXPECT_EQ(h.log()[1], "get_xauthority D sleep " + std::to_string(seconds) + " seconds");
    }
}

TEST(get_xauthority, says_that_the_lookup_could_not_be_started)
{
    for (const std::int32_t level : {VESK_LOG_CRITICAL, VESK_LOG_ERROR}) {
        host h(level);
        h.expect("sleep 0");
        h.expect("popen /usr/bin/haldo_xauthority", -1, EMFILE);
        auto cfg = config_with_path("/usr/bin");
        text_buffer dst(XAUTHORITY_SIZE, "before");
        get_xauthority(0, dst.data(), &cfg);
        EXPECT_EQ(dst.text(), "before");
        EXPECT_EQ(h.log(), level == VESK_LOG_CRITICAL ? lines{} : (lines{"get_xauthority E Command failed."}));
    }
    host h(VESK_LOG_DEBUG);
    h.expect("sleep 0");
    h.expect("popen /usr/bin/haldo_xauthority", -1, EMFILE);
    auto cfg = config_with_path("/usr/bin");
    char dst[XAUTHORITY_SIZE] = "";
    get_xauthority(0, dst, &cfg);
    EXPECT_EQ(h.log().back(), "get_xauthority E Command failed.");
}

TEST(get_xauthority, does_not_look_at_how_the_lookup_ended)
{
    host h(VESK_LOG_ERROR);
    h.expect("sleep 0");
    h.expect_popen("/usr/bin/haldo_xauthority", "XAUTHORITY=/a\n", -1, EINTR);
    auto cfg = config_with_path("/usr/bin");
    char dst[XAUTHORITY_SIZE] = "";
    get_xauthority(0, dst, &cfg);
    EXPECT_STREQ(dst, "/a\n");
    EXPECT_EQ(h.log(), lines{});
}

TEST(get_xauthority, reads_no_further_than_a_path_that_has_no_terminator)
{
    const std::string path(400, 'p');
    host h;
    h.expect("sleep 0");
    h.expect_popen(path + "/haldo_xauthority", "");
    auto cfg = config_with_path(path);
    char dst[XAUTHORITY_SIZE] = "";
    get_xauthority(0, dst, &cfg);
}

TEST(sleep_seconds, takes_a_negative_number_for_none)
{
    host h;
    h.expect("sleep 2147483647");
    sleep_seconds(2147483647);
    h.expect("sleep 0");
    sleep_seconds(-2147483647 - 1);
}
