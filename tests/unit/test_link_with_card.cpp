// The link against the simulated card: the two must mean the same by every request.
#include "card.h"
#include "link.h"
#include "vesk_log.h"

#include <cerrno>
#include <gtest/gtest.h>

class link_with_card : public testing::Test
{
protected:
    link_with_card()
    {
        h.serve_ioctl([this](int fd, std::uint32_t code, void* record) {
            const eVESK_NODE node = fd == HCC ? VESK_NODE_HCC : VESK_NODE_HDC;
            const std::size_t length = record != nullptr ? cardsim::record_length(code) : 0;
            return card.request(node, code, {static_cast<std::uint8_t*>(record), length});
        });
    }
    void open_link()
    {
        expect_nodes_opened(h);
        link.emplace();
    }
    ~link_with_card() override
    {
        if (link)
            expect_nodes_closed(h);
    }
    // What the card saw since the last call.
    lines journal() { return std::exchange(seen, {}); }

    host h;
    lines seen;
    cardsim::card card{{}, [this](std::string_view line) { seen.emplace_back(line); }};
    std::optional<visible_link> link;
};

TEST_F(link_with_card, reads_the_offers_at_construction)
{
    open_link();
    EXPECT_EQ(journal(), (lines{
                             "HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0",
                             "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0",
                             "HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 00 00 00 00 (+248 zero) -> 0",
                         }));
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), zero_filled(32, {0x07}));
    EXPECT_EQ(bytes_of(link->hmi_avail_get_var), zero_filled(32, {0xFF, 0x3F}));
    EXPECT_EQ(bytes_of(link->hmi_avail_set_var), zero_filled(32, {0xFF, 0x3F}));
    EXPECT_EQ(link->sess_link_get_avail(), 0);
    EXPECT_EQ(link->img_user_ext_cfg_set_avail(), 0);
    EXPECT_EQ(h.log(), lines());
}

TEST_F(link_with_card, tells_readable_from_writable_variables)
{
    card.offered.readable = {{1u << HMI_VAR_SESS_LINK, 0xFFFFFFFF}};
    card.offered.writable = {{1u << HMI_VAR_UNICODE}};
    open_link();
    EXPECT_EQ(link->sess_link_get_avail(), 0);
    EXPECT_EQ(link->sess_link_disc_avail(), -511);
    EXPECT_EQ(link->unicode_set_avail(), 0);
    EXPECT_EQ(link->cached_topo_get_avail(), -511);
}

TEST_F(link_with_card, asks_for_no_map_that_the_firmware_does_not_offer)
{
    card.offered.commands = {{1u << HMI_CMD_AVAIL_CMD}};
    open_link();
    EXPECT_EQ(journal(), (lines{"HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0"}));
    EXPECT_EQ(link->sess_link_get_avail(), -511);
}

TEST_F(link_with_card, is_constructed_without_offers_when_the_firmware_does_not_answer)
{
    card.order(0x7801, -EIO);
    open_link();
    EXPECT_TRUE(link->is_ready());
    EXPECT_EQ(link->sess_link_get_avail(), -511);
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E ioctl 0x00007801 failed (rv=-1)",
                              "hmi_avail_cmd_get E failed to get available HMI commands"}));
}

TEST_F(link_with_card, opens_the_path_and_closes_it_at_stop)
{
    open_link();
    journal();
    EXPECT_EQ(link->start(), 0);
    EXPECT_EQ(link->hdc_open(), 0);
    EXPECT_TRUE(card.channel_open());
    EXPECT_TRUE(card.path_open());
    link->stop();
    EXPECT_FALSE(card.channel_open());
    EXPECT_FALSE(card.path_open());
    EXPECT_EQ(journal(), (lines{
                             "HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0",
                             "HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0",
                             "HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0",
                             "HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0",
                         }));
    EXPECT_EQ(h.log(), lines());
}

