#include "supervision.h"
#include "support/calls.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>

using lines = std::vector<std::string>;
using namespace std::string_literals;

namespace
{

constexpr std::int64_t MIB = 1024 * 1024;

// What a pass does about its log before the login is looked up.
enum log_step {
    LOG_NOT_LOOKED_AT,
    LOG_LOOKED_AT,
    LOG_OPENED,
    LOG_LOOKED_AT_AND_OPENED,
};

struct pass {
    std::string config = ""; // of the file
    log_step log = LOG_NOT_LOOKED_AT;
    std::optional<std::string> who = "alice :0\n"; // nothing: it cannot be started
    int xauthority_delay = 0;
    std::string xauthority = ""; // what the lookup prints
    std::string command = "";    // empty: none is run
    int status = 0;              // of the command; SIGINT and SIGQUIT end the loop
};

// The agent command with the default configuration.
std::string agent(int wait, const std::string& xauthority = "not_found", const std::string& options = "")
{
    return "/usr/bin/haldo_starthostsw -e /usr/bin/haldo_agent -x " + xauthority + " -o '-ll3 " + options +
           " -ld /var/log/haldo -ls 2' -w " + std::to_string(wait);
}

std::string su(const std::string& user, const std::string& command)
{
    return "su " + user + " -c \"" + command + "\"";
}

// The loop as main enters it, and what its passes call.
class supervised_host : public host
{
public:
    std::string dir = "/var/log/haldo";
    std::string path = "/usr/bin";
    std::int64_t log_size = 0;
    sVESK_DAEMON_STATE_STRUCT state{.config = {}, .user = "", .xauthority = "not_found"};

    explicit supervised_host(const std::string& config = "", std::int32_t level = VESK_LOG_INFO)
    {
        expect_config(config);
        m_log_level = VESK_LOG_OFF;
        get_config(&state.config);
        m_log_level = level;
    }
    announced_log own_log(bool rotates = false) const { return {.dir = dir, .size = log_size, .rotates = rotates}; }
    void expect_log_opened(bool rotates = false) { ::expect_log_opened(*this, own_log(rotates)); }
    void expect_log_not_opened() { ::expect_log_not_opened(*this, EACCES, own_log()); }
    void expect_config_read(const pass& p)
    {
        expect_config(p.config);
        if (p.log == LOG_LOOKED_AT || p.log == LOG_LOOKED_AT_AND_OPENED)
            expect_log_looked_at(*this, own_log());
        if (p.log == LOG_OPENED || p.log == LOG_LOOKED_AT_AND_OPENED)
            expect_log_opened(p.log == LOG_LOOKED_AT_AND_OPENED);
    }
    // Who is logged in, the X authority file, and the command that runs.
    void expect_login_and_command(const pass& p)
    {
        if (p.who)
            expect_popen("who -u", *p.who);
        else
            expect("popen who -u", -1, ENOMEM);
        expect("sleep " + std::to_string(p.xauthority_delay));
        expect_popen(path + "/haldo_xauthority", p.xauthority);
        if (p.command.empty())
            return;
        expect("signal SIGCHLD SIG_DFL");
        expect("system " + p.command, p.status);
        expect("signal SIGCHLD SIG_IGN");
    }
    void expect_pass(const pass& p)
    {
        expect_config_read(p);
        expect_login_and_command(p);
        if (p.status == SIGINT || p.status == SIGQUIT)
            return;
        expect_log_opened();
        expect("sleep 1");
    }
    // The first of the passes looks at the log, and after the last one the daemon is disabled.
    lines run(std::vector<pass> passes)
    {
        if (passes[0].log == LOG_NOT_LOOKED_AT)
            passes[0].log = LOG_LOOKED_AT;
        for (const pass& p : passes)
            expect_pass(p);
        expect_config("DaemonEnable=0\n");
        EXPECT_EQ(supervise(), LOOP_CANNOT_GO_ON);
        return log();
    }
    std::optional<eVESK_LOOP_END> supervise()
    {
        std::optional<eVESK_LOOP_END> end;
        exit_status_of([&] { end = supervise_agent(&state); });
        return end;
    }
};

// The lines of main.
lines of_main(const lines& log)
{
    lines found;
    std::ranges::copy_if(log, std::back_inserter(found),
                         [](const std::string& line) { return line.starts_with("main "); });
    return found;
}

const std::string disabled = "main I The haldohostswd daemon is disabled";
const std::string log_failed = "main E init_logging() failed, exiting!";

const lines default_dump = {
    "dump_config I Log Directory: /var/log/haldo, Max Size: 2 MB",
    "dump_config I Daemon: Log level 3, Enable 1, Delay 1, xAuth 5 ",
    "dump_config I /usr/bin/haldo_agent: start delay 10/1, log level 3, Options: ",
};

} // namespace

