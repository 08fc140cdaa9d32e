// The records of the control channel, in wire order: little-endian, naturally aligned. docs/protocol.md, "Control
// channel records", describes each field.
#pragma once

#include <cstddef>
#include <cstdint>

// The HMI commands of the firmware. The number is the bit in the command map.
enum eVESK_HALDO_HMI_CMD : std::uint32_t {
    HMI_CMD_AVAIL_CMD = 0, // the command map itself can be read
    HMI_CMD_VAR_GET = 1,   // variables can be read
    HMI_CMD_VAR_SET = 2,   // variables can be written
    HMI_CMD_COUNT
};

// The HMI variables of the firmware. The number is the bit in the variable maps.
enum eVESK_HALDO_HMI_VAR : std::uint32_t {
    HMI_VAR_AVAIL_VAR = 0, // read: the map of readable variables; written: the map of writable ones
    HMI_VAR_LINK_INFO = 1,
    HMI_VAR_IPV4_CFG = 2,
    HMI_VAR_SESS_LINK = 3, // read: the state of the session's link; written: disconnects
    HMI_VAR_SESS_TAG = 4,
    HMI_VAR_CONN_PORT = 5,
    HMI_VAR_SESS_STAT = 6, // read: session statistics; written: resets them
    HMI_VAR_DEPRECATED = 7,
    HMI_VAR_WOL_CFG = 8,
    HMI_VAR_SESS_DISC = 9,
    HMI_VAR_SESS_TAG2 = 10,
    HMI_VAR_CACHED_TOPO = 11,
    HMI_VAR_UNICODE = 12,
    HMI_VAR_IMG_USER_EXT_CFG = 13,
    HMI_VAR_COUNT
};

// A capability map: id n is offered when bit n % 32 of word n / 32 is set.
struct sVESK_HALDO_HCC_HMI_AVAIL_STRUCT {
    std::uint32_t map[8];
};
static_assert(sizeof(sVESK_HALDO_HCC_HMI_AVAIL_STRUCT) == 32);

// An HMI variable, read or written. A request is zero but for the id and, when it writes, the payload.
struct sVESK_HALDO_HCC_HMI_VAR_STRUCT {
    std::uint32_t var_id; // eVESK_HALDO_HMI_VAR
    union {
        std::uint8_t bytes[248];
        sVESK_HALDO_HCC_HMI_AVAIL_STRUCT avail_var; // HMI_VAR_AVAIL_VAR
    } data;
};
static_assert(sizeof(sVESK_HALDO_HCC_HMI_VAR_STRUCT) == 252);
static_assert(offsetof(sVESK_HALDO_HCC_HMI_VAR_STRUCT, data) == 4);

// The driver's own variables, kept on the host.
enum eVESK_HALDO_HMI_LOCAL_VAR : std::uint32_t {
    HMI_LOCAL_VAR_HOST_SESS_STATE = 0,
    HMI_LOCAL_VAR_LOCAL_INFO = 1,
};

struct sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT {
    std::uint32_t var_id; // eVESK_HALDO_HMI_LOCAL_VAR
    std::uint32_t value;  // to be set, or as read; 0 in a read request
};
static_assert(sizeof(sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT) == 8);
