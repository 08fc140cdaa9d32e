// The link's operations for keyboard, mouse and pointer (KMP).
#include "vesk_haldo_link.h"

#include "cursor_bitmap.h"
#include "vesk_log.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

static constexpr const char* lcur_evt_alg_str_tbl[] = {"Absolute", "Relative"};

// Searches of logs know the assertions by these numbers and this name of the source.
static constexpr const char* ASSERTION_SOURCE = "../haldo_link/src/vesk_haldo_link_kmp";
enum eASSERTION_LINE : int {
    ASSERTION_FEAT_STAT_STATUS = 358,
    ASSERTION_LAST_STAT_STATUS = 408,
    ASSERTION_LAST_STAT_COUNT = 409,
    ASSERTION_EMPTY_CACHE = 1977,
    ASSERTION_BMP = 2051,
    ASSERTION_BMP_LEN = 2058,
};

static int availability(bool available)
{
    return available ? VESK_OK : VESK_NOT_SUPPORTED;
}

// A number as "%d" takes it.
static int printed(std::uint32_t value)
{
    return static_cast<int>(value);
}

// --- KMP path ---

int cVESK_HALDO_LINK::hdc_comm_ctrl(std::uint32_t open)
{
    sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT record{KMP_HDC_COMM_CHANNEL, open};
    return send<VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL>(&record);
}

int cVESK_HALDO_LINK::hdc_open()
{
    int result = hdc_comm_ctrl(1);
    if (result != VESK_OK) {
        VESK_LOG_E("VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) failed (ret=%d)", result);
        return result;
    }
    VESK_LOG_D("VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay");

    result = send<VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN>();
    if (result != VESK_OK) {
        VESK_LOG_E("VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=%d)", result);
        hdc_close();
        return result;
    }
    VESK_LOG_D("VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) okay");
    return VESK_OK;
}

int cVESK_HALDO_LINK::hdc_close()
{
    const int result = hdc_comm_ctrl(0);
    if (result != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=%d)", result);
    else
        VESK_LOG_D("VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay");

    // The log reports this request with the result of the one before: the two go together, and its own is not used.
    send<VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE>();
    if (result != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=%d)", result);
    else
        VESK_LOG_D("VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay");
    return result;
}

// --- KMP context ---

static void trace_context(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context)
{
    static constexpr const char* function = "kmp_pri_ctxt_get";
    // All but the request's word and hoip_enable, the first and the last.
    struct {
        const char* name;
        std::uint32_t value;
    } const fields[] = {
#define VESK_FIELD(type, name) {#name, context.name},
        VESK_KMP_PRI_CTXT_TABLE(VESK_FIELD)
#undef VESK_FIELD
    };
    for (std::size_t i = 1; i < std::size(fields) - 1; ++i)
        VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s=%u", fields[i].name, fields[i].value);
}

void cVESK_HALDO_LINK::kmp_pri_ctxt_get()
{
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT record{};
    record.request = KMP_PRI_CTXT_REQUEST;
    const int result = send<HCC_IOCTL_KMP_PRI_CTXT_GET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_KMP_PRI_CTXT_GET failed (ret=%d)", result);
        return;
    }
    kmp_pri_ctxt = record;
    kmp_pri_ctxt_valid = 1;

    if (m_log_level >= VESK_LOG_DEBUG)
        trace_context(record);
    if (record.hoip_enable != 0)
        VESK_LOG_I("hoip_enable=%u: local tablet mode supported by host and client", record.hoip_enable);
    else
        VESK_LOG_I("hoip_enable=%u: local tablet mode not supported by host and/or client", record.hoip_enable);
}

int cVESK_HALDO_LINK::kmp_pri_ctxt_reset()
{
    kmp_pri_ctxt = {};
    kmp_pri_ctxt_valid = 0;
    return VESK_OK;
}

