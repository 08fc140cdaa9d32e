#include "config.h"
#include "exit_lock.h"
#include "haldo_build_id.h"
#include "haldo_version.h"
#include "lifecycle.h"
#include "pid_files.h"
#include "support/calls.h"
#include "vesk_haldo_link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using lines = std::vector<std::string>;

namespace
{

// Announces the child's calls with another outcome of one of them; those after it only where it goes on.
void expect_child_with(host& h, const announced& other, bool goes_on)
{
    expect_fork(h, 0);
    for (const announced& c : child_calls) {
        const bool is_other = c.call == other.call;
        expect_all(h, {is_other ? other : c});
        if (is_other && !goes_on)
            return;
    }
}

sVESK_HOSTSW_DAEMON_CONFIG_STRUCT config_with(std::int32_t level, const char* dir, std::int32_t size_mib)
{
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT config{};
    config.DaemonLogLevel = level;
    std::strncpy(config.LogDirLocation, dir, sizeof(config.LogDirLocation));
    config.LogFileSize = size_mib;
    return config;
}

// Whether this process may be traced; otherwise the reason is told.
bool can_trace()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : errno);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return true;
    std::printf("skipped: no process can be traced here (%s)\n", std::strerror(WEXITSTATUS(status)));
    return false;
}

// A function in a process of its own, with standard streams as the daemon's, that daemon_handler interrupts.
class traced_process
{
public:
    traced_process(int output, const std::function<void()>& function)
    {
        std::fflush(stdout);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(output, STDOUT_FILENO);
            prepare_standard_streams();
            std::signal(SIGHUP, daemon_handler);
            std::signal(SIGUSR1, daemon_handler);
            let_time_fly(); // otherwise the first interruption converts the time for all
            LOG_MAIN_I("reads the time zone");
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            std::raise(SIGSTOP);
            function();
            _exit(0);
        }
        EXPECT_EQ(waitpid(m_pid, &status, 0), m_pid);
        EXPECT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGSTOP) << status;
        EXPECT_EQ(ptrace(PTRACE_SETOPTIONS, m_pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL), 0);
    }
    ~traced_process()
    {
        if (WIFSTOPPED(status)) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    traced_process(const traced_process&) = delete;
    traced_process& operator=(const traced_process&) = delete;

    // One instruction. Whether there was one.
    bool step() { return go_on(PTRACE_SINGLESTEP); }

    // The handler, until it returns or the process has ended, told by the system calls that it makes. False: it waits
    // for a lock.
    bool is_interrupted(int signum)
    {
        for (bool returns = false, called = false; !returns || called;) {
            if (!go_on(PTRACE_SYSCALL, std::exchange(signum, 0)))
                return true;
            if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
                signum = WSTOPSIG(status);
                continue;
            }
            called = !called;
            __ptrace_syscall_info call{};
            ptrace(PTRACE_GET_SYSCALL_INFO, m_pid, sizeof(call), &call);
            if (called && call.entry.nr == SYS_futex)
                return false;
            if (called)
                returns = call.entry.nr == SYS_rt_sigreturn;
        }
        return true;
    }

    int status = -1;

private:
    bool go_on(__ptrace_request how, int signum = 0)
    {
        if (ptrace(how, m_pid, nullptr, signum) != 0 || waitpid(m_pid, &status, 0) != m_pid)
            status = -1;
        return WIFSTOPPED(status);
    }

    pid_t m_pid;
};

