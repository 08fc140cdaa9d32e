// A pass of the supervision loop without the commands that it runs, for counting its instructions: everything that
// reaches outside the process is replaced when the program is linked, and costs next to nothing.
#include "measure.h"

#include "supervision.h"
#include "vesk_log.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace
{

char configuration[] = "# what a workstation has\n"
                       "LogDirLocation=/var/log/haldo\n"
                       "DaemonLogLevel=3\n"
                       "HostSWPath=/opt/haldo/bin\n"
                       "HostSWOptions=-verbose\n";
char users[] = "bob      pts/0        2026-11-20 10:40   .          4242 (192.0.2.7)\n"
               "alice    :0           2026-11-20 10:42   ?          4711 (:0)\n";
char authority[] = "XAUTHORITY=/home/alice/.Xauthority\n";

std::size_t passes; // that are left

constexpr int LOG_FILE = 1000;

void pass(std::size_t times)
{
    sVESK_DAEMON_STATE_STRUCT state{.config = {}, .user = "", .xauthority = "not_found"};
    passes = times;
    supervise_agent(&state);
}

} // namespace

extern "C" {
std::FILE* __real_fopen(const char* path, const char* mode);
std::FILE* __wrap_fopen(const char* path, const char* mode)
{
    return std::strcmp(path, "/etc/haldohostswd.conf") == 0 ? fmemopen(configuration, std::strlen(configuration), "r")
                                                            : __real_fopen(path, mode);
}
std::FILE* __wrap_popen(const char* command, const char*)
{
    char* const output = std::strcmp(command, "who -u") == 0 ? users : authority;
    return fmemopen(output, std::strlen(output), "r");
}
int __wrap_pclose(std::FILE* stream)
{
    return std::fclose(stream);
}
// The last agent is interrupted.
int __wrap_system(const char* command)
{
    const bool is_agent = std::strncmp(command, "su ", 3) == 0;
    return is_agent && --passes == 0 ? SIGINT : 0;
}
int __wrap_stat(const char*, struct stat* status)
{
    status->st_size = 1000;
    return 0;
}
int __wrap_open(const char*, int, ...)
{
    return LOG_FILE;
}
int __wrap_close(int)
{
    return 0;
}
int __real_dup2(int from, int to);
int __wrap_dup2(int from, int to)
{
    return from == LOG_FILE ? to : __real_dup2(from, to);
}
unsigned int __wrap_sleep(unsigned int)
{
    return 0;
}
} // extern "C"

// Of two counts the difference is a pass that is not the first.
int main()
{
    claim_standard_output();
    print({"daemon", "two passes", "", {}, ""}, measure(loop<[] { pass(2); }>, loop<[] { pass(2); }>));
    print({"daemon", "three passes", "", {}, ""}, measure(loop<[] { pass(3); }>, loop<[] { pass(3); }>));
}
