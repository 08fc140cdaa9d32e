// Where the daemon's files are, for the daemon and for whoever looks at it from outside.
#pragma once

// Locked by a daemon that has detached, for as long as it runs.
inline constexpr const char* LOCK_FILE = "/var/run/haldohostswd.pid";

// Written by the agent's side.
inline constexpr const char* AGENT_PID_FILE = "/tmp/haldohostsw.pid";

// The log file is "<LOG_NAME>.0.log" in the configured directory.
inline constexpr const char* LOG_NAME = "haldohostsw";

// Writes the path of a log file, "/<dir>/<name>.0.log", to path; one that does not fit is cut. dir: at most 400
// characters, with or without a leading slash and a terminator.
inline constexpr int VESK_LOG_PATH_SIZE = 400;
void log_file_path(char (&path)[VESK_LOG_PATH_SIZE], const char* dir, const char* name);
