#include "haldo_build_id.h"
#include "haldo_version.h"
#include "support/calls.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

int haldohostswd_main();

using lines = std::vector<std::string>;

namespace
{

const lines version_lines = {
    "main I haldohostswd daemon version " HALDO_VERSION,
    "main I haldohostswd daemon build ID HEAD@" HALDO_BUILD_ID,
};
const lines running_lines = {
    "main I haldohostswd daemon version " HALDO_VERSION " running",
    "main I haldohostswd daemon build id HEAD@" HALDO_BUILD_ID,
};
const lines config_lines = {
    "dump_config I Log Directory: /var/log/haldo, Max Size: 2 MB",
    "dump_config I Daemon: Log level 3, Enable 1, Delay 1, xAuth 5 ",
    "dump_config I /usr/bin/haldo_agent: start delay 10/1, log level 3, Options: ",
};
const lines looked_at_line = {"filesize I Logfile: //var/log/haldo/haldohostsw.0.log is =< 0 MB"};
const lines opened_lines = {
    looked_at_line[0],
    "init_logging I success: level 3, file //var/log/haldo/haldohostsw.0.log",
};
const lines detached_line = {"daemonize I sent signal 10 to parent process"};
const lines interrupted_line = {"run_cmd I Host SW Received signal: haldo daemon exiting."};
const lines disabled_line = {"main I The haldohostswd daemon is disabled"};
const lines terminated_line = {"main I Terminated"};
const lines log_failed_lines = {
    looked_at_line[0],
    "init_logging E Error opening logfile //var/log/haldo/haldohostsw.0.log (ret -1)",
    "main E init_logging() failed, exiting!",
};

lines joined(const std::vector<lines>& parts)
{
    lines all;
    for (const lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// What the life of the process calls, part by part.
class process_host : public host
{
public:
    void expect_devices_opened()
    {
        expect_nodes_opened(*this);
        expect_ioctl(HCC, 0x7801, zero_filled(32), zero_filled(32, {7}));
        expect_ioctl(HCC, 0x7802, zero_filled(252), zero_filled(252));
        expect_ioctl(HCC, 0x7803, zero_filled(252), zero_filled(252));
    }
    void expect_devices_closed() { expect_nodes_closed(*this); }
    void expect_agent_pid_file_removed() { expect("remove /tmp/haldohostsw.pid", -1, ENOENT); }
    // What follows the devices, up to where a process detaches itself.
    void expect_configured(const std::string& config = "")
    {
        expect_config(config);
        expect_log_opened(*this);
        expect_agent_pid_file_removed();
    }
    void expect_started(const std::string& config = "")
    {
        expect_devices_opened();
        expect_configured(config);
    }
    // The start of a process that does not detach itself.
    void expect_started_by_init(const std::string& config = "")
    {
        ppid = 1;
        expect_started(config);
    }
    void expect_detached()
    {
        expect_fork(*this, 0);
        expect_all(*this, child_calls);
    }
    // From there to the loop.
    void expect_running(const std::string& delay = "1", const std::string& who = "")
    {
        expect("signal SIGCHLD SIG_IGN");
        expect("sleep " + delay);
        expect_popen("who -u", who);
    }
    // A first pass of the loop for the login screen; status is that of the agent.
    void expect_pass(int status)
    {
        expect_config("");
        expect_log_looked_at(*this);
        expect_popen("who -u", "");
        expect("sleep 5");
        expect_popen("/usr/bin/haldo_xauthority", "");
        expect("signal SIGCHLD SIG_DFL");
        expect("system /usr/bin/haldo_starthostsw -e /usr/bin/haldo_agent -x not_found -o '-ll3  -ld /var/log/haldo "
               "-ls 2' -w 1",
               status);
        expect("signal SIGCHLD SIG_IGN");
    }
    void expect_shut_down()
    {
        expect_ioctl(HDC, 0x7911, {0, 0, 0, 0, 0, 0, 0, 0});
        expect_ioctl(HCC, 0x7821, {1, 0, 0, 0, 0, 0, 0, 0});
        expect_ioctl(HDC, 0x7901, {});
        expect_devices_closed();
    }

    // What main returns; -1 when the process was left in another way.
    int returned()
    {
        int result = -1;
        exited = exit_status_of([&] { result = haldohostswd_main(); });
        return result;
    }
    std::optional<int> exited; // the status, where the process ended inside of main
};

} // namespace

TEST(main, refuses_a_user_who_is_not_root)
{
    process_host h;
    h.uid = 1000;
    h.expect_devices_opened();
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines, {"main E The daemon must be run by root, exiting!"}}));
}