// --- The choice of delays and identity ---

TEST(supervise_agent, chooses_delays_and_identity_by_the_change_of_the_login)
{
    struct step {
        int login; // the result of is_user_logged_in_locally
        int xauthority_delay;
        int wait;
        bool as_user;
    };
    const std::vector<step> sequences[] = {
        {{0, 7, 3, false}, {0, 7, 3, false}, {0, 7, 3, false}},
        {{0, 7, 3, false}, {1, 7, 12, true}, {1, 0, 3, true}, {1, 0, 3, true}},
        {{1, 7, 12, true}, {1, 0, 3, true}},
        {{1, 7, 12, true}, {0, 7, 3, false}, {0, 7, 3, false}, {1, 7, 12, true}},
        {{-1, 7, 12, true}, {-1, 0, 3, true}, {0, 7, 3, false}},
        {{1, 7, 12, true}, {-1, 7, 12, true}, {-1, 0, 3, true}, {1, 7, 12, true}},
        {{0, 7, 3, false}, {-1, 7, 12, true}, {0, 7, 3, false}},
    };
    for (const std::vector<step>& sequence : sequences) {
        std::string name;
        supervised_host h("HostSWLoginStartDelay=12\nHostSWRestartDelay=3\nDaemonXAuthDelay=7\n");
        std::strcpy(h.state.user, "alice");
        std::vector<pass> passes;
        for (const step& s : sequence) {
            name += std::to_string(s.login) + " ";
            passes.push_back({.who = s.login < 0   ? std::nullopt
                                     : s.login > 0 ? std::optional("alice :0\n")
                                                   : std::optional(""),
                              .xauthority_delay = s.xauthority_delay,
                              .command = s.as_user ? su("alice", agent(s.wait)) : agent(s.wait)});
        }
        SCOPED_TRACE(name);
        h.run(passes);
    }
}

TEST(supervise_agent, treats_another_user_as_the_same_login)
{
    supervised_host h;
    h.run({
        {.who = "alice :0\n", .xauthority_delay = 5, .command = su("alice", agent(10))},
        {.who = "bob :0\n", .xauthority_delay = 0, .command = su("bob", agent(1))},
    });
}

TEST(supervise_agent, runs_the_command_of_the_login_screen_as_root)
{
    supervised_host h;
    h.run({
        {.who = "(unknown) :0\n",
         .xauthority_delay = 5,
         .command = "/usr/bin/haldo_starthostsw -e /usr/bin/haldo_agent -x not_found -o '-ll3  -ld /var/log/haldo "
                    "-ls 2' -w 1"},
        {.who = "", .xauthority_delay = 5, .command = agent(1)},
    });
}

TEST(supervise_agent, runs_the_command_of_a_user_through_su)
{
    supervised_host h;
    h.run({{.who = "alice :0\n",
            .xauthority_delay = 5,
            .xauthority = "XAUTHORITY=/run/user/1000/Xauthority\n",
            .command = "su alice -c \"/usr/bin/haldo_starthostsw -e /usr/bin/haldo_agent -x "
                       "/run/user/1000/Xauthority -o '-ll3  -ld /var/log/haldo -ls 2' -w 10\""}});
}

