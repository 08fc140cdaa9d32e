#include "plain.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

enum {
    FAILED = -500,
    NOT_SUPPORTED = -511,
    RATE_NO_CACHING = -506,
    RATE_NOT_ACTIVE = -519
};

/* --- Predicates --- */

#define OFFERED(name, map, id)                                                                                         \
    int plain_##name(const struct plain_link* link)                                                                    \
    {                                                                                                                  \
        return link->map[0] & 1U << (id) ? 0 : NOT_SUPPORTED;                                                          \
    }
OFFERED(link_info_get_avail, readable, 1)
OFFERED(ipv4_cfg_get_avail, readable, 2)
OFFERED(sess_link_get_avail, readable, 3)
OFFERED(sess_link_disc_avail, writable, 3)
OFFERED(sess_link_disc_with_reason_avail, writable, 9)
OFFERED(sess_tag_set_avail, writable, 4)
OFFERED(sess_tag_version_1_key_scramble_feature_avail, writable, 10)
OFFERED(conn_port_get_avail, readable, 5)
OFFERED(sess_stat_get_avail, readable, 6)
OFFERED(sess_stat_reset_avail, writable, 6)
OFFERED(cached_topo_get_avail, readable, 11)
OFFERED(cached_topo_set_avail, writable, 11)
OFFERED(unicode_set_avail, writable, 12)
OFFERED(img_user_ext_cfg_get_avail, readable, 13)
OFFERED(img_user_ext_cfg_set_avail, writable, 13)

#define AGREED(name, condition)                                                                                        \
    int plain_##name(const struct plain_link* link)                                                                    \
    {                                                                                                                  \
        return (condition) ? 0 : NOT_SUPPORTED;                                                                        \
    }
AGREED(lcur_lkbd_avail, link->context.haldo_kmp_1 && link->context_valid)
AGREED(lcur_shape_bmp_send_avail, link->context.bmp_alpha && link->context_valid)
AGREED(lcur_spd_avail, link->context.speed_enable && link->context_valid)
AGREED(lcur_idle_hide_avail, link->context.fadeout_enable && link->context_valid)
AGREED(lkbd_client_auto_repeat_avail, link->context.repeat_supported && link->context_valid)
AGREED(hoip_avail, link->context.hoip_supported && link->context.hoip_enable && link->context_valid)
AGREED(lcur_disable_avail, link->context.usb_supported && link->context.usb_enable)

int plain_is_client_sc(const struct plain_link* link)
{
    return link->context_valid && !link->context.fadeout_enable;
}

int plain_is_ready(const struct plain_link* link)
{
    return link->hcc >= 0 && link->hdc >= 0;
}

/* --- Capability maps and variables --- */

struct variable {
    uint32_t id;
    uint8_t data[248];
};

static inline int get(struct plain_link* link, uint32_t id, void* out, size_t size)
{
    struct variable record = {.id = id};
    if (ioctl(link->hcc, 0x7802, &record) < 0)
        return FAILED;
    memcpy(out, record.data, size);
    return 0;
}

static inline int set(struct plain_link* link, uint32_t id, const void* in, size_t size)
{
    struct variable record = {.id = id};
    if (size != 0)
        memcpy(record.data, in, size);
    return ioctl(link->hcc, 0x7803, &record) < 0 ? FAILED : 0;
}

static inline int get_local(struct plain_link* link, uint32_t id, void* out)
{
    uint32_t record[2] = {id, 0};
    if (ioctl(link->hcc, 0x7804, record) < 0)
        return FAILED;
    memcpy(out, &record[1], sizeof(record[1]));
    return 0;
}

void plain_hmi_avail_cmd_reset(struct plain_link* link)
{
    memset(link->commands, 0, sizeof(link->commands));
    memset(link->readable, 0, sizeof(link->readable));
    memset(link->writable, 0, sizeof(link->writable));
}

void plain_hmi_avail_get_var_get(struct plain_link* link)
{
    if (get(link, 0, link->readable, sizeof(link->readable)) != 0)
        memset(link->readable, 0, sizeof(link->readable));
}

void plain_hmi_avail_set_var_get(struct plain_link* link)
{
    struct variable record = {.id = 0};
    if (ioctl(link->hcc, 0x7803, &record) < 0)
        memset(link->writable, 0, sizeof(link->writable));
    else
        memcpy(link->writable, record.data, sizeof(link->writable));
}

