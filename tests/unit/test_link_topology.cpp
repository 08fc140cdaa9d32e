// The display topology: what is read and what is sent.
#include "layouts.h"
#include "link.h"
#include "vesk_log.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

static constexpr unsigned int SESS_LINK = 3;
static constexpr unsigned int CACHED_TOPO = 11;

// Of hexadecimal digits, with blanks wherever they help.
static bytes from_hex(std::string_view digits)
{
    std::string text(digits);
    std::erase(text, ' ');
    bytes result;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        result.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return result;
}

// Three displays, of which two have fields at the limits, and an entry that is not used.
static constexpr displays AT_THE_LIMITS = {
    {{-1, I32_MIN, 65535, 1080, 0}, {I32_MAX, -1920, 1, 65535, U32_MAX}, {}, {12, -34, 56, 78, 9}}};

// --- disp_topology_get ---

TEST(disp_topology_get, sends_the_callers_record_as_it_is_and_keeps_the_whole_reply)
{
    host h;
    constructed_link link(h);
    const bytes request = random_bytes(72);
    const bytes reply = random_bytes(72);
    auto topo = record_of<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(request);
    h.expect_ioctl(HCC, 0x7840, request, reply);
    EXPECT_EQ(link->disp_topology_get(&topo), 0);
    EXPECT_EQ(bytes_of(topo), reply);
    EXPECT_EQ(h.log(), lines());
}

TEST(disp_topology_get, logs_all_four_entries_used_or_not)
{
    expect_lines_by_level(
        {
            "disp_topology_get D start",
            "disp_topology_get D disp0: pos_x=-1, pos_y=-2147483648, width=65535, height=1080, rotation=0",
            "disp_topology_get D disp1: pos_x=2147483647, pos_y=-1920, width=1, height=65535, rotation=4294967295",
            "disp_topology_get D disp2: pos_x=0, pos_y=0, width=0, height=0, rotation=0",
            "disp_topology_get D disp3: pos_x=12, pos_y=-34, width=56, height=78, rotation=9",
            "disp_topology_get D end",
        },
        [](host& h, visible_link& link) {
            sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topo{};
            h.expect_ioctl(HCC, 0x7840, zero_filled(72), firmware_layout(AT_THE_LIMITS));
            EXPECT_EQ(link.disp_topology_get(&topo), 0);
        });
}

TEST(disp_topology_get, takes_a_positive_value_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topo{};
    const bytes reply = random_bytes(72);
    h.expect_ioctl(HCC, 0x7840, zero_filled(72), reply, 1);
    EXPECT_EQ(link->disp_topology_get(&topo), 0);
    EXPECT_EQ(bytes_of(topo), reply);
}

TEST(disp_topology_get, asks_no_capability_map)
{
    for (const std::uint8_t offered : {0x00, 0xFF}) {
        host h;
        constructed_link link(h);
        link->hmi_avail_get_var = record_of<sVESK_HALDO_HCC_HMI_AVAIL_STRUCT>(bytes(32, offered));
        sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topo{};
        h.expect_ioctl(HCC, 0x7840, zero_filled(72));
        EXPECT_EQ(link->disp_topology_get(&topo), 0);
    }
}

TEST(disp_topology_get, refuses_a_null_pointer)
{
    expect_lines_by_level(
        {"disp_topology_get D start", "disp_topology_get E invalid arguments", "disp_topology_get D end"},
        [](host&, visible_link& link) { EXPECT_EQ(link.disp_topology_get(nullptr), -501); });
}

TEST(disp_topology_get, shows_no_entry_of_a_request_that_failed)
{
    expect_lines_by_level({"disp_topology_get D start", "synch_ioctl E ioctl 0x00007840 failed (rv=-1)",
                           "disp_topology_get E HCC_IOCTL_IMG_DISP_TOPO_GET ioctl failed (ret=-500)",
                           "disp_topology_get D end"},
                          [](host& h, visible_link& link) {
                              const bytes request = random_bytes(72);
                              auto topo = record_of<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(request);
                              h.expect_ioctl(HCC, 0x7840, request, {}, -1);
                              EXPECT_EQ(link.disp_topology_get(&topo), -500);
                          });
}