TEST(supervise_agent, builds_the_command_from_the_configuration)
{
    supervised_host h("HostSWPath=/opt/haldo\nHostSWOptions=-a 'b c' $d\nHostSWLogLevel=-12\nLogDirLocation=/srv/log\n"
                      "LogFileSize=30\nHostSWLoginStartDelay=-4\n");
    h.dir = "/srv/log";
    h.path = "/opt/haldo";
    h.run({{.xauthority_delay = 5,
            .command = "su alice -c \"/opt/haldo/haldo_starthostsw -e /opt/haldo/haldo_agent -x not_found -o '-ll-12 "
                       "-a 'b c' $d -ld /srv/log -ls 30' -w -4\""}});
}

TEST(supervise_agent, takes_the_name_that_the_buffer_holds_when_the_login_is_not_known)
{
    {
        supervised_host h;
        h.run({
            {.who = "carol pts/0 (192.0.2.7)\n", .xauthority_delay = 5, .command = agent(1)},
            {.who = {}, .xauthority_delay = 5, .command = su("carol", agent(10))},
        });
    }
    {
        supervised_host h;
        h.run({{.who = {}, .xauthority_delay = 5, .command = su("", agent(10))}});
    }
    supervised_host h;
    std::strcpy(h.state.user, "root");
    EXPECT_EQ(of_main(h.run({{.who = {}, .xauthority_delay = 5}})),
              (lines{"main I The haldo agent cannot run under root permissions", disabled}));
}

TEST(supervise_agent, keeps_the_xauthority_value_until_another_is_found)
{
    supervised_host h;
    h.run({
        {.xauthority_delay = 5, .command = su("alice", agent(10, "not_found"))},
        {.xauthority = "XAUTHORITY=/a\n", .command = su("alice", agent(1, "/a"))},
        {.xauthority = "XAUTHORITY=\n", .command = su("alice", agent(1, "/a"))},
        {.xauthority = "XAUTHORITY=/b c", .command = su("alice", agent(1, "/b c"))},
        {.who = "", .xauthority_delay = 5, .command = agent(1, "/b c")},
        {.who = "", .xauthority_delay = 5, .xauthority = "XAUTHORITY=/d\n", .command = agent(1, "/d")},
    });
    EXPECT_STREQ(h.state.xauthority, "/d\n");
}

// --- Root ---

TEST(supervise_agent, runs_nothing_for_root)
{
    supervised_host h;
    const std::string refused = "main I The haldo agent cannot run under root permissions";
    const pass first{.who = "root :0\n", .xauthority_delay = 5};
    const pass later{.who = "root :0\n", .xauthority_delay = 0};
    EXPECT_EQ(of_main(h.run({first, later, later})), (lines{refused, refused, refused, disabled}));
}

TEST(supervise_agent, runs_the_agent_for_root_where_that_is_allowed)
{
    for (const char* allowed : {"1", "2", "-1"}) {
        supervised_host h("DaemonRootHaldoAgent="s + allowed + "\n");
        EXPECT_EQ(of_main(h.run({{.who = "root :0\n", .xauthority_delay = 5, .command = su("root", agent(10))}})),
                  (lines{disabled}));
    }
}

TEST(supervise_agent, takes_only_the_exact_name_for_root)
{
    for (const std::string user : {"rooty", "roo", "Root", "root2"}) {
        supervised_host h;
        h.run({{.who = user + " :0\n", .xauthority_delay = 5, .command = su(user, agent(10))}});
    }
}

