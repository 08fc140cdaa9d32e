// is_ready and synch_ioctl as functions.
#define VESK_DEV_INLINE
#include "vesk_dev.h"

#include "vesk_log.h"

#include <fcntl.h>
#include <unistd.h>

cVESK_DEV::cVESK_DEV(const char* path)
{
    VESK_LOG_D("start");
    if (path != nullptr) {
        const int result = init(path);
        if (result != VESK_OK)
            VESK_LOG_D("init() failed: returned %d", result);
    }
    VESK_LOG_D("end");
}

cVESK_DEV::~cVESK_DEV()
{
    VESK_LOG_D("start");
    if (fd != -1)
        close(fd);
    VESK_LOG_D("end");
}

// A node in place of a closed standard stream would get what the program prints.
static int moved_off_standard_streams(int fd)
{
    if (fd < 0 || fd > STDERR_FILENO)
        return fd;
    const int moved = fcntl(fd, F_DUPFD, STDERR_FILENO + 1);
    close(fd);
    return moved;
}

int cVESK_DEV::init(const char* path)
{
    VESK_LOG_D("start");
    int result = VESK_OK;
    if (path == nullptr) {
        result = VESK_INVALID_ARGUMENT;
    } else if (!m_initialized) {
        fd = moved_off_standard_streams(open(path, O_RDWR));
        m_initialized = m_ready = fd >= 0;
        if (fd < 0)
            result = VESK_OPEN_FAILED;
    }
    VESK_LOG_D("end");
    return result;
}

int cVESK_DEV::not_initialized()
{
    VESK_LOG_AS("synch_ioctl", VESK_LOG_ERROR, "not m_initialized");
    return VESK_NOT_INITIALIZED;
}

int cVESK_DEV::rejected(unsigned int request, int rv)
{
    VESK_LOG_AS("synch_ioctl", VESK_LOG_ERROR, "ioctl 0x%08X failed (rv=%d)", request, rv);
    return VESK_FAILED;
}