TEST(disp_topology_get, on_a_closed_device_leaves_the_record_untouched)
{
    expect_lines_by_level<closed_link>({"disp_topology_get D start", "synch_ioctl E not m_initialized",
                                        "disp_topology_get E HCC_IOCTL_IMG_DISP_TOPO_GET ioctl failed (ret=-503)",
                                        "disp_topology_get D end"},
                                       [](host&, visible_link& link) {
                                           const bytes before = random_bytes(72);
                                           auto topo = record_of<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(before);
                                           EXPECT_EQ(link.disp_topology_get(&topo), -503);
                                           EXPECT_EQ(bytes_of(topo), before);
                                       });
}

// --- async_disp_topology_get ---

TEST(async_disp_topology_get, gives_the_layout_and_the_word_behind_it_and_logs_nothing)
{
    expect_lines_by_level({}, [](host& h, visible_link& link) {
        auto topo = record_of<sVESK_HALDO_LINK_DISP_TOPO_STRUCT>(random_bytes(68));
        unsigned int value = 1;
        h.expect_ioctl(HCC, 0x7842, zero_filled(76),
                       from_hex("deadbeef deadbeef"
                                "80f8ffff fbffffff 80073804 07000000"
                                "11111111 22222222 00000000 01000000"
                                "ffffff7f 00000080 00050004 02000000"
                                "00000000 00000000 01000100 00000000"
                                "f0debc9a"));
        EXPECT_EQ(link.async_disp_topology_get(&topo, &value), 0);
        EXPECT_EQ(bytes_of(topo), from_hex("03000000"
                                           "80f8ffff fbffffff 80073804 03000000"
                                           "00000000 00000000 00000000 00000000"
                                           "ffffff7f 00000080 00050004 02000000"
                                           "00000000 00000000 01000100 00000000"));
        EXPECT_EQ(value, 0x9ABCDEF0u);
    });
}

TEST(async_disp_topology_get, refuses_either_pointer_that_is_null)
{
    const bytes before = random_bytes(68);
    auto topo = record_of<sVESK_HALDO_LINK_DISP_TOPO_STRUCT>(before);
    unsigned int value = 0xA5A5A5A5;
    expect_lines_by_level({"async_disp_topology_get E invalid arguments", "async_disp_topology_get E invalid arguments",
                           "async_disp_topology_get E invalid arguments"},
                          [&](host&, visible_link& link) {
                              EXPECT_EQ(link.async_disp_topology_get(nullptr, &value), -501);
                              EXPECT_EQ(link.async_disp_topology_get(&topo, nullptr), -501);
                              EXPECT_EQ(link.async_disp_topology_get(nullptr, nullptr), -501);
                          });
    EXPECT_EQ(bytes_of(topo), before);
    EXPECT_EQ(value, 0xA5A5A5A5);
}

TEST(async_disp_topology_get, that_fails_leaves_record_and_word_untouched)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007842 failed (rv=-1)",
                           "async_disp_topology_get E HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET ioctl failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              const bytes before = random_bytes(68);
                              auto topo = record_of<sVESK_HALDO_LINK_DISP_TOPO_STRUCT>(before);
                              unsigned int value = 0xA5A5A5A5;
                              h.expect_ioctl(HCC, 0x7842, zero_filled(76), {}, -1);
                              EXPECT_EQ(link.async_disp_topology_get(&topo, &value), -500);
                              EXPECT_EQ(bytes_of(topo), before);
                              EXPECT_EQ(value, 0xA5A5A5A5);
                          });
}

TEST(async_disp_topology_get, on_a_closed_device_leaves_record_and_word_untouched)
{
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized",
         "async_disp_topology_get E HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET ioctl failed (ret=-503)"},
        [](host&, visible_link& link) {
            const bytes before = random_bytes(68);
            auto topo = record_of<sVESK_HALDO_LINK_DISP_TOPO_STRUCT>(before);
            unsigned int value = 0xA5A5A5A5;
            EXPECT_EQ(link.async_disp_topology_get(&topo, &value), -503);
            EXPECT_EQ(bytes_of(topo), before);
            EXPECT_EQ(value, 0xA5A5A5A5);
        });
}

// --- disp_topology_send ---

// The request for the state of the session's link, and its answer: everything but the flags is random.
static void expect_session(host& h, std::uint8_t flags)
{
    h.expect_ioctl(HCC, 0x7802, request_for(SESS_LINK), reply_with({flags}));
}

