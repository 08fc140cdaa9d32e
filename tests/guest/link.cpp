// Calls operations of the link through the real device nodes and prints what each returned, "operation result", and
// behind ": " what it read, one a line, between the link's own log lines.
// usage: guest-link GROUP, one of those at the end of this file
#include "cursor_policy.h"
#include "vesk_haldo_link.h"
#include "vesk_log.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <vector>

#define PRINT(operation) std::printf(#operation " %d\n", link.operation())

// A text that may fill its member.
#define TEXT(member) static_cast<int>(sizeof(member)), member

static void print_predicates(cVESK_HALDO_LINK& link)
{
    PRINT(link_info_get_avail);
    PRINT(ipv4_cfg_get_avail);
    PRINT(sess_link_get_avail);
    PRINT(sess_link_disc_avail);
    PRINT(sess_link_disc_with_reason_avail);
    PRINT(sess_tag_set_avail);
    PRINT(sess_tag_version_1_key_scramble_feature_avail);
    PRINT(conn_port_get_avail);
    PRINT(sess_stat_get_avail);
    PRINT(sess_stat_reset_avail);
    PRINT(cached_topo_get_avail);
    PRINT(cached_topo_set_avail);
    PRINT(unicode_set_avail);
    PRINT(img_user_ext_cfg_get_avail);
    PRINT(img_user_ext_cfg_set_avail);
    PRINT(wol_cfg_get_avail);
    PRINT(wol_cfg_set_avail);
}

static void call_offers(cVESK_HALDO_LINK& link)
{
    PRINT(is_ready);
    print_predicates(link);
    link.hmi_avail_cmd_reset();
    PRINT(link_info_get_avail);
    PRINT(sess_tag_set_avail);
    link.hmi_avail_get_var_get();
    PRINT(link_info_get_avail);
    PRINT(sess_tag_set_avail);
    link.hmi_avail_set_var_get();
    PRINT(sess_tag_set_avail);
    link.hmi_avail_cmd_get();
    PRINT(link_info_get_avail);
}

static void set_driver(cVESK_HALDO_LINK& link, std::uint32_t type, std::int32_t setting)
{
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{type, setting};
    std::printf("kmp_driver_cfg_set %u %d: %d\n", type, setting, link.kmp_driver_cfg_set(&cfg));
}

static void set_speed(cVESK_HALDO_LINK& link, unsigned int speed)
{
    std::printf("lcur_spd_set %u: %d\n", speed, link.lcur_spd_set(speed));
}

static void get_speed(cVESK_HALDO_LINK& link)
{
    unsigned int speed = 0;
    const int result = link.lcur_spd_get(&speed);
    std::printf("lcur_spd_get %d: %u\n", result, speed);
}

static void get_rates(cVESK_HALDO_LINK& link)
{
    unsigned short delay = 0, interval = 0;
    const int result = link.lkbd_repeat_rates_get(&delay, &interval);
    std::printf("lkbd_repeat_rates_get %d: delay %u, interval %u\n", result, delay, interval);
}

static void get_feature_status(cVESK_HALDO_LINK& link)
{
    unsigned int status = 0;
    const int result = link.lcur_lkbd_dev_feat_stat_get(&status);
    std::printf("lcur_lkbd_dev_feat_stat_get %d: %X\n", result, status);
}

