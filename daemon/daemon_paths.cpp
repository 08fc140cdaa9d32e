#include "daemon_paths.h"

#include <cstdio>

void log_file_path(char (&path)[VESK_LOG_PATH_SIZE], const char* dir, const char* name)
{
    std::snprintf(path, sizeof(path), "/%.400s/%s.0.log", dir, name);
}