int cVESK_HALDO_LINK::lcur_lkbd_avail() const
{
    return availability(kmp_pri_ctxt.haldo_kmp_1_supported != 0 && kmp_pri_ctxt_valid != 0);
}

int cVESK_HALDO_LINK::lcur_shape_bmp_send_avail() const
{
    return availability(kmp_pri_ctxt.cur_shape_bmp_alpha != 0 && kmp_pri_ctxt_valid != 0);
}

int cVESK_HALDO_LINK::lcur_spd_avail() const
{
    return availability(kmp_pri_ctxt.cur_speed_update_enable != 0 && kmp_pri_ctxt_valid != 0);
}

int cVESK_HALDO_LINK::lcur_idle_hide_avail() const
{
    return availability(kmp_pri_ctxt.cur_shape_fadeout_enable != 0 && kmp_pri_ctxt_valid != 0);
}

int cVESK_HALDO_LINK::lkbd_client_auto_repeat_avail() const
{
    return availability(kmp_pri_ctxt.kbd_client_auto_repeat_supported != 0 && kmp_pri_ctxt_valid != 0);
}

int cVESK_HALDO_LINK::hoip_avail() const
{
    return availability(kmp_pri_ctxt.hoip_supported != 0 && kmp_pri_ctxt.hoip_enable != 0 && kmp_pri_ctxt_valid != 0);
}

int cVESK_HALDO_LINK::lcur_disable_avail() const
{
    return availability(kmp_pri_ctxt.usb_supported != 0 && kmp_pri_ctxt.usb_enable != 0);
}

int cVESK_HALDO_LINK::is_client_sc() const
{
    return kmp_pri_ctxt_valid != 0 && kmp_pri_ctxt.cur_shape_fadeout_enable == 0;
}

// --- Local cursor, keyboard and tablets ---

int cVESK_HALDO_LINK::lcur_lkbd_enable()
{
    return feat_en(__func__, 1, "enabled local cursor and keyboard");
}

int cVESK_HALDO_LINK::lcur_lkbd_disable()
{
    return feat_en(__func__, 0, "disabled local cursor and keyboard");
}

int cVESK_HALDO_LINK::feat_en(const char* function, std::uint32_t enable, const char* success)
{
    int result = lcur_lkbd_avail();
    if (result != VESK_OK) {
        VESK_LOG_AS(function, VESK_LOG_ERROR, "not supported");
        return result;
    }
    sVESK_HALDO_HDC_KMP_VALUE_STRUCT record{KMP_MSG_FEAT_EN, enable};
    result = send<HDC_IOCTL_KMP_FEAT_EN>(&record);
    if (result != VESK_OK)
        VESK_LOG_AS(function, VESK_LOG_ERROR, "HDC_IOCTL_KMP_FEAT_EN failed (ret=%d)", result);
    else
        VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s", success);
    return result;
}

int cVESK_HALDO_LINK::lcur_lkbd_dev_feat_stat_get(unsigned int* status)
{
    if (status == nullptr)
        VESK_LOG_ASSERTION(ASSERTION_SOURCE, ASSERTION_FEAT_STAT_STATUS);
    sVESK_HALDO_HDC_KMP_VALUE_STRUCT record{};
    const int result = send<HDC_IOCTL_KMP_FEAT_STAT_GET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HDC_IOCTL_KMP_FEAT_STAT_GET failed (ret=%d)", result);
        return result;
    }
    if (status != nullptr)
        *status = record.value;
    VESK_LOG_D("HDC_IOCTL_KMP_FEAT_STAT_GET ok, stat=0x%x", record.value);
    return VESK_OK;
}

