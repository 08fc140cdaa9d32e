/* Every operation of the link as hand-written C does it that does no more than it must: it fills the same record, makes
   the same call, looks at its result and copies the same payload. It asks no predicate unless that sends a request, and
   has nothing to log but what the link logs at level 3. */
#ifndef PLAIN_H
#define PLAIN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct plain_context {
    uint32_t request, pri_num;
    uint8_t kmp_supported, kmp_enabled, encodings, haldo_kmp_1, caches_supported, cache_size_supported;
    uint16_t caches;
    uint32_t cache_size;
    uint8_t bmp_supported, bmp_alpha, bmp_color, max_size_supported;
    uint16_t max_x, max_y;
    uint8_t repeat_supported, repeat_enable, fadeout_supported, fadeout_enable, speed_supported, speed_enable;
    uint8_t usb_supported, usb_enable, relative_supported, relative_enable, update_supported, update_enable;
    uint8_t hoip_supported, hoip_enable, reserved[250];
};

struct plain_shape {
    int type;
    uint8_t arg1, arg2, width, height, and_depth, xor_depth;
    uint8_t* data;
    uint32_t length;
};

struct plain_link {
    int hcc, hdc;
    uint32_t started;
    uint32_t commands[8], readable[8], writable[8];
    struct plain_context context;
    uint32_t context_valid;
    int cached;
    uint8_t last;
    uint32_t block;
    struct plain_shape cache[16];
};

struct plain_display {
    int32_t x, y;
    uint16_t width, height;
    uint32_t rotation;
};

struct plain_layout {
    uint32_t count;
    struct plain_display display[4];
};

struct plain_cached_layout {
    uint32_t count, reserved;
    struct {
        struct plain_display display;
        uint8_t rate, reserved[7];
    } display[4];
    uint32_t primary;
    uint8_t reserved2[8];
    struct {
        char vid[4], pid[5], serial[14], name[14];
    } monitor[4];
    uint8_t reserved3[128];
};

#define PLAIN_PREDICATES(PREDICATE)                                                                                    \
    PREDICATE(link_info_get_avail)                                                                                     \
    PREDICATE(ipv4_cfg_get_avail)                                                                                      \
    PREDICATE(sess_link_get_avail)                                                                                     \
    PREDICATE(sess_link_disc_avail)                                                                                    \
    PREDICATE(sess_link_disc_with_reason_avail)                                                                        \
    PREDICATE(sess_tag_set_avail)                                                                                      \
    PREDICATE(sess_tag_version_1_key_scramble_feature_avail)                                                           \
    PREDICATE(conn_port_get_avail)                                                                                     \
    PREDICATE(sess_stat_get_avail)                                                                                     \
    PREDICATE(sess_stat_reset_avail)                                                                                   \
    PREDICATE(cached_topo_get_avail)                                                                                   \
    PREDICATE(cached_topo_set_avail)                                                                                   \
    PREDICATE(unicode_set_avail)                                                                                       \
    PREDICATE(img_user_ext_cfg_get_avail)                                                                              \
    PREDICATE(img_user_ext_cfg_set_avail)                                                                              \
    PREDICATE(lcur_lkbd_avail)                                                                                         \
    PREDICATE(lcur_shape_bmp_send_avail)                                                                               \
    PREDICATE(lcur_spd_avail)                                                                                          \
    PREDICATE(lcur_idle_hide_avail)                                                                                    \
    PREDICATE(lkbd_client_auto_repeat_avail)                                                                           \
    PREDICATE(hoip_avail)                                                                                              \
    PREDICATE(lcur_disable_avail)                                                                                      \
    PREDICATE(is_client_sc)                                                                                            \
    PREDICATE(is_ready)
#define DECLARE(name) int plain_##name(const struct plain_link* link);
PLAIN_PREDICATES(DECLARE)
#undef DECLARE

