/* The driver's side of the benchmarks of the link: open, ioctl and close are replaced when a program is linked, and
   what an operation must not call is counted. */
#ifndef DRIVER_H
#define DRIVER_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What answers a request. None: it succeeds at once and costs nothing. */
typedef int driver_function(unsigned long request, void* record);
extern driver_function* driver;

/* Answers with a system call: a request that /dev/null does not know. */
int driver_system_call(unsigned long request, void* record);

/* Bytes that a request, if it is this one, finds in its record whoever the driver is. */
struct driver_answer {
    unsigned long request;
    size_t offset;
    size_t size;
    const void* bytes;
};
extern struct driver_answer driver_reply;

/* What has been called since it was last zeroed. */
struct driver_counts {
    int allocations; /* malloc, calloc, realloc */
    int frees;
    int locks;
    int clock_reads;
};
extern struct driver_counts driver_calls;

#ifdef __cplusplus
}
#endif
#endif