TEST(supervise_agent, starts_the_agent_for_root_once_the_configuration_allows_it)
{
    supervised_host h;
    h.run({
        {.who = "root :0\n", .xauthority_delay = 5},
        {.config = "DaemonRootHaldoAgent=1\n",
         .log = LOG_LOOKED_AT,
         .who = "root :0\n",
         .command = su("root", agent(1))},
        {.config = "DaemonRootHaldoAgent=0\n", .log = LOG_LOOKED_AT, .who = "root :0\n"},
    });
}

// --- Commands that are not run ---

TEST(supervise_agent, runs_a_command_of_399_characters_and_none_that_is_longer)
{
    for (const bool as_user : {true, false}) {
        const auto command = [&](int wait, const std::string& xauthority) {
            return as_user ? su("alice", agent(wait, xauthority)) : agent(wait, xauthority);
        };
        const std::string who = as_user ? "alice :0\n" : "";
        const int later_delay = as_user ? 0 : 5;
        const int first_wait = as_user ? 10 : 1;
        const auto value = [&](int wait, std::size_t length) {
            return std::string(length - command(wait, "").size(), 'x');
        };
        const auto refused = [](int length) {
            return "main E command of " + std::to_string(length) +
                   " characters is longer than 399, the haldo agent is not run";
        };
        const std::string v399 = value(first_wait, 399);
        supervised_host h;
        EXPECT_EQ(of_main(h.run({
                      {.who = who,
                       .xauthority_delay = 5,
                       .xauthority = "XAUTHORITY=" + v399 + "\n",
                       .command = command(first_wait, v399)},
                      {.who = who, .xauthority_delay = later_delay, .xauthority = "XAUTHORITY=" + value(1, 400) + "\n"},
                      {.who = who, .xauthority_delay = later_delay},
                      {.who = who, .xauthority_delay = later_delay, .xauthority = "XAUTHORITY=" + value(1, 401)},
                      {.who = who,
                       .xauthority_delay = later_delay,
                       .xauthority = "XAUTHORITY=/a\n",
                       .command = command(1, "/a")},
                  })),
                  (lines{refused(400), refused(400), refused(401), disabled}));
    }
}

TEST(supervise_agent, counts_every_character_of_a_command_that_is_too_long)
{
    const std::string options(100, 'o');
    const std::string path(400, 'p');
    const std::string xauthority(488, 'x');
    const std::string user(200, 'u');
    const std::string command =
        su(user, path + "/haldo_starthostsw -e " + path + "/haldo_agent -x " + xauthority + " -o '-ll-2147483648 " +
                     options + " -ld /var/log/haldo -ls -2147483648' -w -2147483648");
    supervised_host h("HostSWOptions=" + options + "\nHostSWPath=" + path +
                          "\nHostSWLogLevel=-2147483648\nLogFileSize=-2147483648\nHostSWLoginStartDelay=-2147483648\n",
                      VESK_LOG_ERROR);
    h.path = path;
    h.expect_config("DaemonLogLevel=2\n");
    h.expect_log_opened(true);
    h.expect_login_and_command(
        {.who = user + " :0\n", .xauthority_delay = 5, .xauthority = "XAUTHORITY=" + xauthority});
    h.expect_log_opened(true);
    h.expect("sleep 1");
    h.expect_config("DaemonEnable=0\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log(), (lines{"main E command of " + std::to_string(command.size()) +
                              " characters is longer than 399, the haldo agent is not run"}));
}

TEST(supervise_agent, reads_no_further_than_members_that_have_no_terminator)
{
    const std::string dir(400, 'd');
    const std::string options(100, 'o');
    const std::size_t length = agent(1, "not_found", options).size() + dir.size() - "/var/log/haldo"s.size();
    supervised_host h("HostSWOptions=" + options + "\nLogDirLocation=" + dir + "\nDaemonLogLevel=2\n", VESK_LOG_ERROR);
    h.dir = dir;
    h.expect_config_read({.log = LOG_LOOKED_AT});
    h.expect_login_and_command({.who = "", .xauthority_delay = 5});
    h.expect_log_opened();
    h.expect("sleep 1");
    h.expect_config("DaemonEnable=0\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log(), (lines{"main E command of " + std::to_string(length) +
                              " characters is longer than 399, the haldo agent is not run"}));
}