TEST(main, opens_the_devices_before_it_says_anything)
{
    process_host h;
    h.uid = 1000;
    expect_nodes_opened(h, ENOENT, ENOENT);
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({{
                                   "cVESK_HALDO_LINK E failed to initialize Haldo HCC device object (ret=-510)",
                                   "cVESK_HALDO_LINK E failed to initialize Haldo HDC device object (ret=-510)",
                                   "synch_ioctl E not m_initialized",
                                   "hmi_avail_cmd_get E failed to get available HMI commands",
                               },
                               version_lines,
                               {"main E The daemon must be run by root, exiting!"}}));
}

TEST(main, leaves_no_standard_descriptor_to_the_devices)
{
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        process_host h;
        h.uid = 1000;
        h.expect("open /dev/null O_RDWR", 0);
        h.expect_devices_opened();
        h.expect_devices_closed();
        EXPECT_EQ(h.returned(), 0);
    }
    dup2(input, STDIN_FILENO);
    close(input);
}

TEST(main, ends_when_the_daemon_is_disabled)
{
    process_host h;
    h.expect_devices_opened();
    h.expect_config("DaemonEnable=0\n");
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines, disabled_line}));
}

TEST(main, ends_when_the_log_cannot_be_opened)
{
    process_host h;
    h.expect_devices_opened();
    h.expect_config("");
    expect_log_not_opened(h, EROFS);
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines, log_failed_lines}));
}

TEST(main, detaches_runs_the_agent_and_shuts_down_in_order_when_it_is_interrupted)
{
    for (const int signum : {SIGINT, SIGQUIT}) {
        process_host h;
        h.expect_started();
        h.expect_detached();
        h.expect_running();
        h.expect_pass(signum);
        h.expect_shut_down();
        EXPECT_EQ(h.returned(), 0);
        EXPECT_EQ(h.log(), joined({version_lines, opened_lines, detached_line, running_lines, config_lines,
                                   looked_at_line, config_lines, interrupted_line, terminated_line}));
    }
}

TEST(main, does_not_detach_from_init)
{
    process_host h;
    h.expect_started_by_init();
    h.expect_running();
    h.expect_pass(SIGINT);
    h.expect_shut_down();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines, opened_lines, running_lines, config_lines, looked_at_line, config_lines,
                               interrupted_line, terminated_line}));
}

TEST(main, lets_the_starting_process_wait_for_its_child)
{
    for (const auto& [signum, status] : {std::pair(SIGUSR1, 0), {SIGALRM, 1}, {SIGCHLD, 1}}) {
        process_host h;
        h.expect_started();
        expect_fork(h, 555);
        h.expect("alarm 2");
        h.expect_interrupted("pause", signum);
        EXPECT_EQ(h.returned(), -1);
        EXPECT_EQ(h.exited, status);
    }
}

TEST(main, ends_a_second_instance_at_the_lock)
{
    process_host h;
    h.expect_started();
    expect_fork(h, 0);
    h.expect(OPEN_LOCK, 8);
    h.expect("lockf 8 F_TLOCK 0", -1, EAGAIN);
    EXPECT_EQ(h.returned(), -1);
    EXPECT_EQ(h.exited, 1);
    EXPECT_EQ(h.log().back(), "daemonize E Unable to lock lockfile /var/run/haldohostswd.pid, code 11 (Resource "
                              "temporarily unavailable)");
}

TEST(main, keeps_its_output_when_the_log_directory_is_too_short)
{
    process_host h;
    h.ppid = 1;
    h.expect_devices_opened();
    h.expect_config("LogDirLocation=ab\n");
    h.expect_agent_pid_file_removed();
    h.expect_running();
    h.expect_config("DaemonEnable=0\n");
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines,
                               {"init_logging E Error using log directory ab"},
                               running_lines,
                               {"dump_config I Log Directory: ab, Max Size: 2 MB", config_lines[1], config_lines[2]},
                               disabled_line}));
}

TEST(main, leaves_the_driver_alone_when_it_is_disabled_while_it_runs)
{
    process_host h;
    h.expect_started_by_init();
    h.expect_running();
    h.expect_pass(0);
    expect_log_opened(h);
    h.expect("sleep 1");
    h.expect_config("DaemonEnable=0\n");
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines, opened_lines, running_lines, config_lines, looked_at_line, config_lines,
                               opened_lines, disabled_line}));
}

TEST(main, leaves_the_driver_alone_when_its_log_cannot_be_opened_again)
{
    process_host h;
    h.expect_started_by_init();
    h.expect_running();
    h.expect_pass(0);
    expect_log_not_opened(h, EROFS);
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(h.log(), joined({version_lines, opened_lines, running_lines, config_lines, looked_at_line, config_lines,
                               log_failed_lines}));
}