TEST_F(link_with_card, leaves_nothing_half_open)
{
    open_link();
    card.order(0x7900, -EIO);
    EXPECT_EQ(link->hdc_open(), -500);
    EXPECT_FALSE(card.channel_open());
    EXPECT_FALSE(card.path_open());
    card.order(0x7900, 0);
    EXPECT_EQ(link->hdc_open(), 0);
    EXPECT_TRUE(card.path_open());
}

TEST_F(link_with_card, fetches_the_context_of_the_client)
{
    open_link();
    EXPECT_EQ(link->lcur_lkbd_avail(), -511);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), bytes_of(card.offered.kmp_context));
    EXPECT_EQ(link->kmp_pri_ctxt.cur_shape_caches, 16);
    EXPECT_EQ(link->lcur_lkbd_avail(), 0);
    EXPECT_EQ(link->hoip_avail(), 0);
    EXPECT_EQ(link->is_client_sc(), 0);
    EXPECT_EQ(h.log(), (lines{"kmp_pri_ctxt_get I hoip_enable=1: local tablet mode supported by host and client"}));
}

TEST_F(link_with_card, keeps_the_context_of_the_client_when_it_cannot_fetch_another)
{
    open_link();
    link->kmp_pri_ctxt_get();
    const bytes before = bytes_of(card.offered.kmp_context);
    card.offered.kmp_context = {};
    card.order(0x7822, -EIO, 1);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), before);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), zero_filled(292));
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 1u);
    EXPECT_EQ(link->lcur_lkbd_avail(), -511);
}

TEST_F(link_with_card, configures_the_driver)
{
    open_link();
    journal();
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{KMP_DRIVER_CFG_LCUR_EVT_ALG, LCUR_EVT_ALG_RELATIVE};
    EXPECT_EQ(link->kmp_driver_cfg_set(&cfg), 0);
    EXPECT_EQ(card.driver_setting(KMP_DRIVER_CFG_LCUR_EVT_ALG), 1);
    cfg = {KMP_DRIVER_CFG_LOCAL_TABLET, -1};
    EXPECT_EQ(link->kmp_driver_cfg_set(&cfg), 0);
    EXPECT_EQ(card.driver_setting(KMP_DRIVER_CFG_LOCAL_TABLET), -1);
    cfg = {KMP_DRIVER_CFG_LCUR_EVT_ALG, LCUR_EVT_ALG_ABSOLUTE};
    card.order(0x7911, -EIO, 1);
    EXPECT_EQ(link->kmp_driver_cfg_set(&cfg), -500);
    EXPECT_EQ(card.driver_setting(KMP_DRIVER_CFG_LCUR_EVT_ALG), 1);
    EXPECT_EQ(journal(), (lines{
                             "HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 01 00 00 00 -> 0",
                             "HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 01 00 00 00 FF FF FF FF -> 0",
                             "HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> EIO",
                         }));
}

TEST_F(link_with_card, reads_the_variables_of_network_and_statistics)
{
    card.kept.link_info = random_record<sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT>();
    card.kept.ipv4 = random_record<sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT>();
    card.kept.port = random_record<sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT>();
    card.kept.stats = random_record<sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT>();
    card.kept.local_info = 0x89ABCDEF;
    open_link();
    journal();
    sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT link_info;
    sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT ipv4_cfg;
    sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT conn_port;
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT sess_stat;
    unsigned int local_info;
    EXPECT_EQ(link->link_info_get(&link_info), 0);
    EXPECT_EQ(link->ipv4_cfg_get(&ipv4_cfg), 0);
    EXPECT_EQ(link->conn_port_get(&conn_port), 0);
    EXPECT_EQ(link->sess_stat_get(&sess_stat), 0);
    EXPECT_EQ(link->local_info_get(&local_info), 0);
    EXPECT_EQ(bytes_of(link_info), bytes_of(card.kept.link_info));
    EXPECT_EQ(bytes_of(ipv4_cfg), bytes_of(card.kept.ipv4));
    EXPECT_EQ(bytes_of(conn_port), bytes_of(card.kept.port));
    EXPECT_EQ(bytes_of(sess_stat), bytes_of(card.kept.stats));
    EXPECT_EQ(local_info, 0x89ABCDEF);
    EXPECT_EQ(journal(), (lines{
                             "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 01 00 00 00 (+248 zero) -> 0",
                             "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 02 00 00 00 (+248 zero) -> 0",
                             "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 05 00 00 00 (+248 zero) -> 0",
                             "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 06 00 00 00 (+248 zero) -> 0",
                             "HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 01 00 00 00 00 00 00 00 -> 0",
                         }));
    EXPECT_EQ(h.log(), lines());
}

