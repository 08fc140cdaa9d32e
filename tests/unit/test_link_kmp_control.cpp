// Local cursor, keyboard and tablets: what the operations have in common is tested once, over a table of calls. Their
// limits, null pointers and the order of their tests beyond that.
#include "link.h"
#include "vesk_log.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

static constexpr std::uint8_t YES = 0x80;
static constexpr std::uint16_t CACHE_SLOTS = 256;

using context = sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT;

// A context in which every flag is this, and the client has its cache.
static void agree_on(visible_link& link, std::uint8_t flags, std::uint32_t valid)
{
    std::memset(&link.kmp_pri_ctxt, flags, sizeof(link.kmp_pri_ctxt));
    link.kmp_pri_ctxt.cur_shape_caches = CACHE_SLOTS;
    link.kmp_pri_ctxt_valid = valid;
}

// What a caller has its results written to.
struct variables {
    std::uint32_t words[4];
    std::uint16_t rates[2];
};
static_assert(sizeof(variables) == 20);

// --- What the operations have in common ---

// A value that is read: where it stands in the reply, and where it goes.
struct reading {
    std::size_t from;
    std::size_t to;
    std::size_t size;
};

using flag_of_context = std::uint8_t context::*;

// An operation and what is its own.
struct control_operation {
    const char* function;
    std::uint32_t code;
    const char* failure;            // the line without argument and result
    flag_of_context flag = nullptr; // the one that makes it available
    char refusal = 'E';             // the level at which it says that it is not
    bool says_start = false;
    std::vector<reading> readings = {};
};

static const control_operation idle_hide_set = {.function = "lcur_idle_hide_set",
                                                .code = 0x790A,
                                                .failure = "HDC_IOCTL_KMP_CUR_IDLE_HIDE failed",
                                                .flag = &context::cur_shape_fadeout_enable,
                                                .refusal = 'D',
                                                .says_start = true};
static const control_operation disable = {.function = "lcur_lkbd_disable",
                                          .code = 0x7902,
                                          .failure = "HDC_IOCTL_KMP_FEAT_EN failed",
                                          .flag = &context::haldo_kmp_1_supported};
static const control_operation enable = {.function = "lcur_lkbd_enable",
                                         .code = 0x7902,
                                         .failure = "HDC_IOCTL_KMP_FEAT_EN failed",
                                         .flag = &context::haldo_kmp_1_supported};
static const control_operation spd_set = {.function = "lcur_spd_set",
                                          .code = 0x790C,
                                          .failure = "HDC_IOCTL_KMP_CUR_SPD_SET failed",
                                          .flag = &context::cur_speed_update_enable};
static const control_operation spd_get = {.function = "lcur_spd_get",
                                          .code = 0x790B,
                                          .failure = "HDC_IOCTL_KMP_CUR_SPD_GET failed",
                                          .flag = &context::cur_speed_update_enable,
                                          .readings = {{4, 0, 4}}};
static const control_operation change_shape_send = {
    .function = "lcur_change_shape_send", .code = 0x7907, .failure = "HDC_IOCTL_KMP_CUR_SHAPE failed"};
static const control_operation new_tablets = {
    .function = "proc_new_hoip_tablets", .code = 0x7912, .failure = "HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB failed"};
static const control_operation host_ready = {
    .function = "send_hoip_host_ready", .code = 0x7913, .failure = "HDC_IOCTL_KMP_HOIP_HOST_RDY failed"};
static const control_operation rates_set = {
    .function = "lkbd_repeat_rates_set", .code = 0x7904, .failure = "HDC_IOCTL_KMP_KBD_REPEAT failed"};
static const control_operation rates_get = {.function = "lkbd_repeat_rates_get",
                                            .code = 0x790E,
                                            .failure = "HDC_IOCTL_KMP_KBD_REPEAT_GET failed",
                                            .flag = &context::kbd_client_auto_repeat_supported,
                                            .says_start = true,
                                            .readings = {{10, 16, 2}, {8, 18, 2}}};