void plain_hmi_avail_cmd_get(struct plain_link* link)
{
    uint32_t map[8] = {0};
    if (ioctl(link->hcc, 0x7801, map) < 0) {
        plain_hmi_avail_cmd_reset(link);
        return;
    }
    if (map[0] & 2)
        plain_hmi_avail_get_var_get(link);
    if (map[0] & 4)
        plain_hmi_avail_set_var_get(link);
    memcpy(link->commands, map, sizeof(map));
}

int plain_sess_link_get(struct plain_link* link, void* out)
{
    return get(link, 3, out, 40);
}
int plain_sess_tag_get(struct plain_link* link, void* out)
{
    return get(link, 4, out, 244);
}
int plain_sess_tag_set(struct plain_link* link, const void* in)
{
    return set(link, 4, in, 244);
}
int plain_link_info_get(struct plain_link* link, void* out)
{
    return get(link, 1, out, 32);
}
int plain_ipv4_cfg_get(struct plain_link* link, void* out)
{
    return get(link, 2, out, 84);
}
int plain_conn_port_get(struct plain_link* link, void* out)
{
    return get(link, 5, out, 4);
}
int plain_sess_stat_get(struct plain_link* link, void* out)
{
    return get(link, 6, out, 100);
}
int plain_sess_stat_reset(struct plain_link* link)
{
    return set(link, 6, NULL, 0);
}
int plain_unicode_set(struct plain_link* link, uint32_t enable)
{
    return set(link, 12, &enable, 4);
}
int plain_sess_link_disc(struct plain_link* link, uint32_t reason)
{
    return set(link, 9, &reason, 4);
}
int plain_host_sess_state_get(struct plain_link* link, void* out)
{
    return get_local(link, 0, out);
}
int plain_local_info_get(struct plain_link* link, void* out)
{
    return get_local(link, 1, out);
}

int plain_host_sess_state_set(struct plain_link* link, uint32_t state)
{
    uint32_t record[2] = {0, state};
    return ioctl(link->hcc, 0x7805, record) < 0 ? FAILED : 0;
}

int plain_is_sess_view_brokered(struct plain_link* link)
{
    struct variable record = {.id = 4};
    return ioctl(link->hcc, 0x7802, &record) >= 0 && record.data[0] & 1;
}

int plain_wol_cfg_get_avail(struct plain_link* link)
{
    return link->readable[0] & 1U << 8 && !plain_is_sess_view_brokered(link) ? 0 : NOT_SUPPORTED;
}

int plain_wol_cfg_set_avail(struct plain_link* link)
{
    return link->writable[0] & 1U << 8 && !plain_is_sess_view_brokered(link) ? 0 : NOT_SUPPORTED;
}

int plain_wol_cfg_get(struct plain_link* link, void* out)
{
    return plain_is_sess_view_brokered(link) ? NOT_SUPPORTED : get(link, 8, out, 40);
}

int plain_wol_cfg_set(struct plain_link* link, const void* in)
{
    return plain_is_sess_view_brokered(link) ? NOT_SUPPORTED : set(link, 8, in, 40);
}

/* --- Life and session --- */

void plain_open(struct plain_link* link)
{
    memset(link, 0, sizeof(*link));
    link->hcc = open("/dev/haldo_host0", O_RDWR);
    link->hdc = open("/dev/haldo_host1", O_RDWR);
    plain_hmi_avail_cmd_get(link);
}

void plain_close(struct plain_link* link)
{
    for (int i = 0; i < 16; ++i)
        free(link->cache[i].data);
    close(link->hdc);
    close(link->hcc);
}

int plain_start(struct plain_link* link)
{
    link->started = 1;
    return 0;
}

void plain_stop(struct plain_link* link)
{
    if (link->started)
        plain_hdc_close(link);
    link->started = 0;
}

void plain_link_heartbeat(struct plain_link* link, int* changed, void* state)
{
    static int known;
    static uint8_t last;
    const uint8_t* flags_and_count = state;
    *changed = 0;
    if (plain_sess_link_get(link, state) != 0) {
        plain_kmp_pri_ctxt_reset(link);
        return;
    }
    if (flags_and_count[1] == last && known)
        return;
    known = 1;
    last = flags_and_count[1];
    plain_kmp_pri_ctxt_reset(link);
    if (flags_and_count[0] & 1) {
        plain_kmp_pri_ctxt_get(link);
        plain_init_bitmap_cache(link);
    }
    *changed = 1;
}