static int send_layout(visible_link& link, const layout& from, std::int64_t num_disp)
{
    const bytes before = link_layout(num_disp, from.all);
    auto topo = record_of<sVESK_HALDO_LINK_DISP_TOPO_STRUCT>(before);
    const int result = link.disp_topology_send(&topo, static_cast<int>(from.primary_width),
                                               static_cast<int>(from.primary_height), static_cast<int>(from.twinview));
    EXPECT_EQ(bytes_of(topo), before);
    return result;
}

// A layout whose log lines show every field with its sign.
static const layout& SHOWN = layout_named("four_in_a_row_on_both_sides");
static const lines SHOWN_LINES = {
    "disp_topology_send D start",
    "disp_topology_send D disp0: 1000 x 700 @ (-3000, 10) rot=4",
    "disp_topology_send D disp1: 2000 x 900 @ (-2000, 20) rot=5",
    "disp_topology_send D disp2: 1366 x 768 @ (0, 30) rot=6",
    "disp_topology_send D disp3: 3840 x 2160 @ (1366, 40) rot=4294967295",
    "disp_topology_send D twinview -2147483648, primary -1366 x -768",
};
static const char* const NOT_SENT =
    "disp_topology_send D disp topology not sent (failed to get topology or no active session";

static lines shown_and(const lines& more)
{
    lines all = SHOWN_LINES;
    all.insert(all.end(), more.begin(), more.end());
    all.emplace_back("disp_topology_send D end");
    return all;
}

static void expect_firmware_send(host& h, const layout& sent, int result = 0)
{
    bytes record = zero_filled(72, {12});
    put_displays(record, 8, sent.all);
    h.expect_ioctl(HCC, 0x7841, record, random_bytes(72), result);
}

static void expect_driver_send(host& h, const layout& sent, int result = 0)
{
    h.expect_ioctl(HCC, 0x7910, driver_record(sent.head, sent.blocks), random_bytes(240), result);
}

TEST(disp_topology_send, logs_the_layout_and_both_requests)
{
    expect_lines_by_level(shown_and({"disp_topology_send D sent display topology to FW through HCC",
                                     "disp_topology_send D sent display topology to HDC"}),
                          [](host& h, visible_link& link) {
                              offer(link, READABLE, SESS_LINK);
                              expect_session(h, 0x01);
                              h.expect_ioctl(HCC, 0x7841,
                                             from_hex("0c000000 00000000"
                                                      "48f4ffff 0a000000 e803bc02 04000000"
                                                      "30f8ffff 14000000 d0078403 05000000"
                                                      "00000000 1e000000 56050003 06000000"
                                                      "56050000 28000000 000f7008 ffffffff"),
                                             random_bytes(72));
                              expect_driver_send(h, SHOWN);
                              EXPECT_EQ(send_layout(link, SHOWN, 4), 0);
                          });
}

TEST(disp_topology_send, leaves_out_the_line_of_the_primary_display_when_none_is_active)
{
    const layout& sent = layout_named("none_active_though_two_are_used");
    expect_lines_by_level({"disp_topology_send D start", "disp_topology_send D disp0: 0 x 600 @ (-100, -200) rot=1",
                           "disp_topology_send D disp1: 800 x 0 @ (300, 400) rot=2",
                           "disp_topology_send D disp2: 0 x 0 @ (-2147483648, 2147483647) rot=3",
                           "disp_topology_send D disp3: 0 x 65535 @ (5, 6) rot=4294967295",
                           "disp_topology_send D sent display topology to FW through HCC",
                           "disp_topology_send D sent display topology to HDC", "disp_topology_send D end"},
                          [&](host& h, visible_link& link) {
                              offer(link, READABLE, SESS_LINK);
                              expect_session(h, 0x01);
                              expect_firmware_send(h, sent);
                              expect_driver_send(h, sent);
                              EXPECT_EQ(send_layout(link, sent, 0), 0);
                          });
}

TEST(disp_topology_send, uses_all_four_entries_for_any_number_of_displays_up_to_4)
{
    for (const std::int64_t num_disp : {0, 1, 2, 3, 4}) {
        host h;
        constructed_link link(h);
        offer(*link, READABLE, SESS_LINK);
        expect_session(h, 0x01);
        expect_firmware_send(h, SHOWN);
        expect_driver_send(h, SHOWN);
        EXPECT_EQ(send_layout(*link, SHOWN, num_disp), 0) << num_disp;
    }
}

