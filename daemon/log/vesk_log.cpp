#include "vesk_log.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::int32_t m_log_level = VESK_LOG_INFO;

static constexpr std::size_t LINE_SIZE = 400;
static constexpr std::size_t COMMAND_SIZE = 1000;
static constexpr std::size_t DIR_SIZE = 400;
static constexpr int OLDEST_GENERATION = 4;

static void use_line_buffering()
{
    static bool done = false;
    if (!done)
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    done = true;
}

static constexpr std::size_t TIME_LENGTH = sizeof("MM/DD hh:mm:ss") - 1;
static constexpr std::size_t NAME_COLUMNS = 36;

// The local time by the offset that the zone had last, without the C library.
static std::tm by_offset(std::time_t now, long offset_s)
{
    const std::chrono::sys_seconds local{std::chrono::seconds(now + offset_s)};
    const auto midnight = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::year_month_day date(midnight);
    const std::chrono::hh_mm_ss time(local - midnight);
    std::tm result{};
    result.tm_mon = static_cast<int>(static_cast<unsigned int>(date.month())) - 1;
    result.tm_mday = static_cast<int>(static_cast<unsigned int>(date.day()));
    result.tm_hour = static_cast<int>(time.hours().count());
    result.tm_min = static_cast<int>(time.minutes().count());
    result.tm_sec = static_cast<int>(time.seconds().count());
    return result;
}

static std::tm local_time(std::time_t now)
{
    static volatile std::sig_atomic_t converting = 0;
    static volatile long offset_s = 0;
    // A signal handler that logs may have interrupted the conversion, with the lock of the time zone taken.
    if (converting != 0)
        return by_offset(now, offset_s);
    converting = 1;
    tzset(); // as localtime does: the zone may have changed
    std::tm result{};
    localtime_r(&now, &result);
    offset_s = result.tm_gmtoff;
    converting = 0;
    return result;
}

// The local time as a line shows it. It is converted once a second: the C library looks at the time zone's file each
// time.
static const char* time_text()
{
    static volatile std::time_t converted; // a handler must not find it set before its text
    static char text[TIME_LENGTH + 1];
    const std::time_t now = std::time(nullptr);
    if (now != converted || text[0] == '\0') {
        const std::tm local = local_time(now);
        std::snprintf(text, sizeof(text), "%02d/%02d %02d:%02d:%02d", local.tm_mon + 1, local.tm_mday, local.tm_hour,
                      local.tm_min, local.tm_sec);
        converted = now;
    }
    return text;
}

// The line is its own format. A conversion that would take an argument has none to take: its '%' is doubled.
[[gnu::cold, gnu::noinline]] static void print_as_format(const char* line)
{
    char format[2 * LINE_SIZE];
    char* out = format;
    for (const char* in = line; *in != '\0'; ++in) {
        *out++ = *in;
        if (*in == '%')
            *out++ = (in[1] == '%' || in[1] == 'm') ? *++in : '%';
    }
    *out = '\0';
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::printf(format);
#pragma GCC diagnostic pop
    // Without its newline a cut line would stay in the buffer.
    if (out == format || out[-1] != '\n')
        std::fflush(stdout);
}

// Appends as much of a text as fits.
static void append(char (&line)[LINE_SIZE], std::size_t* length, const char* text, std::size_t text_length)
{
    const std::size_t room = LINE_SIZE - 1 - *length;
    const std::size_t fits = text_length < room ? text_length : room;
    std::memcpy(line + *length, text, fits);
    *length += fits;
}

// What stands before the message. Put together by hand: printf takes as long as for all the rest of a line.
static std::size_t begin_line(char (&line)[LINE_SIZE], eVESK_LOG_LEVEL level, const char* function)
{
    static constexpr const char* marks[] = {" d[?] ", " d[C] ", " d[E] ", " d[I] ", " d[D] "};
    static constexpr char blanks[NAME_COLUMNS + 1] = "                                    ";
    const std::size_t name_length = std::strlen(function);
    std::size_t length = 0;
    append(line, &length, time_text(), TIME_LENGTH);
    append(line, &length, marks[level], std::strlen(marks[VESK_LOG_OFF]));
    append(line, &length, blanks, name_length < NAME_COLUMNS ? NAME_COLUMNS - name_length : 0);
    append(line, &length, function, name_length);
    append(line, &length, " | ", 3);
    return length;
}

void vesk_log_line(eVESK_LOG_LEVEL level, const char* function, const char* format, ...)
{
    const int callers_errno = errno;
    use_line_buffering();

    char line[LINE_SIZE];
    const std::size_t start = begin_line(line, level, function);
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line + start, sizeof(line) - start, format, arguments);
    va_end(arguments);

    std::size_t length = strnlen(line, sizeof(line));
    if (length > 1 && line[length - 2] == '\n')
        line[--length] = '\0';

    errno = callers_errno;
    if (line[length - 1] == '\n' && std::memchr(line, '%', length) == nullptr)
        std::fwrite(line, 1, length, stdout); // nearly every line is just its text
    else
        print_as_format(line);
    errno = callers_errno;
}

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

void log_file_path(char (&path)[VESK_LOG_PATH_SIZE], const char* dir, const char* name)
{
    std::snprintf(path, sizeof(path), "/%.400s/%s.0.log", dir, name);
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