/* --- Imaging and display topology --- */

int plain_img_user_cfg_set(struct plain_link* link, uint32_t value)
{
    uint32_t record[4] = {22, 0, value, 0};
    return ioctl(link->hcc, 0x7845, record) < 0 ? FAILED : 0;
}

int plain_img_user_cfg_cache_set(struct plain_link* link, uint32_t value)
{
    uint32_t record[3] = {24, 0, value};
    return ioctl(link->hcc, 0x7847, record) < 0 ? FAILED : 0;
}

int plain_img_user_cfg_req_get(struct plain_link* link, void* out)
{
    uint32_t record[4] = {23, 0, 0, 0};
    memset(out, 0, 8);
    if (ioctl(link->hcc, 0x7846, record) < 0)
        return FAILED;
    memcpy(out, &record[2], 8);
    return 0;
}

struct layout_record {
    uint32_t message, reserved;
    struct plain_display display[4];
};

int plain_disp_topology_get(struct plain_link* link, void* topo)
{
    return ioctl(link->hcc, 0x7840, topo) < 0 ? FAILED : 0;
}

int plain_async_disp_topology_get(struct plain_link* link, void* topo, uint32_t* value)
{
    struct plain_layout* out = topo;
    struct {
        struct layout_record layout;
        uint32_t value;
    } record = {.value = 0};
    if (ioctl(link->hcc, 0x7842, &record) < 0)
        return FAILED;
    memset(out, 0, sizeof(*out));
    for (int i = 0; i < 4; ++i) {
        const struct plain_display* display = &record.layout.display[i];
        if (display->width || display->height) {
            out->display[i] = *display;
            if (display->rotation > 3)
                out->display[i].rotation = 3;
            ++out->count;
        }
    }
    *value = record.value;
    return 0;
}

struct driver_layout {
    uint32_t twinview, active;
    int32_t min_x, max_x, min_y, max_y, total_width, total_height, primary_width, primary_height, x_scale, y_scale;
    struct {
        uint32_t enabled;
        int32_t left, top, right, bottom, scaled_left, scaled_top, scaled_right, scaled_bottom;
        uint32_t width, height, rotation;
    } display[4];
};

int plain_disp_topology_send(struct plain_link* link, void* topo, int primary_width, int primary_height, int twinview)
{
    const struct plain_layout* in = topo;
    struct layout_record firmware = {.message = 12};
    struct driver_layout layout = {
        .twinview = (uint32_t)twinview, .primary_width = primary_width, .primary_height = primary_height};
    uint8_t session[40];
    memcpy(firmware.display, in->display, sizeof(firmware.display));
    for (int i = 0; i < 4; ++i) {
        const struct plain_display* from = &in->display[i];
        if (!from->width || !from->height)
            continue;
        layout.display[i].enabled = 1;
        layout.display[i].left = from->x;
        layout.display[i].top = from->y;
        layout.display[i].right = from->x + from->width - 1;
        layout.display[i].bottom = from->y + from->height - 1;
        layout.display[i].width = from->width;
        layout.display[i].height = from->height;
        layout.display[i].rotation = from->rotation;
        if (layout.display[i].left < layout.min_x)
            layout.min_x = layout.display[i].left;
        if (layout.display[i].top < layout.min_y)
            layout.min_y = layout.display[i].top;
        if (layout.display[i].right > layout.max_x)
            layout.max_x = layout.display[i].right;
        if (layout.display[i].bottom > layout.max_y)
            layout.max_y = layout.display[i].bottom;
        ++layout.active;
    }
    if (layout.active) {
        layout.total_width = abs(layout.min_x) + abs(layout.max_x) + 1;
        layout.total_height = abs(layout.min_y) + abs(layout.max_y) + 1;
        layout.x_scale = 0x30000 / layout.total_width;
        layout.y_scale = 0x30000 / layout.total_height;
        for (int i = 0; i < 4; ++i) {
            if (!layout.display[i].enabled)
                continue;
            layout.display[i].scaled_left = layout.display[i].left * 0x10000 / layout.total_width;
            layout.display[i].scaled_top = layout.display[i].top * 0x10000 / layout.total_height;
            layout.display[i].scaled_right = (layout.display[i].right + 1) * 0x10000 / layout.total_width - 1;
            layout.display[i].scaled_bottom = (layout.display[i].bottom + 1) * 0x10000 / layout.total_height - 1;
        }
    }
    if (plain_sess_link_get(link, session) != 0 || !(session[0] & 1))
        return FAILED;
    if (ioctl(link->hcc, 0x7841, &firmware) < 0)
        return FAILED;
    return ioctl(link->hcc, 0x7910, &layout) < 0 ? FAILED : 0;
}

