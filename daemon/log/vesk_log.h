// The log of the daemon and of the link: timestamped lines on standard output, which init_logging points at a
// size-rotated file.
//
// A line is "MM/DD hh:mm:ss d[L] " and the name of the writing function, right-aligned in 36 columns, " | " and the
// message; L is C (critical), E (error), I (info) or D (debug). The time is local, converted once a second. A line
// is at most 399 characters long; one that is longer is cut there and loses its newline.
//
// Standard output is line-buffered from the first line on: a line reaches its file when it is written, and nothing is
// left over that a fork could print again. A program with an output of its own logs its first line before it prints.
//
// A signal handler may log, whatever it interrupts, in a program whose standard output takes no lock (__fsetlocking).
#pragma once

#include <cstdint>

enum eVESK_LOG_LEVEL : std::int32_t {
    VESK_LOG_OFF = 0,
    VESK_LOG_CRITICAL = 1,
    VESK_LOG_ERROR = 2,
    VESK_LOG_INFO = 3,
    VESK_LOG_DEBUG = 4,
};

// A line is written when its level is not above this one. Starts at VESK_LOG_INFO. Each program and each shared object
// that the library is linked into has its own.
extern std::int32_t m_log_level __attribute__((visibility("hidden")));

// The results of init_logging.
enum eVESK_LOG_RESULT : int {
    VESK_LOG_READY = 0,
    VESK_LOG_NOT_OPENED = -1,      // the log file cannot be opened
    VESK_LOG_DIR_TOO_SHORT = -500, // the directory name has fewer than 3 characters
};

// The logging statements: a message format with its arguments. The function name is the writer's own; arguments are
// not evaluated when the level is off; errno is left as it was. A message that ends in a newline of its own (a line
// read from a file) still gives one line.
//
// A '%' that reaches the text through an inserted value is interpreted once more, as far as that needs no argument:
// "%%" prints as one '%' and "%m" as the text of errno. Everything else prints as the text it is.
#define VESK_LOG_E(...) VESK_LOG_AS(__func__, VESK_LOG_ERROR, __VA_ARGS__)
#define VESK_LOG_I(...) VESK_LOG_AS(__func__, VESK_LOG_INFO, __VA_ARGS__)
#define VESK_LOG_D(...) VESK_LOG_AS(__func__, VESK_LOG_DEBUG, __VA_ARGS__)

// A failed internal check, at the critical level. The process goes on.
#define VESK_LOG_ASSERTION(source, line)                                                                               \
    VESK_LOG_AS(__func__, VESK_LOG_CRITICAL, "assertion in file %s, function %s, line %d", source, __func__, line)

// The same under another function's name.
#define VESK_LOG_AS(function, level, format, ...)                                                                      \
    do {                                                                                                               \
        if (m_log_level >= (level))                                                                                    \
            vesk_log_line(level, function, format "\n" __VA_OPT__(, ) __VA_ARGS__);                                    \
    } while (false)

// Writes one line. Called by the statements above, which test the level.
void vesk_log_line(eVESK_LOG_LEVEL level, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4), cold));

// Sets m_log_level and points standard output and standard error at "/<dir>/<name>.0.log", which is appended to.
//
// level: 0 to 4; anything above 4 means VESK_LOG_ERROR, and a negative level silences everything. At level 0, and only
// there, no file is opened. dir: at most 400 characters, of
// which at least 3, with or without a leading slash and a terminator; it is created, and everything in it is given
// mode 777. A file larger than size_mb MiB is first moved to ".1", ".1" to ".2" and so on up to ".4".
//
// Returns an eVESK_LOG_RESULT. VESK_LOG_DIR_TOO_SHORT changes nothing, m_log_level included; with VESK_LOG_NOT_OPENED
// only m_log_level has changed. Failures of mkdir, mv and chmod are not noticed.
int init_logging(eVESK_LOG_LEVEL level, const char* dir, const char* name, std::int32_t size_mb);

// Writes the path of that log file, "/<dir>/<name>.0.log", to path; one that does not fit is cut.
inline constexpr int VESK_LOG_PATH_SIZE = 400;
void log_file_path(char (&path)[VESK_LOG_PATH_SIZE], const char* dir, const char* name);

// The size of a file in MiB, any part of one counting whole; 0 when it is missing or empty. Logs it.
std::int32_t filesize(const char* file);
