// What can be known of the daemon and its agent from outside.
#pragma once

#include "config.h"
#include "host_commands.h"
#include "launcher_command.h"

#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace haldoctl
{

inline constexpr const char* DAEMON = "haldohostswd";

// A value, or why it cannot be known.
template <typename Value> struct known {
    std::optional<Value> value;
    std::string why;
};

// The configuration as a daemon that starts now would have it.
struct configuration {
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT record;
    std::string log_directory;
    std::string log_file;
    std::string path; // HostSWPath
};
known<configuration> read_configuration();

// The content of a file. Throws a failure that names it.
std::string content_of(const std::string& path);

struct process {
    pid_t id;
    std::string name;
    std::time_t started;
};
// Those that run under a name, by their start.
known<std::vector<process>> processes_called(const std::string& name);

// The process that holds the daemon's lock file: the id is 0 when none does.
known<process> lock_holder();

// The daemon, the holder of the lock before one without; no value and no reason when none runs.
known<process> running_daemon();

// Who "who -u" names for the daemon; an empty name when that is nobody.
struct local_user {
    std::string name;
    std::string display;
};
known<local_user> user_on_display();
bool has_login_records();

// What the lookup program says; empty when that is nothing. Only root is told.
known<std::string> x_authority(const configuration& config);

// What keeps a program of the agent's side from running, in words, empty when nothing does; and the file or folder
// whose mode it is, if it is one.
struct program_obstacle {
    std::string why;
    std::string closed;
};
program_obstacle obstacle(const std::string& program);

// What keeps a device node from being opened, in words; empty when nothing does.
std::string node_obstacle(const char* path);

struct log_history {
    unsigned int daemon_starts = 0;
    unsigned int agent_restarts = 0;
    std::string refusal; // why the daemon ran no agent, the last one that it logged since it started
};
// What the current log file tells.
known<log_history> read_log(const configuration& config);

// "mode 600, owner root:root"
std::string mode_and_owner(const std::string& path);
// "alice (uid 1001)"
std::string who_you_are();
// "2026-11-20T15:22:30+0000"
std::string local_time(std::time_t time);

} // namespace haldoctl
