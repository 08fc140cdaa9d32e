#include "stated.h"

#include "vesk_dev.h"
#include "vesk_log.h"

#include <gtest/gtest.h>
#include <utility>

static std::vector<stated_request> requests;

std::vector<stated_request> stated()
{
    return std::exchange(requests, {});
}

void PrintTo(const stated_request& request, std::ostream* to)
{
    *to << "{0x" << std::hex << request.code << std::dec << ", " << request.length << ", " << request.timeout_ms << "}";
}

// cVESK_DEV::synch_ioctl(unsigned int, void*, unsigned int, unsigned int)
extern "C" int __real__ZN9cVESK_DEV11synch_ioctlEjPvjj(cVESK_DEV* dev, unsigned int request, void* buf,
                                                       unsigned int len, unsigned int timeout_ms);
extern "C" int __wrap__ZN9cVESK_DEV11synch_ioctlEjPvjj(cVESK_DEV* dev, unsigned int request, void* buf,
                                                       unsigned int len, unsigned int timeout_ms)
{
    requests.push_back({request, len, timeout_ms});
    return __real__ZN9cVESK_DEV11synch_ioctlEjPvjj(dev, request, buf, len, timeout_ms);
}

void expect_lines_by_level(const lines& all, const std::function<void(host&, visible_link&)>& scenario)
{
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level) {
        host h;
        constructed_link link(h);
        stated();
        m_log_level = level;
        scenario(h, *link);
        EXPECT_EQ(h.log(), at_level(level, all)) << "at level " << level;
        m_log_level = VESK_LOG_OFF;
    }
}