TEST(supervise_agent, runs_nothing_for_a_user_name_with_a_character_of_the_shells)
{
    const std::string special = " |&;<>()$`\\\"'*?[]{}#~=%!^\x7F";
    for (int c = 1; c <= 0xFF; ++c) {
        const bool unsafe = c < ' ' || special.find(static_cast<char>(c)) != std::string::npos;
        for (const auto& [before, after] : {std::pair("al", "ice"), {"", "alice"}, {"alice", ""}}) {
            const std::string user = before + std::string(1, static_cast<char>(c)) + after;
            if (c == '-' && *before == '\0')
                continue; // refused as an option, below
            SCOPED_TRACE(testing::PrintToString(user));
            supervised_host h;
            std::strcpy(h.state.user, user.c_str());
            char refused[100];
            std::snprintf(refused, sizeof(refused),
                          "main E user name with character 0x%02X, the haldo agent is not run", c);
            EXPECT_EQ(
                of_main(h.run({{.who = {}, .xauthority_delay = 5, .command = unsafe ? "" : su(user, agent(10))}})),
                unsafe ? (lines{refused, disabled}) : (lines{disabled}));
        }
    }
}

TEST(supervise_agent, runs_nothing_for_a_user_name_that_su_would_take_for_an_option)
{
    for (const std::string user : {"-x", "-", "--login"}) {
        supervised_host h;
        EXPECT_EQ(of_main(h.run({{.who = user + " :0\n", .xauthority_delay = 5}})),
                  (lines{"main E user name with character 0x2D, the haldo agent is not run", disabled}));
    }
}

TEST(supervise_agent, runs_nothing_for_a_terminal_on_the_display_of_the_login_screen)
{
    supervised_host h;
    EXPECT_EQ(of_main(h.run({{.who = "(unknown) pts/1 (:0)\n", .xauthority_delay = 5}})),
              (lines{"main E user name with character 0x28, the haldo agent is not run", disabled}));
}

// --- Configuration ---

