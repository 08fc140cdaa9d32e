// The start and the end of the daemon's process: what main does around the supervision loop. The lines of these steps
// stand in the log under the name "main"; only daemonize and daemon_handler are operations with names of their own.
#pragma once

#include "config.h"
#include "vesk_log.h"

class cVESK_HALDO_LINK;

// A line of main's.
#define LOG_MAIN_D(...) VESK_LOG_AS("main", VESK_LOG_DEBUG, __VA_ARGS__)
#define LOG_MAIN_I(...) VESK_LOG_AS("main", VESK_LOG_INFO, __VA_ARGS__)
#define LOG_MAIN_E(...) VESK_LOG_AS("main", VESK_LOG_ERROR, __VA_ARGS__)

// Opens /dev/null on those of the descriptors 0 to 2 that the starting process left closed: otherwise a device node
// would take their place, and the log the device node's. Gives standard output a buffer of one line instead of a page
// of the heap, and no lock: daemon_handler logs, and may interrupt a line at any instruction. Before anything is
// logged.
void prepare_standard_streams();

// Two version lines each: for the shell that starts the daemon, and for the log of the one that runs.
void log_version_at_start();
void log_version_running();

// Whether the daemon may run at all. A reason against it is logged.
bool is_started_by_root();
bool is_enabled(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config);

// Opens or re-opens the log as configured. False, and logged, when the log file cannot be opened; a directory name
// that is too short keeps the log where it is.
bool open_log(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config);

// Whether init is the parent: nothing to detach from.
bool is_child_of_init();

// Detaches from the starting shell: one fork. The parent waits up to 2 seconds for the child's word and exits with 0,
// or with 1 when none comes, whatever signals it was started with blocked. The child takes the lock file, starts a
// session of its own, gives its word if the parent is still there, and returns; it exits with 1 when one of its steps
// fails.
void daemonize();

// The handler of the signals that decide the parent's fate: logs, and ends the process unless it is SIGHUP.
void daemon_handler(int signum);

// The first local variable of main: what ends behind it, exit, is not interrupted by daemon_handler.
struct last_of_main {
    ~last_of_main();
};

// The orderly end: absolute cursor reports, the link stopped.
void shut_down(cVESK_HALDO_LINK* link);
