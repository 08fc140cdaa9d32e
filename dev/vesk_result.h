// The results that the device handle and every operation of the link return.
#pragma once

// 0 is success, every failure is negative. An operation lists the ones that it returns; docs/protocol.md, "Results",
// has the whole family.
enum eVESK_RESULT : int {
    VESK_OK = 0,
    VESK_FAILED = -500,           // the driver rejected the request, or a precondition is not met
    VESK_INVALID_ARGUMENT = -501, // null pointer, zero length, value out of range
    VESK_NOT_INITIALIZED = -503,  // the device node is not open
    VESK_RATE_NO_CACHING = -506,  // cached display topology: a display whose rate the firmware does not cache
    VESK_NO_MEMORY = -507,        // memory cannot be allocated
    VESK_OPEN_FAILED = -510,      // the device node could not be opened
    VESK_NOT_SUPPORTED = -511,    // not offered by firmware or client, or outside of what is
    VESK_RATE_NOT_ACTIVE = -519,  // cached display topology: a display that is not active
};
