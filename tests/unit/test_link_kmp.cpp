// The KMP path, the KMP context with what it makes available, and the driver's configuration.
#include "link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

static const bytes COMM_OPEN = {1, 0, 0, 0, 1, 0, 0, 0};
static const bytes COMM_CLOSE = {1, 0, 0, 0, 0, 0, 0, 0};
static constexpr std::size_t CONTEXT_SIZE = 292;

class half_open : public testing::Test
{
protected:
    host h;
    half_open_link link{h};
};

// --- hdc_open ---

TEST(hdc_open, opens_the_channel_and_then_the_path)
{
    expect_lines_by_level({"hdc_open D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay",
                           "hdc_open D VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) okay"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_OPEN, random_bytes(8));
                              h.expect_ioctl(HDC, 0x7900, {});
                              EXPECT_EQ(link.hdc_open(), 0);
                          });
}

TEST(hdc_open, stops_when_the_channel_does_not_open)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007821 failed (rv=-1)",
                           "hdc_open E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_OPEN, {}, -1);
                              EXPECT_EQ(link.hdc_open(), -500);
                          });
}

TEST(hdc_open, closes_everything_again_when_the_path_does_not_open)
{
    expect_lines_by_level({"hdc_open D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay",
                           "synch_ioctl E ioctl 0x00007900 failed (rv=-1)",
                           "hdc_open E VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=-500)",
                           "hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay",
                           "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_OPEN);
                              h.expect_ioctl(HDC, 0x7900, {}, {}, -1);
                              h.expect_ioctl(HCC, 0x7821, COMM_CLOSE);
                              h.expect_ioctl(HDC, 0x7901, {});
                              EXPECT_EQ(link.hdc_open(), -500);
                          });
}

TEST(hdc_open, returns_the_code_of_the_path_even_when_the_undo_fails)
{
    expect_lines_by_level({"hdc_open D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay",
                           "synch_ioctl E ioctl 0x00007900 failed (rv=-1)",
                           "hdc_open E VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=-500)",
                           "synch_ioctl E ioctl 0x00007821 failed (rv=-1)",
                           "hdc_close E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-500)",
                           "synch_ioctl E ioctl 0x00007901 failed (rv=-1)",
                           "hdc_close E VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_OPEN);
                              h.expect_ioctl(HDC, 0x7900, {}, {}, -1);
                              h.expect_ioctl(HCC, 0x7821, COMM_CLOSE, {}, -1);
                              h.expect_ioctl(HDC, 0x7901, {}, {}, -1);
                              EXPECT_EQ(link.hdc_open(), -500);
                          });
}

TEST_F(half_open, undoes_the_channel_and_returns_the_code_of_the_closed_device)
{
    h.expect_ioctl(HCC, 0x7821, COMM_OPEN);
    h.expect_ioctl(HCC, 0x7821, COMM_CLOSE, {}, -1);
    EXPECT_EQ(link->hdc_open(), -503);
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E not m_initialized",
                              "hdc_open E VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=-503)",
                              "synch_ioctl E ioctl 0x00007821 failed (rv=-1)",
                              "hdc_close E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-500)",
                              "synch_ioctl E not m_initialized",
                              "hdc_close E VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-500)"}));
}

TEST(hdc_open, takes_a_positive_value_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    h.expect_ioctl(HCC, 0x7821, COMM_OPEN, {}, 1);
    h.expect_ioctl(HDC, 0x7900, {}, {}, 1);
    EXPECT_EQ(link->hdc_open(), 0);
}

// --- hdc_close ---

TEST(hdc_close, closes_the_channel_and_then_the_path)
{
    expect_lines_by_level({"hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay",
                           "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_CLOSE, random_bytes(8));
                              h.expect_ioctl(HDC, 0x7901, {});
                              EXPECT_EQ(link.hdc_close(), 0);
                          });
}

TEST(hdc_close, reports_both_requests_by_the_failure_of_the_first)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007821 failed (rv=-1)",
                           "hdc_close E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-500)",
                           "hdc_close E VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_CLOSE, {}, -1);
                              h.expect_ioctl(HDC, 0x7901, {});
                              EXPECT_EQ(link.hdc_close(), -500);
                          });
}

