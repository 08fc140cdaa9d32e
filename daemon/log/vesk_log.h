// The log of the daemon and of the link: timestamped lines on standard output, or wherever a program wants them.
//
// A line is "MM/DD hh:mm:ss d[L] " and the name of the writing function, right-aligned in 36 columns, " | " and the
// message; L is C (critical), E (error), I (info) or D (debug). The time is local, converted once a second. A line
// is at most 399 characters long; one that is longer is cut there and loses its newline.
//
// Standard output is line-buffered from the first line on it: a line reaches its file when it is written, and nothing
// is left over that a fork could print again. A program with an output of its own logs its first line before it prints,
// or sets a writer.
//
// A signal handler may log, whatever it interrupts, in a program whose standard output takes no lock (__fsetlocking).
#pragma once

#include <cstdint>
#include <cstdio>

enum eVESK_LOG_LEVEL : std::int32_t {
    VESK_LOG_OFF = 0,
    VESK_LOG_CRITICAL = 1,
    VESK_LOG_ERROR = 2,
    VESK_LOG_INFO = 3,
    VESK_LOG_DEBUG = 4,
};

// In a namespace, so that a program may have an m_log_level of its own in sources that do not include this header.
inline namespace vesk_log
{

// A line is written when its level is not above this one. Starts at VESK_LOG_INFO. Each program and each shared object
// that the library is linked into has its own.
extern std::int32_t m_log_level __attribute__((visibility("hidden")));

} // namespace vesk_log

// The logging statements: a message format with its arguments. The function name is the writer's own; arguments are
// not evaluated when the level is off; errno is left as it was. A message that ends in a newline of its own (a line
// read from a file) still gives one line.
//
// A '%' that reaches the text through an inserted value is interpreted once more in the line, as far as that needs no
// argument: "%%" prints as one '%' and "%m" as the text of errno. Everything else prints as the text it is.
#define VESK_LOG_E(...) VESK_LOG_AS(__func__, VESK_LOG_ERROR, __VA_ARGS__)
#define VESK_LOG_I(...) VESK_LOG_AS(__func__, VESK_LOG_INFO, __VA_ARGS__)
#define VESK_LOG_D(...) VESK_LOG_AS(__func__, VESK_LOG_DEBUG, __VA_ARGS__)

// A failed internal check, at the critical level. The process goes on.
#define VESK_LOG_ASSERTION(source, line)                                                                               \
    VESK_LOG_AS(__func__, VESK_LOG_CRITICAL, "assertion in file %s, function %s, line %d", source, __func__, line)

// The same under another function's name.
#define VESK_LOG_AS(function, level, ...)                                                                              \
    do {                                                                                                               \
        if (::vesk_log::m_log_level >= (level))                                                                        \
            vesk_log_line(level, function, __VA_ARGS__);                                                               \
    } while (false)

// Writes one line. Called by the statements above, which test the level.
void vesk_log_line(eVESK_LOG_LEVEL level, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4), cold));

// Takes a message to where the program wants it. text: as the statement formatted it, at most 399 characters, with
// neither prefix nor line end; a newline of the message's own is still there, and a '%' is one. Both texts last as long
// as the call. errno is what it was at the statement, and becomes that again. It is called in whatever logs, a signal
// handler included.
using vesk_log_writer = void (*)(eVESK_LOG_LEVEL level, const char* function, const char* text);

// Sets the writer; a null pointer is the line on standard output, with which a program starts. Like m_log_level it is
// the program's, or the shared object's, and not for another thread to change while one logs.
void vesk_log_set_writer(vesk_log_writer writer);

// Prints the line of a message: what a writer calls that wants it on another stream.
void vesk_log_print(std::FILE* stream, eVESK_LOG_LEVEL level, const char* function, const char* text);