static void call_control(cVESK_HALDO_LINK& link)
{
    PRINT(lcur_lkbd_enable);
    get_feature_status(link);
    PRINT(lcur_lkbd_disable);
    get_feature_status(link);
    std::printf("lcur_idle_hide_set %d\n", link.lcur_idle_hide_set(30));
    get_speed(link);
    for (const unsigned int speed : {9, 10, 250, 251})
        set_speed(link, speed);
    get_speed(link);
    for (const unsigned char index : {15, 16})
        std::printf("lcur_change_shape_send %d: %d\n", index, link.lcur_change_shape_send(index));
    std::printf("lcur_pointer_visibility_set %d\n", link.lcur_pointer_visibility_set(0x01020304, 7));
    std::printf("lcur_pointer_location_set %d\n", link.lcur_pointer_location_set(0x01020305, 1919, 1079));
    std::printf("lcur_pointer_location_set_if_new %d\n", link.lcur_pointer_location_set_if_new(1918, 1078));
    get_rates(link);
    std::printf("lkbd_repeat_rates_set %d\n", link.lkbd_repeat_rates_set(250, 40));
    get_rates(link);
    PRINT(proc_new_hoip_tablets);
    PRINT(send_hoip_host_ready);
    unsigned int status = 0, count = 0, hid_devices = 0, ack = 0;
    const int result = link.lcur_lkbd_last_stat_get(&status, &count, &hid_devices, &ack);
    std::printf("lcur_lkbd_last_stat_get %d: %X, count %u, HID devices %u, ack %u\n", result, status, count,
                hid_devices, ack);
}

static void call_kmp(cVESK_HALDO_LINK& link)
{
    PRINT(start);
    PRINT(hdc_open);
    link.kmp_pri_ctxt_get();
    PRINT(lcur_lkbd_avail);
    PRINT(lcur_shape_bmp_send_avail);
    PRINT(lcur_spd_avail);
    PRINT(lcur_idle_hide_avail);
    PRINT(lkbd_client_auto_repeat_avail);
    PRINT(hoip_avail);
    PRINT(lcur_disable_avail);
    PRINT(is_client_sc);
    PRINT(init_bitmap_cache);
    PRINT(flush_bitmap_cache);
    set_driver(link, KMP_DRIVER_CFG_LCUR_EVT_ALG, LCUR_EVT_ALG_RELATIVE);
    set_driver(link, KMP_DRIVER_CFG_LOCAL_TABLET, 1);
    set_driver(link, KMP_DRIVER_CFG_LOCAL_TABLET, 2);
    call_control(link);
    PRINT(kmp_pri_ctxt_reset);
    PRINT(is_client_sc);
    PRINT(lcur_lkbd_enable);
    get_speed(link);
    get_rates(link);
    PRINT(hdc_close);
    link.stop();
}

static void call_policy(cVESK_HALDO_LINK& link)
{
    std::printf("user_session_end %d\n", user_session_end(&link));
    link.kmp_pri_ctxt_get();
    std::printf("enable_local_cursor_with_relative_reports %d\n", enable_local_cursor_with_relative_reports(&link));
    get_feature_status(link);
    disable_local_cursor(&link);
    get_feature_status(link);
    std::printf("update_driver_cfg %d\n", update_driver_cfg(&link, LCUR_EVT_ALG_ABSOLUTE));
    std::printf("user_session_end %d\n", user_session_end(&link));
}

struct shape {
    const char* name;
    eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE type;
    unsigned char width;
    unsigned char height;
    unsigned char and_depth;
    unsigned char xor_depth;
    unsigned int bmp_len;
    unsigned char first; // of the bitmap's bytes, which count down to 0
};

static void send_shape(cVESK_HALDO_LINK& link, const shape& sent)
{
    std::vector<unsigned char> bmp(sent.bmp_len);
    unsigned char next = sent.first;
    for (unsigned char& byte : bmp)
        byte = next != 0 ? next-- : 0;
    const int result = link.lcur_shape_bmp_send(3, 4, sent.width, sent.height, sent.and_depth, sent.xor_depth,
                                                bmp.data(), sent.bmp_len, sent.type);
    std::printf("lcur_shape_bmp_send %s: %d\n", sent.name, result);
}

