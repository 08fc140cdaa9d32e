// The records of the keyboard, mouse and pointer feature (KMP), in wire order: little-endian, naturally aligned.
// docs/protocol.md, "KMP records", describes each field.
#pragma once

#include <cstddef>
#include <cstdint>

// Opens or closes the driver channel's path to the firmware.
struct sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT {
    std::uint32_t channel; // always 1
    std::uint32_t open;    // 1 opens, 0 closes
};
static_assert(sizeof(sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT) == 8);

// What firmware and client have agreed on for the current session. A flag is one byte: 0 no, anything else yes. Fields
// marked (log) are only logged.
struct sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT {
    std::uint32_t request;                         // 2 in the request, kept as returned
    std::uint32_t pri_num;                         // the firmware's number of this context (log)
    std::uint8_t kmp_supported;                    // flag (log)
    std::uint8_t kmp_enabled;                      // flag (log)
    std::uint8_t encodings_supported;              // (log)
    std::uint8_t haldo_kmp_1_supported;            // flag: local cursor and local keyboard can be used
    std::uint8_t cur_shape_caches_supported;       // flag: the client keeps a cursor shape cache
    std::uint8_t cur_shape_cache_size_supported;   // flag: the client reports the size of a cache entry
    std::uint16_t cur_shape_caches;                // cache entries that the client holds
    std::uint32_t cur_shape_cache_size;            // bytes of a cache entry, the largest bitmap the client accepts
    std::uint8_t cur_shape_bmp_supported;          // flag (log)
    std::uint8_t cur_shape_bmp_alpha;              // flag: bitmap shapes may be sent
    std::uint8_t cur_shape_bmp_color;              // flag (log)
    std::uint8_t cur_shape_max_size_supported;     // flag: the two sizes below are valid
    std::uint16_t cur_shape_max_size_x;            // largest cursor width in pixels
    std::uint16_t cur_shape_max_size_y;            // largest cursor height in pixels
    std::uint8_t kbd_client_auto_repeat_supported; // flag: repeat rates can be read
    std::uint8_t kbd_client_auto_repeat_enable;    // flag (log)
    std::uint8_t cur_shape_fadeout_supported;      // flag (log)
    std::uint8_t cur_shape_fadeout_enable;         // flag: idle-hide of the local cursor is in force
    std::uint8_t cur_speed_update_supported;       // flag (log)
    std::uint8_t cur_speed_update_enable;          // flag: the local cursor's speed may be set
    std::uint8_t usb_supported;                    // flag
    std::uint8_t usb_enable;                       // flag
    std::uint8_t relative_mouse_supported;         // flag (log)
    std::uint8_t relative_mouse_enable;            // flag (log)
    std::uint8_t host_hid_driver_update_supported; // flag (log)
    std::uint8_t host_hid_driver_update_enable;    // flag (log)
    std::uint8_t hoip_supported;                   // flag: local tablet mode supported
    std::uint8_t hoip_enable;                      // flag: local tablet mode agreed by host and client
    std::uint8_t reserved[250];
};
static_assert(sizeof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT) == 292);
static_assert(offsetof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT, cur_shape_caches) == 14);
static_assert(offsetof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT, cur_shape_cache_size) == 16);
static_assert(offsetof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT, cur_shape_max_size_x) == 24);
static_assert(offsetof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT, hoip_enable) == 41);

// How the driver reports the cursor: the setting of driver configuration type 0.
enum eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE : std::int32_t {
    LCUR_EVT_ALG_ABSOLUTE = 0,
    LCUR_EVT_ALG_RELATIVE = 1,
};

// What a driver configuration record sets.
enum eVESK_HALDO_HDC_KMP_DRIVER_CFG_TYPE : std::uint32_t {
    KMP_DRIVER_CFG_LCUR_EVT_ALG = 0, // setting: eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE
    KMP_DRIVER_CFG_LOCAL_TABLET = 1, // setting: 0 off, 1 on
};

struct sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT {
    std::uint32_t type;   // eVESK_HALDO_HDC_KMP_DRIVER_CFG_TYPE
    std::int32_t setting; // see the type
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT) == 8);
