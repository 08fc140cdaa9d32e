#include "stated.h"

#include "vesk_dev.h"

#include <utility>

static requests seen;

requests stated()
{
    return std::exchange(seen, {});
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
    seen.push_back({request, len, timeout_ms});
    return __real__ZN9cVESK_DEV11synch_ioctlEjPvjj(dev, request, buf, len, timeout_ms);
}