int cVESK_HALDO_LINK::lcur_lkbd_last_stat_get(unsigned int* status, unsigned int* count, unsigned int* hid_devices,
                                              unsigned int* tablet_activate_ack)
{
    if (status == nullptr)
        VESK_LOG_ASSERTION(ASSERTION_SOURCE, ASSERTION_LAST_STAT_STATUS);
    if (count == nullptr)
        VESK_LOG_ASSERTION(ASSERTION_SOURCE, ASSERTION_LAST_STAT_COUNT);
    sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT record{};
    const int result = send<HDC_IOCTL_KMP_LAST_STAT_GET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HDC_IOCTL_KMP_LAST_STAT failed (ret=%d)", result);
        return result;
    }
    if (status != nullptr)
        *status = record.status;
    if (count != nullptr)
        *count = record.count;
    if (hid_devices != nullptr)
        *hid_devices = record.hoip_hid_devices;
    if (tablet_activate_ack != nullptr)
        *tablet_activate_ack = record.hoip_tablet_activate_ack;
    VESK_LOG_D("HDC_IOCTL_KMP_LAST_STAT_GET ok, stat=0x%x, cnt=%d, %d HoIP HID devs, HoIP tab activate ack %d",
               record.status, printed(record.count), printed(record.hoip_hid_devices),
               printed(record.hoip_tablet_activate_ack));
    return VESK_OK;
}

int cVESK_HALDO_LINK::lcur_idle_hide_set(unsigned int value)
{
    VESK_LOG_D("start");
    int result = lcur_idle_hide_avail();
    if (result != VESK_OK) {
        VESK_LOG_D("not supported"); // a client without it is nothing to report
        return result;
    }
    sVESK_HALDO_HDC_KMP_VALUE_STRUCT record{KMP_MSG_CUR_IDLE_HIDE, value};
    result = send<HDC_IOCTL_KMP_CUR_IDLE_HIDE>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_CUR_IDLE_HIDE failed (ret=%d)", result);
    else
        VESK_LOG_D("local cursor idle hide set successfully");
    return result;
}

int cVESK_HALDO_LINK::lcur_spd_set(unsigned int speed)
{
    int result = lcur_spd_avail();
    if (result != VESK_OK) {
        VESK_LOG_E("not supported");
        return result;
    }
    if (speed < KMP_CUR_SPD_MIN || speed > KMP_CUR_SPD_MAX) {
        VESK_LOG_E("error setting speed equal to %d, must be >= %d and <= %d", printed(speed), printed(KMP_CUR_SPD_MIN),
                   printed(KMP_CUR_SPD_MAX));
        return VESK_INVALID_ARGUMENT;
    }
    sVESK_HALDO_HDC_KMP_VALUE_STRUCT record{KMP_MSG_CUR_SPD, speed};
    result = send<HDC_IOCTL_KMP_CUR_SPD_SET>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_CUR_SPD_SET failed, speed=%d (ret=%d)", printed(speed), result);
    else
        VESK_LOG_D("HDC_IOCTL_KMP_CUR_SPD_SET ok, speed=%d", printed(speed));
    return result;
}

int cVESK_HALDO_LINK::lcur_spd_get(unsigned int* speed)
{
    if (speed == nullptr) {
        VESK_LOG_E("invalid arguments");
        return VESK_INVALID_ARGUMENT;
    }
    int result = lcur_spd_avail();
    if (result != VESK_OK) {
        VESK_LOG_E("not supported");
        return result;
    }
    sVESK_HALDO_HDC_KMP_VALUE_STRUCT record{};
    result = send<HDC_IOCTL_KMP_CUR_SPD_GET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HDC_IOCTL_KMP_CUR_SPD_GET failed (ret=%d)", result);
        return result;
    }
    *speed = record.value;
    VESK_LOG_D("HDC_IOCTL_KMP_CUR_SPD_GET ok, speed=%d", printed(record.value));
    return VESK_OK;
}

int cVESK_HALDO_LINK::lcur_change_shape_send(unsigned char index)
{
    if (index >= kmp_pri_ctxt.cur_shape_caches) {
        VESK_LOG_E("invalid argument, index>=%d", kmp_pri_ctxt.cur_shape_caches);
        return VESK_INVALID_ARGUMENT;
    }
    sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT record{};
    record.header = KMP_MSG_CUR_SHAPE;
    record.index = index;
    const int result = send<HDC_IOCTL_KMP_CUR_SHAPE>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_CUR_SHAPE failed, index=%d (ret=%d)", index, result);
    return result;
}