TEST(hdc_close, reports_both_requests_by_the_success_of_the_first)
{
    expect_lines_by_level({"hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay",
                           "synch_ioctl E ioctl 0x00007901 failed (rv=-1)",
                           "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, 0x7821, COMM_CLOSE);
                              h.expect_ioctl(HDC, 0x7901, {}, {}, -1);
                              EXPECT_EQ(link.hdc_close(), 0);
                          });
}

TEST_F(half_open, closes_its_path_with_the_result_of_the_channel)
{
    h.expect_ioctl(HCC, 0x7821, COMM_CLOSE);
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_EQ(link->hdc_close(), 0);
    EXPECT_EQ(h.log(),
              (lines{"hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay", "synch_ioctl E not m_initialized",
                     "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay"}));
    m_log_level = VESK_LOG_OFF;
}

TEST(hdc_close, tries_both_requests_without_any_node)
{
    host h;
    nodeless_link link(h);
    EXPECT_EQ(link->hdc_close(), -503);
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E not m_initialized",
                              "hdc_close E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-503)",
                              "synch_ioctl E not m_initialized",
                              "hdc_close E VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-503)"}));
}

// --- kmp_pri_ctxt_get ---

static const bytes CONTEXT_REQUEST = zero_filled(CONTEXT_SIZE, {2});

static void set_context(visible_link& link, const bytes& context)
{
    ASSERT_EQ(context.size(), sizeof(link.kmp_pri_ctxt));
    std::memcpy(&link.kmp_pri_ctxt, context.data(), context.size());
}

// The context's fields end at offset 42, behind them it is random.
static bytes context_with(const bytes& fields)
{
    bytes context = random_bytes(CONTEXT_SIZE);
    std::ranges::copy(fields, context.begin());
    return context;
}

TEST(kmp_pri_ctxt_get, keeps_the_whole_reply_and_marks_it_valid)
{
    host h;
    constructed_link link(h);
    const bytes reply = random_bytes(CONTEXT_SIZE);
    h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, reply);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), reply);
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 1u);
}

TEST(kmp_pri_ctxt_get, asks_with_a_clear_record_whatever_it_holds)
{
    host h;
    constructed_link link(h);
    set_context(*link, bytes(CONTEXT_SIZE, 0xFF));
    link->kmp_pri_ctxt_valid = 1;
    const bytes reply = random_bytes(CONTEXT_SIZE);
    h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, reply);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), reply);
}

TEST(kmp_pri_ctxt_get, logs_each_field_from_its_own_offset)
{
    bytes fields = {0xEF, 0xBE, 0xAD, 0xDE};
    for (std::uint8_t offset = 4; offset < 42; ++offset)
        fields.push_back(static_cast<std::uint8_t>(100 + offset));
    expect_lines_by_level(
        {
            "kmp_pri_ctxt_get D pri_num=1802135912",
            "kmp_pri_ctxt_get D kmp_supported=108",
            "kmp_pri_ctxt_get D kmp_enabled=109",
            "kmp_pri_ctxt_get D encodings_supported=110",
            "kmp_pri_ctxt_get D haldo_kmp_1_supported=111",
            "kmp_pri_ctxt_get D cur_shape_caches_supported=112",
            "kmp_pri_ctxt_get D cur_shape_cache_size_supported=113",
            "kmp_pri_ctxt_get D cur_shape_caches=29554",
            "kmp_pri_ctxt_get D cur_shape_cache_size=2004252020",
            "kmp_pri_ctxt_get D cur_shape_bmp_supported=120",
            "kmp_pri_ctxt_get D cur_shape_bmp_alpha=121",
            "kmp_pri_ctxt_get D cur_shape_bmp_color=122",
            "kmp_pri_ctxt_get D cur_shape_max_size_supported=123",
            "kmp_pri_ctxt_get D cur_shape_max_size_x=32124",
            "kmp_pri_ctxt_get D cur_shape_max_size_y=32638",
            "kmp_pri_ctxt_get D kbd_client_auto_repeat_supported=128",
            "kmp_pri_ctxt_get D kbd_client_auto_repeat_enable=129",
            "kmp_pri_ctxt_get D cur_shape_fadeout_supported=130",
            "kmp_pri_ctxt_get D cur_shape_fadeout_enable=131",
            "kmp_pri_ctxt_get D cur_speed_update_supported=132",
            "kmp_pri_ctxt_get D cur_speed_update_enable=133",
            "kmp_pri_ctxt_get D usb_supported=134",
            "kmp_pri_ctxt_get D usb_enable=135",
            "kmp_pri_ctxt_get D relative_mouse_supported=136",
            "kmp_pri_ctxt_get D relative_mouse_enable=137",
            "kmp_pri_ctxt_get D host_hid_driver_update_supported=138",
            "kmp_pri_ctxt_get D host_hid_driver_update_enable=139",
            "kmp_pri_ctxt_get D hoip_supported=140",
            "kmp_pri_ctxt_get I hoip_enable=141: local tablet mode supported by host and client",
        },
        [&](host& h, visible_link& link) {
            h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, context_with(fields));
            link.kmp_pri_ctxt_get();
        });
}

