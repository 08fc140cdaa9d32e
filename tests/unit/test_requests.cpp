#include "vesk_requests.h"
#include "vesk_result.h"

#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <set>
#include <string>

struct golden_request {
    std::uint32_t code;
    const char* name;
    const char* node;
    std::uint32_t length;
    std::uint32_t timeout_ms;
};

static constexpr std::uint32_t VARIES = 0xFFFFFFFF;

// clang-format off
static constexpr golden_request golden[] = {
    {0x7801, "HCC_IOCTL_HMI_AVAIL_CMD",                 "/dev/haldo_host0",     32, 1000},
    {0x7802, "HCC_IOCTL_HMI_VAR_GET",                   "/dev/haldo_host0",    252, 1000},
    {0x7803, "HCC_IOCTL_HMI_VAR_SET",                   "/dev/haldo_host0",    252, 1000},
    {0x7804, "HCC_IOCTL_HMI_LOCAL_VAR_GET",             "/dev/haldo_host0",      8, 1000},
    {0x7805, "HCC_IOCTL_HMI_LOCAL_VAR_SET",             "/dev/haldo_host0",      8, 1000},
    {0x7821, "VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL",  "/dev/haldo_host0",      8, 1000},
    {0x7822, "HCC_IOCTL_KMP_PRI_CTXT_GET",              "/dev/haldo_host0",    292, 1000},
    {0x7840, "HCC_IOCTL_IMG_DISP_TOPO_GET",             "/dev/haldo_host0",     72, 1000},
    {0x7841, "HCC_IOCTL_IMG_DISP_TOPO_SEND",            "/dev/haldo_host0",     72, 1000},
    {0x7842, "HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET",       "/dev/haldo_host0",     76, 1000},
    {0x7843, "HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET",       "/dev/haldo_host0",    272, 2000},
    {0x7845, "HCC_IOCTL_IMG_USER_CFG_SET",              "/dev/haldo_host0",     16, 1000},
    {0x7846, "HCC_IOCTL_IMG_USER_CFG_REQ_GET",          "/dev/haldo_host0",     16, 1000},
    {0x7847, "HCC_IOCTL_IMG_USER_CFG_CACHE_SET",        "/dev/haldo_host0",     12, 1000},
    {0x7900, "VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN",       "/dev/haldo_host1",      0, 5000},
    {0x7901, "VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE",      "/dev/haldo_host1",      0, 1000},
    {0x7902, "HDC_IOCTL_KMP_FEAT_EN",                   "/dev/haldo_host1",      8, 1000},
    {0x7903, "HDC_IOCTL_KMP_FEAT_STAT_GET",             "/dev/haldo_host1",      8, 1000},
    {0x7904, "HDC_IOCTL_KMP_KBD_REPEAT",                "/dev/haldo_host1",     12, 1000},
    {0x7906, "HDC_IOCTL_KMP_CUR_SHAPE_BMP",             "/dev/haldo_host1", VARIES, 1000},
    {0x7907, "HDC_IOCTL_KMP_CUR_SHAPE",                 "/dev/haldo_host1",     12, 1000},
    {0x7908, "VESK_HALDO_HDC_IOCTL_KMP_CUR_POS",        "/dev/haldo_host1",     12, 1000},
    {0x7909, "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS",        "/dev/haldo_host1",     12, 1000},
    {0x790a, "HDC_IOCTL_KMP_CUR_IDLE_HIDE",             "/dev/haldo_host1",      8, 1000},
    {0x790b, "HDC_IOCTL_KMP_CUR_SPD_GET",               "/dev/haldo_host1",      8, 1000},
    {0x790c, "HDC_IOCTL_KMP_CUR_SPD_SET",               "/dev/haldo_host1",      8, 1000},
    {0x790d, "HDC_IOCTL_KMP_LAST_STAT_GET",             "/dev/haldo_host1",     16, 1000},
    {0x790e, "HDC_IOCTL_KMP_KBD_REPEAT_GET",            "/dev/haldo_host1",     12, 2000},
    {0x790f, "VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW", "/dev/haldo_host1",      4, 1000},
    {0x7910, "HDC_IOCTL_KMP_DISP_TOPO_SET",             "/dev/haldo_host0",    240, 1000},
    {0x7911, "HDC_IOCTL_KMP_DRIVER_CFG_SET",            "/dev/haldo_host1",      8,  500},
    {0x7912, "HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB",         "/dev/haldo_host1",      0, 2000},
    {0x7913, "HDC_IOCTL_KMP_HOIP_HOST_RDY",             "/dev/haldo_host1",      0, 1000},
};
// clang-format on

static const char* node_path(eVESK_NODE node)
{
    return node == VESK_NODE_HCC ? VESK_NODE_PATH_HCC : VESK_NODE_PATH_HDC;
}

TEST(request_table, holds_33_requests_each_once)
{
    std::set<std::uint32_t> codes;
    for (const sVESK_REQUEST_STRUCT& request : vesk_requests)
        codes.insert(request.code);
    EXPECT_EQ(std::size(vesk_requests), 33u);
    EXPECT_EQ(codes.size(), 33u);
}

TEST(request_table, is_the_golden_one_row_by_row)
{
    ASSERT_EQ(std::size(vesk_requests), std::size(golden));
    for (std::size_t i = 0; i < std::size(golden); ++i) {
        SCOPED_TRACE(golden[i].name);
        EXPECT_EQ(vesk_requests[i].code, golden[i].code);
        EXPECT_STREQ(vesk_requests[i].name, golden[i].name);
        EXPECT_STREQ(node_path(vesk_requests[i].node), golden[i].node);
        EXPECT_EQ(vesk_requests[i].length, golden[i].length);
        EXPECT_EQ(vesk_requests[i].timeout_ms, golden[i].timeout_ms);
    }
}

TEST(request_table, gives_each_request_under_its_own_name)
{
    EXPECT_EQ(HCC_IOCTL_HMI_AVAIL_CMD.code, 0x7801u);
    EXPECT_EQ(VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN.timeout_ms, 5000u);
    EXPECT_EQ(HDC_IOCTL_KMP_HOIP_HOST_RDY.code, 0x7913u);
}

TEST(request_table, keeps_control_requests_in_0x78_and_driver_requests_in_0x79_but_for_one)
{
    for (const sVESK_REQUEST_STRUCT& request : vesk_requests) {
        if (request.code == 0x7910)
            EXPECT_EQ(request.node, VESK_NODE_HCC);
        else
            EXPECT_EQ(request.node, request.code >> 8 == 0x78 ? VESK_NODE_HCC : VESK_NODE_HDC) << request.name;
    }
}

TEST(results, have_their_values_and_names)
{
    const std::map<int, std::string> names{
        {VESK_OK, "VESK_OK"},           {-500, "VESK_FAILED"},          {-501, "VESK_INVALID_ARGUMENT"},
        {-503, "VESK_NOT_INITIALIZED"}, {-506, "VESK_RATE_NO_CACHING"}, {-507, "VESK_NO_MEMORY"},
        {-510, "VESK_OPEN_FAILED"},     {-511, "VESK_NOT_SUPPORTED"},   {-519, "VESK_RATE_NOT_ACTIVE"},
    };
    EXPECT_EQ(VESK_OK, 0);
    EXPECT_EQ(VESK_FAILED, -500);
    for (int code = -600; code <= 600; ++code)
        EXPECT_EQ(vesk_result_name(code), names.contains(code) ? names.at(code) : "unknown") << code;
}
