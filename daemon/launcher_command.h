// The shell command that runs the launcher with the agent.
#pragma once

#include "config.h"

// The programs in HostSWPath.
inline constexpr const char* LAUNCHER = "haldo_starthostsw";
inline constexpr const char* AGENT = "haldo_agent";

// Builds the command: through su for a user, or without for a null pointer. xauthority: as far as its line end. wait_s:
// what the launcher waits. Returns the length of the whole command, of which what does not fit is cut.
inline constexpr int LAUNCHER_COMMAND_SIZE = 400;
int launcher_command(char (&command)[LAUNCHER_COMMAND_SIZE], const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config,
                     const char* user, const char* xauthority, int wait_s);
