// The records of the control channel, in wire order: little-endian, naturally aligned. docs/protocol.md, "Control
// channel records", describes each field.
#pragma once

#include <cstddef>
#include <cstdint>

// The HMI commands of the firmware: number, which is the bit in the command map, and name.
// clang-format off
#define VESK_HMI_CMD_TABLE(CMD) \
    CMD(0, AVAIL_CMD) /* the command map itself can be read */ \
    CMD(1, VAR_GET)   /* variables can be read */ \
    CMD(2, VAR_SET)   /* variables can be written */
enum eVESK_HALDO_HMI_CMD : std::uint32_t {
#define VESK_CMD(number, name) HMI_CMD_##name = number,
    VESK_HMI_CMD_TABLE(VESK_CMD)
#undef VESK_CMD
    HMI_CMD_COUNT
};
// clang-format on

// The HMI variables of the firmware: number, which is the bit in the variable maps, and name.
// clang-format off
#define VESK_HMI_VAR_TABLE(VAR) \
    VAR( 0, AVAIL_VAR)   /* read: the map of readable variables; written: the map of writable ones */ \
    VAR( 1, LINK_INFO) \
    VAR( 2, IPV4_CFG) \
    VAR( 3, SESS_LINK)   /* read: the state of the session's link; written: disconnects */ \
    VAR( 4, SESS_TAG) \
    VAR( 5, CONN_PORT) \
    VAR( 6, SESS_STAT)   /* read: session statistics; written: resets them */ \
    VAR( 7, DEPRECATED) \
    VAR( 8, WOL_CFG) \
    VAR( 9, SESS_DISC) \
    VAR(10, SESS_TAG2) \
    VAR(11, CACHED_TOPO) \
    VAR(12, UNICODE) \
    VAR(13, IMG_USER_EXT_CFG)
enum eVESK_HALDO_HMI_VAR : std::uint32_t {
#define VESK_VAR(number, name) HMI_VAR_##name = number,
    VESK_HMI_VAR_TABLE(VESK_VAR)
#undef VESK_VAR
    HMI_VAR_COUNT
};
// clang-format on

// A capability map: id n is offered when bit n % 32 of word n / 32 is set.
struct sVESK_HALDO_HCC_HMI_AVAIL_STRUCT {
    std::uint32_t map[8];
};
static_assert(sizeof(sVESK_HALDO_HCC_HMI_AVAIL_STRUCT) == 32);

// The payloads of the HMI variables. What is a plain array of words is the firmware's to interpret.

struct sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT {
    std::uint32_t words[8];
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT) == 32);

struct sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT {
    std::uint32_t words[21];
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT) == 84);

// The peer and state of the remote session's link.
struct sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT {
    std::uint8_t flags;     // HMI_SESS_LINK_CONNECTED; the other bits are only logged
    std::uint8_t trans_cnt; // changes with every transition, wraps from 255 to 0
    std::uint8_t reserved[2];
    char ip[36]; // the peer's address as text; not always terminated
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT) == 40);
static_assert(offsetof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT, ip) == 4);
inline constexpr std::uint8_t HMI_SESS_LINK_CONNECTED = 0x01;

struct sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT {
    std::uint8_t flags;       // HMI_SESS_TAG_BROKERED; the other bits are the firmware's
    std::uint8_t reserved[3]; // carried along unchanged
    char tag[240];            // text, the firmware's; not always terminated
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT) == 244);
static_assert(offsetof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT, tag) == 4);
inline constexpr std::uint8_t HMI_SESS_TAG_BROKERED = 0x01;

struct sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT {
    std::uint32_t port; // the connection's port number
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT) == 4);

struct sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT {
    std::uint32_t words[25];
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT) == 100);

struct sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT {
    std::uint8_t flags;       // the firmware's
    std::uint8_t reserved[3]; // carried along unchanged
    char mac[20];             // MAC address as text; not always terminated
    char ip[16];              // IPv4 address as dotted text; not always terminated
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT) == 40);
static_assert(offsetof(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT, mac) == 4);
static_assert(offsetof(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT, ip) == 24);

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
    HMI_LOCAL_VAR_HOST_SESS_STATE = 0, // eVESK_HALDO_HMI_HOST_SESSION_STATE
    HMI_LOCAL_VAR_LOCAL_INFO = 1,      // the driver's to interpret; read only
};