TEST_F(link_with_card, asks_for_no_variable_that_the_firmware_does_not_offer)
{
    card.offered.readable = card.offered.writable = {};
    open_link();
    journal();
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT sess_link;
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag{};
    sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT conn_port;
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT wol_cfg{};
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT user_cfg;
    sVESK_HALDO_LINK_CACHE_DISP_TOPO cached;
    EXPECT_EQ(link->sess_link_get(&sess_link), -511);
    EXPECT_EQ(link->sess_link_disc(1), -511);
    EXPECT_EQ(link->sess_tag_set(&tag), -511);
    EXPECT_EQ(link->conn_port_get(&conn_port), -511);
    EXPECT_EQ(link->sess_stat_reset(), -511);
    EXPECT_EQ(link->unicode_set(1), -511);
    EXPECT_EQ(link->wol_cfg_get(&wol_cfg), -511);
    EXPECT_EQ(link->wol_cfg_set(&wol_cfg), -511);
    EXPECT_EQ(link->img_user_cfg_set(1), -511);
    EXPECT_EQ(link->img_user_cfg_cache_set(1), -511);
    EXPECT_EQ(link->img_user_cfg_req_get(&user_cfg), -511);
    EXPECT_EQ(link->cache_disp_topology_get(&cached), -511);
    EXPECT_EQ(journal(), lines());
}

// Reading the tag asks no map: the card refuses it.
TEST_F(link_with_card, takes_a_view_whose_tag_is_not_offered_as_not_brokered)
{
    card.offered.readable.map[0] = ~(1U << HMI_VAR_SESS_TAG);
    card.kept.sess_tag.flags = HMI_SESS_TAG_BROKERED;
    open_link();
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag;
    EXPECT_EQ(link->sess_tag_get(&tag), -500);
    EXPECT_EQ(link->is_sess_view_brokered(), 0);
    EXPECT_EQ(link->wol_cfg_get_avail(), 0);
}

TEST_F(link_with_card, resets_the_statistics)
{
    open_link();
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT sess_stat;
    EXPECT_EQ(link->sess_stat_get(&sess_stat), 0);
    EXPECT_EQ(sess_stat.words[24], 125u);
    EXPECT_EQ(link->sess_stat_reset(), 0);
    EXPECT_EQ(link->sess_stat_get(&sess_stat), 0);
    EXPECT_EQ(bytes_of(sess_stat), zero_filled(100));
}

TEST_F(link_with_card, switches_the_unicode_mode)
{
    open_link();
    EXPECT_EQ(link->unicode_set(2), 0);
    EXPECT_EQ(card.kept.unicode, 2u);
}

TEST_F(link_with_card, reads_back_the_session_tag_that_it_set)
{
    open_link();
    auto tag = random_record<sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT>();
    EXPECT_EQ(link->sess_tag_set(&tag), 0);
    EXPECT_EQ(bytes_of(card.kept.sess_tag), bytes_of(tag));
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT read;
    EXPECT_EQ(link->sess_tag_get(&read), 0);
    EXPECT_EQ(bytes_of(read), bytes_of(tag));
    EXPECT_EQ(link->is_sess_view_brokered(), tag.flags & HMI_SESS_TAG_BROKERED);
}

