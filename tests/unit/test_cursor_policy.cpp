#include "cursor_policy.h"
#include "link.h"
#include "vesk_log.h"

#include <cerrno>
#include <gtest/gtest.h>

// A client that lets local cursor and keyboard be switched.
static void agree_on_local_cursor(visible_link& link)
{
    link.kmp_pri_ctxt.haldo_kmp_1_supported = 1;
    link.kmp_pri_ctxt_valid = 1;
}

static int driver_value(bool accepts)
{
    return accepts ? 0 : -1;
}

static void append(lines& all, const lines& more)
{
    all.insert(all.end(), more.begin(), more.end());
}

// --- update_driver_cfg ---

static void expect_mode_set(host& h, eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg, bool accepts)
{
    h.expect_ioctl(HDC, 0x7911, {0, 0, 0, 0, static_cast<std::uint8_t>(alg), 0, 0, 0}, {}, driver_value(accepts));
}

static lines mode_set(eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg, bool accepts)
{
    const bool absolute = alg == LCUR_EVT_ALG_ABSOLUTE;
    if (accepts)
        return {std::string("kmp_driver_cfg_set D cursor event processing mode: ") +
                (absolute ? "Absolute" : "Relative")};
    return {"synch_ioctl E ioctl 0x00007911 failed (rv=-1)",
            "kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-500)",
            std::string("update_driver_cfg E failed to configure cursor mode ") + (absolute ? "0" : "1") +
                " in driver"};
}

TEST(update_driver_cfg, sends_type_zero_with_the_mode_as_its_setting)
{
    for (const auto alg : {LCUR_EVT_ALG_ABSOLUTE, LCUR_EVT_ALG_RELATIVE}) {
        for (const bool accepts : {true, false}) {
            expect_lines_by_level(mode_set(alg, accepts), [&](host& h, visible_link& link) {
                expect_mode_set(h, alg, accepts);
                EXPECT_EQ(update_driver_cfg(&link, alg), accepts ? 1 : 0);
            });
        }
    }
}

TEST(update_driver_cfg, takes_a_positive_answer_for_success)
{
    host h;
    constructed_link link(h);
    h.expect_ioctl(HDC, 0x7911, zero_filled(8), {}, 3);
    EXPECT_EQ(update_driver_cfg(&*link, LCUR_EVT_ALG_ABSOLUTE), 1);
    EXPECT_EQ(h.log(), lines());
}

TEST(update_driver_cfg, answers_zero_without_a_driver_channel)
{
    expect_lines_by_level<half_open_link>(
        {"synch_ioctl E not m_initialized",
         "kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-503)",
         "update_driver_cfg E failed to configure cursor mode 1 in driver"},
        [](host&, visible_link& link) { EXPECT_EQ(update_driver_cfg(&link, LCUR_EVT_ALG_RELATIVE), 0); });
}

TEST(update_driver_cfg, sends_no_mode_that_does_not_exist)
{
    expect_lines_by_level({"kmp_driver_cfg_set E invalid input: type 0 setting 2",
                           "update_driver_cfg E failed to configure cursor mode 2 in driver"},
                          [](host&, visible_link& link) {
                              EXPECT_EQ(update_driver_cfg(&link, static_cast<eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE>(2)), 0);
                          });
}

// --- disable_local_cursor ---

static void expect_switched(host& h, bool on, bool accepts)
{
    h.expect_ioctl(HDC, 0x7902, {0, 0, 0x0A, 0, static_cast<std::uint8_t>(on), 0, 0, 0}, {}, driver_value(accepts));
}

static lines switched(bool on, bool accepts)
{
    const std::string function = on ? "lcur_lkbd_enable" : "lcur_lkbd_disable";
    if (accepts)
        return {function + (on ? " D enabled" : " D disabled") + " local cursor and keyboard"};
    return {"synch_ioctl E ioctl 0x00007902 failed (rv=-1)", function + " E HDC_IOCTL_KMP_FEAT_EN failed (ret=-500)"};
}

