// The results that the device handle and every operation of the link return.
#pragma once

// 0 is success, every failure is negative. An operation lists the ones that it returns; docs/protocol.md, "Results",
// has the whole family.
// clang-format off
#define VESK_RESULT_TABLE(RESULT) \
    RESULT(VESK_OK,                  0) \
    RESULT(VESK_FAILED,           -500) /* the driver rejected the request, or a precondition is not met */ \
    RESULT(VESK_INVALID_ARGUMENT, -501) /* null pointer, zero length, value out of range */ \
    RESULT(VESK_NOT_INITIALIZED,  -503) /* the device node is not open */ \
    RESULT(VESK_RATE_NO_CACHING,  -506) /* cached display topology: a display whose rate the firmware does not cache */ \
    RESULT(VESK_NO_MEMORY,        -507) /* memory cannot be allocated */ \
    RESULT(VESK_OPEN_FAILED,      -510) /* the device node could not be opened */ \
    RESULT(VESK_NOT_SUPPORTED,    -511) /* not offered by firmware or client, or outside of what is */ \
    RESULT(VESK_RATE_NOT_ACTIVE,  -519) /* cached display topology: a display that is not active */

enum eVESK_RESULT : int {
#define VESK_RESULT(name, code) name = code,
    VESK_RESULT_TABLE(VESK_RESULT)
#undef VESK_RESULT
};

// The name of a result, or "unknown".
constexpr const char* vesk_result_name(int result)
{
    switch (result) {
#define VESK_RESULT(name, code) case name: return #name;
    VESK_RESULT_TABLE(VESK_RESULT)
#undef VESK_RESULT
    default: return "unknown";
    }
}
// clang-format on