TEST_F(link_with_card, reads_back_the_wake_on_lan_configuration_that_it_set)
{
    open_link();
    auto cfg = random_record<sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT>();
    EXPECT_EQ(link->wol_cfg_set(&cfg), 0);
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT read;
    EXPECT_EQ(link->wol_cfg_get(&read), 0);
    EXPECT_EQ(bytes_of(read), bytes_of(cfg));
}

TEST_F(link_with_card, leaves_wake_on_lan_alone_while_the_view_is_brokered)
{
    open_link();
    journal();
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag{HMI_SESS_TAG_BROKERED, {}, ""};
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT cfg{};
    EXPECT_EQ(link->sess_tag_set(&tag), 0);
    EXPECT_EQ(link->wol_cfg_get_avail(), -511);
    EXPECT_EQ(link->wol_cfg_set_avail(), -511);
    EXPECT_EQ(link->wol_cfg_get(&cfg), -511);
    EXPECT_EQ(link->wol_cfg_set(&cfg), -511);
    EXPECT_STREQ(card.kept.wol_cfg.ip, "192.0.2.10");
    const lines expected{"HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 04 00 00 00 01 00 00 00 (+244 zero) -> 0",
                         "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0",
                         "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0",
                         "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0",
                         "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0"};
    EXPECT_EQ(journal(), expected);
}

TEST_F(link_with_card, reads_back_the_host_session_state_that_it_set)
{
    open_link();
    EXPECT_EQ(link->host_sess_state_set(eVESK_HALDO_HMI_HOST_SESSION_STATE(8)), 0);
    EXPECT_EQ(link->host_sess_state_set(eVESK_HALDO_HMI_HOST_SESSION_STATE(9)), -511);
    auto state = HMI_HOST_SESSION_STATE_FIRST;
    EXPECT_EQ(link->host_sess_state_get(&state), 0);
    EXPECT_EQ(state, 8);
    EXPECT_EQ(link->host_sess_state_set(eVESK_HALDO_HMI_HOST_SESSION_STATE(-1)), 0);
    EXPECT_EQ(card.kept.host_sess_state, -1);
    EXPECT_EQ(link->host_sess_state_get(&state), 0);
    EXPECT_EQ(state, -1);
}

TEST_F(link_with_card, ends_the_session_with_a_reason)
{
    card.connect("192.0.2.77");
    open_link();
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state;
    EXPECT_EQ(link->sess_link_get(&state), 0);
    EXPECT_EQ(state.flags, HMI_SESS_LINK_CONNECTED);
    EXPECT_EQ(state.trans_cnt, 1);
    EXPECT_STREQ(state.ip, "192.0.2.77");
    journal();
    EXPECT_EQ(link->sess_link_disc(5), 0);
    EXPECT_EQ(journal(), (lines{"HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 09 00 00 00 05 00 00 00 (+244 zero) -> 0"}));
    EXPECT_EQ(card.kept.disconnect_reason, 5u);
    EXPECT_EQ(link->sess_link_get(&state), 0);
    EXPECT_EQ(state.flags, 0);
    EXPECT_EQ(state.trans_cnt, 2);
}

TEST_F(link_with_card, ends_the_session_without_a_reason_when_the_firmware_takes_none)
{
    card.connect("192.0.2.77");
    card.offered.writable.map[0] = 1U << HMI_VAR_SESS_LINK;
    open_link();
    journal();
    EXPECT_EQ(link->sess_link_disc(5), 0);
    EXPECT_EQ(journal(), (lines{"HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 03 00 00 00 (+248 zero) -> 0"}));
    EXPECT_EQ(card.kept.sess_link.flags, 0);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 2);
    EXPECT_EQ(card.kept.disconnect_reason, 0u);
}

TEST_F(link_with_card, ends_the_session_without_the_reason_that_the_firmware_refused)
{
    card.connect("192.0.2.77");
    open_link();
    card.offered.writable.map[0] = 1U << HMI_VAR_SESS_LINK;
    journal();
    EXPECT_EQ(link->sess_link_disc(5), 0);
    EXPECT_EQ(journal(), (lines{"HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 09 00 00 00 05 00 00 00 (+244 zero) -> EOPNOTSUPP",
                                "HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 03 00 00 00 (+248 zero) -> 0"}));
    EXPECT_EQ(card.kept.sess_link.flags, 0);
}

