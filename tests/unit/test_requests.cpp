// The link's requests as the driver gets them: on which node, with which record.
#include "document.h"
#include "link.h"
#include "vesk_log.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace
{

// A request as docs/protocol.md lists it.
struct listed_request {
    std::string node;
    std::string record; // its length, "none", or in words where that is
};

std::map<std::uint32_t, listed_request> listed_requests()
{
    std::map<std::uint32_t, listed_request> listed;
    for (const auto& row : table(document("docs/protocol.md"), "code | name | node |"))
        listed[static_cast<std::uint32_t>(std::stoul(row[0], nullptr, 16))] = {row[2].substr(0, 3), row[3]};
    return listed;
}

// A driver that knows the requests from that list alone: it answers each by writing over all of its record, which the
// sanitizers see when it is shorter. With every bit set everything is offered, and a session is connected.
class listed_driver
{
public:
    explicit listed_driver(host& h)
    {
        h.serve_ioctl([this](int fd, std::uint32_t code, void* record) {
            const auto found = listed.find(code);
            if (found == listed.end()) {
                ADD_FAILURE() << std::hex << code << " is not listed";
                return 0;
            }
            const listed_request& request = found->second;
            EXPECT_EQ(fd == HCC ? "HCC" : "HDC", request.node) << std::hex << code;
            EXPECT_EQ(record == nullptr, request.record == "none") << std::hex << code;
            if (record != nullptr)
                std::memset(record, 0xFF, length(request, record));
            sent.insert(code);
            return 0;
        });
    }
    const std::map<std::uint32_t, listed_request> listed = listed_requests();
    std::set<std::uint32_t> sent;

private:
    static std::size_t length(const listed_request& request, const void* record)
    {
        std::uint32_t said;
        if (request.record != "as its bytes 16 to 19 say")
            return std::stoul(request.record);
        std::memcpy(&said, static_cast<const char*>(record) + 16, sizeof(said));
        return said;
    }
};

void call_operations(visible_link& link)
{
    unsigned int value = 0;
    unsigned short delay = 0, interval = 0;
    auto state = HMI_HOST_SESSION_STATE_FIRST;
    EXPECT_EQ(link.host_sess_state_set(state), VESK_OK);
    EXPECT_EQ(link.host_sess_state_get(&state), VESK_OK);
    EXPECT_EQ(link.img_user_cfg_set(1), VESK_OK);
    EXPECT_EQ(link.img_user_cfg_cache_set(1), VESK_OK);
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT user_cfg;
    EXPECT_EQ(link.img_user_cfg_req_get(&user_cfg), VESK_OK);
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT firmware_topology{};
    EXPECT_EQ(link.disp_topology_get(&firmware_topology), VESK_OK);
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topology{};
    EXPECT_EQ(link.async_disp_topology_get(&topology, &value), VESK_OK);
    EXPECT_EQ(link.disp_topology_send(&topology, 1, 1, 0), VESK_OK);
    sVESK_HALDO_LINK_CACHE_DISP_TOPO cached_topology;
    EXPECT_EQ(link.cache_disp_topology_get(&cached_topology), VESK_OK);

    EXPECT_EQ(link.hdc_open(), VESK_OK);
    EXPECT_EQ(link.hdc_close(), VESK_OK);
    link.kmp_pri_ctxt_get();
    EXPECT_EQ(link.lcur_lkbd_enable(), VESK_OK);
    EXPECT_EQ(link.lcur_lkbd_dev_feat_stat_get(&value), VESK_OK);
    EXPECT_EQ(link.lcur_lkbd_last_stat_get(&value, &value, &value, &value), VESK_OK);
    EXPECT_EQ(link.lcur_idle_hide_set(1), VESK_OK);
    EXPECT_EQ(link.lcur_spd_set(KMP_CUR_SPD_MIN), VESK_OK);
    EXPECT_EQ(link.lcur_spd_get(&value), VESK_OK);
    EXPECT_EQ(link.lcur_change_shape_send(0), VESK_OK);
    const unsigned char bmp[4] = {};
    EXPECT_EQ(link.lcur_shape_bmp_send(0, 0, 1, 1, 0, 0, bmp, sizeof(bmp), KMP_CUR_BITMAP_TYPE_ALPHA), VESK_OK);
    EXPECT_EQ(link.lcur_pointer_visibility_set(1, 1), VESK_OK);
    EXPECT_EQ(link.lcur_pointer_location_set(1, 2, 3), VESK_OK);
    EXPECT_EQ(link.lcur_pointer_location_set_if_new(2, 3), VESK_OK);
    EXPECT_EQ(link.lkbd_repeat_rates_set(1, 2), VESK_OK);
    EXPECT_EQ(link.lkbd_repeat_rates_get(&delay, &interval), VESK_OK);
    EXPECT_EQ(link.proc_new_hoip_tablets(), VESK_OK);
    EXPECT_EQ(link.send_hoip_host_ready(), VESK_OK);
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT driver_cfg{KMP_DRIVER_CFG_LOCAL_TABLET, 1};
    EXPECT_EQ(link.kmp_driver_cfg_set(&driver_cfg), VESK_OK);
}

TEST(Requests, are_those_of_the_protocol_each_on_its_node)
{
    host h(VESK_LOG_OFF);
    listed_driver driver(h);
    expect_nodes_opened(h);
    {
        visible_link link;
        call_operations(link);
        expect_nodes_closed(h);
    }
    for (const auto& [code, request] : driver.listed)
        EXPECT_TRUE(driver.sent.contains(code)) << std::hex << code << " is listed, and not sent";
}

} // namespace