TEST(kmp_pri_ctxt_get, logs_the_largest_values_without_a_sign)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, bytes(CONTEXT_SIZE, 0xFF));
    link->kmp_pri_ctxt_get();
    m_log_level = VESK_LOG_OFF;
    const lines written = h.log();
    ASSERT_EQ(written.size(), 29u);
    EXPECT_EQ(written[0], "kmp_pri_ctxt_get D pri_num=4294967295");
    EXPECT_EQ(written[1], "kmp_pri_ctxt_get D kmp_supported=255");
    EXPECT_EQ(written[7], "kmp_pri_ctxt_get D cur_shape_caches=65535");
    EXPECT_EQ(written[8], "kmp_pri_ctxt_get D cur_shape_cache_size=4294967295");
    EXPECT_EQ(written[13], "kmp_pri_ctxt_get D cur_shape_max_size_x=65535");
    EXPECT_EQ(written[14], "kmp_pri_ctxt_get D cur_shape_max_size_y=65535");
    EXPECT_EQ(written[28], "kmp_pri_ctxt_get I hoip_enable=255: local tablet mode supported by host and client");
}

TEST(kmp_pri_ctxt_get, says_that_local_tablets_need_both_sides)
{
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_INFO; ++level) {
        host h;
        constructed_link link(h);
        m_log_level = level;
        bytes context = random_bytes(CONTEXT_SIZE);
        context[40] = 1;
        context[41] = 0;
        h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, context);
        link->kmp_pri_ctxt_get();
        EXPECT_EQ(h.log(),
                  at_level(level, {"kmp_pri_ctxt_get I hoip_enable=0: local tablet mode not supported by host and/or "
                                   "client"}));
        EXPECT_EQ(link->hoip_avail(), -511);
    }
}

TEST(kmp_pri_ctxt_get, that_fails_leaves_the_context_valid_or_not_as_it_was)
{
    for (const std::uint32_t valid : {0u, 1u}) {
        expect_lines_by_level({"synch_ioctl E ioctl 0x00007822 failed (rv=-1)",
                               "kmp_pri_ctxt_get E HCC_IOCTL_KMP_PRI_CTXT_GET failed (ret=-500)"},
                              [&](host& h, visible_link& link) {
                                  const bytes before = random_bytes(CONTEXT_SIZE);
                                  set_context(link, before);
                                  link.kmp_pri_ctxt_valid = valid;
                                  h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, {}, -1);
                                  link.kmp_pri_ctxt_get();
                                  EXPECT_EQ(bytes_of(link.kmp_pri_ctxt), before);
                                  EXPECT_EQ(link.kmp_pri_ctxt_valid, valid);
                              });
    }
}

TEST(kmp_pri_ctxt_get, reports_a_closed_control_channel)
{
    host h;
    nodeless_link link(h);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E not m_initialized",
                              "kmp_pri_ctxt_get E HCC_IOCTL_KMP_PRI_CTXT_GET failed (ret=-503)"}));
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 0u);
}

// --- kmp_pri_ctxt_reset ---

