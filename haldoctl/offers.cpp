#include "offers.h"

namespace haldoctl
{

std::vector<offer> firmware_offers(cVESK_HALDO_LINK& link)
{
    const auto is = [](int result) { return result == VESK_OK; };
    std::vector<offer> offers;
#define VESK_PREDICATE(predicate, map, variable, words)                                                                \
    offers.push_back({std::string(#predicate, sizeof(#predicate) - sizeof("_avail")), words, is(link.predicate())});
    VESK_HMI_PREDICATE_TABLE(VESK_PREDICATE)
#undef VESK_PREDICATE
    offers.push_back({"wol_cfg_get", "wake-on-LAN", is(link.wol_cfg_get_avail())});
    offers.push_back({"wol_cfg_set", "setting wake-on-LAN", is(link.wol_cfg_set_avail())});
    return offers;
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