int cVESK_HALDO_LINK::lcur_pointer_visibility_set(unsigned int time_stamp, unsigned char visible)
{
    sVESK_HALDO_HDC_KMP_CUR_VIS_STRUCT record{};
    record.header = KMP_MSG_CUR_VIS;
    record.time_stamp = time_stamp;
    record.visible = visible != 0;
    // Printed from here: the driver may have written over the record.
    const int sent = record.visible;
    const int result = send<VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS failed (ret=%d)", result);
    else
        VESK_LOG_D("VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=%d, vis=%d", printed(time_stamp), sent);
    return result;
}

int cVESK_HALDO_LINK::lcur_pointer_location_set(unsigned int time_stamp, unsigned short x, unsigned short y)
{
    sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT record{KMP_MSG_CUR_POS, time_stamp, x, y};
    const int result = send<VESK_HALDO_HDC_IOCTL_KMP_CUR_POS>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HDC_IOCTL_KMP_CUR_POS failed (ret=%d)", result);
    else
        VESK_LOG_D("VESK_HALDO_HDC_IOCTL_KMP_CUR_POS set okay, tstamp=%d, x,y=%d,%d", printed(time_stamp), x, y);
    return result;
}

int cVESK_HALDO_LINK::lcur_pointer_location_set_if_new(unsigned short x, unsigned short y)
{
    sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT record{x, y};
    const int result = send<VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW failed (ret=%d)", result);
    return result;
}

int cVESK_HALDO_LINK::lkbd_repeat_rates_set(unsigned short delay, unsigned short interval)
{
    sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT record{KMP_MSG_KBD_REPEAT, 0, interval, delay};
    const int result = send<HDC_IOCTL_KMP_KBD_REPEAT>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_KBD_REPEAT failed (ret=%d)", result);
    else
        VESK_LOG_D("HDC_IOCTL_KMP_KBD_REPEAT set okay, delay=%d, int=%d", delay, interval);
    return result;
}

int cVESK_HALDO_LINK::lkbd_repeat_rates_get(unsigned short* delay, unsigned short* interval)
{
    VESK_LOG_D("start");
    if (delay == nullptr || interval == nullptr) {
        VESK_LOG_E("invalid arguments");
        return VESK_INVALID_ARGUMENT;
    }
    int result = lkbd_client_auto_repeat_avail();
    if (result != VESK_OK) {
        VESK_LOG_E("not supported");
        return result;
    }
    sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT record{};
    result = send<HDC_IOCTL_KMP_KBD_REPEAT_GET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HDC_IOCTL_KMP_KBD_REPEAT_GET failed (ret=%d)", result);
        return result;
    }
    *delay = record.delay;
    *interval = record.interval;
    VESK_LOG_D("HDC_IOCTL_KMP_KBD_REPEAT_GET ok, delay=%d, interval=%d", record.delay, record.interval);
    return VESK_OK;
}

int cVESK_HALDO_LINK::proc_new_hoip_tablets()
{
    const int result = send<HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB>();
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB failed (ret=%d)", result);
    else
        VESK_LOG_D("Sent command to process new HoIP tablets");
    return result;
}

int cVESK_HALDO_LINK::send_hoip_host_ready()
{
    const int result = send<HDC_IOCTL_KMP_HOIP_HOST_RDY>();
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_HOIP_HOST_RDY failed (ret=%d)", result);
    else
        VESK_LOG_D("Sent HoIP Host Ready TLV to client");
    return result;
}

static const char* lcur_evt_alg_name(std::int32_t alg)
{
    return alg == LCUR_EVT_ALG_ABSOLUTE || alg == LCUR_EVT_ALG_RELATIVE ? lcur_evt_alg_str_tbl[alg] : "Unknown";
}

