#include "vesk_dev.h"

#include "vesk_log.h"

#include <fcntl.h>
#include <sys/ioctl.h>
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

bool cVESK_DEV::is_ready() const
{
    VESK_LOG_D("m_initialized = %d, m_ready = %d", m_initialized, m_ready);
    return m_initialized && m_ready;
}

int cVESK_DEV::synch_ioctl(unsigned int request, void* buf, unsigned int /*len*/, unsigned int /*timeout_ms*/)
{
    if (!m_initialized) {
        VESK_LOG_E("not m_initialized");
        return VESK_NOT_INITIALIZED;
    }
    const int rv = ioctl(fd, request, buf);
    if (rv < 0) {
        VESK_LOG_E("ioctl 0x%08X failed (rv=%d)", request, rv);
        return VESK_FAILED;
    }
    return VESK_OK;
}
