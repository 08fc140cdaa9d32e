// Every request of the card's driver: the one place that ties its code to its name, node, record length and timeout.
// The device handle's callers, the simulated card and the tests all read this table. Source: docs/protocol.md,
// "Requests".
#pragma once

#include <bit>
#include <cstdint>

static_assert(std::endian::native == std::endian::little,
              "the card's records are little-endian: big-endian processors are not supported");

// The driver's two device nodes.
enum eVESK_NODE : int {
    VESK_NODE_HCC, // control channel to the card's firmware
    VESK_NODE_HDC, // driver channel: keyboard, mouse and pointer
};

inline constexpr const char* VESK_NODE_PATH_HCC = "/dev/haldo_host0";
inline constexpr const char* VESK_NODE_PATH_HDC = "/dev/haldo_host1";

// The length of a record whose size only its sender knows. Its bytes 16 to 19 hold it.
inline constexpr std::uint32_t VESK_LENGTH_VARIES = 0xFFFFFFFF;

struct sVESK_REQUEST_STRUCT {
    std::uint32_t code;       // the ioctl request number, without size or direction bits
    const char* name;         // the driver's name, as the log shows it
    eVESK_NODE node;          // where it is issued
    std::uint32_t length;     // bytes of its record, 0: it has none
    std::uint32_t timeout_ms; // what the caller states; the driver keeps its own
};

// code, name, node, length in bytes, timeout in ms
// clang-format off
#define VESK_REQUEST_TABLE(REQUEST) \
    REQUEST(0x7801, HCC_IOCTL_HMI_AVAIL_CMD,                HCC,  32, 1000) \
    REQUEST(0x7802, HCC_IOCTL_HMI_VAR_GET,                  HCC, 252, 1000) \
    REQUEST(0x7803, HCC_IOCTL_HMI_VAR_SET,                  HCC, 252, 1000) \
    REQUEST(0x7804, HCC_IOCTL_HMI_LOCAL_VAR_GET,            HCC,   8, 1000) \
    REQUEST(0x7805, HCC_IOCTL_HMI_LOCAL_VAR_SET,            HCC,   8, 1000) \
    REQUEST(0x7821, VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, HCC,   8, 1000) \
    REQUEST(0x7822, HCC_IOCTL_KMP_PRI_CTXT_GET,             HCC, 292, 1000) \
    REQUEST(0x7840, HCC_IOCTL_IMG_DISP_TOPO_GET,            HCC,  72, 1000) \
    REQUEST(0x7841, HCC_IOCTL_IMG_DISP_TOPO_SEND,           HCC,  72, 1000) \
    REQUEST(0x7842, HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET,      HCC,  76, 1000) \
    REQUEST(0x7843, HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET,      HCC, 272, 2000) \
    REQUEST(0x7845, HCC_IOCTL_IMG_USER_CFG_SET,             HCC,  16, 1000) \
    REQUEST(0x7846, HCC_IOCTL_IMG_USER_CFG_REQ_GET,         HCC,  16, 1000) \
    REQUEST(0x7847, HCC_IOCTL_IMG_USER_CFG_CACHE_SET,       HCC,  12, 1000) \
    REQUEST(0x7900, VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN,      HDC,   0, 5000) \
    REQUEST(0x7901, VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE,     HDC,   0, 1000) \
    REQUEST(0x7902, HDC_IOCTL_KMP_FEAT_EN,                  HDC,   8, 1000) \
    REQUEST(0x7903, HDC_IOCTL_KMP_FEAT_STAT_GET,            HDC,   8, 1000) \
    REQUEST(0x7904, HDC_IOCTL_KMP_KBD_REPEAT,               HDC,  12, 1000) \
    REQUEST(0x7906, HDC_IOCTL_KMP_CUR_SHAPE_BMP,            HDC, VESK_LENGTH_VARIES, 1000) \
    REQUEST(0x7907, HDC_IOCTL_KMP_CUR_SHAPE,                HDC,  12, 1000) \
    REQUEST(0x7908, VESK_HALDO_HDC_IOCTL_KMP_CUR_POS,       HDC,  12, 1000) \
    REQUEST(0x7909, VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS,       HDC,  12, 1000) \
    REQUEST(0x790A, HDC_IOCTL_KMP_CUR_IDLE_HIDE,            HDC,   8, 1000) \
    REQUEST(0x790B, HDC_IOCTL_KMP_CUR_SPD_GET,              HDC,   8, 1000) \
    REQUEST(0x790C, HDC_IOCTL_KMP_CUR_SPD_SET,              HDC,   8, 1000) \
    REQUEST(0x790D, HDC_IOCTL_KMP_LAST_STAT_GET,            HDC,  16, 1000) \
    REQUEST(0x790E, HDC_IOCTL_KMP_KBD_REPEAT_GET,           HDC,  12, 2000) \
    REQUEST(0x790F, VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, HDC,  4, 1000) \
    REQUEST(0x7910, HDC_IOCTL_KMP_DISP_TOPO_SET,            HCC, 240, 1000) /* named for HDC, issued on HCC */ \
    REQUEST(0x7911, HDC_IOCTL_KMP_DRIVER_CFG_SET,           HDC,   8,  500) \
    REQUEST(0x7912, HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB,        HDC,   0, 2000) \
    REQUEST(0x7913, HDC_IOCTL_KMP_HOIP_HOST_RDY,            HDC,   0, 1000)

// What is stated instead for the wake-on-LAN variable, in 0x7802 and 0x7803.
inline constexpr std::uint32_t VESK_WOL_CFG_TIMEOUT_MS = 2000;

// Each request under its own name.
#define VESK_REQUEST(code, name, node, length, timeout_ms) \
    inline constexpr sVESK_REQUEST_STRUCT name{code, #name, VESK_NODE_##node, length, timeout_ms};
VESK_REQUEST_TABLE(VESK_REQUEST)
#undef VESK_REQUEST

// All of them, in the order of their codes.
inline constexpr sVESK_REQUEST_STRUCT vesk_requests[] = {
#define VESK_REQUEST(code, name, node, length, timeout_ms) name,
    VESK_REQUEST_TABLE(VESK_REQUEST)
#undef VESK_REQUEST
};
// clang-format on
