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

int cVESK_DEV::init(const char* path)
{
    VESK_LOG_D("start");
    int result = VESK_OK;
    if (path == nullptr) {
        result = VESK_INVALID_ARGUMENT;
    } else if (!m_initialized) {
        fd = open(path, O_RDWR);
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