static void call_shapes(cVESK_HALDO_LINK& link)
{
    constexpr auto ALPHA = KMP_CUR_BITMAP_TYPE_ALPHA;
    constexpr auto COLOR = KMP_CUR_BITMAP_TYPE_COLOR;
    constexpr unsigned int longest = 128 * 1024 - sizeof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT);
    const shape monochrome{"monochrome", COLOR, 8, 4, 1, 1, 16, 0xFF};
    const shape color{"color", COLOR, 2, 2, 1, 32, 24, 0xFE};
    const shape alpha{"alpha", ALPHA, 2, 2, 0, 0, 16, 0xFD};

    link.kmp_pri_ctxt_get();
    PRINT(init_bitmap_cache);
    for (int times = 0; times < 2; ++times)
        for (const shape& one : {monochrome, color, alpha})
            send_shape(link, one);
    send_shape(link, {"opaque", COLOR, 2, 2, 1, 32, 24, 0x3F});
    send_shape(link, monochrome);
    send_shape(link, {"too short", COLOR, 2, 2, 1, 32, 23, 0xFE});
    send_shape(link, {"too long", ALPHA, 1, 1, 0, 0, longest + 1, 1});
    for (int times = 0; times < 2; ++times)
        send_shape(link, {"longest", ALPHA, 1, 1, 0, 0, longest, 1});
}

static void print_sess_link(const char* operation, int result,
                            const sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT& state)
{
    std::printf("%s %d: flags %02X, trans_cnt %d, ip '%.*s'\n", operation, result, state.flags, state.trans_cnt,
                TEXT(state.ip));
}

static void get_sess_link(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state{};
    print_sess_link("sess_link_get", link.sess_link_get(&state), state);
}

static void beat(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state{};
    int changed = -1;
    link.link_heartbeat(&changed, &state);
    print_sess_link("link_heartbeat", changed, state);
    PRINT(lcur_lkbd_avail);
}

static void set_host_state(cVESK_HALDO_LINK& link, int state)
{
    const int result = link.host_sess_state_set(static_cast<eVESK_HALDO_HMI_HOST_SESSION_STATE>(state));
    std::printf("host_sess_state_set %d: %d\n", state, result);
}

static void get_host_state(cVESK_HALDO_LINK& link)
{
    auto state = HMI_HOST_SESSION_STATE_FIRST;
    const int result = link.host_sess_state_get(&state);
    std::printf("host_sess_state_get %d: %d\n", result, state);
}

static void get_tag(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag{};
    const int result = link.sess_tag_get(&tag);
    std::printf("sess_tag_get %d: flags %02X, tag '%.*s'\n", result, tag.flags, TEXT(tag.tag));
}

static void get_wol_cfg(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT cfg{};
    const int result = link.wol_cfg_get(&cfg);
    std::printf("wol_cfg_get %d: flags %02X, mac '%.*s', ip '%.*s'\n", result, cfg.flags, TEXT(cfg.mac), TEXT(cfg.ip));
}

static void call_session(cVESK_HALDO_LINK& link)
{
    get_sess_link(link);
    beat(link);
    beat(link);
    set_host_state(link, 8);
    set_host_state(link, 9);
    get_host_state(link);
    get_tag(link);
    PRINT(is_sess_view_brokered);
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag{HMI_SESS_TAG_BROKERED, {}, "desk 2"};
    std::printf("sess_tag_set %d\n", link.sess_tag_set(&tag));
    get_tag(link);
    PRINT(is_sess_view_brokered);
    get_wol_cfg(link);
    std::printf("sess_link_disc %d\n", link.sess_link_disc(5));
    beat(link);
    beat(link);
}

template <class Record> static void print_words(const char* operation, int result, const Record& record)
{
    std::printf("%s %d:", operation, result);
    for (const std::uint32_t word : record.words)
        std::printf(" %X", word);
    std::printf("\n");
}

static void get_statistics(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT sess_stat{};
    const int result = link.sess_stat_get(&sess_stat);
    print_words("sess_stat_get", result, sess_stat);
}

static void call_network(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT link_info{};
    int result = link.link_info_get(&link_info);
    print_words("link_info_get", result, link_info);
    sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT ipv4_cfg{};
    result = link.ipv4_cfg_get(&ipv4_cfg);
    print_words("ipv4_cfg_get", result, ipv4_cfg);
    sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT conn_port{};
    result = link.conn_port_get(&conn_port);
    std::printf("conn_port_get %d: %u\n", result, conn_port.port);
    get_statistics(link);
    PRINT(sess_stat_reset);
    get_statistics(link);
    std::printf("unicode_set %d\n", link.unicode_set(2));
    unsigned int local_info = 0;
    result = link.local_info_get(&local_info);
    std::printf("local_info_get %d: %X\n", result, local_info);
    PRINT(wol_cfg_get_avail);
    PRINT(wol_cfg_set_avail);
    get_wol_cfg(link);
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT wol_cfg{3, {}, "02:00:00:00:00:FE", "192.0.2.254"};
    std::printf("wol_cfg_set %d\n", link.wol_cfg_set(&wol_cfg));
    get_wol_cfg(link);
}