int plain_cache_disp_topology_get(struct plain_link* link, void* topo)
{
    struct plain_cached_layout* out = topo;
    struct {
        struct layout_record layout;
        uint8_t rate[4];
        uint32_t primary;
        struct {
            char vid[4], reserved[4], pid[5], reserved2[3], serial[14], reserved3[2], name[14], reserved4[2];
        } monitor[4];
    } record = {.layout = {.message = 16}};
    int result = 0;
    memset(out, 0, sizeof(*out));
    if (ioctl(link->hcc, 0x7843, &record) < 0)
        return FAILED;
    for (int i = 0; i < 4; ++i) {
        const struct plain_display* display = &record.layout.display[i];
        out->display[i].display = *display;
        if (display->rotation > 3)
            out->display[i].display.rotation = 3;
        out->display[i].rate = record.rate[i];
        if (display->width || display->height) {
            ++out->count;
        } else if (record.rate[i] >= 0xFE) {
            ++out->count;
            out->display[i].rate = 0;
            result = record.rate[i] == 0xFE ? RATE_NO_CACHING : RATE_NOT_ACTIVE;
        }
        memcpy(out->monitor[i].vid, record.monitor[i].vid, sizeof(out->monitor[i].vid));
        memcpy(out->monitor[i].pid, record.monitor[i].pid, sizeof(out->monitor[i].pid));
        memcpy(out->monitor[i].serial, record.monitor[i].serial, sizeof(out->monitor[i].serial));
        memcpy(out->monitor[i].name, record.monitor[i].name, sizeof(out->monitor[i].name));
    }
    out->primary = record.primary;
    return result;
}

/* --- KMP path and context --- */

int plain_hdc_close(struct plain_link* link)
{
    uint32_t record[2] = {1, 0};
    const int result = ioctl(link->hcc, 0x7821, record) < 0 ? FAILED : 0;
    ioctl(link->hdc, 0x7901, NULL);
    return result;
}

int plain_hdc_open(struct plain_link* link)
{
    uint32_t record[2] = {1, 1};
    if (ioctl(link->hcc, 0x7821, record) < 0)
        return FAILED;
    if (ioctl(link->hdc, 0x7900, NULL) < 0) {
        plain_hdc_close(link);
        return FAILED;
    }
    return 0;
}

/* The product's: the one line at level 3 costs both sides the same. */
extern int32_t m_log_level __asm__("_ZN8vesk_log11m_log_levelE");
void log_line(int level, const char* function, const char* format,
              ...) __asm__("_Z13vesk_log_line15eVESK_LOG_LEVELPKcS1_z");

void plain_kmp_pri_ctxt_get(struct plain_link* link)
{
    struct plain_context record = {.request = 2};
    if (ioctl(link->hcc, 0x7822, &record) < 0)
        return;
    link->context = record;
    link->context_valid = 1;
    log_line(3, "kmp_pri_ctxt_get",
             record.hoip_enable ? "hoip_enable=%u: local tablet mode supported by host and client\n"
                                : "hoip_enable=%u: local tablet mode not supported by host and/or client\n",
             record.hoip_enable);
}

int plain_kmp_pri_ctxt_reset(struct plain_link* link)
{
    memset(&link->context, 0, sizeof(link->context));
    link->context_valid = 0;
    return 0;
}

const struct plain_context* plain_kmp_context(const struct plain_link* link)
{
    return link->context_valid ? &link->context : NULL;
}

/* --- Cursor, keyboard and tablets --- */