TEST(kmp_pri_ctxt_reset, clears_the_whole_context_without_a_request_or_a_line)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    set_context(*link, bytes(CONTEXT_SIZE, 0xFF));
    link->kmp_pri_ctxt_valid = 1;
    EXPECT_EQ(link->kmp_pri_ctxt_reset(), 0);
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), zero_filled(CONTEXT_SIZE));
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 0u);
    EXPECT_EQ(h.log(), lines());
    m_log_level = VESK_LOG_OFF;
}

TEST(kmp_pri_ctxt_reset, followed_by_a_fetch_that_fails_leaves_nothing_available)
{
    host h;
    constructed_link link(h);
    set_context(*link, bytes(CONTEXT_SIZE, 0xFF));
    link->kmp_pri_ctxt_valid = 1;
    link->kmp_pri_ctxt_reset();
    h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, {}, -1);
    link->kmp_pri_ctxt_get();
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), zero_filled(CONTEXT_SIZE));
    EXPECT_EQ(link->lcur_lkbd_avail(), -511);
    EXPECT_EQ(link->lcur_disable_avail(), -511);
    EXPECT_EQ(link->is_client_sc(), 0);
}

// --- Availability ---

struct predicate {
    const char* name;
    int (cVESK_HALDO_LINK::*available)() const;
    std::vector<std::size_t> flags; // offsets of the flags that must all be set
    bool needs_valid_context;
};

static const predicate predicates[] = {
    {"lcur_lkbd_avail", &cVESK_HALDO_LINK::lcur_lkbd_avail, {11}, true},
    {"lcur_shape_bmp_send_avail", &cVESK_HALDO_LINK::lcur_shape_bmp_send_avail, {21}, true},
    {"lcur_spd_avail", &cVESK_HALDO_LINK::lcur_spd_avail, {33}, true},
    {"lcur_idle_hide_avail", &cVESK_HALDO_LINK::lcur_idle_hide_avail, {31}, true},
    {"lkbd_client_auto_repeat_avail", &cVESK_HALDO_LINK::lkbd_client_auto_repeat_avail, {28}, true},
    {"hoip_avail", &cVESK_HALDO_LINK::hoip_avail, {40, 41}, true},
    {"lcur_disable_avail", &cVESK_HALDO_LINK::lcur_disable_avail, {34, 35}, false},
};

class kmp_availability : public testing::TestWithParam<predicate>
{
protected:
    int available() { return ((*link).*GetParam().available)(); }
    host h;
    constructed_link link{h};
};
INSTANTIATE_TEST_SUITE_P(of, kmp_availability, testing::ValuesIn(predicates),
                         [](const auto& info) { return info.param.name; });

TEST_P(kmp_availability, is_given_by_its_own_flags_alone)
{
    m_log_level = VESK_LOG_DEBUG;
    for (const std::uint8_t set : {1, 0x80, 0xFF}) {
        for (const std::uint32_t valid : {1u, 0x80000000u}) {
            bytes context = zero_filled(CONTEXT_SIZE);
            for (const std::size_t flag : GetParam().flags)
                context[flag] = set;
            set_context(*link, context);
            link->kmp_pri_ctxt_valid = valid;
            EXPECT_EQ(available(), 0);
        }
    }
    EXPECT_EQ(h.log(), lines());
    m_log_level = VESK_LOG_OFF;
}

TEST_P(kmp_availability, is_missing_when_one_of_its_flags_is_and_whatever_else_is_set)
{
    link->kmp_pri_ctxt_valid = 1;
    set_context(*link, zero_filled(CONTEXT_SIZE));
    EXPECT_EQ(available(), -511);
    for (std::size_t missing = 0; missing < CONTEXT_SIZE; ++missing) {
        bytes context(CONTEXT_SIZE, 0x80);
        context[missing] = 0;
        set_context(*link, context);
        const bool is_needed = std::ranges::count(GetParam().flags, missing) != 0;
        EXPECT_EQ(available(), is_needed ? -511 : 0) << "offset " << missing;
    }
}

TEST_P(kmp_availability, asks_for_a_valid_context_or_not)
{
    set_context(*link, bytes(CONTEXT_SIZE, 0xFF));
    link->kmp_pri_ctxt_valid = 0;
    EXPECT_EQ(available(), GetParam().needs_valid_context ? -511 : 0);
}

