// The records of the keyboard, mouse and pointer feature (KMP), in wire order: little-endian, naturally aligned.
// docs/protocol.md, "KMP records", describes each field.
#pragma once

#include <cstddef>
#include <cstdint>

// Opens or closes the driver channel's path to the firmware.
struct sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT {
    std::uint32_t channel; // KMP_HDC_COMM_CHANNEL
    std::uint32_t open;    // 1 opens, 0 closes
};
static_assert(sizeof(sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT) == 8);
inline constexpr std::uint32_t KMP_HDC_COMM_CHANNEL = 1;

// What firmware and client have agreed on for the current session, in wire order. A flag is one byte: 0 no, anything
// else yes. Fields marked (log) are only logged.
// clang-format off
#define VESK_KMP_PRI_CTXT_TABLE(FIELD) \
    FIELD(std::uint32_t, request)                         /* KMP_PRI_CTXT_REQUEST; kept as returned */ \
    FIELD(std::uint32_t, pri_num)                         /* the firmware's number of this context (log) */ \
    FIELD(std::uint8_t,  kmp_supported)                   /* flag (log) */ \
    FIELD(std::uint8_t,  kmp_enabled)                     /* flag (log) */ \
    FIELD(std::uint8_t,  encodings_supported)             /* (log) */ \
    FIELD(std::uint8_t,  haldo_kmp_1_supported)           /* flag: local cursor and local keyboard can be used */ \
    FIELD(std::uint8_t,  cur_shape_caches_supported)      /* flag: the client keeps a cursor shape cache */ \
    FIELD(std::uint8_t,  cur_shape_cache_size_supported)  /* flag: the client reports the size of a cache entry */ \
    FIELD(std::uint16_t, cur_shape_caches)                /* cache entries that the client holds */ \
    FIELD(std::uint32_t, cur_shape_cache_size)            /* bytes of an entry, the largest bitmap it takes */ \
    FIELD(std::uint8_t,  cur_shape_bmp_supported)         /* flag (log) */ \
    FIELD(std::uint8_t,  cur_shape_bmp_alpha)             /* flag: bitmap shapes may be sent */ \
    FIELD(std::uint8_t,  cur_shape_bmp_color)             /* flag (log) */ \
    FIELD(std::uint8_t,  cur_shape_max_size_supported)    /* flag: the two sizes below are valid */ \
    FIELD(std::uint16_t, cur_shape_max_size_x)            /* largest cursor width in pixels */ \
    FIELD(std::uint16_t, cur_shape_max_size_y)            /* largest cursor height in pixels */ \
    FIELD(std::uint8_t,  kbd_client_auto_repeat_supported) /* flag: repeat rates can be read */ \
    FIELD(std::uint8_t,  kbd_client_auto_repeat_enable)   /* flag (log) */ \
    FIELD(std::uint8_t,  cur_shape_fadeout_supported)     /* flag (log) */ \
    FIELD(std::uint8_t,  cur_shape_fadeout_enable)        /* flag: idle-hide of the local cursor is in force */ \
    FIELD(std::uint8_t,  cur_speed_update_supported)      /* flag (log) */ \
    FIELD(std::uint8_t,  cur_speed_update_enable)         /* flag: the local cursor's speed may be set */ \
    FIELD(std::uint8_t,  usb_supported)                   /* flag */ \
    FIELD(std::uint8_t,  usb_enable)                      /* flag */ \
    FIELD(std::uint8_t,  relative_mouse_supported)        /* flag (log) */ \
    FIELD(std::uint8_t,  relative_mouse_enable)           /* flag (log) */ \
    FIELD(std::uint8_t,  host_hid_driver_update_supported) /* flag (log) */ \
    FIELD(std::uint8_t,  host_hid_driver_update_enable)   /* flag (log) */ \
    FIELD(std::uint8_t,  hoip_supported)                  /* flag: local tablet mode supported */ \
    FIELD(std::uint8_t,  hoip_enable)                     /* flag: local tablet mode agreed by host and client */
// clang-format on

struct sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT {
#define VESK_FIELD(type, name) type name;
    VESK_KMP_PRI_CTXT_TABLE(VESK_FIELD)
#undef VESK_FIELD
    std::uint8_t reserved[250];
};
static_assert(sizeof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT) == 292);
inline constexpr std::uint32_t KMP_PRI_CTXT_REQUEST = 2;
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

