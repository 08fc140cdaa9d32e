#include "host_commands.h"

#include "exit_lock.h"
#include "vesk_log.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int LINE_SIZE = 500;

int run_cmd(char* command)
{
    VESK_LOG_D("----");
    VESK_LOG_D("Executing [%s]", command);
    VESK_LOG_D("----");
    // -1, which system reports while SIGCHLD is ignored, does not read as a signal here.
    const int status = std::system(command);
    if (WIFSIGNALED(status) && (WTERMSIG(status) == SIGINT || WTERMSIG(status) == SIGQUIT)) {
        VESK_LOG_I("Host SW Received signal: haldo daemon exiting.");
        return 1;
    }
    return 0;
}

// popen for reading. One stream is open at a time; the buffer that it would allocate would stay in the heap for good.
static std::FILE* open_output(const char* command)
{
    static char buffer[1024];
    std::FILE* output = with_exit_lock([=] { return popen(command, "r"); });
    if (output != nullptr)
        std::setvbuf(output, buffer, _IOFBF, sizeof(buffer));
    return output;
}

// What one line of "who -u" says: 1 a user is logged in, 0 the display is nobody's, -1 nothing.
static int login_of_line(const char* line, char* user)
{
    int display;
    if (std::sscanf(line, "%200s :%d", user, &display) == 2) {
        VESK_LOG_AS("is_user_logged_in_locally", VESK_LOG_DEBUG, "user %s logged in locally :%d", user, display);
        return std::strncmp(user, "(unknown)", 8) != 0; // 8: every name that begins with "(unknown" is nobody
    }
    if (std::strstr(line, " (:") != nullptr && std::sscanf(line, "%200s", user) == 1) {
        VESK_LOG_AS("is_user_logged_in_locally", VESK_LOG_DEBUG, "user %s logged in locally", user);
        return 1;
    }
    return -1;
}

int is_user_logged_in_locally(char* user)
{
    std::FILE* who = open_output("who -u");
    if (who == nullptr) {
        VESK_LOG_E("popen() failed, code=%d (%s)", errno, std::strerror(errno));
        VESK_LOG_E("Unable to determine whether user logged in locally!");
        return -1;
    }
    int login = -1;
    char line[LINE_SIZE];
    while (login < 0 && std::fgets(line, sizeof(line), who) != nullptr) {
        VESK_LOG_D("'who -u' data: %s", line);
        login = login_of_line(line, user);
    }
    // The kernel reaps the child while SIGCHLD is ignored: none left to wait for is expected.
    if (with_exit_lock([=] { return pclose(who); }) == -1 && errno != ECHILD)
        VESK_LOG_E("pclose() failed, code=%d (%s)", errno, std::strerror(errno));
    return login == 1;
}

// The value that a line of the lookup program gives, or null.
static const char* xauthority_of_line(const char* line)
{
    if (std::strstr(line, "XAUTHORITY=") == nullptr)
        return nullptr;
    const char* value = std::strchr(line, '=') + 1;
    return value[0] == '\0' || value[0] == '\n' ? nullptr : value;
}

void get_xauthority(int seconds, char* dst, sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg)
{
    VESK_LOG_D("Trying XAUTHORITY.");
    VESK_LOG_D("sleep %d seconds", seconds);
    sleep_seconds(seconds);

    char line[LINE_SIZE];
    std::snprintf(line, sizeof(line), "%.400s/%s", cfg->HostSWPath, XAUTHORITY_LOOKUP);
    VESK_LOG_D("%s", line);
    std::FILE* lookup = open_output(line);
    if (lookup == nullptr) {
        VESK_LOG_E("Command failed.");
        return;
    }
    while (std::fgets(line, sizeof(line), lookup) != nullptr) {
        VESK_LOG_D("%s", line);
        if (const char* value = xauthority_of_line(line)) {
            std::snprintf(dst, XAUTHORITY_SIZE, "%s", value);
            VESK_LOG_D("XAUTHORITY cookie is %s", dst);
        }
    }
    with_exit_lock([=] { return pclose(lookup); });
    VESK_LOG_D("Done.");
}

void sleep_seconds(int seconds)
{
    sleep(seconds > 0 ? static_cast<unsigned int>(seconds) : 0);
}