TEST_P(kmp_availability, ends_with_a_reset)
{
    set_context(*link, bytes(CONTEXT_SIZE, 0xFF));
    link->kmp_pri_ctxt_valid = 1;
    EXPECT_EQ(available(), 0);
    link->kmp_pri_ctxt_reset();
    EXPECT_EQ(available(), -511);
}

TEST(is_client_sc, is_1_for_a_valid_context_without_idle_hide_whatever_the_other_flags)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    for (const std::uint8_t others : {0, 1, 0xFF}) {
        for (const std::uint8_t fadeout_enable : {0, 1, 0x80}) {
            for (const std::uint32_t valid : {0u, 1u, 0x80000000u}) {
                bytes context(CONTEXT_SIZE, others);
                context[31] = fadeout_enable;
                set_context(*link, context);
                link->kmp_pri_ctxt_valid = valid;
                EXPECT_EQ(link->is_client_sc(), valid != 0 && fadeout_enable == 0 ? 1 : 0);
            }
        }
    }
    EXPECT_EQ(h.log(), lines());
    m_log_level = VESK_LOG_OFF;
}

TEST(is_client_sc, is_0_before_a_context_has_been_fetched)
{
    host h;
    constructed_link link(h);
    EXPECT_EQ(link->is_client_sc(), 0);
}

// --- kmp_context ---

TEST(kmp_context, is_what_was_fetched_last)
{
    host h;
    constructed_link link(h);
    for (int times = 0; times < 2; ++times) {
        const bytes reply = random_bytes(CONTEXT_SIZE);
        h.expect_ioctl(HCC, 0x7822, CONTEXT_REQUEST, reply);
        link->kmp_pri_ctxt_get();
        ASSERT_NE(link->kmp_context(), nullptr);
        EXPECT_EQ(bytes_of(*link->kmp_context()), reply);
    }
}

TEST(kmp_context, is_null_unless_it_is_valid_and_sends_and_logs_nothing)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_EQ(link->kmp_context(), nullptr);
    for (const std::uint32_t valid : {1u, 0u, 0x80000000u}) {
        set_context(*link, bytes(CONTEXT_SIZE, 0xFF));
        link->kmp_pri_ctxt_valid = valid;
        EXPECT_EQ(link->kmp_context(), valid != 0 ? &link->kmp_pri_ctxt : nullptr);
    }
    link->kmp_pri_ctxt_reset();
    EXPECT_EQ(link->kmp_context(), nullptr);
    EXPECT_EQ(h.log(), lines());
    m_log_level = VESK_LOG_OFF;
}

// --- kmp_driver_cfg_set ---

using driver_cfg = sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT;

struct accepted_cfg {
    const char* name;
    bytes record;
    std::string line;
};

class accepted_driver_cfg : public testing::TestWithParam<accepted_cfg>
{
};
INSTANTIATE_TEST_SUITE_P(
    of, accepted_driver_cfg,
    testing::Values(
        accepted_cfg{
            "absolute", {0, 0, 0, 0, 0, 0, 0, 0}, "kmp_driver_cfg_set D cursor event processing mode: Absolute"},
        accepted_cfg{
            "relative", {0, 0, 0, 0, 1, 0, 0, 0}, "kmp_driver_cfg_set D cursor event processing mode: Relative"},
        accepted_cfg{"tablet_off", {1, 0, 0, 0, 0, 0, 0, 0}, "kmp_driver_cfg_set D local tablet enable mode: 0"},
        accepted_cfg{"tablet_on", {1, 0, 0, 0, 1, 0, 0, 0}, "kmp_driver_cfg_set D local tablet enable mode: 1"},
        accepted_cfg{"tablet_minus_1",
                     {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF},
                     "kmp_driver_cfg_set D local tablet enable mode: -1"},
        accepted_cfg{
            "tablet_lowest", {1, 0, 0, 0, 0, 0, 0, 0x80}, "kmp_driver_cfg_set D local tablet enable mode: -2147483648"},
        // A negative setting has no name, and none is looked up.
        accepted_cfg{"cursor_minus_1",
                     {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF},
                     "kmp_driver_cfg_set D cursor event processing mode: Unknown"},
        accepted_cfg{"cursor_lowest",
                     {0, 0, 0, 0, 0, 0, 0, 0x80},
                     "kmp_driver_cfg_set D cursor event processing mode: Unknown"}),
    [](const auto& info) { return info.param.name; });