// The header word of the requests 0x7902 to 0x790C that set something: 0x000A, and the message in the low half.
enum eVESK_HALDO_HDC_KMP_MSG : std::uint32_t {
    KMP_MSG_FEAT_EN = 0x000A0000,
    KMP_MSG_CUR_SHAPE_BMP = 0x000A0003,
    KMP_MSG_CUR_SHAPE = 0x000A0004,
    KMP_MSG_CUR_POS = 0x000A0005,
    KMP_MSG_KBD_REPEAT = 0x000A0006,
    KMP_MSG_CUR_VIS = 0x000A0008,
    KMP_MSG_CUR_IDLE_HIDE = 0x000A000D,
    KMP_MSG_CUR_SPD = 0x000A000F,
};

// One value: local cursor and keyboard on or off (0x7902), their status (0x7903), idle-hide (0x790A), cursor speed
// (0x790B, 0x790C). A request that reads sends all zero, the header too.
struct sVESK_HALDO_HDC_KMP_VALUE_STRUCT {
    std::uint32_t header;
    std::uint32_t value;
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_VALUE_STRUCT) == 8);

// The speed of the local cursor that 0x790C carries.
inline constexpr std::uint32_t KMP_CUR_SPD_MIN = 10;
inline constexpr std::uint32_t KMP_CUR_SPD_MAX = 250;

// The keyboard's repeat rates (0x7904, 0x790E): the interval comes first.
struct sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT {
    std::uint32_t header;
    std::uint32_t reserved;
    std::uint16_t interval;
    std::uint16_t delay;
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT) == 12);

// Selects a shape of the client's cache (0x7907).
struct sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT {
    std::uint32_t header;
    std::uint32_t reserved;
    std::uint8_t index; // cache slot
    std::uint8_t reserved2[3];
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT) == 12);

// The pointer's position (0x7908).
struct sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT {
    std::uint32_t header;
    std::uint32_t time_stamp;
    std::uint16_t x;
    std::uint16_t y;
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT) == 12);

// The same without a time stamp (0x790F): the driver sends it on if it is a new one.
struct sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT {
    std::uint16_t x;
    std::uint16_t y;
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT) == 4);

// The pointer's visibility (0x7909).
struct sVESK_HALDO_HDC_KMP_CUR_VIS_STRUCT {
    std::uint32_t header;
    std::uint32_t time_stamp;
    std::uint8_t visible; // 0 or 1
    std::uint8_t reserved[3];
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_CUR_VIS_STRUCT) == 12);

// The driver's last status (0x790D). A request sends all zero.
struct sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT {
    std::uint32_t status; // bit mask, the driver's
    std::uint32_t count;
    std::uint32_t hoip_hid_devices; // HID-over-IP devices
    std::uint32_t hoip_tablet_activate_ack;
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT) == 16);

// The kind of a cursor bitmap.
enum eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE : int {
    KMP_CUR_BITMAP_TYPE_ALPHA = 0, // one plane of 32-bit pixels
    KMP_CUR_BITMAP_TYPE_COLOR = 1, // a 1-bit AND plane and an XOR plane of 1 or 32 bits
};

// A cursor shape (0x7906): this head, and behind it the bitmap.
struct sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT {
    std::uint32_t header;
    std::uint32_t reserved;
    // eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE; ALPHA also for a COLOR bitmap that goes without its AND plane
    std::uint8_t bitmap_type;
    std::uint8_t cache_slot; // where the client keeps the shape: KMP_CACHE_SLOT_VALID | slot, or 0 for nowhere
    std::uint8_t shape_arg1; // the caller's
    std::uint8_t shape_arg2; // the caller's
    std::uint8_t width;      // px
    std::uint8_t height;     // px
    std::uint8_t and_depth;  // bits a pixel of the AND plane, as the caller gave it
    std::uint8_t xor_depth;  // bits a pixel of the XOR plane, as the caller gave it
    std::uint32_t length;    // bytes of head and bitmap together
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT) == 20);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, length) == 16);
inline constexpr std::uint8_t KMP_CACHE_SLOT_VALID = 0x80;