TEST(supervise_agent, logs_the_configuration_on_the_first_pass_and_after_a_change)
{
    supervised_host h("DaemonLogLevel=3\n");
    h.expect_pass({.log = LOG_LOOKED_AT, .xauthority_delay = 5, .command = su("alice", agent(10))});
    h.expect_pass({.command = su("alice", agent(1))});
    h.expect_pass({.config = "HostSWLogLevel=3\nLogFileSize=2\n", .command = su("alice", agent(1))});
    h.expect_pass(
        {.config = "HostSWOptions=-v\n", .log = LOG_LOOKED_AT, .command = su("alice", agent(1, "not_found", "-v"))});
    h.expect_pass({.config = "HostSWOptions=-v\n", .command = su("alice", agent(1, "not_found", "-v"))});
    h.expect_config("DaemonEnable=0\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);

    lines expected;
    const auto expect = [&](const lines& more) { expected.insert(expected.end(), more.begin(), more.end()); };
    const lines looked_at = {"filesize I Logfile: //var/log/haldo/haldohostsw.0.log is =< 0 MB"};
    const lines opened = {looked_at[0], "init_logging I success: level 3, file //var/log/haldo/haldohostsw.0.log"};
    for (const lines& part : {looked_at, default_dump, opened, opened, opened, looked_at, default_dump})
        expect(part);
    expected.back() += "-v";
    for (const lines& part : {opened, opened, lines{disabled}})
        expect(part);
    EXPECT_EQ(h.log(), expected);
}

TEST(supervise_agent, opens_the_log_again_when_level_directory_or_size_call_for_it)
{
    const struct {
        const char* config;
        std::int64_t log_size;
        log_step log;
        const char* dir;
    } cases[] = {
        {"LogFileSize=1\n", MIB, LOG_LOOKED_AT, "/var/log/haldo"},
        {"LogFileSize=1\n", MIB + 1, LOG_LOOKED_AT_AND_OPENED, "/var/log/haldo"},
        {"LogFileSize=3\n", 3 * MIB, LOG_LOOKED_AT, "/var/log/haldo"},
        {"DaemonStartDelay=9\n", 2 * MIB, LOG_LOOKED_AT, "/var/log/haldo"},
        {"DaemonStartDelay=9\n", 2 * MIB + 1, LOG_LOOKED_AT_AND_OPENED, "/var/log/haldo"},
        {"DaemonLogLevel=4\n", 0, LOG_OPENED, "/var/log/haldo"},
        {"DaemonLogLevel=1\n", 2 * MIB, LOG_OPENED, "/var/log/haldo"},
        {"LogDirLocation=/srv/log\n", 0, LOG_OPENED, "/srv/log"},
        {"LogDirLocation=/var/log/hald\n", 0, LOG_OPENED, "/var/log/hald"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.config + std::to_string(c.log_size));
        supervised_host h;
        h.expect_pass({.log = LOG_LOOKED_AT, .xauthority_delay = 5, .command = su("alice", agent(10))});
        h.dir = c.dir;
        h.log_size = c.log_size;
        h.expect_config_read({.config = c.config, .log = c.log});
        // Nothing is run for root, so that the command is of no interest here.
        h.expect_login_and_command({.who = "root :0\n"});
        h.log_size = 0;
        h.expect_log_opened();
        h.expect("sleep 1");
        h.expect_config("DaemonEnable=0\n");
        EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    }
}

TEST(supervise_agent, tells_directories_apart_by_each_of_their_400_characters)
{
    const std::string dir(400, 'd');
    for (const std::size_t other : {0, 398, 399}) {
        SCOPED_TRACE(other);
        supervised_host h("LogDirLocation=" + dir + "\n");
        h.dir = dir;
        h.dir[other] = 'D';
        h.expect_config_read({.config = "LogDirLocation=" + h.dir + "\n", .log = LOG_OPENED});
        h.expect_login_and_command({.who = "root :0\n", .xauthority_delay = 5});
        h.expect_log_opened();
        h.expect("sleep 1");
        h.expect_config("DaemonEnable=0\n");
        EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    }
}

TEST(supervise_agent, applies_a_new_level_at_once)
{
    supervised_host h;
    h.expect_pass({.log = LOG_LOOKED_AT, .xauthority_delay = 5, .command = su("alice", agent(10))});
    h.expect_config_read({.config = "DaemonLogLevel=9\n", .log = LOG_OPENED});
    h.expect_login_and_command({.command = su("alice", agent(1)), .status = SIGINT});
    EXPECT_EQ(h.supervise(), LOOP_AGENT_INTERRUPTED);
    EXPECT_EQ(m_log_level, VESK_LOG_ERROR);
}

TEST(supervise_agent, opens_the_log_on_the_first_pass_when_the_configuration_has_changed_since_the_start)
{
    supervised_host h;
    h.run({{.config = "DaemonLogLevel=2\n",
            .log = LOG_OPENED,
            .xauthority_delay = 5,
            .command = su("alice", agent(10))}});
}

TEST(supervise_agent, uses_a_changed_configuration_in_the_same_pass)
{
    supervised_host h;
    h.run({
        {.who = "", .xauthority_delay = 5, .command = agent(1)},
        {.config = "DaemonXAuthDelay=2\nHostSWLoginStartDelay=33\nHostSWOptions=-v\n",
         .log = LOG_LOOKED_AT,
         .xauthority_delay = 2,
         .command = su("alice", agent(33, "not_found", "-v"))},
    });
}

TEST(supervise_agent, opens_no_file_at_level_zero)
{
    supervised_host h("DaemonLogLevel=0\n", VESK_LOG_OFF);
    h.expect_config_read({.log = LOG_LOOKED_AT});
    h.expect_login_and_command({.xauthority_delay = 5, .command = su("alice", agent(10))});
    h.expect("system mkdir -p '//var/log/haldo'");
    h.expect("system chmod -R 777 '//var/log/haldo'");
    h.expect("sleep 1");
    h.expect_config("DaemonEnable=0\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log(), lines{});
}

TEST(supervise_agent, rotates_a_log_that_has_grown_while_the_agent_ran)
{
    supervised_host h;
    h.expect_config_read({.log = LOG_LOOKED_AT});
    h.expect_login_and_command({.xauthority_delay = 5, .command = su("alice", agent(10))});
    h.log_size = 2 * MIB + 1;
    h.expect_log_opened(true);
    h.expect("sleep 1");
    h.expect_config("DaemonEnable=0\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
}

// --- The end ---

TEST(supervise_agent, ends_when_a_signal_from_the_keyboard_ended_the_agent)
{
    for (const int signum : {SIGINT, SIGQUIT}) {
        for (const std::string user : {"alice", ""}) {
            supervised_host h;
            h.expect_pass({.log = LOG_LOOKED_AT,
                           .who = user.empty() ? "" : user + " :0\n",
                           .xauthority_delay = 5,
                           .command = user.empty() ? agent(1) : su(user, agent(10)),
                           .status = signum});
            EXPECT_EQ(h.supervise(), LOOP_AGENT_INTERRUPTED);
            EXPECT_EQ(h.log().back(), "run_cmd I Host SW Received signal: haldo daemon exiting.");
        }
    }
}

TEST(supervise_agent, goes_on_however_else_the_agent_ended)
{
    supervised_host h;
    std::vector<pass> passes{{.xauthority_delay = 5, .command = su("alice", agent(10))}};
    for (const int status : {1 << 8, SIGINT << 8, 127 << 8, SIGKILL, SIGTERM, SIGSEGV | 0x80, -1})
        passes.push_back({.command = su("alice", agent(1)), .status = status});
    h.run(passes);
}

TEST(supervise_agent, ends_when_the_daemon_is_disabled)
{
    {
        supervised_host h;
        h.expect_config("DaemonEnable=0\n");
        EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
        EXPECT_EQ(h.log(), (lines{disabled}));
    }
    supervised_host h;
    h.expect_pass({.log = LOG_LOOKED_AT, .xauthority_delay = 5, .command = su("alice", agent(10))});
    h.expect_pass({.config = "DaemonEnable=2\n", .log = LOG_LOOKED_AT, .command = su("alice", agent(1))});
    h.expect_config("DaemonEnable=0\nDaemonLogLevel=1\nLogDirLocation=/srv/log\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log().back(), disabled);
}

TEST(supervise_agent, ends_when_the_log_of_a_changed_configuration_cannot_be_opened)
{
    supervised_host h;
    h.dir = "/srv/log";
    h.expect_config("LogDirLocation=/srv/log\n");
    h.expect_log_not_opened();
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log(), (lines{
                           "filesize I Logfile: //srv/log/haldohostsw.0.log is =< 0 MB",
                           "init_logging E Error opening logfile //srv/log/haldohostsw.0.log (ret -1)",
                           log_failed,
                       }));
}

TEST(supervise_agent, ends_when_the_log_cannot_be_opened_after_the_agent)
{
    supervised_host h;
    h.expect_config_read({.log = LOG_LOOKED_AT});
    h.expect_login_and_command({.xauthority_delay = 5, .command = su("alice", agent(10))});
    h.expect_log_not_opened();
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log().back(), log_failed);
}

TEST(supervise_agent, ends_when_the_log_cannot_be_opened_in_a_pass_that_runs_nothing)
{
    supervised_host h;
    h.expect_config_read({.log = LOG_LOOKED_AT});
    h.expect_login_and_command({.who = "root :0\n", .xauthority_delay = 5});
    h.expect_log_not_opened();
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    EXPECT_EQ(h.log().back(), log_failed);
}

TEST(supervise_agent, tolerates_a_directory_name_that_is_too_short)
{
    supervised_host h;
    h.expect_config("LogDirLocation=ab\n");
    h.expect_login_and_command({.who = "root :0\n", .xauthority_delay = 5});
    h.expect("sleep 1");
    h.expect_config("DaemonEnable=0\n");
    EXPECT_EQ(h.supervise(), LOOP_CANNOT_GO_ON);
    const std::string refused = "init_logging E Error using log directory ab";
    EXPECT_EQ(h.log(), (lines{
                           refused,
                           "dump_config I Log Directory: ab, Max Size: 2 MB",
                           default_dump[1],
                           default_dump[2],
                           "main I The haldo agent cannot run under root permissions",
                           refused,
                           disabled,
                       }));
}

// --- The log ---

TEST(supervise_agent, traces_a_pass_at_the_debug_level)
{
    supervised_host h("DaemonLogLevel=4\n", VESK_LOG_DEBUG);
    const std::string command = su("alice", agent(10, "/a"));
    h.expect_pass({.log = LOG_LOOKED_AT, .xauthority_delay = 5, .xauthority = "XAUTHORITY=/a\n", .command = command});
    h.expect_pass({.who = "", .xauthority_delay = 5, .command = agent(1, "/a"), .status = SIGINT});
    EXPECT_EQ(h.supervise(), LOOP_AGENT_INTERRUPTED);
    EXPECT_EQ(h.log(), (lines{
                           "filesize I Logfile: //var/log/haldo/haldohostsw.0.log is =< 0 MB",
                           default_dump[0],
                           "dump_config I Daemon: Log level 4, Enable 1, Delay 1, xAuth 5 ",
                           default_dump[2],
                           "is_user_logged_in_locally D 'who -u' data: alice :0",
                           "is_user_logged_in_locally D user alice logged in locally :0",
                           "get_xauthority D Trying XAUTHORITY.",
                           "get_xauthority D sleep 5 seconds",
                           "get_xauthority D /usr/bin/haldo_xauthority",
                           "get_xauthority D XAUTHORITY=/a",
                           "get_xauthority D XAUTHORITY cookie is /a",
                           "get_xauthority D Done.",
                           "main D user alice is logged in",
                           "run_cmd D ----",
                           "run_cmd D Executing [" + command + "]",
                           "run_cmd D ----",
                           "filesize I Logfile: //var/log/haldo/haldohostsw.0.log is =< 0 MB",
                           "init_logging I success: level 4, file //var/log/haldo/haldohostsw.0.log",
                           "get_xauthority D Trying XAUTHORITY.",
                           "get_xauthority D sleep 5 seconds",
                           "get_xauthority D /usr/bin/haldo_xauthority",
                           "get_xauthority D Done.",
                           "run_cmd D ----",
                           "run_cmd D Executing [" + agent(1, "/a") + "]",
                           "run_cmd D ----",
                           "run_cmd I Host SW Received signal: haldo daemon exiting.",
                       }));
}

TEST(supervise_agent, names_root_before_it_says_that_nothing_is_run)
{
    supervised_host h("DaemonLogLevel=4\n", VESK_LOG_DEBUG);
    h.expect_pass({.log = LOG_LOOKED_AT, .who = "root :0\n", .xauthority_delay = 5});
    h.expect_config("#\n");
    h.expect_login_and_command({.who = "", .xauthority_delay = 5, .command = agent(1), .status = SIGQUIT});
    EXPECT_EQ(h.supervise(), LOOP_AGENT_INTERRUPTED);
    EXPECT_EQ(of_main(h.log()), (lines{
                                    "main D user root is logged in",
                                    "main I The haldo agent cannot run under root permissions",
                                }));
}
