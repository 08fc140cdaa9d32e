// How the daemon deals with the rest of the host: shell commands, who is logged in, the X authority file. All of them
// block until their command has finished.
#pragma once

#include "config.h"

inline constexpr const char* XAUTHORITY_LOOKUP = "haldo_xauthority"; // in HostSWPath

inline constexpr int USER_NAME_SIZE = 201;  // a name of 200 characters and its terminator
inline constexpr int XAUTHORITY_SIZE = 500; // the value as the lookup program prints it, its line end included

// Runs a shell command to its end. Returns 1 when SIGINT or SIGQUIT ended its shell, else 0, whatever its exit status;
// 0 always while SIGCHLD is ignored, since its end cannot be seen then.
int run_cmd(char* command);

// Finds out through "who -u" who is logged in on the local X display. Returns 1 with the name in user, 0 when nobody
// is, -1 when it cannot be told. user holds USER_NAME_SIZE characters; without a login it is left with the first word
// of the last line that "who -u" printed.
int is_user_logged_in_locally(char* user);

// Sleeps, then asks the program haldo_xauthority in HostSWPath for the X authority file. dst holds XAUTHORITY_SIZE
// characters; it gets what follows the first '=' of the last line with "XAUTHORITY=", the line end included, and keeps
// its content when there is none or nothing follows.
void get_xauthority(int seconds, char* dst, sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg);

// Sleeps; a negative number of seconds is none.
void sleep_seconds(int seconds);