static inline int set_value(struct plain_link* link, unsigned long request, uint32_t message, uint32_t value)
{
    uint32_t record[2] = {0x000A0000 | message, value};
    return ioctl(link->hdc, request, record) < 0 ? FAILED : 0;
}

static inline int get_value(struct plain_link* link, unsigned long request, uint32_t* value)
{
    uint32_t record[2] = {0, 0};
    if (ioctl(link->hdc, request, record) < 0)
        return FAILED;
    *value = record[1];
    return 0;
}

int plain_lcur_lkbd_enable(struct plain_link* link)
{
    return set_value(link, 0x7902, 0, 1);
}
int plain_lcur_lkbd_disable(struct plain_link* link)
{
    return set_value(link, 0x7902, 0, 0);
}
int plain_lcur_lkbd_dev_feat_stat_get(struct plain_link* link, uint32_t* out)
{
    return get_value(link, 0x7903, out);
}
int plain_lcur_idle_hide_set(struct plain_link* link, uint32_t value)
{
    return set_value(link, 0x790A, 0x0D, value);
}
int plain_lcur_spd_set(struct plain_link* link, uint32_t speed)
{
    return set_value(link, 0x790C, 0x0F, speed);
}
int plain_lcur_spd_get(struct plain_link* link, uint32_t* speed)
{
    return get_value(link, 0x790B, speed);
}

int plain_lcur_lkbd_last_stat_get(struct plain_link* link, uint32_t* status, uint32_t* count, uint32_t* hid_devices,
                                  uint32_t* tablet_activate_ack)
{
    uint32_t record[4] = {0};
    if (ioctl(link->hdc, 0x790D, record) < 0)
        return FAILED;
    *status = record[0];
    *count = record[1];
    *hid_devices = record[2];
    *tablet_activate_ack = record[3];
    return 0;
}

int plain_lcur_change_shape_send(struct plain_link* link, uint8_t index)
{
    uint32_t record[3] = {0x000A0004, 0, index};
    return ioctl(link->hdc, 0x7907, record) < 0 ? FAILED : 0;
}

int plain_lcur_pointer_visibility_set(struct plain_link* link, uint32_t time_stamp, uint8_t visible)
{
    uint32_t record[3] = {0x000A0008, time_stamp, visible != 0};
    return ioctl(link->hdc, 0x7909, record) < 0 ? FAILED : 0;
}

int plain_lcur_pointer_location_set(struct plain_link* link, uint32_t time_stamp, uint16_t x, uint16_t y)
{
    struct {
        uint32_t header, time_stamp;
        uint16_t x, y;
    } record = {0x000A0005, time_stamp, x, y};
    return ioctl(link->hdc, 0x7908, &record) < 0 ? FAILED : 0;
}

int plain_lcur_pointer_location_set_if_new(struct plain_link* link, uint16_t x, uint16_t y)
{
    uint16_t record[2] = {x, y};
    return ioctl(link->hdc, 0x790F, record) < 0 ? FAILED : 0;
}

struct repeat_rates {
    uint32_t header, reserved;
    uint16_t interval, delay;
};

int plain_lkbd_repeat_rates_set(struct plain_link* link, uint16_t delay, uint16_t interval)
{
    struct repeat_rates record = {0x000A0006, 0, interval, delay};
    return ioctl(link->hdc, 0x7904, &record) < 0 ? FAILED : 0;
}

int plain_lkbd_repeat_rates_get(struct plain_link* link, uint16_t* delay, uint16_t* interval)
{
    struct repeat_rates record = {0};
    if (ioctl(link->hdc, 0x790E, &record) < 0)
        return FAILED;
    *delay = record.delay;
    *interval = record.interval;
    return 0;
}

int plain_proc_new_hoip_tablets(struct plain_link* link)
{
    return ioctl(link->hdc, 0x7912, NULL) < 0 ? FAILED : 0;
}
int plain_send_hoip_host_ready(struct plain_link* link)
{
    return ioctl(link->hdc, 0x7913, NULL) < 0 ? FAILED : 0;
}

int plain_kmp_driver_cfg_set(struct plain_link* link, const void* cfg)
{
    uint32_t record[2];
    memcpy(record, cfg, sizeof(record));
    return ioctl(link->hdc, 0x7911, record) < 0 ? FAILED : 0;
}

/* --- Cursor shapes --- */