int cVESK_HALDO_LINK::kmp_driver_cfg_set(sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT* cfg)
{
    if (cfg == nullptr) {
        VESK_LOG_E("invalid arguments");
        return VESK_INVALID_ARGUMENT;
    }
    if (cfg->type > KMP_DRIVER_CFG_LOCAL_TABLET || cfg->setting > 1) {
        VESK_LOG_E("invalid input: type %d setting %d", printed(cfg->type), cfg->setting);
        return VESK_INVALID_ARGUMENT;
    }
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT record = *cfg;
    const int result = send<HDC_IOCTL_KMP_DRIVER_CFG_SET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HDC_IOCTL_KMP_DRIVER_CFG_SET type %d failed (ret=%d)", printed(cfg->type), result);
        return result;
    }
    if (cfg->type == KMP_DRIVER_CFG_LCUR_EVT_ALG)
        VESK_LOG_D("cursor event processing mode: %s", lcur_evt_alg_name(cfg->setting));
    else
        VESK_LOG_D("local tablet enable mode: %d", cfg->setting);
    return VESK_OK;
}

// --- Cursor shapes ---

int cVESK_HALDO_LINK::lcur_shape_size_valid(unsigned short width, unsigned short height, int bitmap_type) const
{
    const std::uint32_t pixels = std::uint32_t{width} * height;
    std::uint32_t needed = 4 * pixels;
    if (bitmap_type != KMP_CUR_BITMAP_TYPE_ALPHA)
        needed += static_cast<std::uint32_t>(static_cast<std::int32_t>(pixels) / 8);
    return availability(kmp_pri_ctxt.cur_shape_max_size_supported != 0 && width <= kmp_pri_ctxt.cur_shape_max_size_x &&
                        height <= kmp_pri_ctxt.cur_shape_max_size_y &&
                        kmp_pri_ctxt.cur_shape_cache_size_supported != 0 &&
                        needed <= kmp_pri_ctxt.cur_shape_cache_size);
}

