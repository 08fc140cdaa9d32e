// The file of the daemon's log: opened, rotated and measured.
#pragma once

#include "vesk_log.h"

#include <cstdint>

// The results of init_logging.
enum eVESK_LOG_RESULT : int {
    VESK_LOG_READY = 0,
    VESK_LOG_NOT_OPENED = -1,      // the log file cannot be opened
    VESK_LOG_DIR_TOO_SHORT = -500, // the directory name has fewer than 3 characters
};

// Sets m_log_level and points standard output and standard error at "/<dir>/<name>.0.log", which is appended to.
//
// level: 0 to 4; anything above 4 means VESK_LOG_ERROR, and a negative level silences everything. At level 0, and only
// there, no file is opened. dir: as in log_file_path, and of at least 3 characters; it is created, and everything in it
// is given mode 777. A file larger than size_mb MiB is first moved to ".1", ".1" to ".2" and so on up to ".4".
//
// Returns an eVESK_LOG_RESULT. VESK_LOG_DIR_TOO_SHORT changes nothing, m_log_level included; with VESK_LOG_NOT_OPENED
// only m_log_level has changed. Failures of mkdir, mv and chmod are not noticed.
int init_logging(eVESK_LOG_LEVEL level, const char* dir, const char* name, std::int32_t size_mb);

// The size of a file in MiB, any part of one counting whole; 0 when it is missing or empty. Logs it.
std::int32_t filesize(const char* file);