// Interrupts a function by SIGHUP before each of its instructions. Expects that the handler never waits for a lock and
// writes the time as it is, and that the function ends.
void expect_never_to_hang_in_the_handler(const std::function<void()>& function)
{
    const std::time_t begin = std::time(nullptr);
    const int output = memfd_create("output", 0);
    traced_process process(output, function);
    int interruptions = 0;
    for (; process.step(); ++interruptions)
        ASSERT_TRUE(process.is_interrupted(SIGHUP)) << "after " << interruptions << " times that it did not wait";
    EXPECT_TRUE(WIFEXITED(process.status) && WEXITSTATUS(process.status) == 0) << process.status;
    EXPECT_GT(interruptions, 500);

    std::set<std::string> times;
    for (std::time_t second = begin; second <= std::time(nullptr) + 2 * interruptions + 2; ++second) {
        char text[32];
        std::strftime(text, sizeof(text), "%m/%d %H:%M:%S", std::localtime(&second));
        times.insert(text);
    }
    std::ifstream written("/proc/self/fd/" + std::to_string(output));
    int shown = 0;
    for (std::string line; std::getline(written, line);) {
        if (line.find(" d[I]                       daemon_handler | ") != std::strlen("MM/DD hh:mm:ss"))
            continue; // put into another line
        ++shown;
        EXPECT_TRUE(times.contains(line.substr(0, line.find(" d[")))) << line;
    }
    EXPECT_GT(shown, interruptions / 2);
    close(output);
}

} // namespace