TEST(disable_local_cursor, switches_cursor_and_keyboard_off_and_nothing_else)
{
    for (const bool accepts : {true, false}) {
        expect_lines_by_level(switched(false, accepts), [&](host& h, visible_link& link) {
            agree_on_local_cursor(link);
            expect_switched(h, false, accepts);
            disable_local_cursor(&link);
        });
    }
}

TEST(disable_local_cursor, leaves_it_at_a_line_where_there_is_none)
{
    expect_lines_by_level({"lcur_lkbd_disable E not supported"},
                          [](host&, visible_link& link) { disable_local_cursor(&link); });
}

// --- enable_local_cursor_with_relative_reports ---

static const bytes COMM_OPEN = {1, 0, 0, 0, 1, 0, 0, 0};
static const bytes COMM_CLOSE = {1, 0, 0, 0, 0, 0, 0, 0};

// What succeeds in an attempt. A channel, path or switch that does not ends it.
struct attempt {
    bool channel = true;
    bool path = true;
    bool switch_on = true;
    bool hide = true;
    bool relative = true;
};
using attempts = std::vector<attempt>;

static const attempt NO_CHANNEL = {.channel = false};
static const attempt NO_PATH = {.path = false};
static const attempt NOT_SWITCHED_ON = {.switch_on = false};
static const attempt NOT_HIDDEN = {.hide = false};
static const attempt NOT_RELATIVE = {.relative = false};
static const attempt NEITHER_HIDDEN_NOR_RELATIVE = {.hide = false, .relative = false};
static const attempt SUCCEEDING = {};
// Those that mark a failure.
static const attempt failing_attempts[] = {NO_CHANNEL, NO_PATH, NOT_SWITCHED_ON, NOT_HIDDEN,
                                           NEITHER_HIDDEN_NOR_RELATIVE};