struct sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT {
    std::uint32_t var_id; // eVESK_HALDO_HMI_LOCAL_VAR
    std::uint32_t value;  // to be set, or as read; 0 in a read request
};
static_assert(sizeof(sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT) == 8);

// The state of the host's session, 0 to 8. What each means is the firmware's.
enum eVESK_HALDO_HMI_HOST_SESSION_STATE : std::int32_t {
    HMI_HOST_SESSION_STATE_FIRST = 0,
    HMI_HOST_SESSION_STATE_LAST = 8,
};

// The number of an imaging message, in the first word of its record.
enum eVESK_HALDO_IMG_MSG : std::uint32_t {
    IMG_MSG_DISP_TOPO_SEND = 12,
    IMG_MSG_CACHE_DISP_TOPO_GET = 16,
    IMG_MSG_USER_CFG_SET = 22,
    IMG_MSG_USER_CFG_REQ_GET = 23,
    IMG_MSG_USER_CFG_CACHE_SET = 24,
};

// The user's imaging preference for the running session.
struct sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT {
    std::uint32_t message;
    std::uint32_t reserved;
    std::uint32_t value; // 0 to IMG_USER_CFG_MAX
    std::uint32_t unused;
};
static_assert(sizeof(sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT) == 16);
inline constexpr std::uint32_t IMG_USER_CFG_MAX = 100;

// The same as the cached setting.
struct sVESK_HALDO_HCC_IMG_USER_CFG_CACHE_SET_STRUCT {
    std::uint32_t message;
    std::uint32_t reserved;
    std::uint32_t value; // 0 to IMG_USER_CFG_MAX
};
static_assert(sizeof(sVESK_HALDO_HCC_IMG_USER_CFG_CACHE_SET_STRUCT) == 12);

struct sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT {
    std::uint32_t message;
    std::uint32_t reserved;
    std::uint32_t qual; // reply: the quality that the client requested
    std::uint32_t b2l;  // reply: the b2l that the client requested
};
static_assert(sizeof(sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT) == 16);

// A display in a layout. Every layout has four entries, however many displays there are.
inline constexpr int VESK_DISPLAY_COUNT = 4;

struct sVESK_HALDO_DISPLAY_STRUCT {
    std::int32_t pos_x;  // left edge in the desktop, px
    std::int32_t pos_y;  // top edge, px
    std::uint16_t width; // px; an unused entry has neither width nor height
    std::uint16_t height;
    std::uint32_t rotation; // code
};
static_assert(sizeof(sVESK_HALDO_DISPLAY_STRUCT) == 16);

// The firmware's layout.
struct sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT {
    std::uint32_t message;
    std::uint32_t reserved;
    sVESK_HALDO_DISPLAY_STRUCT disp[VESK_DISPLAY_COUNT];
};
static_assert(sizeof(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT) == 72);
static_assert(offsetof(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT, disp) == 8);

// The layout that the firmware reports on its own.
struct sVESK_HALDO_HCC_IMG_ASYNC_DISP_TOPO_STRUCT {
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topo;
    std::uint32_t value; // the firmware's
};
static_assert(sizeof(sVESK_HALDO_HCC_IMG_ASYNC_DISP_TOPO_STRUCT) == 76);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_ASYNC_DISP_TOPO_STRUCT, value) == 72);

// A monitor's identity as the firmware sends it: text, not always terminated.
struct sVESK_HALDO_HCC_IMG_MONITOR_STRUCT {
    char vid[4];
    std::uint8_t reserved_4[4];
    char pid[5];
    std::uint8_t reserved_13[3];
    char serial[14];
    std::uint8_t reserved_30[2];
    char name[14];
    std::uint8_t reserved_46[2];
};
static_assert(sizeof(sVESK_HALDO_HCC_IMG_MONITOR_STRUCT) == 48);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_MONITOR_STRUCT, pid) == 8);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_MONITOR_STRUCT, serial) == 16);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_MONITOR_STRUCT, name) == 32);

// The layout that the firmware has cached.
struct sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT {
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topo;
    std::uint8_t rate[VESK_DISPLAY_COUNT]; // or one of the two marks below
    std::uint32_t primary;
    sVESK_HALDO_HCC_IMG_MONITOR_STRUCT monitor[VESK_DISPLAY_COUNT];
};
static_assert(sizeof(sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT) == 272);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT, rate) == 72);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT, primary) == 76);
static_assert(offsetof(sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT, monitor) == 80);
inline constexpr std::uint8_t IMG_RATE_NO_CACHING = 0xFE;
inline constexpr std::uint8_t IMG_RATE_NOT_ACTIVE = 0xFF;

