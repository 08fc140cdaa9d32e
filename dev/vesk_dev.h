// One open character device of the card's driver, and the one place that calls ioctl.
#pragma once

#include "vesk_requests.h"
#include "vesk_result.h"

// A device is closed until init succeeds, and then open until it is destroyed. A closed one answers every request with
// VESK_NOT_INITIALIZED. Not for concurrent use: a request blocks its caller until the driver answers. It is not copied.
class cVESK_DEV
{
public:
    // Opens the node, as init does, when path is not null. Never fails: is_ready tells.
    explicit cVESK_DEV(const char* path);

    // Closes the node if it is open.
    ~cVESK_DEV();

    cVESK_DEV(const cVESK_DEV&) = delete;
    cVESK_DEV& operator=(const cVESK_DEV&) = delete;

    // Opens the node at path for reading and writing, with no other flag: a program that the caller starts inherits
    // it. The node never becomes a standard stream, also when the program's are closed. Returns VESK_OK;
    // VESK_INVALID_ARGUMENT when path is null; VESK_OPEN_FAILED when the node cannot be opened. A device that is
    // already open keeps its node, whatever the path, and returns VESK_OK.
    int init(const char* path);

    // Whether requests can be made.
    bool is_ready() const;

    // Issues one request: ioctl(fd, request, buf), once, without a retry. buf: the record that the request's code
    // stands for, or null where it has none; the driver reads and writes it in place. len and timeout_ms: what the
    // caller states of the record's length in bytes and of its patience in milliseconds; the driver knows both itself,
    // they are not passed on.
    //
    // Returns VESK_OK, also for a positive value of the driver; VESK_FAILED when the driver rejects the request (the
    // content of buf is then undefined; the device stays open and usable); VESK_NOT_INITIALIZED without a system call
    // when the device is closed.
    int synch_ioctl(unsigned int request, void* buf, unsigned int len, unsigned int timeout_ms);

private:
    int fd = -1;
    bool m_initialized = false;
    bool m_ready = false;
};
