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