// The heartbeat remembers the counter for the whole process: this is the only test here that calls it, and it begins
// far from the counters of a new process.
TEST_F(link_with_card, follows_the_sessions_of_the_card)
{
    const std::string read = "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0";
    const std::string fetch = "HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0";
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state;
    int changed;
    card.kept.sess_link.trans_cnt = 253;
    open_link();
    journal();

    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(journal(), lines{read});
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 0u);

    card.connect("192.0.2.77");
    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 1);
    EXPECT_STREQ(state.ip, "192.0.2.77");
    EXPECT_EQ(journal(), (lines{read, fetch}));
    EXPECT_EQ(link->lcur_lkbd_avail(), 0);
    EXPECT_EQ(link->bmp_cache_cnt, 16);

    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(journal(), lines{read});
    EXPECT_EQ(link->lcur_lkbd_avail(), 0);

    card.connect("192.0.2.78"); // 256 is 0
    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(state.trans_cnt, 0);
    EXPECT_EQ(journal(), (lines{read, fetch}));

    EXPECT_EQ(link->sess_link_disc(0), 0);
    journal();
    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(state.flags, 0);
    EXPECT_EQ(journal(), lines{read});
    EXPECT_EQ(link->lcur_lkbd_avail(), -511);

    card.connect("192.0.2.79");
    card.order(0x7802, -EIO, 1);
    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 0);
    link->link_heartbeat(&changed, &state);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(link->lcur_lkbd_avail(), 0);
}

TEST_F(link_with_card, sets_the_imaging_preferences_and_reads_what_the_client_requested)
{
    open_link();
    EXPECT_EQ(link->img_user_cfg_set(100), 0);
    EXPECT_EQ(link->img_user_cfg_cache_set(0), 0);
    EXPECT_EQ(link->img_user_cfg_set(101), -501);
    EXPECT_EQ(card.kept.img_preference, 100u);
    EXPECT_EQ(card.kept.img_cached_preference, 0u);
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT cfg;
    EXPECT_EQ(link->img_user_cfg_req_get(&cfg), 0);
    EXPECT_EQ(cfg.qual, 80u);
    EXPECT_EQ(cfg.b2l, 30u);
    card.order(0x7846, -EIO, 1);
    EXPECT_EQ(link->img_user_cfg_req_get(&cfg), -500);
    EXPECT_EQ(bytes_of(cfg), zero_filled(8));
}

TEST_F(link_with_card, sends_the_topology_while_a_session_is_connected_and_reads_it_back)
{
    open_link();
    journal();
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo{2, {{0, 0, 1920, 1080, 0}, {}, {1920, 0, 1280, 1024, 7}}};
    EXPECT_EQ(link->disp_topology_send(&topo, 1920, 1080, 1), -500);
    EXPECT_EQ(journal(), (lines{"HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0"}));
    EXPECT_EQ(card.kept.driver_topology.active_displays, 0u);

    card.connect("192.0.2.77");
    EXPECT_EQ(link->disp_topology_send(&topo, 1920, 1080, 1), 0);
    auto read = random_record<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>();
    EXPECT_EQ(link->disp_topology_get(&read), 0);
    EXPECT_EQ(bytes_of(read.disp), bytes_of(topo.disp));

    const sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT& driver = card.kept.driver_topology;
    EXPECT_EQ(driver.twinview, 1u);
    EXPECT_EQ(driver.active_displays, 2u);
    EXPECT_EQ(driver.max_x, 3199);
    EXPECT_EQ(driver.total_width, 3200);
    EXPECT_EQ(driver.total_height, 1080);
    EXPECT_EQ(driver.primary_width, 1920);
    EXPECT_EQ(driver.x_scale, 61);
    EXPECT_EQ(driver.disp[0].scaled_right, 39320);
    EXPECT_EQ(bytes_of(driver.disp[1]), zero_filled(48));
    EXPECT_EQ(driver.disp[2].left, 1920);
    EXPECT_EQ(driver.disp[2].scaled_left, 39321);
    EXPECT_EQ(driver.disp[2].scaled_right, 65535);
    EXPECT_EQ(driver.disp[2].rotation, 7u);

    card.disconnect();
    journal();
    EXPECT_EQ(link->disp_topology_send(&topo, 800, 600, 0), -500);
    EXPECT_EQ(driver.primary_width, 1920);
}