int plain_lcur_shape_size_valid(const struct plain_link* link, uint16_t width, uint16_t height, int type)
{
    const uint32_t pixels = (uint32_t)width * height;
    const uint32_t needed = 4 * pixels + (type ? pixels / 8 : 0);
    return link->context.max_size_supported && width <= link->context.max_x && height <= link->context.max_y &&
                   link->context.cache_size_supported && needed <= link->context.cache_size
               ? 0
               : NOT_SUPPORTED;
}

/* --- The same with what an operation has to ask: is the node open, is the feature offered, is the level on --- */

static int asking_request(int fd, unsigned long request, void* record, const char* function)
{
    int result;
    if (fd < 0)
        return FAILED;
    result = ioctl(fd, request, record) < 0 ? FAILED : 0;
    if (result != 0)
        log_line(2, function, "failed (ret=%d)\n", result);
    else if (m_log_level >= 4)
        log_line(4, function, "ok\n");
    return result;
}

int plain_asking_proc_new_hoip_tablets(struct plain_link* link)
{
    return asking_request(link->hdc, 0x7912, NULL, __func__);
}

int plain_asking_lcur_spd_set(struct plain_link* link, uint32_t speed)
{
    uint32_t record[2] = {0x000A000F, speed};
    if (plain_lcur_spd_avail(link) != 0 || speed - 10 > 240)
        return NOT_SUPPORTED;
    return asking_request(link->hdc, 0x790C, record, __func__);
}

int plain_asking_lkbd_repeat_rates_get(struct plain_link* link, uint16_t* delay, uint16_t* interval)
{
    struct repeat_rates record = {0};
    if (m_log_level >= 4)
        log_line(4, __func__, "start\n");
    if (delay == NULL || interval == NULL || plain_lkbd_client_auto_repeat_avail(link) != 0)
        return NOT_SUPPORTED;
    if (asking_request(link->hdc, 0x790E, &record, __func__) != 0)
        return FAILED;
    *delay = record.delay;
    *interval = record.interval;
    return 0;
}

int plain_any_bit(const uint8_t* src, uint32_t width, uint32_t rows)
{
    const uint32_t words = (width + 31) / 32;
    uint8_t mask_bytes[4] = {0};
    uint32_t mask;
    for (uint32_t pixel = 0; pixel < (width - 1) % 32 + 1; ++pixel)
        mask_bytes[pixel / 8] |= (uint8_t)(0x80 >> pixel % 8);
    memcpy(&mask, mask_bytes, sizeof(mask));
    for (; rows > 0; --rows, src += 4 * words) {
        uint32_t found = 0;
        uint32_t word;
        for (uint32_t i = 0; i + 1 < words; ++i) {
            memcpy(&word, src + 4 * i, sizeof(word));
            found |= word;
        }
        memcpy(&word, src + 4 * (words - 1), sizeof(word));
        if (found | (word & mask))
            return 1;
    }
    return 0;
}

uint8_t* plain_copy_reversed(uint8_t* dst, const uint8_t* src, uint32_t row_length, uint32_t rows)
{
    for (uint32_t i = rows; i-- > 0; dst += row_length)
        memcpy(dst, src + i * row_length, row_length);
    return dst;
}

int plain_flip_bitmap(uint8_t width, uint8_t height, uint8_t xor_depth, uint32_t length, const uint8_t* src,
                      uint8_t* dst, int* no_transparency)
{
    const uint32_t and_row = (width + 31U) / 32 * 4;
    const uint32_t xor_row = xor_depth == 1 ? and_row : 4U * width;
    const uint32_t and_start = xor_depth == 1 ? xor_row * height : 0;
    const uint32_t xor_start = xor_depth == 1 ? 0 : and_row * height;
    const uint32_t and_last = and_start + and_row * (height - 1U);
    uint32_t rows = (length - and_last) / and_row; /* that are there to be searched */
    if ((and_row + xor_row) * height > length)
        return FAILED;
    if (rows > height)
        rows = height;
    if (plain_any_bit(src + and_last, width, rows))
        dst = plain_copy_reversed(dst, src + and_start, and_row, height);
    else
        *no_transparency = 1;
    plain_copy_reversed(dst, src + xor_start, xor_row, height);
    return 0;
}