TEST(disp_topology_send, needs_no_driver_channel)
{
    host h;
    half_open_link link(h);
    offer(*link, READABLE, SESS_LINK);
    expect_session(h, 0x01);
    expect_firmware_send(h, SHOWN);
    expect_driver_send(h, SHOWN);
    EXPECT_EQ(send_layout(*link, SHOWN, 4), 0);
}

TEST(disp_topology_send, takes_positive_values_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, SESS_LINK);
    expect_session(h, 0x01);
    expect_firmware_send(h, SHOWN, 1);
    expect_driver_send(h, SHOWN, 2);
    EXPECT_EQ(send_layout(*link, SHOWN, 4), 0);
}

TEST(disp_topology_send, can_be_repeated_and_starts_from_nothing_each_time)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, SESS_LINK);
    for (const layout& each : layouts) {
        expect_session(h, 0xFF);
        expect_firmware_send(h, each);
        expect_driver_send(h, each);
        EXPECT_EQ(send_layout(*link, each, 4), 0) << each.name;
    }
}

TEST(disp_topology_send, refuses_a_null_pointer)
{
    expect_lines_by_level({"disp_topology_send D start", "disp_topology_send E invalid argument: 1920 X -1080",
                           "disp_topology_send D end"},
                          [](host&, visible_link& link) {
                              offer(link, READABLE, SESS_LINK);
                              EXPECT_EQ(link.disp_topology_send(nullptr, 1920, -1080, 1), -501);
                          });
}

TEST(disp_topology_send, refuses_more_than_four_displays)
{
    for (const std::int64_t num_disp : {std::int64_t{5}, std::int64_t{256}, I32_MAX, I32_MAX + 1, U32_MAX}) {
        expect_lines_by_level({"disp_topology_send D start", "disp_topology_send E invalid argument: -1366 X -768",
                               "disp_topology_send D end"},
                              [num_disp](host&, visible_link& link) {
                                  offer(link, READABLE, SESS_LINK);
                                  EXPECT_EQ(send_layout(link, SHOWN, num_disp), -501) << num_disp;
                              });
    }
}

TEST(disp_topology_send, refuses_a_primary_display_without_width_or_height)
{
    struct primary {
        std::int64_t width;
        std::int64_t height;
        const char* line;
    };
    static constexpr primary refused[] = {
        {0, 1080, "disp_topology_send E invalid argument: 0 X 1080"},
        {1920, 0, "disp_topology_send E invalid argument: 1920 X 0"},
        {0, 0, "disp_topology_send E invalid argument: 0 X 0"},
        {I32_MIN, 0, "disp_topology_send E invalid argument: -2147483648 X 0"},
        {0, I32_MAX, "disp_topology_send E invalid argument: 0 X 2147483647"},
    };
    for (const primary& each : refused) {
        expect_lines_by_level({"disp_topology_send D start", each.line, "disp_topology_send D end"},
                              [&](host&, visible_link& link) {
                                  offer(link, READABLE, SESS_LINK);
                                  layout sent = SHOWN;
                                  sent.primary_width = each.width;
                                  sent.primary_height = each.height;
                                  EXPECT_EQ(send_layout(link, sent, 4), -501);
                              });
    }
}

TEST(disp_topology_send, passes_on_every_other_primary_dimension_and_twinview)
{
    for (const std::int64_t width : {I32_MIN, std::int64_t{-1}, std::int64_t{1}, std::int64_t{65536}, I32_MAX}) {
        for (const std::int64_t height : {I32_MIN, std::int64_t{-2}, std::int64_t{1}, I32_MAX}) {
            for (const std::int64_t twinview : {I32_MIN, std::int64_t{0}, std::int64_t{-1}, I32_MAX}) {
                host h;
                constructed_link link(h);
                offer(*link, READABLE, SESS_LINK);
                layout sent = layout_named("two_stacked");
                sent.head[0] = sent.twinview = twinview;
                sent.head[8] = sent.primary_width = width;
                sent.head[9] = sent.primary_height = height;
                expect_session(h, 0x01);
                expect_firmware_send(h, sent);
                expect_driver_send(h, sent);
                EXPECT_EQ(send_layout(*link, sent, 2), 0);
            }
        }
    }
}