static const control_operation visibility_set = {
    .function = "lcur_pointer_visibility_set", .code = 0x7909, .failure = "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS failed"};
static const control_operation location_set = {
    .function = "lcur_pointer_location_set", .code = 0x7908, .failure = "VESK_HALDO_HDC_IOCTL_KMP_CUR_POS failed"};
static const control_operation location_set_if_new = {.function = "lcur_pointer_location_set_if_new",
                                                      .code = 0x790F,
                                                      .failure = "VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW failed"};
static const control_operation last_stat_get = {.function = "lcur_lkbd_last_stat_get",
                                                .code = 0x790D,
                                                .failure = "HDC_IOCTL_KMP_LAST_STAT failed",
                                                .readings = {{0, 0, 4}, {4, 4, 4}, {8, 8, 4}, {12, 12, 4}}};
static const control_operation feat_stat_get = {.function = "lcur_lkbd_dev_feat_stat_get",
                                                .code = 0x7903,
                                                .failure = "HDC_IOCTL_KMP_FEAT_STAT_GET failed",
                                                .readings = {{4, 0, 4}}};

// A call of one.
struct control_call {
    const char* name;
    const control_operation& operation;
    int (*perform)(visible_link& link, variables& results);
    bytes request;
    const char* success;       // the line, or null
    const char* argument = ""; // which the line of a failure names
    bytes reply = {};          // of an operation that reads
};

#define CALL(...) [](visible_link& link, [[maybe_unused]] variables& results) { return link.__VA_ARGS__; }