int plain_flush_bitmap_cache(struct plain_link* link)
{
    for (int i = 0; i < link->cached; ++i) {
        free(link->cache[i].data);
        link->cache[i].data = NULL;
    }
    link->cached = 0;
    return 0;
}

int plain_init_bitmap_cache(struct plain_link* link)
{
    int count = link->context.caches < 16 ? link->context.caches : 16;
    plain_flush_bitmap_cache(link);
    if (!link->context.caches_supported || !link->context.cache_size_supported)
        return 0;
    link->last = 0;
    link->block = link->context.cache_size;
    for (int i = 0; i < count; ++i) {
        struct plain_shape empty = {.data = malloc(link->block)};
        if (!empty.data)
            break;
        link->cache[i] = empty;
        ++link->cached;
    }
    return 0;
}

int plain_is_bitmap_cached(const struct plain_link* link, uint8_t arg1, uint8_t arg2, uint8_t width, uint8_t height,
                           uint8_t and_depth, uint8_t xor_depth, const uint8_t* bmp, uint32_t length, int type,
                           uint8_t* index)
{
    for (int i = 0; i < link->cached; ++i) {
        const struct plain_shape* shape = &link->cache[i];
        if (shape->length == length && shape->type == type && shape->arg1 == arg1 && shape->arg2 == arg2 &&
            shape->width == width && shape->height == height && shape->and_depth == and_depth &&
            shape->xor_depth == xor_depth && memcmp(shape->data, bmp, length) == 0) {
            *index = (uint8_t)i;
            return 1;
        }
    }
    return 0;
}

void plain_add_bitmap_to_cache(struct plain_link* link, uint8_t arg1, uint8_t arg2, uint8_t width, uint8_t height,
                               uint8_t and_depth, uint8_t xor_depth, const uint8_t* bmp, uint32_t length, int type)
{
    const uint8_t slot = (uint8_t)((link->last + 1) % link->cached);
    struct plain_shape* shape = &link->cache[slot];
    struct plain_shape filled = {type, arg1, arg2, width, height, and_depth, xor_depth, shape->data, length};
    if (length > link->block) {
        shape->length = 0;
        return;
    }
    link->last = slot;
    memcpy(shape->data, bmp, length);
    *shape = filled;
}

int plain_lcur_shape_bmp_send(struct plain_link* link, uint8_t arg1, uint8_t arg2, uint8_t width, uint8_t height,
                              uint8_t and_depth, uint8_t xor_depth, const uint8_t* bmp, uint32_t length, int type)
{
    struct {
        uint32_t header, reserved;
        uint8_t type, slot, arg1, arg2, width, height, and_depth, xor_depth;
        uint32_t length;
    } head = {0x000A0003, 0, (uint8_t)type, 0, arg1, arg2, width, height, and_depth, xor_depth, 20 + length};
    int no_transparency = 0;
    uint8_t slot;
    uint8_t* record;
    int result;
    if (plain_is_bitmap_cached(link, arg1, arg2, width, height, and_depth, xor_depth, bmp, length, type, &slot))
        return plain_lcur_change_shape_send(link, slot);
    record = calloc(1, head.length);
    if (!record)
        return FAILED;
    head.slot = (uint8_t)(0x80 | (link->last + 1) % link->cached);
    result = plain_flip_bitmap(width, height, xor_depth, length, bmp, record + sizeof(head), &no_transparency);
    if (no_transparency)
        head.type = 0;
    memcpy(record, &head, sizeof(head));
    if (result == 0)
        result = ioctl(link->hdc, 0x7906, record) < 0 ? FAILED : 0;
    if (result == 0)
        plain_add_bitmap_to_cache(link, arg1, arg2, width, height, and_depth, xor_depth, bmp, length, type);
    free(record);
    return result;
}

int plain_show_if_same(struct plain_link* link, uint8_t slot, const uint8_t* cached, const uint8_t* bmp, size_t length)
{
    return memcmp(cached, bmp, length) == 0 ? plain_lcur_change_shape_send(link, slot) : FAILED;
}

int plain_same_as_any(const uint8_t* const* cached, int count, const uint8_t* bmp, size_t length)
{
    for (int i = 0; i < count; ++i) {
        if (memcmp(cached[i], bmp, length) == 0)
            return 1;
    }
    return 0;
}
