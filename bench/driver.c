#include "driver.h"

#include <pthread.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>

driver_function* driver;
struct driver_answer driver_reply;
struct driver_counts driver_calls;

int __real_open(const char* path, int flags);
int __real_ioctl(int fd, unsigned long request, void* record);

int __wrap_open(const char* path, int flags)
{
    (void)path, (void)flags;
    return 1000;
}

int __wrap_close(int fd)
{
    (void)fd;
    return 0;
}

int __wrap_ioctl(int fd, unsigned long request, void* record)
{
    (void)fd;
    if (driver_reply.request == request)
        memcpy((char*)record + driver_reply.offset, driver_reply.bytes, driver_reply.size);
    return driver == NULL ? 0 : driver(request, record);
}

int driver_system_call(unsigned long request, void* record)
{
    static int fd = -1;
    (void)request;
    if (fd < 0)
        fd = __real_open("/dev/null", 2);
    __real_ioctl(fd, 0x5AFE, record);
    return 0;
}

#define COUNTED(kind, type, name, parameters, arguments)                                                               \
    type __real_##name parameters;                                                                                     \
    type __wrap_##name parameters                                                                                      \
    {                                                                                                                  \
        ++driver_calls.kind;                                                                                           \
        return __real_##name arguments;                                                                                \
    }
// Versions of clang-format disagree on these.
// clang-format off
COUNTED(allocations, void*, malloc, (size_t size), (size))
COUNTED(allocations, void*, calloc, (size_t count, size_t size), (count, size))
COUNTED(allocations, void*, realloc, (void* memory, size_t size), (memory, size))
COUNTED(frees, void, free, (void* memory), (memory))
COUNTED(locks, int, pthread_mutex_lock, (pthread_mutex_t* mutex), (mutex))
COUNTED(clock_reads, int, clock_gettime, (clockid_t clock, struct timespec* now), (clock, now))
COUNTED(clock_reads, int, gettimeofday, (struct timeval* now, void* zone), (now, zone))
COUNTED(clock_reads, time_t, time, (time_t* now), (now))
// clang-format on
