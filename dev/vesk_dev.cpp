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