static const control_call calls[] = {
    {"idle_hide_0",
     idle_hide_set,
     CALL(lcur_idle_hide_set(0)),
     {0x0D, 0, 0x0A, 0, 0, 0, 0, 0},
     "local cursor idle hide set successfully"},
    {"idle_hide_1",
     idle_hide_set,
     CALL(lcur_idle_hide_set(1)),
     {0x0D, 0, 0x0A, 0, 1, 0, 0, 0},
     "local cursor idle hide set successfully"},
    {"idle_hide_any",
     idle_hide_set,
     CALL(lcur_idle_hide_set(0x89ABCDEF)),
     {0x0D, 0, 0x0A, 0, 0xEF, 0xCD, 0xAB, 0x89},
     "local cursor idle hide set successfully"},

    {"disable", disable, CALL(lcur_lkbd_disable()), {0, 0, 0x0A, 0, 0, 0, 0, 0}, "disabled local cursor and keyboard"},
    {"enable", enable, CALL(lcur_lkbd_enable()), {0, 0, 0x0A, 0, 1, 0, 0, 0}, "enabled local cursor and keyboard"},

    {"speed_10",
     spd_set,
     CALL(lcur_spd_set(10)),
     {0x0F, 0, 0x0A, 0, 10, 0, 0, 0},
     "HDC_IOCTL_KMP_CUR_SPD_SET ok, speed=10",
     ", speed=10"},
    {"speed_250",
     spd_set,
     CALL(lcur_spd_set(250)),
     {0x0F, 0, 0x0A, 0, 250, 0, 0, 0},
     "HDC_IOCTL_KMP_CUR_SPD_SET ok, speed=250",
     ", speed=250"},
    {"speed_read",
     spd_get,
     CALL(lcur_spd_get(&results.words[0])),
     zero_filled(8),
     "HDC_IOCTL_KMP_CUR_SPD_GET ok, speed=67305985",
     "",
     {0xEE, 0xEE, 0xEE, 0xEE, 1, 2, 3, 4}},
    {"speed_read_as_minus_1",
     spd_get,
     CALL(lcur_spd_get(&results.words[0])),
     zero_filled(8),
     "HDC_IOCTL_KMP_CUR_SPD_GET ok, speed=-1",
     "",
     {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},

    {"shape_0",
     change_shape_send,
     CALL(lcur_change_shape_send(0)),
     {4, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0},
     nullptr,
     ", index=0"},
    {"shape_255",
     change_shape_send,
     CALL(lcur_change_shape_send(255)),
     {4, 0, 0x0A, 0, 0, 0, 0, 0, 255, 0, 0, 0},
     nullptr,
     ", index=255"},

    // gcc 12 loses a row of constants alone.
    {"new_tablets", new_tablets, CALL(proc_new_hoip_tablets()), zero_filled(0),
     "Sent command to process new HoIP tablets"},
    {"host_ready", host_ready, CALL(send_hoip_host_ready()), zero_filled(0), "Sent HoIP Host Ready TLV to client"},

    {"rates_500_33",
     rates_set,
     CALL(lkbd_repeat_rates_set(500, 33)),
     {6, 0, 0x0A, 0, 0, 0, 0, 0, 33, 0, 0xF4, 0x01},
     "HDC_IOCTL_KMP_KBD_REPEAT set okay, delay=500, int=33"},
    {"rates_0_65535",
     rates_set,
     CALL(lkbd_repeat_rates_set(0, 0xFFFF)),
     {6, 0, 0x0A, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0},
     "HDC_IOCTL_KMP_KBD_REPEAT set okay, delay=0, int=65535"},
    {"rates_65534_0",
     rates_set,
     CALL(lkbd_repeat_rates_set(0xFFFE, 0)),
     {6, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0xFE, 0xFF},
     "HDC_IOCTL_KMP_KBD_REPEAT set okay, delay=65534, int=0"},
    {"rates_read",
     rates_get,
     CALL(lkbd_repeat_rates_get(&results.rates[0], &results.rates[1])),
     zero_filled(12),
     "HDC_IOCTL_KMP_KBD_REPEAT_GET ok, delay=65534, interval=513",
     "",
     {9, 9, 9, 9, 9, 9, 9, 9, 1, 2, 0xFE, 0xFF}},

    {"hide",
     visibility_set,
     CALL(lcur_pointer_visibility_set(0, 0)),
     {8, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=0, vis=0"},
    {"hide_with_time_stamp",
     visibility_set,
     CALL(lcur_pointer_visibility_set(0xFFFFFFFE, 0)),
     {8, 0, 0x0A, 0, 0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=-2, vis=0"},
    {"show",
     visibility_set,
     CALL(lcur_pointer_visibility_set(0x01020304, 1)),
     {8, 0, 0x0A, 0, 4, 3, 2, 1, 1, 0, 0, 0},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=16909060, vis=1"},
    {"show_7",
     visibility_set,
     CALL(lcur_pointer_visibility_set(1, 7)),
     {8, 0, 0x0A, 0, 1, 0, 0, 0, 1, 0, 0, 0},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=1, vis=1"},
    {"show_254",
     visibility_set,
     CALL(lcur_pointer_visibility_set(1, 254)),
     {8, 0, 0x0A, 0, 1, 0, 0, 0, 1, 0, 0, 0},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS set okay, tstamp=1, vis=1"},

    {"location",
     location_set,
     CALL(lcur_pointer_location_set(0x01020304, 0x0506, 0x0708)),
     {5, 0, 0x0A, 0, 4, 3, 2, 1, 6, 5, 8, 7},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_POS set okay, tstamp=16909060, x,y=1286,1800"},
    {"location_at_its_limits",
     location_set,
     CALL(lcur_pointer_location_set(0xFFFFFFFF, 0xFFFF, 0)),
     {5, 0, 0x0A, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
     "VESK_HALDO_HDC_IOCTL_KMP_CUR_POS set okay, tstamp=-1, x,y=65535,0"},
    {"location_if_new",
     location_set_if_new,
     CALL(lcur_pointer_location_set_if_new(0x0102, 0xFFFE)),
     {2, 1, 0xFE, 0xFF},
     nullptr},
    {"location_if_new_at_origin", location_set_if_new, CALL(lcur_pointer_location_set_if_new(0, 0)), zero_filled(4),
     nullptr},

    {"last_status",
     last_stat_get,
     CALL(lcur_lkbd_last_stat_get(&results.words[0], &results.words[1], &results.words[2], &results.words[3])),
     zero_filled(16),
     "HDC_IOCTL_KMP_LAST_STAT_GET ok, stat=0x40302ff, cnt=-2, 3 HoIP HID devs, HoIP tab activate ack 513",
     "",
     {0xFF, 2, 3, 4, 0xFE, 0xFF, 0xFF, 0xFF, 3, 0, 0, 0, 1, 2, 0, 0}},
    {"last_status_at_its_limits",
     last_stat_get,
     CALL(lcur_lkbd_last_stat_get(&results.words[0], &results.words[1], &results.words[2], &results.words[3])),
     zero_filled(16),
     "HDC_IOCTL_KMP_LAST_STAT_GET ok, stat=0xffffffff, cnt=0, -1 HoIP HID devs, HoIP tab activate ack -2147483648",
     "",
     {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80}},
    {"feature_status",
     feat_stat_get,
     CALL(lcur_lkbd_dev_feat_stat_get(&results.words[0])),
     zero_filled(8),
     "HDC_IOCTL_KMP_FEAT_STAT_GET ok, stat=0xdeadbeef",
     "",
     {0x11, 0x11, 0x11, 0x11, 0xEF, 0xBE, 0xAD, 0xDE}},
    {"feature_status_0",
     feat_stat_get,
     CALL(lcur_lkbd_dev_feat_stat_get(&results.words[0])),
     zero_filled(8),
     "HDC_IOCTL_KMP_FEAT_STAT_GET ok, stat=0x0",
     "",
     {0x11, 0x11, 0x11, 0x11, 0, 0, 0, 0}},
};

static bool reads(const control_call& call)
{
    return !call.reply.empty();
}

// What the driver leaves in the record of a request that succeeds.
static bytes reply_to(const control_call& call)
{
    return reads(call) ? call.reply : random_bytes(call.request.size());
}

static void expect_request(host& h, const control_call& call, const std::optional<bytes>& reply, int result = 0)
{
    h.expect_ioctl(HDC, call.operation.code, call.request, reply, result);
}

// Performs the call; the caller's results end with what it reads of the reply, or are left where there is none.
static void expect_result(const control_call& call, visible_link& link, int result, const bytes& reply)
{
    auto results = random_record<variables>();
    bytes expected = bytes_of(results);
    if (!reply.empty()) {
        for (const reading& r : call.operation.readings)
            std::memcpy(&expected[r.to], &reply[r.from], r.size);
    }
    EXPECT_EQ(call.perform(link, results), result);
    EXPECT_EQ(bytes_of(results), expected);
}

// The operation's lines, behind the one that it may start with.
static lines written_by(const control_operation& operation, const lines& rest)
{
    const std::string function = operation.function;
    lines all;
    if (operation.says_start)
        all.push_back(function + " D start");
    for (const std::string& line : rest)
        all.push_back(line.starts_with("synch_ioctl ") ? line : function + " " + line);
    return all;
}

static std::string failure_of(const control_call& call, int result)
{
    return std::string("E ") + call.operation.failure + call.argument + " (ret=" + std::to_string(result) + ")";
}

class kmp_control : public testing::TestWithParam<control_call>
{
};
INSTANTIATE_TEST_SUITE_P(call, kmp_control, testing::ValuesIn(calls), [](const auto& info) { return info.param.name; });

TEST_P(kmp_control, sends_its_record_and_tells_what_was_sent_or_read)
{
    const control_call& call = GetParam();
    const lines all =
        written_by(call.operation, call.success != nullptr ? lines{std::string("D ") + call.success} : lines());
    for (const int value : {0, 1, INT_MAX}) {
        expect_lines_by_level(all, [&](host& h, visible_link& link) {
            agree_on(link, YES, 1);
            const bytes reply = reply_to(call);
            expect_request(h, call, reply, value);
            expect_result(call, link, 0, reply);
        });
    }
}

TEST_P(kmp_control, reads_each_value_from_its_own_place)
{
    const control_call& call = GetParam();
    if (!reads(call))
        return;
    host h;
    constructed_link link(h);
    agree_on(*link, YES, 1);
    for (int i = 0; i < 20; ++i) {
        const bytes reply = random_bytes(call.request.size());
        expect_request(h, call, reply);
        expect_result(call, *link, 0, reply);
    }
}

TEST_P(kmp_control, leaves_the_results_when_the_driver_rejects_it)
{
    const control_call& call = GetParam();
    char failed[40];
    std::snprintf(failed, sizeof(failed), "E ioctl 0x%08X failed (rv=-1)", call.operation.code);
    expect_lines_by_level(written_by(call.operation, {std::string("synch_ioctl ") + failed, failure_of(call, -500)}),
                          [&](host& h, visible_link& link) {
                              agree_on(link, YES, 1);
                              expect_request(h, call, {}, -1);
                              expect_result(call, link, -500, {});
                          });
}

TEST_P(kmp_control, leaves_the_results_when_the_driver_channel_is_closed)
{
    const control_call& call = GetParam();
    expect_lines_by_level<half_open_link>(
        written_by(call.operation, {"synch_ioctl E not m_initialized", failure_of(call, -503)}),
        [&](host&, visible_link& link) {
            agree_on(link, YES, 1);
            expect_result(call, link, -503, {});
        });
}

TEST_P(kmp_control, is_refused_without_its_flag_or_a_valid_context)
{
    const control_call& call = GetParam();
    if (call.operation.flag == nullptr)
        return;
    const auto expect_refused = [&](std::uint8_t flag, std::uint32_t valid) {
        const auto refused = [&](host&, visible_link& link) {
            agree_on(link, YES, valid);
            link.kmp_pri_ctxt.*call.operation.flag = flag;
            expect_result(call, link, -511, {});
        };
        const lines all = written_by(call.operation, {std::string(1, call.operation.refusal) + " not supported"});
        expect_lines_by_level(all, refused);
        expect_lines_by_level<half_open_link>(all, refused);
    };
    expect_refused(0, 1);
    expect_refused(YES, 0);
    expect_refused(0, 0);
}

TEST_P(kmp_control, asks_for_nothing_else)
{
    const control_call& call = GetParam();
    host h;
    constructed_link link(h);
    agree_on(*link, 0, call.operation.flag != nullptr ? 1 : 0);
    if (call.operation.flag != nullptr)
        (*link).kmp_pri_ctxt.*call.operation.flag = YES;
    const bytes reply = reply_to(call);
    expect_request(h, call, reply);
    expect_result(call, *link, 0, reply);
}

// --- Limits ---

TEST(lcur_spd_set, sends_10_to_250_alone)
{
    std::vector<unsigned int> speeds = {266, 506, 0x7FFFFFFF, 0x80000000, 0x8000000A, 0xFFFFFF0A, 0xFFFFFFF6, UINT_MAX};
    for (unsigned int speed = 0; speed <= 300; ++speed)
        speeds.push_back(speed);
    host h(VESK_LOG_DEBUG);
    constructed_link link(h);
    agree_on(*link, YES, 1);
    for (const unsigned int speed : speeds) {
        const std::string printed = std::to_string(static_cast<int>(speed));
        if (speed >= 10 && speed <= 250) {
            h.expect_ioctl(HDC, 0x790C, {0x0F, 0, 0x0A, 0, static_cast<std::uint8_t>(speed), 0, 0, 0}, random_bytes(8));
            EXPECT_EQ(link->lcur_spd_set(speed), 0);
            EXPECT_EQ(h.log(), (lines{"lcur_spd_set D HDC_IOCTL_KMP_CUR_SPD_SET ok, speed=" + printed}));
        } else {
            EXPECT_EQ(link->lcur_spd_set(speed), -501);
            EXPECT_EQ(h.log(),
                      (lines{"lcur_spd_set E error setting speed equal to " + printed + ", must be >= 10 and <= 250"}));
        }
    }
    m_log_level = VESK_LOG_OFF;
}

TEST(lcur_spd_set, refuses_a_speed_at_the_error_level)
{
    const auto refused = [](host&, visible_link& link) {
        agree_on(link, YES, 1);
        EXPECT_EQ(link.lcur_spd_set(251), -501);
    };
    const lines all = {"lcur_spd_set E error setting speed equal to 251, must be >= 10 and <= 250"};
    expect_lines_by_level(all, refused);
    expect_lines_by_level<half_open_link>(all, refused);
}

TEST(lcur_spd_set, asks_whether_it_is_available_before_it_looks_at_the_speed)
{
    for (const unsigned int speed : {9u, 10u, 251u, UINT_MAX}) {
        expect_lines_by_level({"lcur_spd_set E not supported"},
                              [&](host&, visible_link& link) { EXPECT_EQ(link.lcur_spd_set(speed), -511); });
    }
}

TEST(lcur_change_shape_send, sends_every_slot_of_the_cache_and_no_other)
{
    for (const std::uint16_t slots : {0, 1, 16, 255, 256, 65535}) {
        host h(VESK_LOG_DEBUG);
        constructed_link link(h);
        (*link).kmp_pri_ctxt.cur_shape_caches = slots;
        for (int i = 0; i < 256; ++i) {
            const auto index = static_cast<std::uint8_t>(i);
            if (i < slots) {
                h.expect_ioctl(HDC, 0x7907, {4, 0, 0x0A, 0, 0, 0, 0, 0, index, 0, 0, 0}, random_bytes(12));
                EXPECT_EQ(link->lcur_change_shape_send(index), 0);
                EXPECT_EQ(h.log(), lines());
            } else {
                EXPECT_EQ(link->lcur_change_shape_send(index), -501);
                EXPECT_EQ(h.log(),
                          (lines{"lcur_change_shape_send E invalid argument, index>=" + std::to_string(slots)}));
            }
        }
        m_log_level = VESK_LOG_OFF;
    }
}

TEST(lcur_change_shape_send, refuses_a_slot_at_the_error_level)
{
    const auto refused = [](host&, visible_link& link) {
        link.kmp_pri_ctxt.cur_shape_caches = 3;
        EXPECT_EQ(link.lcur_change_shape_send(3), -501);
    };
    const lines all = {"lcur_change_shape_send E invalid argument, index>=3"};
    expect_lines_by_level(all, refused);
    expect_lines_by_level<half_open_link>(all, refused);
}

// --- Null pointers ---

TEST(lcur_spd_get, refuses_a_null_pointer_whether_it_is_available_or_not)
{
    for (const std::uint32_t valid : {0, 1}) {
        const auto refused = [&](host&, visible_link& link) {
            agree_on(link, YES, valid);
            EXPECT_EQ(link.lcur_spd_get(nullptr), -501);
        };
        expect_lines_by_level({"lcur_spd_get E invalid arguments"}, refused);
        expect_lines_by_level<half_open_link>({"lcur_spd_get E invalid arguments"}, refused);
    }
}

TEST(lkbd_repeat_rates_get, refuses_null_pointers_whether_it_is_available_or_not)
{
    const lines all = {"lkbd_repeat_rates_get D start", "lkbd_repeat_rates_get E invalid arguments"};
    for (const std::uint32_t valid : {0, 1}) {
        const auto refused = [&](host&, visible_link& link) {
            agree_on(link, YES, valid);
            std::uint16_t delay = 0x1234, interval = 0x5678;
            EXPECT_EQ(link.lkbd_repeat_rates_get(nullptr, &interval), -501);
            EXPECT_EQ(link.lkbd_repeat_rates_get(&delay, nullptr), -501);
            EXPECT_EQ(link.lkbd_repeat_rates_get(nullptr, nullptr), -501);
            EXPECT_EQ(delay, 0x1234);
            EXPECT_EQ(interval, 0x5678);
        };
        const lines three_times = {all[0], all[1], all[0], all[1], all[0], all[1]};
        expect_lines_by_level(three_times, refused);
        expect_lines_by_level<half_open_link>(three_times, refused);
    }
}

static std::string assertion(const std::string& function, int line)
{
    return function + " C assertion in file ../haldo_link/src/vesk_haldo_link_kmp, function " + function + ", line " +
           std::to_string(line);
}

TEST(lcur_lkbd_dev_feat_stat_get, goes_on_after_the_assertion_of_a_null_pointer)
{
    const std::string asserted = assertion("lcur_lkbd_dev_feat_stat_get", 358);
    expect_lines_by_level({asserted, "lcur_lkbd_dev_feat_stat_get D HDC_IOCTL_KMP_FEAT_STAT_GET ok, stat=0x7060504"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HDC, 0x7903, zero_filled(8), bytes{0, 1, 2, 3, 4, 5, 6, 7});
                              EXPECT_EQ(link.lcur_lkbd_dev_feat_stat_get(nullptr), 0);
                          });
    expect_lines_by_level({asserted, "synch_ioctl E ioctl 0x00007903 failed (rv=-1)",
                           "lcur_lkbd_dev_feat_stat_get E HDC_IOCTL_KMP_FEAT_STAT_GET failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HDC, 0x7903, zero_filled(8), {}, -1);
                              EXPECT_EQ(link.lcur_lkbd_dev_feat_stat_get(nullptr), -500);
                          });
}

// One bit for each pointer that is null.
class null_pointers : public testing::TestWithParam<int>
{
protected:
    static bool is_null(int i) { return (GetParam() >> i & 1) != 0; }
    static lines asserted_and(const lines& rest)
    {
        lines all;
        if (is_null(0))
            all.push_back(assertion("lcur_lkbd_last_stat_get", 408));
        if (is_null(1))
            all.push_back(assertion("lcur_lkbd_last_stat_get", 409));
        all.insert(all.end(), rest.begin(), rest.end());
        return all;
    }
    static int get(visible_link& link, variables& results)
    {
        const auto pointer = [&](int i) { return is_null(i) ? nullptr : &results.words[i]; };
        return link.lcur_lkbd_last_stat_get(pointer(0), pointer(1), pointer(2), pointer(3));
    }
};
INSTANTIATE_TEST_SUITE_P(of_last_status, null_pointers, testing::Range(0, 16));

TEST_P(null_pointers, do_not_keep_the_others_from_being_written)
{
    const bytes reply = {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0};
    expect_lines_by_level(asserted_and({"lcur_lkbd_last_stat_get D HDC_IOCTL_KMP_LAST_STAT_GET ok, stat=0x1, cnt=2, "
                                        "3 HoIP HID devs, HoIP tab activate ack 4"}),
                          [&](host& h, visible_link& link) {
                              auto results = random_record<variables>();
                              variables expected = results;
                              for (int i = 0; i < 4; ++i) {
                                  if (!is_null(i))
                                      expected.words[i] = static_cast<std::uint32_t>(i + 1);
                              }
                              h.expect_ioctl(HDC, 0x790D, zero_filled(16), reply);
                              EXPECT_EQ(get(link, results), 0);
                              EXPECT_EQ(bytes_of(results), bytes_of(expected));
                          });
}

TEST_P(null_pointers, do_not_keep_a_failure_from_being_returned)
{
    expect_lines_by_level(asserted_and({"synch_ioctl E ioctl 0x0000790D failed (rv=-1)",
                                        "lcur_lkbd_last_stat_get E HDC_IOCTL_KMP_LAST_STAT failed (ret=-500)"}),
                          [&](host& h, visible_link& link) {
                              auto results = random_record<variables>();
                              const bytes before = bytes_of(results);
                              h.expect_ioctl(HDC, 0x790D, zero_filled(16), {}, -1);
                              EXPECT_EQ(get(link, results), -500);
                              EXPECT_EQ(bytes_of(results), before);
                          });
}