TEST(main, waits_as_long_as_configured_before_it_starts)
{
    for (const auto& [config, delay] :
         {std::pair("DaemonStartDelay=7\n", "7"), {"DaemonStartDelay=0\n", "0"}, {"DaemonStartDelay=-5\n", "0"}}) {
        process_host h;
        h.expect_started_by_init(config);
        h.expect_running(delay);
        h.expect_config("DaemonEnable=0\n");
        h.expect_devices_closed();
        EXPECT_EQ(h.returned(), 0);
    }
}

TEST(main, remembers_the_user_who_was_there_before_the_loop)
{
    process_host h;
    h.expect_started_by_init();
    h.expect_running("1", "alice :0\n");
    h.expect_config("");
    expect_log_looked_at(h);
    h.expect("popen who -u", -1, ENOMEM);
    h.expect("sleep 5");
    h.expect_popen("/usr/bin/haldo_xauthority", "");
    h.expect("signal SIGCHLD SIG_DFL");
    h.expect("system su alice -c \"/usr/bin/haldo_starthostsw -e /usr/bin/haldo_agent -x not_found -o '-ll3  -ld "
             "/var/log/haldo -ls 2' -w 10\"",
             SIGQUIT);
    h.expect("signal SIGCHLD SIG_IGN");
    h.expect_shut_down();
    EXPECT_EQ(h.returned(), 0);
}

TEST(main, goes_on_when_the_login_is_not_known_before_the_loop)
{
    process_host h;
    h.expect_started_by_init();
    h.expect("signal SIGCHLD SIG_IGN");
    h.expect("sleep 1");
    h.expect("popen who -u", -1, ENOMEM);
    h.expect_pass(SIGINT);
    h.expect_shut_down();
    EXPECT_EQ(h.returned(), 0);
}

TEST(main, lives_its_whole_life_without_the_card)
{
    process_host h;
    h.ppid = 1;
    expect_nodes_opened(h, ENOENT, ENOENT);
    h.expect_configured();
    h.expect_running();
    h.expect_pass(SIGINT);
    EXPECT_EQ(h.returned(), 0);
    const lines log = h.log();
    const std::size_t end = joined({interrupted_line, terminated_line}).size() + 7;
    ASSERT_GE(log.size(), end);
    EXPECT_EQ(lines(log.end() - static_cast<std::ptrdiff_t>(end), log.end()),
              joined({interrupted_line,
                      {
                          "synch_ioctl E not m_initialized",
                          "kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-503)",
                          "update_driver_cfg E failed to configure cursor mode 0 in driver",
                          "synch_ioctl E not m_initialized",
                          "hdc_close E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-503)",
                          "synch_ioctl E not m_initialized",
                          "hdc_close E VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-503)",
                      },
                      terminated_line}));
}

TEST(main, looks_for_a_user_before_it_shows_the_configuration)
{
    process_host h;
    h.expect_started_by_init("DaemonLogLevel=4\n");
    h.expect_running("1", "carol pts/0\n");
    h.expect_config("DaemonEnable=0\n");
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    const lines log = h.log();
    const auto running = std::ranges::find(log, running_lines[1]);
    ASSERT_GE(log.end() - running, 3);
    EXPECT_EQ(running[1], "is_user_logged_in_locally D 'who -u' data: carol pts/0");
    EXPECT_EQ(running[2], config_lines[0]);
}

TEST(main, says_that_it_runs_before_it_ignores_its_children)
{
    process_host h;
    lines before;
    h.expect_started_by_init();
    h.expect_meanwhile("signal SIGCHLD SIG_IGN", [&] { before = h.log(); });
    h.expect("sleep 1");
    h.expect_popen("who -u", "");
    h.expect_config("DaemonEnable=0\n");
    h.expect_devices_closed();
    EXPECT_EQ(h.returned(), 0);
    EXPECT_EQ(before, joined({version_lines, opened_lines, running_lines}));
}

TEST(main, traces_its_end_at_the_debug_level)
{
    process_host h;
    h.expect_started_by_init("DaemonLogLevel=4\n");
    h.expect_running();
    h.expect_pass(SIGINT);
    h.expect_shut_down();
    EXPECT_EQ(h.returned(), 0);
    const lines log = h.log();
    const lines end = joined({interrupted_line,
                              {
                                  "kmp_driver_cfg_set D cursor event processing mode: Absolute",
                                  "stop D start",
                                  "hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay",
                                  "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay",
                                  "stop D end",
                              },
                              terminated_line,
                              {
                                  "~cVESK_HALDO_LINK D start",
                                  "~cVESK_HALDO_LINK D end",
                                  "~cVESK_DEV D start",
                                  "~cVESK_DEV D end",
                                  "~cVESK_DEV D start",
                                  "~cVESK_DEV D end",
                              }});
    ASSERT_GE(log.size(), end.size());
    EXPECT_EQ(lines(log.end() - static_cast<std::ptrdiff_t>(end.size()), log.end()), end);
}