// A display in the driver's layout: all zero, or active. Edges are inclusive.
struct sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT {
    std::uint32_t enabled; // 1
    std::int32_t left;     // px
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
    std::int32_t scaled_left; // 16.16 fixed point of the whole layout's width or height
    std::int32_t scaled_top;
    std::int32_t scaled_right;
    std::int32_t scaled_bottom;
    std::uint32_t width; // px
    std::uint32_t height;
    std::uint32_t rotation; // code
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT) == 48);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT, scaled_left) == 20);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT, width) == 36);

// The layout that the driver maps the pointer with.
struct sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT {
    std::uint32_t twinview; // the caller's
    std::uint32_t active_displays;
    std::int32_t min_x; // the bounding box of the active displays and the origin, px
    std::int32_t max_x;
    std::int32_t min_y;
    std::int32_t max_y;
    std::int32_t total_width; // px
    std::int32_t total_height;
    std::int32_t primary_width; // the caller's, px
    std::int32_t primary_height;
    std::int32_t x_scale; // 0x30000 divided by the total
    std::int32_t y_scale;
    sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT disp[VESK_DISPLAY_COUNT];
};
static_assert(sizeof(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT) == 240);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, min_x) == 8);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, total_width) == 24);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, x_scale) == 40);
static_assert(offsetof(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, disp) == 48);

// --- The link's own records, which it hands to its callers ---

struct sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT {
    std::uint32_t qual; // quality that the client requested
    std::uint32_t b2l;  // b2l that the client requested
};
static_assert(sizeof(sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT) == 8);

struct sVESK_HALDO_LINK_DISP_TOPO_STRUCT {
    std::uint32_t num_disp; // entries in use, 0 to 4; not always the first ones
    sVESK_HALDO_DISPLAY_STRUCT disp[VESK_DISPLAY_COUNT];
};
static_assert(sizeof(sVESK_HALDO_LINK_DISP_TOPO_STRUCT) == 68);

struct sVESK_HALDO_LINK_CACHE_DISPLAY_STRUCT {
    std::int32_t pos_x; // px
    std::int32_t pos_y;
    std::uint16_t width;
    std::uint16_t height;
    std::uint32_t rotation; // 0 to 3
    std::uint8_t rate;
    std::uint8_t reserved[7];
};
static_assert(sizeof(sVESK_HALDO_LINK_CACHE_DISPLAY_STRUCT) == 24);
static_assert(offsetof(sVESK_HALDO_LINK_CACHE_DISPLAY_STRUCT, rate) == 16);

// A monitor's identity: text, not always terminated.
struct sVESK_HALDO_LINK_MONITOR_STRUCT {
    char vid[4];
    char pid[5];
    char serial[14];
    char name[14];
};
static_assert(sizeof(sVESK_HALDO_LINK_MONITOR_STRUCT) == 37);
static_assert(offsetof(sVESK_HALDO_LINK_MONITOR_STRUCT, pid) == 4);
static_assert(offsetof(sVESK_HALDO_LINK_MONITOR_STRUCT, serial) == 9);
static_assert(offsetof(sVESK_HALDO_LINK_MONITOR_STRUCT, name) == 23);

struct sVESK_HALDO_LINK_CACHE_DISP_TOPO {
    std::uint32_t num_disp;
    std::uint32_t reserved_4;
    sVESK_HALDO_LINK_CACHE_DISPLAY_STRUCT disp[VESK_DISPLAY_COUNT];
    std::uint32_t primary; // the firmware's
    std::uint8_t reserved_108[8];
    sVESK_HALDO_LINK_MONITOR_STRUCT monitor[VESK_DISPLAY_COUNT];
    std::uint8_t reserved_264[128];
};
static_assert(sizeof(sVESK_HALDO_LINK_CACHE_DISP_TOPO) == 392);
static_assert(offsetof(sVESK_HALDO_LINK_CACHE_DISP_TOPO, disp) == 8);
static_assert(offsetof(sVESK_HALDO_LINK_CACHE_DISP_TOPO, primary) == 104);
static_assert(offsetof(sVESK_HALDO_LINK_CACHE_DISP_TOPO, monitor) == 116);
