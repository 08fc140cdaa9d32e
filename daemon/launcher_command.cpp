#include "launcher_command.h"

#include <cstdio>
#include <cstring>

int launcher_command(char (&command)[LAUNCHER_COMMAND_SIZE], const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config,
                     const char* user, const char* xauthority, int wait_s)
{
    const bool as_user = user != nullptr;
    return std::snprintf(
        command, sizeof(command), "%s%s%s%.400s/%s -e %.400s/%s -x %.*s -o '-ll%1d %.100s -ld %.400s -ls %d' -w %d%s",
        as_user ? "su " : "", as_user ? user : "", as_user ? " -c \"" : "", config.HostSWPath, LAUNCHER,
        config.HostSWPath, AGENT, static_cast<int>(std::strcspn(xauthority, "\n")), xauthority, config.HostSWLogLevel,
        config.HostSWOptions, config.LogDirLocation, config.LogFileSize, wait_s, as_user ? "\"" : "");
}