TEST(disp_topology_send, sends_exactly_while_bit_0_of_the_flags_is_set)
{
    for (unsigned int flags = 0; flags < 256; ++flags) {
        host h;
        constructed_link link(h);
        offer(*link, READABLE, SESS_LINK);
        expect_session(h, static_cast<std::uint8_t>(flags));
        if (flags % 2 == 1) {
            expect_firmware_send(h, SHOWN);
            expect_driver_send(h, SHOWN);
        }
        EXPECT_EQ(send_layout(*link, SHOWN, 4), flags % 2 == 1 ? 0 : -500) << "flags " << flags;
    }
}

TEST(disp_topology_send, without_a_session_says_so_for_debugging_only)
{
    expect_lines_by_level(shown_and({NOT_SENT}), [](host& h, visible_link& link) {
        offer(link, READABLE, SESS_LINK);
        expect_session(h, 0xFE);
        EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
    });
}

TEST(disp_topology_send, sends_nothing_when_the_session_cannot_be_read)
{
    expect_lines_by_level(shown_and({"synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
                                     "sess_link_get E VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed -500", NOT_SENT}),
                          [](host& h, visible_link& link) {
                              offer(link, READABLE, SESS_LINK);
                              h.expect_ioctl(HCC, 0x7802, request_for(SESS_LINK), {}, -1);
                              EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
                          });
}

TEST(disp_topology_send, asks_nothing_when_the_firmware_offers_no_session_state)
{
    expect_lines_by_level(shown_and({"sess_link_get E not supported", NOT_SENT}), [](host&, visible_link& link) {
        offer_all_but(link, READABLE, SESS_LINK);
        EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
    });
}

TEST(disp_topology_send, on_a_closed_device_has_no_session_either)
{
    expect_lines_by_level<closed_link>(
        shown_and({"synch_ioctl E not m_initialized",
                   "sess_link_get E VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed -503", NOT_SENT}),
        [](host&, visible_link& link) {
            offer(link, READABLE, SESS_LINK);
            EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
        });
}

TEST(disp_topology_send, stops_before_the_driver_when_the_firmware_refuses)
{
    expect_lines_by_level(shown_and({"synch_ioctl E ioctl 0x00007841 failed (rv=-1)",
                                     "disp_topology_send E HCC_IOCTL_IMG_DISP_TOPO_SEND ioctl failed (ret=-500)"}),
                          [](host& h, visible_link& link) {
                              offer(link, READABLE, SESS_LINK);
                              expect_session(h, 0x01);
                              expect_firmware_send(h, SHOWN, -1);
                              EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
                          });
}

TEST(disp_topology_send, fails_when_the_driver_refuses_what_the_firmware_took)
{
    const lines all = shown_and({"disp_topology_send D sent display topology to FW through HCC",
                                 "synch_ioctl E ioctl 0x00007910 failed (rv=-1)",
                                 "disp_topology_send E HDC_IOCTL_KMP_DISP_TOPO_SET ioctl failed (ret=-500)"});
    expect_lines_by_level(all, [](host& h, visible_link& link) {
        offer(link, READABLE, SESS_LINK);
        expect_session(h, 0x01);
        expect_firmware_send(h, SHOWN);
        expect_driver_send(h, SHOWN, -1);
        EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
    });
}

// --- cache_disp_topology_get ---

static const bytes CACHE_REQUEST = zero_filled(272, {16});
static const std::string NO_CACHING =
    "cache_disp_topology_get D FW returned VESK_HALDO_HCC_HOST_TOPOLOGY_RATE_NO_CACHING";
static const std::string NOT_ACTIVE =
    "cache_disp_topology_get D FW returned VESK_HALDO_HCC_HOST_TOPOLOGY_RATE_NOT_ACTIVE";

// The entries: used with an ordinary rate; unused with the no-caching mark; used with that mark; unused and not active.
// clang-format off
static constexpr const char* CACHED_REPLY =
    "45fb0eb7 af18990b"
    "80f8ffff fbffffff 8007 3804 07000000"
    "ffffff7f 00000080 0000 0000 01000000"
    "01000000 02000000 0000 ffff 02000000"
    "00000080 ffffff7f 0000 0000 ffffffff"
    "3c fe fe ff 8a20ac94"
    "e8de6f57 0d6b7edf da7534dd2c dfef93 292fe5ccf348713099d5b9bfa11e 3bad 8fe9a81fd04027ee53491bcf39ac 9f01"
    "1024cc0b f44c6226 c8b553593e 58eb6b 40c7da2d969c3de4de443cfee0c2 f25d 5e9bbb513090efe2943a58fa93b3 28b9"
    "549f61c0 86bb2a2c 184a06dc4b 60de97 e10a3e55dc74aa839b74b7a7c950 c4d8 3cc0ee824b590e7306a344231a96 62fd"
    "576be566 d1812bcc ecd2359967 39a7da afd0be364ee32e4527c69de0af92 5441 b49a3a805864c5e03cbcc14740c1 41ab";