TEST_F(link_with_card, sends_nothing_to_the_driver_that_the_firmware_did_not_take)
{
    card.connect("192.0.2.77");
    open_link();
    card.order(0x7841, -EIO, 1);
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo{1, {{0, 0, 800, 600, 0}}};
    EXPECT_EQ(link->disp_topology_send(&topo, 800, 600, 0), -500);
    EXPECT_EQ(card.kept.topology.disp[0].width, 1920);
    EXPECT_EQ(card.kept.driver_topology.active_displays, 0u);
}

TEST_F(link_with_card, reads_the_asynchronous_topology)
{
    card.kept.async_topology = {{0, 0, {{-5, -6, 800, 600, 2}, {9, 9, 0, 0, 9}, {7, 8, 0, 600, 90}}}, 0x89ABCDEF};
    open_link();
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo;
    unsigned int value;
    EXPECT_EQ(link->async_disp_topology_get(&topo, &value), 0);
    const sVESK_HALDO_LINK_DISP_TOPO_STRUCT expected{2, {{-5, -6, 800, 600, 2}, {}, {7, 8, 0, 600, 3}}};
    EXPECT_EQ(bytes_of(topo), bytes_of(expected));
    EXPECT_EQ(value, 0x89ABCDEF);
}

TEST_F(link_with_card, reads_the_cached_topology)
{
    card.kept.cached_topology.primary = 2;
    open_link();
    sVESK_HALDO_LINK_CACHE_DISP_TOPO topo;
    EXPECT_EQ(link->cache_disp_topology_get(&topo), 0);
    EXPECT_EQ(topo.num_disp, 1u);
    EXPECT_EQ(topo.primary, 2u);
    EXPECT_EQ(topo.disp[0].width, 1920);
    EXPECT_EQ(topo.disp[0].height, 1080);
    EXPECT_EQ(topo.disp[0].rate, 60);
    EXPECT_STREQ(topo.monitor[0].vid, "VSK");
    EXPECT_STREQ(topo.monitor[0].pid, "1080");
    EXPECT_STREQ(topo.monitor[0].serial, "SN-0000000001");
    EXPECT_STREQ(topo.monitor[0].name, "Haldo display");
    EXPECT_EQ(bytes_of(topo.monitor[1]), zero_filled(37));
}

TEST_F(link_with_card, reports_the_marks_in_the_cached_topology)
{
    card.kept.cached_topology.rate[2] = IMG_RATE_NO_CACHING;
    open_link();
    sVESK_HALDO_LINK_CACHE_DISP_TOPO topo;
    EXPECT_EQ(link->cache_disp_topology_get(&topo), -506);
    EXPECT_EQ(topo.num_disp, 2u);
    EXPECT_EQ(topo.disp[0].rate, 60);
    EXPECT_EQ(topo.disp[2].rate, 0);
    card.kept.cached_topology.rate[3] = IMG_RATE_NOT_ACTIVE;
    EXPECT_EQ(link->cache_disp_topology_get(&topo), -519);
    EXPECT_EQ(topo.num_disp, 3u);
    card.kept.cached_topology.topo.disp[3].height = 1;
    EXPECT_EQ(link->cache_disp_topology_get(&topo), -506);
    EXPECT_EQ(topo.disp[3].rate, 255);
}
