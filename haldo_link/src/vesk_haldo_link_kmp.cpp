// The link's operations for keyboard, mouse and pointer (KMP).
#include "vesk_haldo_link.h"

#include "vesk_log.h"

#include <cstdlib>

static constexpr std::uint32_t KMP_PRI_CTXT_REQUEST = 2;
static constexpr std::uint32_t HDC_COMM_CHANNEL = 1;

static constexpr const char* lcur_evt_alg_str_tbl[] = {"Absolute", "Relative"};

static int availability(bool available)
{
    return available ? VESK_OK : VESK_NOT_SUPPORTED;
}

// --- KMP path ---

int cVESK_HALDO_LINK::hdc_comm_ctrl(std::uint32_t open)
{
    sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT record{HDC_COMM_CHANNEL, open};
    return send(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, &record);
}

int cVESK_HALDO_LINK::hdc_open()
{
    int result = hdc_comm_ctrl(1);
    if (result != VESK_OK) {
        VESK_LOG_E("VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) failed (ret=%d)", result);
        return result;
    }
    VESK_LOG_D("VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay");

    result = send(VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN, nullptr);
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
    send(VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE, nullptr);
    if (result != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=%d)", result);
    else
        VESK_LOG_D("VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay");
    return result;
}

// --- KMP context ---

void cVESK_HALDO_LINK::kmp_pri_ctxt_get()
{
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT record{};
    record.request = KMP_PRI_CTXT_REQUEST;
    const int result = send(HCC_IOCTL_KMP_PRI_CTXT_GET, &record);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_KMP_PRI_CTXT_GET failed (ret=%d)", result);
        return;
    }
    kmp_pri_ctxt = record;
    kmp_pri_ctxt_valid = 1;

#define LOG_FIELD(field) VESK_LOG_D(#field "=%u", record.field)
    LOG_FIELD(pri_num);
    LOG_FIELD(kmp_supported);
    LOG_FIELD(kmp_enabled);
    LOG_FIELD(encodings_supported);
    LOG_FIELD(haldo_kmp_1_supported);
    LOG_FIELD(cur_shape_caches_supported);
    LOG_FIELD(cur_shape_cache_size_supported);
    LOG_FIELD(cur_shape_caches);
    LOG_FIELD(cur_shape_cache_size);
    LOG_FIELD(cur_shape_bmp_supported);
    LOG_FIELD(cur_shape_bmp_alpha);
    LOG_FIELD(cur_shape_bmp_color);
    LOG_FIELD(cur_shape_max_size_supported);
    LOG_FIELD(cur_shape_max_size_x);
    LOG_FIELD(cur_shape_max_size_y);
    LOG_FIELD(kbd_client_auto_repeat_supported);
    LOG_FIELD(kbd_client_auto_repeat_enable);
    LOG_FIELD(cur_shape_fadeout_supported);
    LOG_FIELD(cur_shape_fadeout_enable);
    LOG_FIELD(cur_speed_update_supported);
    LOG_FIELD(cur_speed_update_enable);
    LOG_FIELD(usb_supported);
    LOG_FIELD(usb_enable);
    LOG_FIELD(relative_mouse_supported);
    LOG_FIELD(relative_mouse_enable);
    LOG_FIELD(host_hid_driver_update_supported);
    LOG_FIELD(host_hid_driver_update_enable);
    LOG_FIELD(hoip_supported);
#undef LOG_FIELD

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

// --- Cursor shape cache ---

int cVESK_HALDO_LINK::init_bitmap_cache()
{
    if (kmp_pri_ctxt.cur_shape_caches_supported == 0 || kmp_pri_ctxt.cur_shape_cache_size_supported == 0) {
        if (bmp_cache_cnt != 0)
            flush_bitmap_cache();
        VESK_LOG_D("bitmap caching disabled because client does not support it");
        bmp_cache_cnt = 0;
        return VESK_OK;
    }
    if (bmp_cache_cnt != 0) {
        flush_bitmap_cache();
        VESK_LOG_D("stored bitmap cache is already initialized");
    }
    bmp_cache_cnt = kmp_pri_ctxt.cur_shape_caches < BMP_CACHE_MAX ? kmp_pri_ctxt.cur_shape_caches : BMP_CACHE_MAX;
    bmp_cache_last = 0;
    for (int i = 0; i < bmp_cache_cnt; ++i) {
        bmp_cache[i] = {};
        bmp_cache[i].data = static_cast<std::uint8_t*>(std::malloc(kmp_pri_ctxt.cur_shape_cache_size));
        if (bmp_cache[i].data == nullptr) {
            VESK_LOG_E("unable to allocate storage for %d cached bitmap", bmp_cache_cnt - i);
            bmp_cache_cnt = i;
        }
    }
    VESK_LOG_D("allocated storage for %d cached bitmaps with size %d", bmp_cache_cnt,
               static_cast<int>(kmp_pri_ctxt.cur_shape_cache_size));
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

// --- KMP control ---

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
        VESK_LOG_E("invalid input: type %d setting %d", static_cast<std::int32_t>(cfg->type), cfg->setting);
        return VESK_INVALID_ARGUMENT;
    }
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT record = *cfg;
    const int result = send(HDC_IOCTL_KMP_DRIVER_CFG_SET, &record);
    if (result != VESK_OK) {
        VESK_LOG_E("HDC_IOCTL_KMP_DRIVER_CFG_SET type %d failed (ret=%d)", static_cast<std::int32_t>(cfg->type),
                   result);
        return result;
    }
    if (cfg->type == KMP_DRIVER_CFG_LCUR_EVT_ALG)
        VESK_LOG_D("cursor event processing mode: %s", lcur_evt_alg_name(cfg->setting));
    else
        VESK_LOG_D("local tablet enable mode: %d", cfg->setting);
    return VESK_OK;
}
