#include "lifecycle.h"

#include "cursor_policy.h"
#include "daemon_paths.h"
#include "exit_lock.h"
#include "haldo_build_id.h"
#include "haldo_version.h"
#include "log_file.h"
#include "pid_files.h"
#include "vesk_log.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr const char* BRANCH = "HEAD";
static constexpr pid_t INIT_PID = 1;
static constexpr unsigned int PARENT_PATIENCE_S = 2;

// Standard output is prepared already: the log's own writer would do that its way.
static void print_line(eVESK_LOG_LEVEL level, const char* function, const char* text)
{
    vesk_log_print(stdout, level, function, text);
}

void prepare_standard_streams()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1)
            open("/dev/null", O_RDWR); // gives the lowest free one, which is this one
    }
    static char line[400];
    std::setvbuf(stdout, line, _IOLBF, sizeof(line));
    __fsetlocking(stdout, FSETLOCKING_BYCALLER);
    vesk_log_set_writer(print_line);
}

void log_version_at_start()
{
    LOG_MAIN_I("haldohostswd daemon version %s", HALDO_VERSION);
    LOG_MAIN_I("haldohostswd daemon build ID %s@%s", BRANCH, HALDO_BUILD_ID);
}

void log_version_running()
{
    LOG_MAIN_I("haldohostswd daemon version %s running", HALDO_VERSION);
    LOG_MAIN_I("haldohostswd daemon build id %s@%s", BRANCH, HALDO_BUILD_ID);
}

bool is_started_by_root()
{
    if (getuid() == 0)
        return true;
    LOG_MAIN_E("The daemon must be run by root, exiting!");
    return false;
}

bool is_enabled(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config)
{
    if (config.DaemonEnable != 0)
        return true;
    LOG_MAIN_I("The haldohostswd daemon is disabled");
    return false;
}

bool open_log(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config)
{
    const auto level = static_cast<eVESK_LOG_LEVEL>(config.DaemonLogLevel);
    if (init_logging(level, config.LogDirLocation, LOG_NAME, config.LogFileSize) != VESK_LOG_NOT_OPENED)
        return true;
    LOG_MAIN_E("init_logging() failed, exiting!");
    return false;
}

bool is_child_of_init()
{
    return getppid() == INIT_PID;
}

static constexpr int HANDLED_SIGNALS[] = {SIGCHLD, SIGUSR1, SIGALRM, SIGTERM, SIGHUP};

static void mask_handled_signals(int how)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signum : HANDLED_SIGNALS)
        sigaddset(&set, signum);
    sigprocmask(how, &set, nullptr);
}

last_of_main::~last_of_main()
{
    mask_handled_signals(SIG_BLOCK);
}

[[noreturn]] static void leave(int status)
{
    mask_handled_signals(SIG_BLOCK); // exit cannot be interrupted by a handler that calls it
    std::exit(status);
}

void daemon_handler(int signum)
{
    VESK_LOG_I("daemon_handler(): signum=%d pid=%d", signum, getpid());
    if (signum == SIGHUP)
        return;
    const int status = signum == SIGUSR1 ? 0 : 1;
    if (exit_lock_taken != 0)
        _exit(status); // every line is written already
    leave(status);
}

// Below the stream, as the log does it: freopen would give standard output another buffering.
static void reopen_on_null(int fd, int flags)
{
    const int null = open("/dev/null", flags);
    dup2(null, fd);
    close(null);
}

void daemonize()
{
    // The starting shell may have blocked them. They have no handler yet: the pending SIGCHLD of a command that was run
    // before decides nothing, and any other ends the process as it would have unblocked.
    mask_handled_signals(SIG_UNBLOCK);
    for (const int signum : HANDLED_SIGNALS)
        std::signal(signum, daemon_handler);

    const pid_t starter = getpid();
    const pid_t child = fork();
    if (child < 0) {
        VESK_LOG_E("Unable to fork daemon, code=%d (%s)", errno, std::strerror(errno));
        leave(1);
    }
    if (child > 0) {
        alarm(PARENT_PATIENCE_S);
        pause();
        leave(0); // only SIGHUP's handler returns
    }

    if (!take_lock())
        leave(1);
    std::signal(SIGCHLD, SIG_DFL);
    std::signal(SIGTSTP, SIG_IGN);
    std::signal(SIGTTOU, SIG_IGN);
    std::signal(SIGTTIN, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGTERM, SIG_DFL);
    umask(0);
    if (setsid() < 0) {
        VESK_LOG_E("Unable to create a new session, code %d (%s)", errno, std::strerror(errno));
        leave(1);
    }
    if (chdir("/") != 0) {
        VESK_LOG_E("Unable to change directory to %s, code %d (%s)", "/", errno, std::strerror(errno));
        leave(1);
    }
    reopen_on_null(STDIN_FILENO, O_RDONLY);
    if (m_log_level == VESK_LOG_OFF) {
        reopen_on_null(STDOUT_FILENO, O_WRONLY);
        reopen_on_null(STDERR_FILENO, O_WRONLY);
    }
    // Without the starting process the parent is whoever took its children over, and for some that is a command.
    if (getppid() != starter)
        return;
    kill(starter, SIGUSR1);
    VESK_LOG_I("sent signal %d to parent process", SIGUSR1);
}

void shut_down(cVESK_HALDO_LINK* link)
{
    update_driver_cfg(link, LCUR_EVT_ALG_ABSOLUTE);
    link->stop();
    LOG_MAIN_I("Terminated");
}
