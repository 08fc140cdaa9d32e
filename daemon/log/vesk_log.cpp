#include "vesk_log.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

std::int32_t vesk_log::m_log_level = VESK_LOG_INFO;

static constexpr std::size_t LINE_SIZE = 400;
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
    tzset(); // as localtime does, whose record is the program's: the zone may have changed
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
[[gnu::cold, gnu::noinline]] static void print_as_format(std::FILE* stream, const char* line)
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
    std::fprintf(stream, format);
#pragma GCC diagnostic pop
    // Without its newline a cut line would stay in the buffer.
    if (out == format || out[-1] != '\n')
        std::fflush(stream);
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

void vesk_log_print(std::FILE* stream, eVESK_LOG_LEVEL level, const char* function, const char* text)
{
    const int callers_errno = errno;
    char line[LINE_SIZE];
    std::size_t length = begin_line(line, level, function);
    append(line, &length, text, std::strlen(text));
    append(line, &length, "\n", 1);
    if (line[length - 2] == '\n')
        --length;
    line[length] = '\0';

    errno = callers_errno;
    if (line[length - 1] == '\n' && std::memchr(line, '%', length) == nullptr)
        std::fwrite(line, 1, length, stream); // nearly every line is just its text
    else
        print_as_format(stream, line);
}

static void print_on_standard_output(eVESK_LOG_LEVEL level, const char* function, const char* text)
{
    static bool is_line_buffered = false;
    if (!is_line_buffered) {
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // the buffer is not ours: a plug-in may be unloaded
        is_line_buffered = true;
    }
    vesk_log_print(stdout, level, function, text);
}

static vesk_log_writer current_writer = print_on_standard_output;

void vesk_log_set_writer(vesk_log_writer writer)
{
    current_writer = writer != nullptr ? writer : print_on_standard_output;
}

void vesk_log_line(eVESK_LOG_LEVEL level, const char* function, const char* format, ...)
{
    const int callers_errno = errno;
    char text[LINE_SIZE];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    errno = callers_errno;
    current_writer(level, function, text);
    errno = callers_errno;
}