static void expect_attempt(host& h, const attempt& a)
{
    h.expect_ioctl(HCC, 0x7821, COMM_OPEN, {}, driver_value(a.channel));
    if (!a.channel)
        return;
    h.expect_ioctl(HDC, 0x7900, {}, {}, driver_value(a.path));
    if (!a.path) {
        h.expect_ioctl(HCC, 0x7821, COMM_CLOSE);
        h.expect_ioctl(HDC, 0x7901, {});
        return;
    }
    h.expect("sleep 2");
    expect_switched(h, true, a.switch_on);
    if (!a.switch_on)
        return;
    h.expect_ioctl(HDC, 0x7909, {8, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {}, driver_value(a.hide));
    expect_mode_set(h, LCUR_EVT_ALG_RELATIVE, a.relative);
}

static const std::string POLICY = "enable_local_cursor_with_relative_reports";

static lines channel_opened(bool accepts)
{
    if (accepts)
        return {"hdc_open D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay"};
    return {"synch_ioctl E ioctl 0x00007821 failed (rv=-1)",
            "hdc_open E VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) failed (ret=-500)",
            POLICY + " E hdc_open() failed"};
}

static lines path_opened(bool accepts)
{
    if (accepts)
        return {"hdc_open D VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) okay"};
    return {"synch_ioctl E ioctl 0x00007900 failed (rv=-1)",
            "hdc_open E VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=-500)",
            "hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay",
            "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay", POLICY + " E hdc_open() failed"};
}

static lines hidden(bool accepts)
{
    if (accepts)
        return {"lcur_pointer_visibility_set D VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=0, vis=0"};
    return {"synch_ioctl E ioctl 0x00007909 failed (rv=-1)",
            "lcur_pointer_visibility_set E VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS failed (ret=-500)",
            POLICY + " E failed to hide local cursor"};
}

static lines written_by(const attempt& a)
{
    lines all = channel_opened(a.channel);
    if (!a.channel)
        return all;
    append(all, path_opened(a.path));
    if (!a.path)
        return all;
    append(all, switched(true, a.switch_on));
    if (!a.switch_on) {
        all.push_back(POLICY + " E lcur_lkbd_enable() failed");
        return all;
    }
    append(all, hidden(a.hide));
    append(all, mode_set(LCUR_EVT_ALG_RELATIVE, a.relative));
    return all;
}

// Whether absolute reports are set at the end, and whether the driver accepts that.
enum return_to_absolute {
    NOT_SET,
    SET,
    REJECTED
};

static void expect_policy(host& h, const attempts& all, return_to_absolute end)
{
    for (const attempt& a : all)
        expect_attempt(h, a);
    if (end != NOT_SET)
        expect_mode_set(h, LCUR_EVT_ALG_ABSOLUTE, end == SET);
}

static lines written_by(const attempts& all, return_to_absolute end)
{
    lines written;
    for (const attempt& a : all)
        append(written, written_by(a));
    if (end != NOT_SET)
        append(written, mode_set(LCUR_EVT_ALG_ABSOLUTE, end == SET));
    return written;
}

// So many of the same, and then another one.
static attempts repeated(std::size_t n, const attempt& same, const attempts& behind = {})
{
    attempts all(n, same);
    all.insert(all.end(), behind.begin(), behind.end());
    return all;
}

static void expect_enabled(int result, const attempts& all, return_to_absolute end)
{
    expect_lines_by_level(written_by(all, end), [&](host& h, visible_link& link) {
        agree_on_local_cursor(link);
        expect_policy(h, all, end);
        EXPECT_EQ(enable_local_cursor_with_relative_reports(&link), result);
    });
}

TEST(enable_local_cursor, takes_one_attempt_and_one_sleep_when_everything_succeeds)
{
    expect_enabled(1, {SUCCEEDING}, NOT_SET);
}

TEST(enable_local_cursor, succeeds_at_the_attempt_after_the_last_that_failed)
{
    for (const attempt& failing :
         {NO_CHANNEL, NO_PATH, NOT_SWITCHED_ON, NOT_HIDDEN, NEITHER_HIDDEN_NOR_RELATIVE, NOT_RELATIVE}) {
        for (const std::size_t n : {1, 2, 3, 10, 18, 19})
            expect_enabled(1, repeated(n, failing, {SUCCEEDING}), NOT_SET);
    }
}

TEST(enable_local_cursor, passes_through_every_failure_once)
{
    expect_enabled(
        1, {NO_CHANNEL, NOT_HIDDEN, NO_PATH, NOT_RELATIVE, NOT_SWITCHED_ON, NEITHER_HIDDEN_NOR_RELATIVE, SUCCEEDING},
        NOT_SET);
}

TEST(enable_local_cursor, gives_up_after_20_attempts_and_sets_absolute_reports_once)
{
    for (const attempt& failing : failing_attempts) {
        expect_enabled(0, repeated(20, failing), SET);
        expect_enabled(0, repeated(20, failing), REJECTED);
    }
}

TEST(enable_local_cursor, counts_a_last_attempt_that_is_hidden_but_not_relative_as_success)
{
    expect_enabled(1, repeated(20, NOT_RELATIVE), NOT_SET);
    for (const attempt& failing : failing_attempts)
        expect_enabled(1, repeated(19, failing, {NOT_RELATIVE}), NOT_SET);
}

TEST(enable_local_cursor, goes_by_the_last_attempt_when_earlier_ones_hid_the_pointer)
{
    for (const attempt& failing : failing_attempts)
        expect_enabled(0, repeated(19, NOT_RELATIVE, {failing}), SET);
}

TEST(enable_local_cursor, tries_20_times_where_the_switch_is_not_offered)
{
    lines all;
    for (int i = 0; i < 20; ++i) {
        append(all, channel_opened(true));
        append(all, path_opened(true));
        append(all, {"lcur_lkbd_enable E not supported", POLICY + " E lcur_lkbd_enable() failed"});
    }
    append(all, mode_set(LCUR_EVT_ALG_ABSOLUTE, true));
    expect_lines_by_level(all, [](host& h, visible_link& link) {
        for (int i = 0; i < 20; ++i) {
            h.expect_ioctl(HCC, 0x7821, COMM_OPEN);
            h.expect_ioctl(HDC, 0x7900, {});
            h.expect("sleep 2");
        }
        expect_mode_set(h, LCUR_EVT_ALG_ABSOLUTE, true);
        EXPECT_EQ(enable_local_cursor_with_relative_reports(&link), 0);
    });
}

TEST(enable_local_cursor, never_sleeps_without_a_driver_channel)
{
    lines all;
    for (int i = 0; i < 20; ++i) {
        append(all, {"hdc_open D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) okay", "synch_ioctl E not m_initialized",
                     "hdc_open E VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=-503)",
                     "hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay", "synch_ioctl E not m_initialized",
                     "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay", POLICY + " E hdc_open() failed"});
    }
    append(all, {"synch_ioctl E not m_initialized",
                 "kmp_driver_cfg_set E HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-503)",
                 "update_driver_cfg E failed to configure cursor mode 0 in driver"});
    expect_lines_by_level<half_open_link>(all, [](host& h, visible_link& link) {
        agree_on_local_cursor(link);
        for (int i = 0; i < 20; ++i) {
            h.expect_ioctl(HCC, 0x7821, COMM_OPEN);
            h.expect_ioctl(HCC, 0x7821, COMM_CLOSE);
        }
        EXPECT_EQ(enable_local_cursor_with_relative_reports(&link), 0);
    });
}

// --- user_session_end ---

static const std::string RELATIVE_LINE =
    "user_session_end D Enable local cursor in relative mode: SC logout while session active";
static const std::string OFF_LINE = "user_session_end D Disable local cursor: ZC logout while session active";

// The file is removed, or is not.
static int expect_removed(host& h, bool removed)
{
    h.expect("remove /tmp/haldohostsw.pid", removed ? 0 : -1, removed ? 0 : ENOENT);
    return removed ? 0 : -1;
}

TEST(user_session_end, sets_relative_reports_for_a_client_without_idle_hide)
{
    const struct {
        attempts all;
        return_to_absolute end;
    } cases[] = {{{SUCCEEDING}, NOT_SET},
                 {repeated(20, NO_PATH), SET},
                 {repeated(20, NEITHER_HIDDEN_NOR_RELATIVE), REJECTED},
                 {repeated(20, NOT_RELATIVE), NOT_SET}};
    for (const auto& c : cases) {
        for (const bool removed : {true, false}) {
            lines all = {RELATIVE_LINE};
            append(all, written_by(c.all, c.end));
            expect_lines_by_level(all, [&](host& h, visible_link& link) {
                agree_on_local_cursor(link);
                expect_policy(h, c.all, c.end);
                const int result = expect_removed(h, removed);
                EXPECT_EQ(user_session_end(&link), result);
            });
        }
    }
}

TEST(user_session_end, switches_the_cursor_off_for_a_client_with_idle_hide)
{
    for (const bool accepts : {true, false}) {
        for (const bool removed : {true, false}) {
            lines all = {OFF_LINE};
            append(all, switched(false, accepts));
            expect_lines_by_level(all, [&](host& h, visible_link& link) {
                agree_on_local_cursor(link);
                link.kmp_pri_ctxt.cur_shape_fadeout_enable = 0x80;
                expect_switched(h, false, accepts);
                const int result = expect_removed(h, removed);
                EXPECT_EQ(user_session_end(&link), result);
            });
        }
    }
}

TEST(user_session_end, tries_to_switch_the_cursor_off_without_a_valid_context)
{
    for (const bool removed : {true, false}) {
        expect_lines_by_level({OFF_LINE, "lcur_lkbd_disable E not supported"}, [&](host& h, visible_link& link) {
            agree_on_local_cursor(link);
            link.kmp_pri_ctxt_valid = 0;
            const int result = expect_removed(h, removed);
            EXPECT_EQ(user_session_end(&link), result);
        });
    }
}

TEST(user_session_end, removes_the_file_without_any_node)
{
    expect_lines_by_level<nodeless_link>(
        {OFF_LINE, "synch_ioctl E not m_initialized", "lcur_lkbd_disable E HDC_IOCTL_KMP_FEAT_EN failed (ret=-503)"},
        [](host& h, visible_link& link) {
            agree_on_local_cursor(link);
            link.kmp_pri_ctxt.cur_shape_fadeout_enable = 1;
            expect_removed(h, true);
            EXPECT_EQ(user_session_end(&link), 0);
        });
}