int cVESK_HALDO_LINK::lcur_shape_bmp_send(unsigned char shape_arg1, unsigned char shape_arg2, unsigned char width,
                                          unsigned char height, unsigned char and_depth, unsigned char xor_depth,
                                          const unsigned char* bmp, unsigned int bmp_len,
                                          eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type)
{
    VESK_LOG_D("bmp_len=%d width=%d height=%d", printed(bmp_len), width, height);
    if (bmp == nullptr) {
        VESK_LOG_E("invalid argument, bmp = NULL");
        VESK_LOG_ASSERTION(ASSERTION_SOURCE, ASSERTION_BMP);
        return VESK_INVALID_ARGUMENT;
    }
    if (bmp_len == 0) {
        VESK_LOG_E("invalid argument, bmp_len = 0");
        VESK_LOG_ASSERTION(ASSERTION_SOURCE, ASSERTION_BMP_LEN);
        return VESK_INVALID_ARGUMENT;
    }
    if (lcur_shape_bmp_send_avail() != VESK_OK) {
        VESK_LOG_E("not supported");
        return VESK_NOT_SUPPORTED;
    }
    switch (bitmap_type) {
    case KMP_CUR_BITMAP_TYPE_ALPHA:
        if (and_depth != 0 || xor_depth != 0) {
            VESK_LOG_E("and_depth (%d) AND xor_depth (%d) must both be zero for ALPHA bitmaps", and_depth, xor_depth);
            return VESK_NOT_SUPPORTED;
        }
        break;
    case KMP_CUR_BITMAP_TYPE_COLOR:
        if (and_depth != 1) {
            VESK_LOG_E("and_depth (%d) must be 1 for COLOR bitmaps", and_depth);
            return VESK_NOT_SUPPORTED;
        }
        if (xor_depth != 1 && xor_depth != 32) {
            VESK_LOG_E("xor_depth %d not supported for COLOR bitmaps", xor_depth);
            return VESK_NOT_SUPPORTED;
        }
        break;
    default:
        VESK_LOG_E("bitmap_type %d not supported", bitmap_type);
        return VESK_NOT_SUPPORTED;
    }
    if (xor_depth == 1)
        height /= 2; // it counts the rows of both planes

    unsigned char slot;
    if (is_bitmap_cached(shape_arg1, shape_arg2, width, height, and_depth, xor_depth, bmp, bmp_len, bitmap_type,
                         &slot) != 0)
        return lcur_change_shape_send(slot);

    sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT head{};
    head.length = bmp_len + static_cast<std::uint32_t>(sizeof(head));
    auto* const record = head.length < bmp_len ? nullptr : static_cast<std::uint8_t*>(std::calloc(1, head.length));
    if (record == nullptr) {
        VESK_LOG_E("failed to allocate memory for ioctl buffer");
        return VESK_NO_MEMORY;
    }
    head.header = KMP_MSG_CUR_SHAPE_BMP;
    head.bitmap_type = static_cast<std::uint8_t>(bitmap_type);
    if (kmp_pri_ctxt.cur_shape_caches_supported != 0 && kmp_pri_ctxt.cur_shape_cache_size_supported != 0 &&
        bmp_cache_cnt != 0)
        head.cache_slot = static_cast<std::uint8_t>(KMP_CACHE_SLOT_VALID | next_slot());
    head.shape_arg1 = shape_arg1;
    head.shape_arg2 = shape_arg2;
    head.width = width;
    head.height = height;
    head.and_depth = and_depth;
    head.xor_depth = xor_depth;

    int result = VESK_OK;
    if (bitmap_type == KMP_CUR_BITMAP_TYPE_ALPHA) {
        std::memcpy(record + sizeof(head), bmp, bmp_len);
    } else {
        int no_transparency = 0;
        result = flip_bitmap(width, height, xor_depth, bmp_len, bmp, record + sizeof(head), &no_transparency);
        if (no_transparency == 1)
            head.bitmap_type = KMP_CUR_BITMAP_TYPE_ALPHA;
    }
    std::memcpy(record, &head, sizeof(head));
    if (result == VESK_OK)
        result = device_of(HDC_IOCTL_KMP_CUR_SHAPE_BMP)
                     .synch_ioctl(HDC_IOCTL_KMP_CUR_SHAPE_BMP.code, record, head.length,
                                  HDC_IOCTL_KMP_CUR_SHAPE_BMP.timeout_ms);
    if (result != VESK_OK)
        VESK_LOG_E("HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=%d)", result);
    else
        add_bitmap_to_cache(shape_arg1, shape_arg2, width, height, and_depth, xor_depth, bmp, bmp_len, bitmap_type);
    std::free(record);
    return result;
}

int cVESK_HALDO_LINK::flip_bitmap(unsigned char width, unsigned char height, unsigned char xor_depth,
                                  unsigned int dest_len, const unsigned char* src, unsigned char* dst,
                                  int* no_transparency)
{
    const vesk::bitmap_planes planes(width, height, xor_depth);
    if (planes.length > dest_len) {
        VESK_LOG_E("dest buffer too small, aborting copy: alw %d xlw %d h %d bl %d", printed(planes.and_row),
                   printed(planes.xor_row), height, printed(dest_len));
        return VESK_FAILED;
    }
    bool is_transparent = false;
    if (height != 0) {
        // The image's top row, the last in memory: the search runs on from there, not back through the plane.
        const std::uint32_t and_last = planes.and_start + planes.and_row * (height - 1U);
        is_transparent = vesk::any_pixel_set(src + and_last, dest_len - and_last, width, height);
    }
    if (is_transparent) {
        dst = vesk::copy_reversed(dst, src + planes.and_start, planes.and_row, height);
    } else {
        *no_transparency = 1;
        VESK_LOG_D("Zero transparent bits in AND mask");
    }
    vesk::copy_reversed(dst, src + planes.xor_start, planes.xor_row, height);
    return VESK_OK;
}

