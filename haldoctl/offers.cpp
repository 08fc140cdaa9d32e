#include "offers.h"

namespace haldoctl
{

std::vector<offer> firmware_offers(cVESK_HALDO_LINK& link)
{
    const auto is = [](int result) { return result == VESK_OK; };
    return {
        {"link_info_get", "link information", is(link.link_info_get_avail())},
        {"ipv4_cfg_get", "IPv4 configuration", is(link.ipv4_cfg_get_avail())},
        {"sess_link_get", "state of the session", is(link.sess_link_get_avail())},
        {"sess_link_disc", "ending the session", is(link.sess_link_disc_avail())},
        {"sess_link_disc_with_reason", "ending the session with a reason", is(link.sess_link_disc_with_reason_avail())},
        {"sess_tag_set", "setting the session tag", is(link.sess_tag_set_avail())},
        {"sess_tag_version_1_key_scramble_feature", "second form of the session tag",
         is(link.sess_tag_version_1_key_scramble_feature_avail())},
        {"conn_port_get", "connection port", is(link.conn_port_get_avail())},
        {"sess_stat_get", "session statistics", is(link.sess_stat_get_avail())},
        {"sess_stat_reset", "resetting the statistics", is(link.sess_stat_reset_avail())},
        {"cached_topo_get", "cached display layout", is(link.cached_topo_get_avail())},
        {"cached_topo_set", "caching a display layout", is(link.cached_topo_set_avail())},
        {"unicode_set", "Unicode mode", is(link.unicode_set_avail())},
        {"img_user_ext_cfg_get", "imaging preference", is(link.img_user_ext_cfg_get_avail())},
        {"img_user_ext_cfg_set", "setting the imaging preference", is(link.img_user_ext_cfg_set_avail())},
        {"wol_cfg_get", "wake-on-LAN", is(link.wol_cfg_get_avail())},
        {"wol_cfg_set", "setting wake-on-LAN", is(link.wol_cfg_set_avail())},
    };
}

std::vector<offer> client_offers(const cVESK_HALDO_LINK& link)
{
    const auto is = [](int result) { return result == VESK_OK; };
    return {
        {"lcur_lkbd", "local cursor and keyboard", is(link.lcur_lkbd_avail())},
        {"lcur_disable", "switching the local cursor off", is(link.lcur_disable_avail())},
        {"lcur_shape_bmp_send", "cursor shapes", is(link.lcur_shape_bmp_send_avail())},
        {"lcur_spd", "cursor speed", is(link.lcur_spd_avail())},
        {"lcur_idle_hide", "idle-hide", is(link.lcur_idle_hide_avail())},
        {"lkbd_client_auto_repeat", "keyboard repeat rates", is(link.lkbd_client_auto_repeat_avail())},
        {"hoip", "local tablets", is(link.hoip_avail())},
    };
}

} // namespace haldoctl
