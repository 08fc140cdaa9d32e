#include "pid_files.h"

#include "daemon_paths.h"
#include "vesk_log.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

bool take_lock()
{
    // Close-on-exec: the lock is no concern of the agent's.
    const int fd = open(LOCK_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0640);
    if (fd < 0) {
        VESK_LOG_AS("daemonize", VESK_LOG_ERROR, "Unable to open lockfile %s, code %d (%s)", LOCK_FILE, errno,
                    std::strerror(errno));
        return false;
    }
    if (lockf(fd, F_TLOCK, 0) != 0) {
        VESK_LOG_AS("daemonize", VESK_LOG_ERROR, "Unable to lock lockfile %s, code %d (%s)", LOCK_FILE, errno,
                    std::strerror(errno));
        return false;
    }
    // The descriptor stays open: the lock lives as long as the process.
    char pid[16];
    const int length = std::snprintf(pid, sizeof(pid), "%d\n", getpid());
    [[maybe_unused]] const ssize_t written = write(fd, pid, static_cast<std::size_t>(length));
    return true;
}

int remove_agent_pid_file()
{
    return std::remove(AGENT_PID_FILE);
}