// --- Cursor shape cache ---

int cVESK_HALDO_LINK::init_bitmap_cache()
{
    if (kmp_pri_ctxt.cur_shape_caches_supported == 0 || kmp_pri_ctxt.cur_shape_cache_size_supported == 0) {
        flush_bitmap_cache();
        VESK_LOG_D("bitmap caching disabled because client does not support it");
        return VESK_OK;
    }
    if (bmp_cache_cnt != 0) {
        flush_bitmap_cache();
        VESK_LOG_D("stored bitmap cache is already initialized");
    }
    bmp_cache_cnt = kmp_pri_ctxt.cur_shape_caches < BMP_CACHE_MAX ? kmp_pri_ctxt.cur_shape_caches : BMP_CACHE_MAX;
    bmp_cache_last = 0;
    bmp_cache_block = kmp_pri_ctxt.cur_shape_cache_size;
    for (int i = 0; i < bmp_cache_cnt; ++i) {
        bmp_cache[i] = {};
        bmp_cache[i].data = static_cast<std::uint8_t*>(std::malloc(bmp_cache_block));
        if (bmp_cache[i].data == nullptr) {
            VESK_LOG_E("unable to allocate storage for %d cached bitmap", bmp_cache_cnt - i);
            bmp_cache_cnt = i;
        }
    }
    VESK_LOG_D("allocated storage for %d cached bitmaps with size %d", bmp_cache_cnt, printed(bmp_cache_block));
    return VESK_OK;
}

int cVESK_HALDO_LINK::flush_bitmap_cache()
{
    if (bmp_cache_cnt != 0)
        VESK_LOG_D("freeing storage for %d bitmaps", bmp_cache_cnt);
    for (int i = 0; i < bmp_cache_cnt; ++i) {
        std::free(bmp_cache[i].data);
        bmp_cache[i].data = nullptr;
    }
    bmp_cache_cnt = 0;
    return VESK_OK;
}

unsigned char cVESK_HALDO_LINK::next_slot() const
{
    return static_cast<unsigned char>((bmp_cache_last + 1) % bmp_cache_cnt);
}

void cVESK_HALDO_LINK::add_bitmap_to_cache(unsigned char shape_arg1, unsigned char shape_arg2, unsigned char width,
                                           unsigned char height, unsigned char and_depth, unsigned char xor_depth,
                                           const unsigned char* bmp, unsigned int bmp_len,
                                           eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type)
{
    if (bmp_cache_cnt == 0) {
        VESK_LOG_E("attempt to add bitmap to empty cache!!!");
        VESK_LOG_ASSERTION(ASSERTION_SOURCE, ASSERTION_EMPTY_CACHE);
        return;
    }
    bmp_cache_entry& entry = bmp_cache[next_slot()];
    if (bmp_len > bmp_cache_block) {
        entry.len = 0;
        return;
    }
    bmp_cache_last = next_slot();
    vesk::store_shape(
        &entry, {bitmap_type, shape_arg1, shape_arg2, width, height, and_depth, xor_depth, nullptr, bmp_len}, bmp);
}

int cVESK_HALDO_LINK::is_bitmap_cached(unsigned char shape_arg1, unsigned char shape_arg2, unsigned char width,
                                       unsigned char height, unsigned char and_depth, unsigned char xor_depth,
                                       const unsigned char* bmp, unsigned int bmp_len,
                                       eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type, unsigned char* index) const
{
    const int slot = vesk::find_shape(
        bmp_cache, bmp_cache_cnt,
        {bitmap_type, shape_arg1, shape_arg2, width, height, and_depth, xor_depth, nullptr, bmp_len}, bmp);
    if (slot >= bmp_cache_cnt)
        return 0;
    *index = static_cast<unsigned char>(slot);
    return 1;
}
