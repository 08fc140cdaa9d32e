#include "cursor_policy.h"
#include "support/calls.h"
#include "vesk_log.h"

#include <cerrno>
#include <gtest/gtest.h>

using lines = std::vector<std::string>;

namespace
{

// A link on the two nodes, or on the control channel alone.
class linked_host : public host
{
public:
    explicit linked_host(bool has_driver_channel = true) : has_driver_channel(has_driver_channel)
    {
        m_log_level = VESK_LOG_OFF;
        expect_link_constructed(*this, has_driver_channel ? 0 : ENOENT);
        link.emplace();
    }
    ~linked_host()
    {
        m_log_level = VESK_LOG_OFF;
        expect_nodes_closed(*this, has_driver_channel);
        link.reset();
    }
    lines update(eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg, int expected, std::int32_t level)
    {
        m_log_level = level;
        EXPECT_EQ(update_driver_cfg(&*link, alg), expected);
        return log();
    }

private:
    bool has_driver_channel;
    std::optional<cVESK_HALDO_LINK> link;
};

} // namespace

TEST(update_driver_cfg, sends_type_zero_with_the_mode_as_its_setting)
{
    linked_host h;
    h.expect_ioctl(HDC, 0x7911, {0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(h.update(LCUR_EVT_ALG_ABSOLUTE, 1, VESK_LOG_DEBUG),
              (lines{"kmp_driver_cfg_set D cursor event processing mode: Absolute"}));
    h.expect_ioctl(HDC, 0x7911, {0, 0, 0, 0, 1, 0, 0, 0});
    EXPECT_EQ(h.update(LCUR_EVT_ALG_RELATIVE, 1, VESK_LOG_DEBUG),
              (lines{"kmp_driver_cfg_set D cursor event processing mode: Relative"}));
    h.expect_ioctl(HDC, 0x7911, zero_filled(8));
    EXPECT_EQ(h.update(LCUR_EVT_ALG_ABSOLUTE, 1, VESK_LOG_INFO), lines{});
}

TEST(update_driver_cfg, takes_a_positive_answer_for_success)
{
    linked_host h;
    h.expect_ioctl(HDC, 0x7911, zero_filled(8), {}, 3);
    EXPECT_EQ(h.update(LCUR_EVT_ALG_ABSOLUTE, 1, VESK_LOG_INFO), lines{});
}

TEST(update_driver_cfg, answers_zero_when_the_driver_refuses)
{
    linked_host h;
    for (const auto& [alg, name] : {std::pair(LCUR_EVT_ALG_ABSOLUTE, "0"), {LCUR_EVT_ALG_RELATIVE, "1"}}) {
        const bytes record = zero_filled(8, {0, 0, 0, 0, static_cast<std::uint8_t>(alg)});
        h.expect_ioctl(HDC, 0x7911, record, {}, -1);
        EXPECT_EQ(h.update(alg, 0, VESK_LOG_ERROR),
                  (lines{
                      "synch_ioctl E ioctl 0x00007911 failed (rv=-1)",
                      "kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-500)",
                      std::string("update_driver_cfg E failed to configure cursor mode ") + name + " in driver",
                  }));
        h.expect_ioctl(HDC, 0x7911, record, {}, -1);
        EXPECT_EQ(h.update(alg, 0, VESK_LOG_CRITICAL), lines{});
    }
}

TEST(update_driver_cfg, answers_zero_without_a_driver_channel)
{
    linked_host h(false);
    EXPECT_EQ(h.update(LCUR_EVT_ALG_RELATIVE, 0, VESK_LOG_ERROR).back(),
              "update_driver_cfg E failed to configure cursor mode 1 in driver");
}

TEST(update_driver_cfg, sends_no_mode_that_does_not_exist)
{
    linked_host h;
    EXPECT_EQ(h.update(static_cast<eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE>(2), 0, VESK_LOG_ERROR),
              (lines{
                  "kmp_driver_cfg_set E invalid input: type 0 setting 2",
                  "update_driver_cfg E failed to configure cursor mode 2 in driver",
              }));
}
