// Calls those operations of the link that the daemon does not, through the real device nodes, and prints what each
// returned: "operation result", one a line, between the link's own log lines.
#include "vesk_haldo_link.h"
#include "vesk_log.h"

#include <cstdio>

static void print_predicates(const cVESK_HALDO_LINK& link)
{
#define PRINT(predicate) std::printf(#predicate " %d\n", link.predicate())
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
    PRINT(lcur_lkbd_avail);
    PRINT(lcur_shape_bmp_send_avail);
    PRINT(lcur_spd_avail);
    PRINT(lcur_idle_hide_avail);
    PRINT(lkbd_client_auto_repeat_avail);
    PRINT(hoip_avail);
    PRINT(lcur_disable_avail);
    PRINT(is_client_sc);
#undef PRINT
}

static void set_driver(cVESK_HALDO_LINK& link, std::uint32_t type, std::int32_t setting)
{
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{type, setting};
    std::printf("kmp_driver_cfg_set %u %d: %d\n", type, setting, link.kmp_driver_cfg_set(&cfg));
}

int main()
{
    m_log_level = VESK_LOG_INFO;
    cVESK_HALDO_LINK link;
    std::printf("is_ready %d\n", link.is_ready());
    std::printf("hdc_open %d\n", link.hdc_open());
    link.kmp_pri_ctxt_get();
    print_predicates(link);
    set_driver(link, KMP_DRIVER_CFG_LCUR_EVT_ALG, LCUR_EVT_ALG_RELATIVE);
    set_driver(link, KMP_DRIVER_CFG_LOCAL_TABLET, 1);
    set_driver(link, KMP_DRIVER_CFG_LOCAL_TABLET, 2);
    std::printf("kmp_pri_ctxt_reset %d\n", link.kmp_pri_ctxt_reset());
    std::printf("is_client_sc %d\n", link.is_client_sc());
    std::printf("hdc_close %d\n", link.hdc_close());
    return 0;
}