static constexpr const char* CACHED_RECORD = // but for 128 zero bytes behind it
    "04000000 00000000"
    "80f8ffff fbffffff 8007 3804 03000000 3c 00000000000000"
    "ffffff7f 00000080 0000 0000 01000000 00 00000000000000"
    "01000000 02000000 0000 ffff 02000000 fe 00000000000000"
    "00000080 ffffff7f 0000 0000 03000000 00 00000000000000"
    "8a20ac94 0000000000000000"
    "e8de6f57 da7534dd2c 292fe5ccf348713099d5b9bfa11e 8fe9a81fd04027ee53491bcf39ac"
    "1024cc0b c8b553593e 40c7da2d969c3de4de443cfee0c2 5e9bbb513090efe2943a58fa93b3"
    "549f61c0 184a06dc4b e10a3e55dc74aa839b74b7a7c950 3cc0ee824b590e7306a344231a96"
    "576be566 ecd2359967 afd0be364ee32e4527c69de0af92 b49a3a805864c5e03cbcc14740c1";
// clang-format on

TEST(cache_disp_topology_get, fills_the_whole_record)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, CACHED_TOPO);
    auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
    h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, from_hex(CACHED_REPLY));
    EXPECT_EQ(link->cache_disp_topology_get(&topo), -519);
    EXPECT_EQ(bytes_of(topo), zero_filled(392, from_hex(CACHED_RECORD)));
    EXPECT_EQ(h.log(), lines());
}

// Texts as they stand in an identity block.
struct identity {
    std::string_view vid;
    std::string_view pid;
    std::string_view serial;
    std::string_view name;
};

static void put_text(bytes& record, std::size_t offset, std::size_t size, std::string_view text)
{
    bytes field(text.begin(), text.end());
    field.resize(size);
    put_bytes(record, offset, field);
}

// A reply whose layout is known and whose bytes behind the texts would show in a line that went too far.
static bytes shown_reply(const displays& all, const bytes& rates, std::int64_t primary,
                         const std::array<identity, 4>& identities)
{
    bytes reply(272, '#');
    put_displays(reply, 8, all);
    put_bytes(reply, 72, rates);
    put(reply, 76, primary);
    for (std::size_t i = 0; i < 4; ++i) {
        put_text(reply, 80 + 48 * i, 4, identities[i].vid);
        put_text(reply, 80 + 48 * i + 8, 5, identities[i].pid);
        put_text(reply, 80 + 48 * i + 16, 14, identities[i].serial);
        put_text(reply, 80 + 48 * i + 32, 14, identities[i].name);
    }
    return reply;
}

// Of the texts, some fill their field without a terminator and some are empty.
static constexpr std::array<identity, 4> IDENTITIES = {{{"DEL", "A0C1", "SERIAL-1", "MONITOR NO ONE"},
                                                        {"ABCD", "EFGHI", "JKLMNOPQRSTUVW", "XYZabcdefghijk"},
                                                        {"", "", "", ""},
                                                        {"abcd", "1", "", "name of monito"}}};

// The lines of all four entries, for displays AT_THE_LIMITS with rates 60, 255, 0 and 254.
static lines shown_lines(const lines& first, const char* last)
{
    lines all = first;
    for (const char* line :
         {"disp0: 65535 x 1080 @ (-1, -2147483648) rot=0 rate=60",
          "       name='MONITOR NO ONE', serial='SERIAL-1', vid='DEL', pid='A0C1'",
          "disp1: 1 x 65535 @ (2147483647, -1920) rot=3 rate=255",
          "       name='XYZabcdefghijk', serial='JKLMNOPQRSTUVW', vid='ABCD', pid='EFGHI'",
          "disp2: 0 x 0 @ (0, 0) rot=0 rate=0", "       name='', serial='', vid='', pid=''",
          "disp3: 56 x 78 @ (12, -34) rot=3 rate=254", "       name='name of monito', serial='', vid='abcd', pid='1'"})
        all.push_back(std::string("cache_disp_topology_get D ") + line);
    all.emplace_back(last);
    return all;
}