static void call_imaging(cVESK_HALDO_LINK& link)
{
    for (const unsigned int value : {100, 101}) {
        std::printf("img_user_cfg_set %u: %d\n", value, link.img_user_cfg_set(value));
        std::printf("img_user_cfg_cache_set %u: %d\n", value, link.img_user_cfg_cache_set(value));
    }
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT cfg{};
    const int result = link.img_user_cfg_req_get(&cfg);
    std::printf("img_user_cfg_req_get %d: qual %u, b2l %u\n", result, cfg.qual, cfg.b2l);
}

template <class Display> static void print_display(const Display& disp)
{
    std::printf("  %u x %u @ (%d, %d) rotation %u\n", disp.width, disp.height, disp.pos_x, disp.pos_y, disp.rotation);
}

static void get_topology(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topo{};
    std::printf("disp_topology_get %d\n", link.disp_topology_get(&topo));
    for (const auto& disp : topo.disp)
        print_display(disp);
}

static void get_async_topology(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo{};
    unsigned int value = 0;
    const int result = link.async_disp_topology_get(&topo, &value);
    std::printf("async_disp_topology_get %d: num_disp %u, value %u\n", result, topo.num_disp, value);
    for (const auto& disp : topo.disp)
        print_display(disp);
}

static void get_cached_topology(cVESK_HALDO_LINK& link)
{
    sVESK_HALDO_LINK_CACHE_DISP_TOPO topo{};
    const int result = link.cache_disp_topology_get(&topo);
    std::printf("cache_disp_topology_get %d: num_disp %u, primary %u\n", result, topo.num_disp, topo.primary);
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_LINK_MONITOR_STRUCT& monitor = topo.monitor[i];
        print_display(topo.disp[i]);
        std::printf("    rate %u, vid '%.*s', pid '%.*s', serial '%.*s', name '%.*s'\n", topo.disp[i].rate,
                    TEXT(monitor.vid), TEXT(monitor.pid), TEXT(monitor.serial), TEXT(monitor.name));
    }
}

static void call_topology(cVESK_HALDO_LINK& link)
{
    get_topology(link);
    get_async_topology(link);
    get_cached_topology(link);
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo{2, {{0, 0, 1920, 1080, 0}, {}, {-1280, 56, 1280, 1024, 4}}};
    std::printf("disp_topology_send %d\n", link.disp_topology_send(&topo, 1920, 1080, 1));
    get_topology(link);
    topo.num_disp = 5;
    std::printf("disp_topology_send %d\n", link.disp_topology_send(&topo, 1920, 1080, 1));
    topo.num_disp = 4;
    std::printf("sess_link_disc %d\n", link.sess_link_disc(0));
    std::printf("disp_topology_send %d\n", link.disp_topology_send(&topo, 1920, 1080, 1));
}

int main(int argc, char** argv)
{
    static constexpr struct {
        const char* name;
        void (*call)(cVESK_HALDO_LINK& link);
    } groups[] = {
        {"offers", call_offers},   {"kmp", call_kmp},         {"shapes", call_shapes},   {"policy", call_policy},
        {"session", call_session}, {"network", call_network}, {"imaging", call_imaging}, {"topology", call_topology},
    };
    for (const auto& group : groups) {
        if (argc == 2 && std::strcmp(argv[1], group.name) == 0) {
            m_log_level = VESK_LOG_INFO;
            cVESK_HALDO_LINK link;
            group.call(link);
            return 0;
        }
    }
    std::fprintf(stderr, "usage: guest-link offers|kmp|shapes|policy|session|network|imaging|topology\n");
    return 2;
}