void plain_open(struct plain_link* link);
void plain_close(struct plain_link* link);
int plain_start(struct plain_link* link);
void plain_stop(struct plain_link* link);
void plain_hmi_avail_cmd_reset(struct plain_link* link);
void plain_hmi_avail_cmd_get(struct plain_link* link);
void plain_hmi_avail_get_var_get(struct plain_link* link);
void plain_hmi_avail_set_var_get(struct plain_link* link);
int plain_wol_cfg_get_avail(struct plain_link* link);
int plain_wol_cfg_set_avail(struct plain_link* link);
int plain_sess_link_get(struct plain_link* link, void* out);
void plain_link_heartbeat(struct plain_link* link, int* changed, void* state);
int plain_sess_link_disc(struct plain_link* link, uint32_t reason);
int plain_host_sess_state_set(struct plain_link* link, uint32_t state);
int plain_host_sess_state_get(struct plain_link* link, void* out);
int plain_sess_tag_get(struct plain_link* link, void* out);
int plain_sess_tag_set(struct plain_link* link, const void* in);
int plain_is_sess_view_brokered(struct plain_link* link);
int plain_link_info_get(struct plain_link* link, void* out);
int plain_ipv4_cfg_get(struct plain_link* link, void* out);
int plain_conn_port_get(struct plain_link* link, void* out);
int plain_sess_stat_get(struct plain_link* link, void* out);
int plain_sess_stat_reset(struct plain_link* link);
int plain_unicode_set(struct plain_link* link, uint32_t enable);
int plain_local_info_get(struct plain_link* link, void* out);
int plain_wol_cfg_get(struct plain_link* link, void* out);
int plain_wol_cfg_set(struct plain_link* link, const void* in);
int plain_img_user_cfg_set(struct plain_link* link, uint32_t value);
int plain_img_user_cfg_cache_set(struct plain_link* link, uint32_t value);
int plain_img_user_cfg_req_get(struct plain_link* link, void* out);
int plain_disp_topology_get(struct plain_link* link, void* topo);
int plain_async_disp_topology_get(struct plain_link* link, void* topo, uint32_t* value);
int plain_disp_topology_send(struct plain_link* link, void* topo, int primary_width, int primary_height, int twinview);
int plain_cache_disp_topology_get(struct plain_link* link, void* topo);
int plain_hdc_open(struct plain_link* link);
int plain_hdc_close(struct plain_link* link);
void plain_kmp_pri_ctxt_get(struct plain_link* link);
int plain_kmp_pri_ctxt_reset(struct plain_link* link);
const struct plain_context* plain_kmp_context(const struct plain_link* link);
int plain_lcur_lkbd_enable(struct plain_link* link);
int plain_lcur_lkbd_disable(struct plain_link* link);
int plain_lcur_lkbd_dev_feat_stat_get(struct plain_link* link, uint32_t* status);
int plain_lcur_lkbd_last_stat_get(struct plain_link* link, uint32_t* status, uint32_t* count, uint32_t* hid_devices,
                                  uint32_t* tablet_activate_ack);
int plain_lcur_idle_hide_set(struct plain_link* link, uint32_t value);
int plain_lcur_spd_set(struct plain_link* link, uint32_t speed);
int plain_lcur_spd_get(struct plain_link* link, uint32_t* speed);
int plain_lcur_change_shape_send(struct plain_link* link, uint8_t index);
int plain_lcur_pointer_visibility_set(struct plain_link* link, uint32_t time_stamp, uint8_t visible);
int plain_lcur_pointer_location_set(struct plain_link* link, uint32_t time_stamp, uint16_t x, uint16_t y);
int plain_lcur_pointer_location_set_if_new(struct plain_link* link, uint16_t x, uint16_t y);
int plain_lkbd_repeat_rates_set(struct plain_link* link, uint16_t delay, uint16_t interval);
int plain_lkbd_repeat_rates_get(struct plain_link* link, uint16_t* delay, uint16_t* interval);
int plain_proc_new_hoip_tablets(struct plain_link* link);
int plain_send_hoip_host_ready(struct plain_link* link);
int plain_kmp_driver_cfg_set(struct plain_link* link, const void* cfg);

/* These ask what the operation has to ask: whether the node is open, the feature offered, the level on. */
int plain_asking_proc_new_hoip_tablets(struct plain_link* link);
int plain_asking_lcur_spd_set(struct plain_link* link, uint32_t speed);
int plain_asking_lkbd_repeat_rates_get(struct plain_link* link, uint16_t* delay, uint16_t* interval);

int plain_lcur_shape_size_valid(const struct plain_link* link, uint16_t width, uint16_t height, int type);
int plain_lcur_shape_bmp_send(struct plain_link* link, uint8_t arg1, uint8_t arg2, uint8_t width, uint8_t height,
                              uint8_t and_depth, uint8_t xor_depth, const uint8_t* bmp, uint32_t length, int type);
int plain_init_bitmap_cache(struct plain_link* link);
int plain_flush_bitmap_cache(struct plain_link* link);
void plain_add_bitmap_to_cache(struct plain_link* link, uint8_t arg1, uint8_t arg2, uint8_t width, uint8_t height,
                               uint8_t and_depth, uint8_t xor_depth, const uint8_t* bmp, uint32_t length, int type);
int plain_is_bitmap_cached(const struct plain_link* link, uint8_t arg1, uint8_t arg2, uint8_t width, uint8_t height,
                           uint8_t and_depth, uint8_t xor_depth, const uint8_t* bmp, uint32_t length, int type,
                           uint8_t* index);

/* What a cached shape cannot do without: one comparison, and the request that selects it. And what one that is not
   cached cannot: a comparison with each. */
int plain_show_if_same(struct plain_link* link, uint8_t slot, const uint8_t* cached, const uint8_t* bmp, size_t length);
int plain_same_as_any(const uint8_t* const* cached, int count, const uint8_t* bmp, size_t length);

/* A 32-bit COLOR bitmap, flipped: the AND plane, which the search for a transparent bit reads by words from its last
   row on, and the XOR plane. One memcpy a row. */
int plain_flip_bitmap(uint8_t width, uint8_t height, uint8_t xor_depth, uint32_t length, const uint8_t* src,
                      uint8_t* dst, int* no_transparency);
int plain_any_bit(const uint8_t* src, uint32_t width, uint32_t rows);
uint8_t* plain_copy_reversed(uint8_t* dst, const uint8_t* src, uint32_t row_length, uint32_t rows);

#ifdef __cplusplus
}
#endif
#endif