TEST(prepare_standard_streams, opens_the_null_device_in_place_of_those_that_are_closed)
{
    struct stat null;
    ASSERT_EQ(stat("/dev/null", &null), 0);
    for (int closed = 0; closed < 8; ++closed) {
        SCOPED_TRACE(closed);
        int pipe_ends[2];
        ASSERT_EQ(pipe(pipe_ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            for (int fd = 0; fd <= 2; ++fd) {
                dup2(pipe_ends[1], fd);
                if ((closed >> fd & 1) != 0)
                    close(fd);
            }
            const int free_before = fcntl(pipe_ends[0], F_DUPFD, 3);
            close(free_before);
            prepare_standard_streams();
            int wrong = fcntl(pipe_ends[0], F_DUPFD, 0) != free_before;
            for (int fd = 0; fd <= 2; ++fd) {
                struct stat status;
                const bool is_null = fstat(fd, &status) == 0 && status.st_rdev == null.st_rdev;
                const bool was_closed = (closed >> fd & 1) != 0;
                wrong += is_null != was_closed;
                wrong += fcntl(fd, F_GETFD) != 0; // the agent inherits them
                wrong += was_closed && (fcntl(fd, F_GETFL) & O_ACCMODE) != O_RDWR;
            }
            _exit(wrong);
        }
        close(pipe_ends[0]);
        close(pipe_ends[1]);
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

TEST(log_version_at_start, spells_build_id_in_capitals)
{
    host h;
    log_version_at_start();
    EXPECT_EQ(h.log(), (lines{
                           "main I haldohostswd daemon version " HALDO_VERSION,
                           "main I haldohostswd daemon build ID HEAD@" HALDO_BUILD_ID,
                       }));
}

TEST(log_version_running, spells_build_id_in_small_letters)
{
    host h;
    log_version_running();
    EXPECT_EQ(h.log(), (lines{
                           "main I haldohostswd daemon version " HALDO_VERSION " running",
                           "main I haldohostswd daemon build id HEAD@" HALDO_BUILD_ID,
                       }));
}

TEST(log_version, is_silent_at_the_error_level)
{
    host h(VESK_LOG_ERROR);
    log_version_at_start();
    log_version_running();
    EXPECT_EQ(h.log(), lines{});
}

TEST(is_started_by_root, refuses_every_other_user)
{
    host h(VESK_LOG_ERROR);
    EXPECT_TRUE(is_started_by_root());
    EXPECT_EQ(h.log(), lines{});
    for (const unsigned int uid : {1u, 1000u, UINT_MAX}) {
        h.uid = uid;
        EXPECT_FALSE(is_started_by_root());
        EXPECT_EQ(h.log(), (lines{"main E The daemon must be run by root, exiting!"}));
    }
    m_log_level = VESK_LOG_CRITICAL;
    EXPECT_FALSE(is_started_by_root());
    EXPECT_EQ(h.log(), lines{});
}

TEST(is_enabled, is_false_for_zero_alone)
{
    host h;
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT config{};
    for (const std::int32_t enable : {1, 2, -1}) {
        config.DaemonEnable = enable;
        EXPECT_TRUE(is_enabled(config));
        EXPECT_EQ(h.log(), lines{});
    }
    config.DaemonEnable = 0;
    EXPECT_FALSE(is_enabled(config));
    EXPECT_EQ(h.log(), (lines{"main I The haldohostswd daemon is disabled"}));
    m_log_level = VESK_LOG_ERROR;
    EXPECT_FALSE(is_enabled(config));
    EXPECT_EQ(h.log(), lines{});
}

TEST(open_log, opens_the_log_as_configured)
{
    host h;
    expect_log_opened(h, {.dir = "/srv/log", .size = 4 * 1024 * 1024 + 1, .rotates = true});
    EXPECT_TRUE(open_log(config_with(VESK_LOG_ERROR, "/srv/log", 4)));
    EXPECT_EQ(m_log_level, VESK_LOG_ERROR);
    EXPECT_EQ(h.log(), lines{});
}

TEST(open_log, says_that_the_daemon_cannot_go_on_without_a_log_file)
{
    host h;
    expect_log_not_opened(h, EROFS, {.dir = "/srv/log"});
    EXPECT_FALSE(open_log(config_with(VESK_LOG_INFO, "/srv/log", 2)));
    EXPECT_EQ(h.log(), (lines{
                           "filesize I Logfile: //srv/log/haldohostsw.0.log is =< 0 MB",
                           "init_logging E Error opening logfile //srv/log/haldohostsw.0.log (ret -1)",
                           "main E init_logging() failed, exiting!",
                       }));
}

TEST(open_log, tolerates_a_directory_name_that_is_too_short)
{
    host h;
    EXPECT_TRUE(open_log(config_with(VESK_LOG_OFF, "ab", 2)));
    EXPECT_EQ(m_log_level, VESK_LOG_INFO);
    EXPECT_EQ(h.log(), (lines{"init_logging E Error using log directory ab"}));
}

TEST(remove_agent_pid_file, does_not_mind_when_there_is_none)
{
    host h(VESK_LOG_DEBUG);
    h.expect("remove /tmp/haldohostsw.pid");
    EXPECT_EQ(remove_agent_pid_file(), 0);
    h.expect("remove /tmp/haldohostsw.pid", -1, ENOENT);
    EXPECT_EQ(remove_agent_pid_file(), -1);
    EXPECT_EQ(h.log(), lines{});
}

TEST(is_child_of_init, asks_whether_the_parent_is_process_one)
{
    host h;
    for (const auto& [parent, answer] : {std::pair(1, true), {0, false}, {2, false}, {1234, false}}) {
        h.ppid = parent;
        EXPECT_EQ(is_child_of_init(), answer);
    }
}

TEST(daemon_handler, decides_by_the_signal_whether_and_how_the_process_ends)
{
    const std::pair<int, std::optional<int>> cases[] = {
        {SIGHUP, {}}, {SIGUSR1, 0}, {SIGALRM, 1}, {SIGTERM, 1}, {SIGCHLD, 1}, {SIGINT, 1}, {SIGUSR2, 1}, {64, 1},
    };
    for (const auto& [signum, status] : cases) {
        SCOPED_TRACE(signum);
        host h;
        h.pid = 77;
        EXPECT_EQ(h.exit_status_of([signum = signum] { daemon_handler(signum); }), status);
        EXPECT_EQ(h.log(), (lines{"daemon_handler I daemon_handler(): signum=" + std::to_string(signum) + " pid=77"}));
        m_log_level = VESK_LOG_ERROR;
        EXPECT_EQ(h.exit_status_of([signum = signum] { daemon_handler(signum); }), status);
        EXPECT_EQ(h.log(), lines{});
    }
}

TEST(daemon_handler, leaves_by_exit_with_its_signals_blocked_and_without_it_where_its_lock_may_be_taken)
{
    const std::set<int> handled = {SIGCHLD, SIGUSR1, SIGALRM, SIGTERM, SIGHUP};
    for (const int signum : {SIGUSR1, SIGALRM}) {
        host h;
        EXPECT_EQ(h.exit_status_of([=] { daemon_handler(signum); }), signum == SIGUSR1 ? 0 : 1);
        EXPECT_EQ(h.left_by, "exit");
        EXPECT_EQ(h.blocked, handled);
        h.blocked = {};
        exit_lock_taken = 1;
        EXPECT_EQ(h.exit_status_of([=] { daemon_handler(signum); }), signum == SIGUSR1 ? 0 : 1);
        exit_lock_taken = 0;
        EXPECT_EQ(h.left_by, "_exit");
        EXPECT_EQ(h.log().size(), 2U);
    }
}

TEST(last_of_main, blocks_the_handled_signals_at_the_end)
{
    host h;
    {
        const last_of_main last;
        EXPECT_EQ(h.blocked, std::set<int>{});
    }
    EXPECT_EQ(h.blocked, (std::set<int>{SIGCHLD, SIGUSR1, SIGALRM, SIGTERM, SIGHUP}));
}

TEST(daemon_handler, does_not_hang_whichever_instruction_it_interrupts)
{
    if (!can_trace())
        GTEST_SKIP();
    const std::string cut(400, 'x');
    setenv("TZ", "EAST-5:30", 1);
    expect_never_to_hang_in_the_handler([] { LOG_MAIN_I("text"); });
    expect_never_to_hang_in_the_handler([&cut] { LOG_MAIN_I("%s", cut.c_str()); });
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LOOKS_FOR_LEAKS_AT_EXIT
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define LOOKS_FOR_LEAKS_AT_EXIT
#endif

TEST(daemon_handler, ends_the_process_where_it_interrupts_a_change_of_streams)
{
#ifdef LOOKS_FOR_LEAKS_AT_EXIT
    GTEST_SKIP() << "a sanitizer's exit cannot be traced";
#endif
    if (!can_trace())
        GTEST_SKIP();
    const int output = memfd_create("output", 0);
    const auto change = [] {
        std::FILE* const stream = with_exit_lock([] { return std::fopen("/dev/null", "r"); });
        with_exit_lock([=] { return std::fclose(stream); });
    };
    int interruptions = 0; // each behind 16 instructions more: each takes a process of its own
    for (bool goes_on = true; goes_on; ++interruptions) {
        traced_process process(output, change);
        for (int i = 0; i < 16 * interruptions && goes_on; ++i)
            goes_on = process.step();
        if (goes_on) {
            ASSERT_TRUE(process.is_interrupted(SIGUSR1)) << "after " << 16 * interruptions << " instructions";
            EXPECT_TRUE(WIFEXITED(process.status) && WEXITSTATUS(process.status) == 0) << process.status;
        }
    }
    EXPECT_GT(interruptions, 10);
    close(output);
}

TEST(daemonize, lets_the_parent_wait_for_a_signal_that_decides_its_status)
{
    const std::pair<int, int> cases[] = {{SIGUSR1, 0}, {SIGHUP, 0}, {SIGALRM, 1}, {SIGCHLD, 1}, {SIGTERM, 1}};
    for (const auto& [signum, status] : cases) {
        SCOPED_TRACE(signum);
        host h;
        expect_fork(h, 555);
        h.expect("alarm 2");
        h.expect_interrupted("pause", signum);
        EXPECT_EQ(h.exit_status_of(daemonize), status);
        EXPECT_EQ(h.log(),
                  (lines{"daemon_handler I daemon_handler(): signum=" + std::to_string(signum) + " pid=4321"}));
    }
}

TEST(daemonize, unblocks_its_signals_before_they_have_handlers)
{
    host h;
    h.blocked = {SIGCHLD, SIGUSR1, SIGALRM, SIGTERM, SIGHUP, SIGUSR2};
    h.expect_meanwhile("signal SIGCHLD daemon_handler", [&h] { EXPECT_EQ(h.blocked, std::set<int>{SIGUSR2}); });
    for (const std::string signal : {"SIGUSR1", "SIGALRM", "SIGTERM", "SIGHUP"})
        h.expect("signal " + signal + " daemon_handler");
    h.expect("fork");
    expect_all(h, child_calls);
    EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
    EXPECT_EQ(h.blocked, std::set<int>{SIGUSR2});
}

TEST(daemonize, detaches_the_child)
{
    for (const std::int32_t level : {VESK_LOG_ERROR, VESK_LOG_INFO, VESK_LOG_DEBUG}) {
        host h(level);
        expect_fork(h, 0);
        expect_all(h, child_calls);
        EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
        EXPECT_EQ(h.log(), level == VESK_LOG_ERROR ? lines{} : (lines{"daemonize I sent signal 10 to parent process"}));
    }
}

TEST(daemonize, closes_the_outputs_without_a_log)
{
    for (const auto& [level, closes] :
         {std::pair<std::int32_t, bool>(0, true), {1, false}, {-1, false}, {INT_MIN, false}}) {
        SCOPED_TRACE(level);
        host h(level);
        expect_fork(h, 0);
        expect_all(h, {child_calls.begin(), child_calls.end() - 1});
        if (closes)
            for (const char* output : {"1", "2"})
                expect_all(h, {{"open /dev/null O_WRONLY", 10}, {std::string("dup2 10 ") + output}, {"close 10"}});
        expect_all(h, {child_calls.back()});
        EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
        EXPECT_EQ(h.log(), lines{});
    }
}

TEST(daemonize, writes_the_childs_process_id_and_signals_the_parents)
{
    for (const int starter : {1, 99999, 4194304, INT_MAX - 1}) {
        host h;
        h.pid = starter;
        expect_fork(h, 0);
        for (announced c : child_calls) {
            if (c.call.starts_with("write"))
                c = {"write 9 \"" + std::to_string(starter + 1) + "\\n\""};
            if (c.call.starts_with("kill"))
                c = {"kill " + std::to_string(starter) + " SIGUSR1"};
            expect_all(h, {c});
        }
        EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
    }
}

TEST(daemonize, ends_the_process_when_it_cannot_fork)
{
    for (const std::int32_t level : {VESK_LOG_CRITICAL, VESK_LOG_ERROR}) {
        host h(level);
        expect_fork(h, -1, EAGAIN);
        EXPECT_EQ(h.exit_status_of(daemonize), 1);
        EXPECT_EQ(h.log(), level == VESK_LOG_CRITICAL
                               ? lines{}
                               : (lines{"daemonize E Unable to fork daemon, code=11 (Resource temporarily "
                                        "unavailable)"}));
    }
}

TEST(daemonize, ends_the_child_at_the_first_step_that_fails)
{
    const std::pair<announced, const char*> cases[] = {
        {{OPEN_LOCK, -1, EACCES}, "Unable to open lockfile /var/run/haldohostswd.pid, code 13 (Permission denied)"},
        {{"lockf 9 F_TLOCK 0", -1, EAGAIN},
         "Unable to lock lockfile /var/run/haldohostswd.pid, code 11 (Resource temporarily unavailable)"},
        {{"setsid", -1, EPERM}, "Unable to create a new session, code 1 (Operation not permitted)"},
        {{"chdir /", -1, ENOENT}, "Unable to change directory to /, code 2 (No such file or directory)"},
    };
    for (const auto& [failing, text] : cases) {
        for (const std::int32_t level : {VESK_LOG_CRITICAL, VESK_LOG_ERROR, VESK_LOG_INFO}) {
            SCOPED_TRACE(failing.call);
            host h(level);
            expect_child_with(h, failing, false);
            EXPECT_EQ(h.exit_status_of(daemonize), 1);
            EXPECT_EQ(h.log(), level == VESK_LOG_CRITICAL ? lines{} : (lines{std::string("daemonize E ") + text}));
        }
    }
}

TEST(daemonize, accepts_standard_input_as_the_lock_files_descriptor)
{
    host h;
    expect_fork(h, 0);
    h.expect(OPEN_LOCK, 0);
    h.expect("lockf 0 F_TLOCK 0", -1, EACCES);
    EXPECT_EQ(h.exit_status_of(daemonize), 1);
}

TEST(daemonize, goes_on_where_a_failure_does_not_matter)
{
    for (const announced& failing :
         {announced{"write 9 \"4322\\n\"", -1, ENOSPC}, {"dup2 10 0", -1, EBUSY}, {"kill 4321 SIGUSR1", -1, ESRCH}}) {
        SCOPED_TRACE(failing.call);
        host h;
        expect_child_with(h, failing, true);
        EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
        EXPECT_EQ(h.log(), (lines{"daemonize I sent signal 10 to parent process"}));
    }
}

TEST(daemonize, keeps_the_handler_for_the_two_signals_that_it_does_not_set_again)
{
    for (const auto& [signum, status] : {std::pair(SIGUSR1, 0), {SIGALRM, 1}}) {
        host h;
        expect_child_with(h, {"none"}, true);
        EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
        EXPECT_EQ(h.exit_status_of([&h, signum = signum] { h.raise(signum); }), status);
    }
}

TEST(daemonize, signals_nobody_when_the_starting_process_is_gone)
{
    // From the child's beginning on, or later; taken over by init, by another process, or by one that it cannot see.
    for (const std::string when : {"fork", "open", "write", "setsid", "close"}) {
        for (const int parent : {1, 99, 0}) {
            SCOPED_TRACE(when);
            host h;
            const auto expect = [&](const announced& c) {
                const auto parent_goes = [&h, parent] { h.ppid = parent; };
                if (c.call.starts_with(when))
                    h.expect_meanwhile(c.call, parent_goes, c.result);
                else
                    expect_all(h, {c});
            };
            for (const std::string signal : {"SIGCHLD", "SIGUSR1", "SIGALRM", "SIGTERM", "SIGHUP"})
                expect({"signal " + signal + " daemon_handler"});
            expect({"fork"});
            std::for_each(child_calls.begin(), child_calls.end() - 1, expect);
            EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
            EXPECT_EQ(h.log(), lines{});
        }
    }
}

TEST(daemonize, says_that_it_signalled_the_parent_afterwards)
{
    host h;
    lines before{"not called"};
    expect_fork(h, 0);
    expect_all(h, {child_calls.begin(), child_calls.end() - 1});
    h.expect_meanwhile(child_calls.back().call, [&] { before = h.log(); });
    EXPECT_EQ(h.exit_status_of(daemonize), std::nullopt);
    EXPECT_EQ(before, lines{});
    EXPECT_EQ(h.log(), (lines{"daemonize I sent signal 10 to parent process"}));
}

TEST(shut_down, sets_absolute_reports_and_stops_the_link)
{
    host h;
    expect_link_constructed(h);
    h.expect_ioctl(HDC, 0x7911, {0, 0, 0, 0, 0, 0, 0, 0});
    h.expect_ioctl(HCC, 0x7821, {1, 0, 0, 0, 0, 0, 0, 0});
    h.expect_ioctl(HDC, 0x7901, {});
    expect_nodes_closed(h);
    {
        cVESK_HALDO_LINK link;
        link.start();
        shut_down(&link);
        EXPECT_EQ(h.log(), (lines{"main I Terminated"}));
    }
}

TEST(shut_down, stops_the_link_when_the_driver_refuses)
{
    host h;
    expect_link_constructed(h);
    h.expect_ioctl(HDC, 0x7911, zero_filled(8), {}, -1);
    h.expect_ioctl(HCC, 0x7821, zero_filled(8, {1}), {}, -1);
    h.expect_ioctl(HDC, 0x7901, {}, {}, -1);
    expect_nodes_closed(h);
    {
        cVESK_HALDO_LINK link;
        link.start();
        shut_down(&link);
        const lines log = h.log();
        EXPECT_EQ(log.back(), "main I Terminated");
        EXPECT_EQ(log[2], "update_driver_cfg E failed to configure cursor mode 0 in driver");
    }
}

TEST(shut_down, closes_no_path_of_a_link_that_was_not_started)
{
    host h(VESK_LOG_ERROR);
    expect_link_constructed(h);
    h.expect_ioctl(HDC, 0x7911, zero_filled(8));
    expect_nodes_closed(h);
    {
        cVESK_HALDO_LINK link;
        shut_down(&link);
        EXPECT_EQ(h.log(), lines{});
    }
}