TEST_P(accepted_driver_cfg, is_sent_as_it_is)
{
    expect_lines_by_level({GetParam().line}, [](host& h, visible_link& link) {
        auto cfg = record_of<driver_cfg>(GetParam().record);
        h.expect_ioctl(HDC, 0x7911, GetParam().record, random_bytes(8));
        EXPECT_EQ(link.kmp_driver_cfg_set(&cfg), 0);
        EXPECT_EQ(bytes_of(cfg), GetParam().record);
    });
}

TEST_P(accepted_driver_cfg, is_left_as_it_is_when_the_driver_rejects_it)
{
    const char type = GetParam().record[0] == 0 ? '0' : '1';
    expect_lines_by_level(
        {"synch_ioctl E ioctl 0x00007911 failed (rv=-1)",
         std::string("kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type ") + type + " failed (ret=-500)"},
        [](host& h, visible_link& link) {
            auto cfg = record_of<driver_cfg>(GetParam().record);
            h.expect_ioctl(HDC, 0x7911, GetParam().record, {}, -1);
            EXPECT_EQ(link.kmp_driver_cfg_set(&cfg), -500);
            EXPECT_EQ(bytes_of(cfg), GetParam().record);
        });
}

struct refused_cfg {
    const char* name;
    bytes record;
    std::string values;
};

class refused_driver_cfg : public testing::TestWithParam<refused_cfg>
{
};
INSTANTIATE_TEST_SUITE_P(
    of, refused_driver_cfg,
    testing::Values(refused_cfg{"cursor_2", {0, 0, 0, 0, 2, 0, 0, 0}, "type 0 setting 2"},
                    refused_cfg{"tablet_2", {1, 0, 0, 0, 2, 0, 0, 0}, "type 1 setting 2"},
                    refused_cfg{"tablet_highest", {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F}, "type 1 setting 2147483647"},
                    refused_cfg{"type_2", {2, 0, 0, 0, 0, 0, 0, 0}, "type 2 setting 0"},
                    refused_cfg{"type_2_minus_1", {2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, "type 2 setting -1"},
                    refused_cfg{"type_256", {0, 1, 0, 0, 0, 0, 0, 0}, "type 256 setting 0"},
                    refused_cfg{"type_minus_1", {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0}, "type -1 setting 1"},
                    refused_cfg{"type_lowest", {0, 0, 0, 0x80, 0, 0, 0, 0}, "type -2147483648 setting 0"}),
    [](const auto& info) { return info.param.name; });

TEST_P(refused_driver_cfg, is_not_sent)
{
    expect_lines_by_level({"kmp_driver_cfg_set E invalid input: " + GetParam().values}, [](host&, visible_link& link) {
        auto cfg = record_of<driver_cfg>(GetParam().record);
        EXPECT_EQ(link.kmp_driver_cfg_set(&cfg), -501);
        EXPECT_EQ(bytes_of(cfg), GetParam().record);
    });
}

TEST(kmp_driver_cfg_set, refuses_a_null_pointer)
{
    expect_lines_by_level({"kmp_driver_cfg_set E invalid arguments"},
                          [](host&, visible_link& link) { EXPECT_EQ(link.kmp_driver_cfg_set(nullptr), -501); });
}

TEST(kmp_driver_cfg_set, needs_neither_a_context_nor_an_open_path)
{
    host h;
    constructed_link link(h);
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 0u);
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{KMP_DRIVER_CFG_LCUR_EVT_ALG, LCUR_EVT_ALG_RELATIVE};
    h.expect_ioctl(HDC, 0x7911, {0, 0, 0, 0, 1, 0, 0, 0});
    EXPECT_EQ(link->kmp_driver_cfg_set(&cfg), 0);
}

TEST_F(half_open, passes_up_the_code_of_the_closed_driver_channel)
{
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{KMP_DRIVER_CFG_LOCAL_TABLET, 1};
    EXPECT_EQ(link->kmp_driver_cfg_set(&cfg), -503);
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E not m_initialized",
                              "kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type 1 failed (ret=-503)"}));
}