static void expect_shown(const lines& all, std::uint8_t rate_of_the_unused, std::int64_t primary, int result)
{
    expect_lines_by_level(all, [&](host& h, visible_link& link) {
        offer(link, READABLE, CACHED_TOPO);
        const bytes reply = shown_reply(AT_THE_LIMITS, {60, 255, rate_of_the_unused, 254}, primary, IDENTITIES);
        auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
        h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, reply);
        EXPECT_EQ(link.cache_disp_topology_get(&topo), result);
    });
}

TEST(cache_disp_topology_get, logs_all_four_entries_with_their_texts_bounded)
{
    expect_shown(shown_lines({"cache_disp_topology_get D primary=-1"},
                             "cache_disp_topology_get D end, ret=0, disp_topo->num_disp=3"),
                 0, U32_MAX, 0);
}

TEST(cache_disp_topology_get, says_that_a_rate_is_not_cached)
{
    expect_shown(shown_lines({NO_CACHING, "cache_disp_topology_get D primary=2"},
                             "cache_disp_topology_get D end, ret=-506, disp_topo->num_disp=4"),
                 0xFE, 2, -506);
}

TEST(cache_disp_topology_get, says_that_a_display_is_not_active)
{
    expect_shown(shown_lines({NOT_ACTIVE, "cache_disp_topology_get D primary=-2147483648"},
                             "cache_disp_topology_get D end, ret=-519, disp_topo->num_disp=4"),
                 0xFF, I32_MIN, -519);
}

TEST(cache_disp_topology_get, refuses_a_null_pointer)
{
    expect_lines_by_level({"cache_disp_topology_get E invalid argument"}, [](host&, visible_link& link) {
        offer(link, READABLE, CACHED_TOPO);
        EXPECT_EQ(link.cache_disp_topology_get(nullptr), -501);
    });
}

TEST(cache_disp_topology_get, that_is_not_offered_leaves_a_zero_record)
{
    expect_lines_by_level({"cache_disp_topology_get D FW does not support get cached topology"},
                          [](host&, visible_link& link) {
                              offer_all_but(link, READABLE, CACHED_TOPO);
                              auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
                              EXPECT_EQ(link.cache_disp_topology_get(&topo), -511);
                              EXPECT_EQ(bytes_of(topo), zero_filled(392));
                          });
}

TEST(cache_disp_topology_get, that_fails_leaves_a_zero_record)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007843 failed (rv=-1)",
                           "cache_disp_topology_get E HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET ioctl failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              offer(link, READABLE, CACHED_TOPO);
                              auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
                              h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, {}, -1);
                              EXPECT_EQ(link.cache_disp_topology_get(&topo), -500);
                              EXPECT_EQ(bytes_of(topo), zero_filled(392));
                          });
}

TEST(cache_disp_topology_get, on_a_closed_device_leaves_a_zero_record)
{
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized",
         "cache_disp_topology_get E HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET ioctl failed (ret=-503)"},
        [](host&, visible_link& link) {
            offer(link, READABLE, CACHED_TOPO);
            auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
            EXPECT_EQ(link.cache_disp_topology_get(&topo), -503);
            EXPECT_EQ(bytes_of(topo), zero_filled(392));
        });
}

// --- The channel of the reading operations ---

TEST(display_topology, is_read_without_the_driver_channel)
{
    host h;
    half_open_link link(h);
    offer(*link, READABLE, CACHED_TOPO);
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT current{};
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT reported;
    unsigned int value = 0;
    sVESK_HALDO_LINK_CACHE_DISP_TOPO cached;
    h.expect_ioctl(HCC, 0x7840, zero_filled(72));
    h.expect_ioctl(HCC, 0x7842, zero_filled(76), {}, 1);
    h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, zero_filled(272), 1);
    EXPECT_EQ(link->disp_topology_get(&current), 0);
    EXPECT_EQ(link->async_disp_topology_get(&reported, &value), 0);
    EXPECT_EQ(link->cache_disp_topology_get(&cached), 0);
}
