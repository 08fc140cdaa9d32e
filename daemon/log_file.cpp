#include "log_file.h"

#include "daemon_paths.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr std::size_t COMMAND_SIZE = 1000;
static constexpr std::size_t DIR_SIZE = 400;
static constexpr int OLDEST_GENERATION = 4;

// The shell's result is not looked at: what a command should have done shows when the file is opened.
__attribute__((format(printf, 1, 2))) static void run(const char* format, ...)
{
    char command[COMMAND_SIZE];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(command, sizeof(command), format, arguments);
    va_end(arguments);
    [[maybe_unused]] const int status = std::system(command);
}

static void rotate(const char* dir, const char* name)
{
    for (int i = OLDEST_GENERATION; i >= 1; --i)
        run("mv /%.400s/%s.%d.log /%.400s/%s.%d.log", dir, name, i - 1, dir, name, i);
}

std::int32_t filesize(const char* file)
{
    struct stat status;
    std::int32_t mib = 0;
    if (stat(file, &status) == 0 && status.st_size > 0)
        mib = static_cast<std::int32_t>((status.st_size - 1) / (1024 * 1024) + 1);
    VESK_LOG_I("Logfile: %s is =< %d MB", file, mib);
    return mib;
}

int init_logging(eVESK_LOG_LEVEL level, const char* dir, const char* name, std::int32_t size_mb)
{
    if (strnlen(dir, DIR_SIZE) <= 2) {
        VESK_LOG_E("Error using log directory %.400s", dir);
        return VESK_LOG_DIR_TOO_SHORT;
    }
    run("mkdir -p '/%.400s'", dir);
    m_log_level = level <= VESK_LOG_DEBUG ? level : VESK_LOG_ERROR;

    char path[VESK_LOG_PATH_SIZE];
    log_file_path(path, dir, name);
    if (level != VESK_LOG_OFF) {
        if (filesize(path) > size_mb) {
            VESK_LOG_I("Daemon logfile: %s exceeds max size, recreating.", path);
            rotate(dir, name);
        }
        const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND, 0666);
        if (fd < 0) {
            VESK_LOG_E("Error opening logfile %s (ret %d)", path, fd);
            return VESK_LOG_NOT_OPENED;
        }
        dup2(fd, STDOUT_FILENO);
        dup2(fd, STDERR_FILENO);
        // Where standard output or error was closed, the file may have got its descriptor at once.
        if (fd != STDOUT_FILENO && fd != STDERR_FILENO)
            close(fd);
    }
    run("chmod -R 777 '/%.400s'", dir);
    VESK_LOG_I("success: level %d, file %s", level, path);
    return VESK_LOG_READY;
}
