// The display topology: what is read, what is sent, and the arithmetic of the driver's record.
#include "link.h"
#include "stated.h"
#include "vesk_log.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <string_view>

static constexpr std::int64_t I32_MIN = std::numeric_limits<std::int32_t>::min();
static constexpr std::int64_t I32_MAX = std::numeric_limits<std::int32_t>::max();
static constexpr std::int64_t U32_MAX = std::numeric_limits<std::uint32_t>::max();

static constexpr unsigned int SESS_LINK = 3;
static constexpr unsigned int CACHED_TOPO = 11;

// --- Records by offset, little-endian as this machine ---

static void put(bytes& record, std::size_t offset, std::int64_t value, std::size_t width = 4)
{
    record.at(offset + width - 1) = 0; // no further
    std::memcpy(record.data() + offset, &value, width);
}

static std::int64_t unsigned_at(const bytes& record, std::size_t offset, std::size_t width)
{
    std::int64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= std::int64_t{record.at(offset + i)} << (8 * i);
    return value;
}

static void put_bytes(bytes& record, std::size_t offset, const bytes& value)
{
    ASSERT_LE(offset + value.size(), record.size());
    std::ranges::copy(value, record.begin() + static_cast<std::ptrdiff_t>(offset));
}

static bytes slice(const bytes& record, std::size_t offset, std::size_t size)
{
    const auto first = record.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}

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

// What is put in and expected, wide enough for signed and unsigned fields.
struct display {
    std::int64_t pos_x = 0;
    std::int64_t pos_y = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t rotation = 0;
};
using displays = std::array<display, 4>;

// The four entries of 16 bytes that stand in every layout, from an offset on.
static void put_displays(bytes& record, std::size_t offset, const displays& all)
{
    for (std::size_t i = 0; i < all.size(); ++i) {
        put(record, offset + 16 * i, all[i].pos_x);
        put(record, offset + 16 * i + 4, all[i].pos_y);
        put(record, offset + 16 * i + 8, all[i].width, 2);
        put(record, offset + 16 * i + 10, all[i].height, 2);
        put(record, offset + 16 * i + 12, all[i].rotation);
    }
}

// The link's own layout record.
static bytes link_layout(std::int64_t num_disp, const displays& all)
{
    bytes record(68);
    put(record, 0, num_disp);
    put_displays(record, 4, all);
    return record;
}

// The firmware's, with what it does not use being random.
static bytes firmware_layout(const displays& all)
{
    bytes record = random_bytes(72);
    put_displays(record, 8, all);
    return record;
}

// Three displays, of which two have fields at the limits, and an entry that is not used.
static constexpr displays AT_THE_LIMITS = {
    {{-1, I32_MIN, 65535, 1080, 0}, {I32_MAX, -1920, 1, 65535, U32_MAX}, {}, {12, -34, 56, 78, 9}}};

// --- disp_topology_get ---

TEST(disp_topology_get, sends_the_callers_record_as_it_is_and_keeps_the_whole_reply)
{
    host h;
    constructed_link link(h);
    stated();
    const bytes request = random_bytes(72);
    const bytes reply = random_bytes(72);
    auto topo = record_of<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(request);
    h.expect_ioctl(HCC, 0x7840, request, reply);
    EXPECT_EQ(link->disp_topology_get(&topo), 0);
    EXPECT_EQ(bytes_of(topo), reply);
    EXPECT_EQ(stated(), (requests{{0x7840, 72, 1000}}));
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
        [](host&, visible_link& link) {
            EXPECT_EQ(link.disp_topology_get(nullptr), -501);
            EXPECT_EQ(stated(), requests());
        });
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
                              EXPECT_EQ(stated(), (requests{{0x7840, 72, 1000}}));
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

// The firmware's reply: a layout and the word behind it.
static bytes async_reply(const displays& all, std::int64_t value)
{
    bytes reply = firmware_layout(all);
    reply.resize(76);
    put(reply, 72, value);
    return reply;
}

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
        EXPECT_EQ(stated(), (requests{{0x7842, 76, 1000}}));
    });
}

TEST(async_disp_topology_get, keeps_the_index_of_used_entries_and_counts_no_others)
{
    static constexpr std::int64_t sizes[][2] = {{1, 1}, {0, 600}, {800, 0}, {65535, 65535}, {0, 256}, {256, 0}};
    for (unsigned int used = 0; used < 16; ++used) {
        for (const auto& size : sizes) {
            host h;
            constructed_link link(h);
            bytes reply = random_bytes(76);
            bytes expected(68);
            put(expected, 0, std::popcount(used));
            for (unsigned int i = 0; i < 4; ++i) {
                const bool is_used = (used >> i & 1) != 0;
                put(reply, 8 + 16 * i + 8, is_used ? size[0] : 0, 2);
                put(reply, 8 + 16 * i + 10, is_used ? size[1] : 0, 2);
                put(reply, 8 + 16 * i + 12, i);
                if (is_used)
                    put_bytes(expected, 4 + 16 * i, slice(reply, 8 + 16 * i, 16));
            }
            auto topo = record_of<sVESK_HALDO_LINK_DISP_TOPO_STRUCT>(random_bytes(68));
            unsigned int value = 0;
            h.expect_ioctl(HCC, 0x7842, zero_filled(76), reply);
            EXPECT_EQ(link->async_disp_topology_get(&topo, &value), 0);
            EXPECT_EQ(bytes_of(topo), expected) << "entries " << used << ", " << size[0] << " x " << size[1];
            EXPECT_EQ(value, unsigned_at(reply, 72, 4));
        }
    }
}

// What the link makes of a rotation code.
static constexpr std::int64_t rotations[][2] = {{0, 0},   {1, 1},   {2, 2},       {3, 3},         {4, 3},      {5, 3},
                                                {255, 3}, {256, 3}, {0x10001, 3}, {1LL << 31, 3}, {U32_MAX, 3}};

TEST(async_disp_topology_get, makes_every_rotation_code_0_to_3)
{
    for (const auto& [code, normalised] : rotations) {
        for (std::size_t i = 0; i < 4; ++i) {
            host h;
            constructed_link link(h);
            displays all{};
            all[i] = {1, 2, 3, 4, code};
            sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo;
            unsigned int value = 0;
            h.expect_ioctl(HCC, 0x7842, zero_filled(76), async_reply(all, U32_MAX));
            EXPECT_EQ(link->async_disp_topology_get(&topo, &value), 0);
            all[i].rotation = normalised;
            EXPECT_EQ(bytes_of(topo), link_layout(1, all)) << "code " << code;
            EXPECT_EQ(value, 0xFFFFFFFFu);
        }
    }
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
                              EXPECT_EQ(stated(), requests());
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
                              EXPECT_EQ(stated(), (requests{{0x7842, 76, 1000}}));
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

// The driver's record: twelve words, and twelve for each display.
using driver_words = std::array<std::int64_t, 12>;

struct layout {
    const char* name;
    displays all;
    std::int64_t primary_width;
    std::int64_t primary_height;
    std::int64_t twinview;
    const char* firmware; // as hexadecimal digits: 12, 0, four entries
    driver_words head;    // twinview, active displays, min x, max x, min y, max y, total width and height, primary
                          // width and height, x and y scale
    std::array<driver_words, 4> blocks; // enabled, left, top, right, bottom, the same scaled, width, height, rotation
};

// The numbers were worked out from the rules with integers of unlimited size.
// clang-format off
static const layout layouts[] = {
    {"nothing_at_all",
     {{{}, {}, {}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 0, 0, 0, 0, 0, 0, 0, 1920, 1080, 0, 0},
     {{{}, {}, {}, {}}}},
    {"one_display_at_the_origin",
     {{{0, 0, 1920, 1080, 0}, {}, {}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  00000000 00000000 80073804 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 1, 0, 1919, 0, 1079, 1920, 1080, 1920, 1080, 102, 182},
     {{{1, 0, 0, 1919, 1079, 0, 0, 65535, 65535, 1920, 1080, 0},
       {}, {}, {}}}},
    {"one_pixel",
     {{{0, 0, 1, 1, 0}, {}, {}, {}}}, 1, 1, 1,
     "0c000000 00000000  00000000 00000000 01000100 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {1, 1, 0, 0, 0, 0, 1, 1, 1, 1, 196608, 196608},
     {{{1, 0, 0, 0, 0, 0, 0, 65535, 65535, 1, 1, 0},
       {}, {}, {}}}},
    {"only_the_last_entry",
     {{{}, {}, {}, {0, 0, 1280, 1024, 3}}}, 1280, 1024, -1,
     "0c000000 00000000  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00050004 03000000",
     {-1, 1, 0, 1279, 0, 1023, 1280, 1024, 1280, 1024, 153, 192},
     {{{}, {}, {},
       {1, 0, 0, 1279, 1023, 0, 0, 65535, 65535, 1280, 1024, 3}}}},
    {"two_side_by_side",
     {{{0, 0, 1920, 1080, 0}, {1920, 0, 1920, 1080, 1}, {}, {}}}, 1920, 1080, 1,
     "0c000000 00000000  00000000 00000000 80073804 00000000  80070000 00000000 80073804 01000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {1, 2, 0, 3839, 0, 1079, 3840, 1080, 1920, 1080, 51, 182},
     {{{1, 0, 0, 1919, 1079, 0, 0, 32767, 65535, 1920, 1080, 0},
       {1, 1920, 0, 3839, 1079, 32768, 0, 65535, 65535, 1920, 1080, 1},
       {}, {}}}},
    {"two_stacked",
     {{{0, 0, 2560, 1440, 2}, {0, 1440, 1280, 1024, 0}, {}, {}}}, 2560, 1440, 1,
     "0c000000 00000000  00000000 00000000 000aa005 02000000  00000000 a0050000 00050004 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {1, 2, 0, 2559, 0, 2463, 2560, 2464, 2560, 1440, 76, 79},
     {{{1, 0, 0, 2559, 1439, 0, 0, 65535, 38299, 2560, 1440, 2},
       {1, 0, 1440, 1279, 2463, 0, 38300, 32767, 65535, 1280, 1024, 0},
       {}, {}}}},
    {"two_that_mirror",
     {{{0, 0, 1024, 768, 0}, {0, 0, 1024, 768, 0}, {}, {}}}, 1024, 768, 0,
     "0c000000 00000000  00000000 00000000 00040003 00000000  00000000 00000000 00040003 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 2, 0, 1023, 0, 767, 1024, 768, 1024, 768, 192, 256},
     {{{1, 0, 0, 1023, 767, 0, 0, 65535, 65535, 1024, 768, 0},
       {1, 0, 0, 1023, 767, 0, 0, 65535, 65535, 1024, 768, 0},
       {}, {}}}},
    {"three_around_the_origin",
     {{{-1280, -1024, 1280, 1024, 1}, {0, 0, 1920, 1080, 0},
       {1920, -200, 1080, 1920, 3}, {}}}, 1920, 1080, 2,
     "0c000000 00000000  00fbffff 00fcffff 00050004 01000000  00000000 00000000 80073804 00000000"
     "  80070000 38ffffff 38048007 03000000  00000000 00000000 00000000 00000000",
     {2, 3, -1280, 2999, -1024, 1719, 4280, 2744, 1920, 1080, 45, 71},
     {{{1, -1280, -1024, -1, -1, -19599, -24456, -1, -1, 1280, 1024, 1},
       {1, 0, 0, 1919, 1079, 0, 0, 29398, 25793, 1920, 1080, 0},
       {1, 1920, -200, 2999, 1719, 29399, -4776, 45935, 41078, 1080, 1920, 3},
       {}}}},
    {"four_in_a_square",
     {{{0, 0, 1920, 1200, 0}, {1920, 0, 1600, 1200, 1},
       {0, 1200, 1920, 1080, 2}, {1920, 1200, 1600, 900, 255}}}, 1920, 1200, I32_MAX,
     "0c000000 00000000  00000000 00000000 8007b004 00000000  80070000 00000000 4006b004 01000000"
     "  00000000 b0040000 80073804 02000000  80070000 b0040000 40068403 ff000000",
     {I32_MAX, 4, 0, 3519, 0, 2279, 3520, 2280, 1920, 1200, 55, 86},
     {{{1, 0, 0, 1919, 1199, 0, 0, 35745, 34491, 1920, 1200, 0},
       {1, 1920, 0, 3519, 1199, 35746, 0, 65535, 34491, 1600, 1200, 1},
       {1, 0, 1200, 1919, 2279, 0, 34492, 35745, 65535, 1920, 1080, 2},
       {1, 1920, 1200, 3519, 2099, 35746, 34492, 65535, 60361, 1600, 900, 255}}}},
    {"four_in_a_row_on_both_sides",
     {{{-3000, 10, 1000, 700, 4}, {-2000, 20, 2000, 900, 5},
       {0, 30, 1366, 768, 6}, {1366, 40, 3840, 2160, U32_MAX}}}, -1366, -768, I32_MIN,
     "0c000000 00000000  48f4ffff 0a000000 e803bc02 04000000  30f8ffff 14000000 d0078403 05000000"
     "  00000000 1e000000 56050003 06000000  56050000 28000000 000f7008 ffffffff",
     {I32_MIN, 4, -3000, 5205, 0, 2199, 8206, 2200, -1366, -768, 23, 89},
     {{{1, -3000, 10, -2001, 709, -23959, 297, -15973, 21149, 1000, 700, 4},
       {1, -2000, 20, -1, 919, -15972, 595, -1, 27404, 2000, 900, 5},
       {1, 0, 30, 1365, 797, 0, 893, 10908, 23770, 1366, 768, 6},
       {1, 1366, 40, 5205, 2199, 10909, 1191, 41575, 65535, 3840, 2160, U32_MAX}}}},
    {"one_left_of_the_origin",
     {{{-1920, 0, 1920, 1080, 0}, {}, {}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  80f8ffff 00000000 80073804 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 1, -1920, 0, 0, 1079, 1921, 1080, 1920, 1080, 102, 182},
     {{{1, -1920, 0, -1, 1079, -65501, 0, -1, 65535, 1920, 1080, 0},
       {}, {}, {}}}},
    {"two_above_and_left_without_a_positive_edge",
     {{{-4000, -3000, 1000, 800, 0}, {-2500, -900, 1024, 768, 0}, {}, {}}}, 1024, 768, 1,
     "0c000000 00000000  60f0ffff 48f4ffff e8032003 00000000  3cf6ffff 7cfcffff 00040003 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {1, 2, -4000, 0, -3000, 0, 4001, 3001, 1024, 768, 49, 65},
     {{{1, -4000, -3000, -3001, -2201, -65519, -65514, -49140, -48044, 1000, 800, 0},
       {1, -2500, -900, -1477, -133, -40949, -19654, -24177, -2883, 1024, 768, 0},
       {}, {}}}},
    {"one_far_from_the_origin",
     {{{}, {5000, 3000, 1920, 1080, 0}, {}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  00000000 00000000 00000000 00000000  88130000 b80b0000 80073804 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 1, 0, 6919, 0, 4079, 6920, 4080, 1920, 1080, 28, 48},
     {{{},
       {1, 5000, 3000, 6919, 4079, 47352, 48188, 65535, 65535, 1920, 1080, 0},
       {}, {}}}},
    {"a_hole_with_a_position",
     {{{0, 0, 800, 600, 0}, {-7777, 8888, 0, 0, 9},
       {800, 0, 800, 600, 0}, {9999, -9999, 0, 0, 1}}}, 800, 600, 1,
     "0c000000 00000000  00000000 00000000 20035802 00000000  9fe1ffff b8220000 00000000 09000000"
     "  20030000 00000000 20035802 00000000  0f270000 f1d8ffff 00000000 01000000",
     {1, 2, 0, 1599, 0, 599, 1600, 600, 800, 600, 122, 327},
     {{{1, 0, 0, 799, 599, 0, 0, 32767, 65535, 800, 600, 0},
       {},
       {1, 800, 0, 1599, 599, 32768, 0, 65535, 65535, 800, 600, 0},
       {}}}},
    {"no_width_or_no_height",
     {{{-5000, -5000, 0, 600, 1}, {7000, 7000, 800, 0, 2},
       {100, 50, 640, 480, 3}, {I32_MIN, I32_MAX, 0, 65535, 0}}}, 640, 480, 1,
     "0c000000 00000000  78ecffff 78ecffff 00005802 01000000  581b0000 581b0000 20030000 02000000"
     "  64000000 32000000 8002e001 03000000  00000080 ffffff7f 0000ffff 00000000",
     {1, 1, 0, 739, 0, 529, 740, 530, 640, 480, 265, 370},
     {{{}, {},
       {1, 100, 50, 739, 529, 8856, 6182, 65535, 65535, 640, 480, 3},
       {}}}},
    {"none_active_though_two_are_used",
     {{{-100, -200, 0, 600, 1}, {300, 400, 800, 0, 2},
       {I32_MIN, I32_MAX, 0, 0, 3}, {5, 6, 0, 65535, U32_MAX}}}, I32_MIN, I32_MAX, 7,
     "0c000000 00000000  9cffffff 38ffffff 00005802 01000000  2c010000 90010000 20030000 02000000"
     "  00000080 ffffff7f 00000000 03000000  05000000 06000000 0000ffff ffffffff",
     {7, 0, 0, 0, 0, 0, 0, 0, I32_MIN, I32_MAX, 0, 0},
     {{{}, {}, {}, {}}}},
    {"the_largest_displays",
     {{{0, 0, 65535, 65535, 0}, {65535, 0, 65535, 65535, 0},
       {0, 65535, 65535, 65535, 0}, {65535, 65535, 65535, 65535, 0}}}, 65535, 65535, 0,
     "0c000000 00000000  00000000 00000000 ffffffff 00000000  ffff0000 00000000 ffffffff 00000000"
     "  00000000 ffff0000 ffffffff 00000000  ffff0000 ffff0000 ffffffff 00000000",
     {0, 4, 0, 131069, 0, 131069, 131070, 131070, 65535, 65535, 1, 1},
     {{{1, 0, 0, 65534, 65534, 0, 0, -1, -1, 65535, 65535, 0},
       {1, 65535, 0, 131069, 65534, 0, 0, -2, -1, 65535, 65535, 0},
       {1, 0, 65535, 65534, 131069, 0, 0, -1, -2, 65535, 65535, 0},
       {1, 65535, 65535, 131069, 131069, 0, 0, -2, -2, 65535, 65535, 0}}}},
    {"a_scale_that_is_truncated_to_0",
     {{{200000, 300000, 10, 10, 0}, {0, 0, 10, 10, 0}, {}, {}}}, 10, 10, 0,
     "0c000000 00000000  400d0300 e0930400 0a000a00 00000000  00000000 00000000 0a000a00 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 2, 0, 200009, 0, 300009, 200010, 300010, 10, 10, 0, 0},
     {{{1, 200000, 300000, 200009, 300009, 1111, -6046, 1113, -6045, 10, 10, 0},
       {1, 0, 0, 9, 9, 0, 0, 2, 1, 10, 10, 0},
       {}, {}}}},
    {"a_left_edge_whose_65536_fold_wraps",
     {{{32768, 32768, 100, 100, 0}, {32767, 65536, 1, 2, 0},
       {-32769, -65537, 3, 4, 0}, {}}}, 100, 100, 0,
     "0c000000 00000000  00800000 00800000 64006400 00000000  ff7f0000 00000100 01000200 00000000"
     "  ff7fffff fffffeff 03000400 00000000  00000000 00000000 00000000 00000000",
     {0, 3, -32769, 32867, -65537, 65537, 65637, 131075, 100, 100, 2, 1},
     {{{1, 32768, 32768, 32867, 32867, -32717, -16383, -32618, -16334, 100, 100, 0},
       {1, 32767, 65536, 32767, 65537, 32716, 0, -32718, -1, 1, 2, 0},
       {1, -32769, -65537, -32767, -65534, 32716, 0, -32716, 0, 3, 4, 0},
       {}}}},
    {"edges_at_the_smallest_position",
     {{{I32_MIN, I32_MIN, 1920, 1080, 0}, {}, {}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  00000080 00000080 80073804 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 1, I32_MIN, 0, I32_MIN, 0, -2147483647, -2147483647, 1920, 1080, 0, 0},
     {{{1, I32_MIN, I32_MIN, -2147481729, -2147482569, 0, 0, -1, -1, 1920, 1080, 0},
       {}, {}, {}}}},
    {"right_edges_at_the_largest_position",
     {{{I32_MAX, I32_MAX, 1, 1, 0}, {0, 0, 640, 480, 0}, {32768, 16384, 2, 2, 0}, {}}}, 1, 1, 0,
     "0c000000 00000000  ffffff7f ffffff7f 01000100 00000000  00000000 00000000 8002e001 00000000"
     "  00800000 00400000 02000200 00000000  00000000 00000000 00000000 00000000",
     {0, 3, 0, I32_MAX, 0, I32_MAX, I32_MIN, I32_MIN, 1, 1, 0, 0},
     {{{1, I32_MAX, I32_MAX, I32_MAX, I32_MAX, 0, 0, -1, -1, 1, 1, 0},
       {1, 0, 0, 639, 479, 0, 0, -1, -1, 640, 480, 0},
       {1, 32768, 16384, 32769, 16385, 1, 0, -1, -1, 2, 2, 0},
       {}}}},
    {"right_edges_that_wrap",
     {{{I32_MAX, I32_MAX, 2, 65535, 0}, {}, {}, {}}}, 2, 2, 0,
     "0c000000 00000000  ffffff7f ffffff7f 0200ffff 00000000  00000000 00000000 00000000 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 1, 0, 0, 0, 0, 1, 1, 2, 2, 196608, 196608},
     {{{1, I32_MAX, I32_MAX, I32_MIN, -2147418115, -65536, -65536, 65535, -131073, 2, 65535, 0},
       {}, {}, {}}}},
    {"a_total_that_wraps_to_0",
     {{{I32_MIN, I32_MAX, 1, 1, 0}, {I32_MAX, I32_MIN, 1, 1, 0},
       {12345, 54321, 640, 480, 0}, {}}}, 640, 480, 0,
     "0c000000 00000000  00000080 ffffff7f 01000100 00000000  ffffff7f 00000080 01000100 00000000"
     "  39300000 31d40000 8002e001 00000000  00000000 00000000 00000000 00000000",
     {0, 3, I32_MIN, I32_MAX, I32_MIN, I32_MAX, 0, 0, 640, 480, 0, 0},
     {{{1, I32_MIN, I32_MAX, I32_MIN, I32_MAX, 0, 0, -1, -1, 1, 1, 0},
       {1, I32_MAX, I32_MIN, I32_MAX, I32_MIN, 0, 0, -1, -1, 1, 1, 0},
       {1, 12345, 54321, 12984, 54800, 0, 0, -1, -1, 640, 480, 0},
       {}}}},
    {"a_total_that_wraps_to_minus_1",
     {{{I32_MIN, I32_MIN, 1, 1, 0}, {2147483646, 2147483646, 1, 1, 0},
       {32768, 32767, 32768, 1, 0}, {-32768, 98304, 1, 2, 0}}}, 1, 1, 0,
     "0c000000 00000000  00000080 00000080 01000100 00000000  feffff7f feffff7f 01000100 00000000"
     "  00800000 ff7f0000 00800100 00000000  0080ffff 00800100 01000200 00000000",
     {0, 4, I32_MIN, 2147483646, I32_MIN, 2147483646, -1, -1, 1, 1, -196608, -196608},
     {{{1, I32_MIN, I32_MIN, I32_MIN, I32_MIN, 0, 0, -65537, -65537, 1, 1, 0},
       {1, 2147483646, 2147483646, 2147483646, 2147483646, 131072, 131072, 65535, 65535, 1, 1, 0},
       {1, 32768, 32767, 65535, 32767, I32_MIN, -2147418112, -1, I32_MAX, 32768, 1, 0},
       {1, -32768, 98304, -32768, 98305, I32_MIN, I32_MIN, 2147418111, 2147352575, 1, 2, 0}}}},
    {"a_total_of_minus_5",
     {{{I32_MIN, I32_MIN, 7, 3, 0}, {2147483642, 2147483642, 1, 1, 0},
       {1, 2, 3, 5, 0}, {-7, -11, 13, 17, 0}}}, 1, 1, 0,
     "0c000000 00000000  00000080 00000080 07000300 00000000  faffff7f faffff7f 01000100 00000000"
     "  01000000 02000000 03000500 00000000  f9ffffff f5ffffff 0d001100 00000000",
     {0, 4, I32_MIN, 2147483642, I32_MIN, 2147483642, -5, -5, 1, 1, -39321, -39321},
     {{{1, I32_MIN, I32_MIN, -2147483642, -2147483646, 0, 0, -91751, -39322, 7, 3, 0},
       {1, 2147483642, 2147483642, 2147483642, 2147483642, 78643, 78643, 65535, 65535, 1, 1, 0},
       {1, 1, 2, 3, 6, -13107, -26214, -52429, -91751, 3, 5, 0},
       {1, -7, -11, 5, 5, 91750, 144179, -78644, -78644, 13, 17, 0}}}},
    {"only_the_height_wraps_to_minus_1",
     {{{0, I32_MIN, 1920, 1080, 0}, {1920, 2147483646, 1920, 1, 0},
       {0, 32768, 1920, 32768, 0}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  00000000 00000080 80073804 00000000  80070000 feffff7f 80070100 00000000"
     "  00000000 00800000 80070080 00000000  00000000 00000000 00000000 00000000",
     {0, 3, 0, 3839, I32_MIN, 2147483646, 3840, -1, 1920, 1080, 51, -196608},
     {{{1, 0, I32_MIN, 1919, -2147482569, 0, 0, 32767, -70778881, 1920, 1080, 0},
       {1, 1920, 2147483646, 3839, 2147483646, 32768, 131072, 65535, 65535, 1920, 1, 0},
       {1, 0, 32768, 1919, 65535, 0, I32_MIN, 32767, -1, 1920, 32768, 0},
       {}}}},
    {"only_the_width_wraps_to_0",
     {{{I32_MIN, 0, 1920, 1080, 0}, {I32_MAX, 0, 1, 1080, 0}, {}, {}}}, 1920, 1080, 0,
     "0c000000 00000000  00000080 00000000 80073804 00000000  ffffff7f 00000000 01003804 00000000"
     "  00000000 00000000 00000000 00000000  00000000 00000000 00000000 00000000",
     {0, 2, I32_MIN, I32_MAX, 0, 1079, 0, 1080, 1920, 1080, 0, 182},
     {{{1, I32_MIN, 0, -2147481729, 1079, 0, 0, -1, 65535, 1920, 1080, 0},
       {1, I32_MAX, 0, I32_MAX, 1079, 0, 0, -1, 65535, 1, 1080, 0},
       {}, {}}}},
};
// clang-format on

static bytes driver_record(const driver_words& head, const std::array<driver_words, 4>& blocks)
{
    bytes record(240);
    for (std::size_t i = 0; i < head.size(); ++i) {
        put(record, 4 * i, head[i]);
        for (std::size_t block = 0; block < blocks.size(); ++block)
            put(record, 48 + 48 * block + 4 * i, blocks[block][i]);
    }
    return record;
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

class layout_test : public testing::TestWithParam<layout>
{
};
INSTANTIATE_TEST_SUITE_P(of, layout_test, testing::ValuesIn(layouts),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(layout_test, goes_to_the_firmware_as_it_is_and_to_the_driver_with_its_bounds)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, SESS_LINK);
    stated();
    expect_session(h, 0x01);
    h.expect_ioctl(HCC, 0x7841, from_hex(GetParam().firmware), random_bytes(72));
    h.expect_ioctl(HCC, 0x7910, driver_record(GetParam().head, GetParam().blocks), random_bytes(240));
    EXPECT_EQ(send_layout(*link, GetParam(), 4), 0);
    EXPECT_EQ(stated(), (requests{{0x7802, 252, 1000}, {0x7841, 72, 1000}, {0x7910, 240, 1000}}));
    EXPECT_EQ(h.log(), lines());
}

static const layout& layout_named(std::string_view name)
{
    return *std::ranges::find_if(layouts, [name](const layout& each) { return each.name == name; });
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
    h.expect_ioctl(HCC, 0x7841, from_hex(sent.firmware), random_bytes(72), result);
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
                              expect_firmware_send(h, SHOWN);
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
                              EXPECT_EQ(stated(), requests());
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
                                  EXPECT_EQ(stated(), requests());
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
                                  EXPECT_EQ(stated(), requests());
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
        EXPECT_EQ(stated(), (requests{{0x7802, 252, 1000}}));
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
                              EXPECT_EQ(stated(), (requests{{0x7802, 252, 1000}}));
                          });
}

TEST(disp_topology_send, asks_nothing_when_the_firmware_offers_no_session_state)
{
    expect_lines_by_level(shown_and({"sess_link_get E not supported", NOT_SENT}), [](host&, visible_link& link) {
        offer_all_but(link, READABLE, SESS_LINK);
        EXPECT_EQ(send_layout(link, SHOWN, 4), -500);
        EXPECT_EQ(stated(), requests());
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
            EXPECT_EQ(stated(), (requests{{0x7802, 252, 1000}}));
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
                              EXPECT_EQ(stated(), (requests{{0x7802, 252, 1000}, {0x7841, 72, 1000}}));
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
        EXPECT_EQ(stated(), (requests{{0x7802, 252, 1000}, {0x7841, 72, 1000}, {0x7910, 240, 1000}}));
    });
}

// --- The arithmetic, against a slow reference ---

// What remains of a value in 32 bits of two's complement. Every step of the reference passes through it.
static std::int64_t kept(std::int64_t value)
{
    const std::int64_t low = value & U32_MAX;
    return low > I32_MAX ? low - (U32_MAX + 1) : low;
}

static std::int64_t quotient(std::int64_t dividend, std::int64_t divisor)
{
    if (divisor == 0)
        return 0;
    const std::int64_t magnitude = std::abs(dividend) / std::abs(divisor);
    return kept((dividend < 0) != (divisor < 0) ? -magnitude : magnitude);
}

static std::int64_t sum_of_sizes(std::int64_t min, std::int64_t max)
{
    const std::int64_t below = kept(std::abs(min));
    const std::int64_t above = kept(std::abs(max));
    return kept(kept(below + above) + 1);
}

static bytes reference_driver_record(const layout& from)
{
    driver_words head{};
    std::array<driver_words, 4> blocks{};
    std::int64_t count = 0;
    std::int64_t min_x = 0, max_x = 0, min_y = 0, max_y = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const display& each = from.all[i];
        if (each.width == 0 || each.height == 0)
            continue;
        const std::int64_t right = kept(kept(each.pos_x + each.width) - 1);
        const std::int64_t bottom = kept(kept(each.pos_y + each.height) - 1);
        blocks[i] = {1, each.pos_x, each.pos_y, right, bottom, 0, 0, 0, 0, each.width, each.height, each.rotation};
        min_x = std::min(min_x, each.pos_x);
        min_y = std::min(min_y, each.pos_y);
        max_x = std::max(max_x, right);
        max_y = std::max(max_y, bottom);
        ++count;
    }
    head = {from.twinview, count, min_x, max_x, min_y, max_y, 0, 0, from.primary_width, from.primary_height, 0, 0};
    if (count != 0) {
        const std::int64_t width = head[6] = sum_of_sizes(min_x, max_x);
        const std::int64_t height = head[7] = sum_of_sizes(min_y, max_y);
        head[10] = quotient(0x30000, width);
        head[11] = quotient(0x30000, height);
        for (driver_words& block : blocks) {
            if (block[0] == 0)
                continue;
            block[5] = quotient(kept(block[1] * 65536), width);
            block[6] = quotient(kept(block[2] * 65536), height);
            block[7] = kept(quotient(kept(kept(block[3] + 1) * 65536), width) - 1);
            block[8] = kept(quotient(kept(kept(block[4] + 1) * 65536), height) - 1);
        }
    }
    return driver_record(head, blocks);
}

TEST(layout_arithmetic_reference, agrees_with_every_layout_of_the_table)
{
    for (const layout& each : layouts)
        EXPECT_EQ(reference_driver_record(each), driver_record(each.head, each.blocks)) << each.name;
}

// Layouts of ordinary, extreme and degenerate values, mixed.
class layout_source
{
public:
    explicit layout_source(std::uint32_t seed) : generator(seed) {}

    layout next()
    {
        layout made{};
        for (display& each : made.all)
            each = {position(), position(), size(), size(), static_cast<std::int64_t>(generator())};
        if (below(8) == 0) { // totals about 0
            made.all[0].pos_x = made.all[1].pos_y = I32_MIN + below(3);
            made.all[1].pos_x = made.all[2].pos_y = I32_MAX - below(12);
            made.all[1].width = made.all[2].height = 1;
        }
        made.primary_width = 1 + below(I32_MAX);
        made.primary_height = -1 - below(I32_MAX);
        made.twinview = kept(static_cast<std::int64_t>(generator()));
        return made;
    }

private:
    std::int64_t below(std::int64_t bound) { return static_cast<std::int64_t>(generator()) % bound; }

    std::int64_t position()
    {
        switch (below(8)) {
        case 0:
            return 0;
        case 1:
            return I32_MIN + below(4);
        case 2:
            return I32_MAX - below(70000);
        case 3:
            return kept((below(5) - 2) * 32768 + below(3) - 1); // about what wraps in the product
        case 4:
            return kept(static_cast<std::int64_t>(generator()));
        default:
            return below(16384) - 8192;
        }
    }

    std::int64_t size()
    {
        switch (below(8)) {
        case 0:
            return 0;
        case 1:
            return 1 + below(2);
        case 2:
            return 65535 - below(2);
        case 3:
            return below(65536);
        default:
            return 1 + below(4096);
        }
    }

    std::mt19937 generator;
};

TEST(disp_topology_send, follows_the_reference_for_100000_random_layouts)
{
    const auto seed = static_cast<std::uint32_t>(unsigned_at(random_bytes(4), 0, 4));
    SCOPED_TRACE("seed of the layouts " + std::to_string(seed));
    layout_source source(seed);
    host h(VESK_LOG_OFF);
    constructed_link link(h);
    offer(*link, READABLE, SESS_LINK);
    bytes firmware, driver;
    h.serve_ioctl([&](int fd, std::uint32_t code, void* record) {
        auto* first = static_cast<std::uint8_t*>(record);
        if (fd == HCC && code == 0x7802)
            first[4] = 1;
        else if (fd == HCC && code == 0x7841)
            firmware.assign(first, first + 72);
        else if (fd == HCC && code == 0x7910)
            driver.assign(first, first + 240);
        else
            return -ENOTTY;
        return 0;
    });
    int zero_totals = 0;
    int negative_totals = 0;
    for (int i = 0; i < 100'000; ++i) {
        const layout made = source.next();
        const bytes expected = reference_driver_record(made);
        bytes expected_firmware = zero_filled(72, {12});
        put_displays(expected_firmware, 8, made.all);
        firmware.clear();
        driver.clear();
        ASSERT_EQ(send_layout(*link, made, i % 5), 0) << "layout " << i;
        ASSERT_EQ(firmware, expected_firmware) << "layout " << i;
        ASSERT_EQ(driver, expected) << "layout " << i;
        const std::int64_t total_width = kept(unsigned_at(expected, 24, 4));
        zero_totals += total_width == 0 && expected[4] != 0;
        negative_totals += total_width < 0;
        if (i % 1000 == 0)
            stated();
    }
    stated();
    EXPECT_GT(zero_totals, 100); // the mix reaches what it is for
    EXPECT_GT(negative_totals, 1000);
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
    stated();
    auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
    h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, from_hex(CACHED_REPLY));
    EXPECT_EQ(link->cache_disp_topology_get(&topo), -519);
    EXPECT_EQ(bytes_of(topo), zero_filled(392, from_hex(CACHED_RECORD)));
    EXPECT_EQ(stated(), (requests{{0x7843, 272, 2000}}));
    EXPECT_EQ(h.log(), lines());
}

// The rule by which the reply becomes the caller's record, byte by byte.
struct cached_outcome {
    int result;
    bytes record;
};
static cached_outcome reference_cached(const bytes& reply)
{
    cached_outcome outcome{0, bytes(392)};
    std::int64_t count = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t from = 8 + 16 * i;
        const std::size_t to = 8 + 24 * i;
        std::uint8_t rate = reply[72 + i];
        const bool is_used =
            reply[from + 8] != 0 || reply[from + 9] != 0 || reply[from + 10] != 0 || reply[from + 11] != 0;
        if (is_used) {
            ++count;
        } else if (rate == 0xFE || rate == 0xFF) {
            outcome.result = rate == 0xFE ? -506 : -519;
            rate = 0;
            ++count;
        }
        put_bytes(outcome.record, to, slice(reply, from, 12));
        put(outcome.record, to + 12, std::min<std::int64_t>(unsigned_at(reply, from + 12, 4), 3));
        outcome.record[to + 16] = rate;

        const std::size_t identity = 80 + 48 * i;
        const std::size_t packed = 116 + 37 * i;
        put_bytes(outcome.record, packed, slice(reply, identity, 4));
        put_bytes(outcome.record, packed + 4, slice(reply, identity + 8, 5));
        put_bytes(outcome.record, packed + 9, slice(reply, identity + 16, 14));
        put_bytes(outcome.record, packed + 23, slice(reply, identity + 32, 14));
    }
    put(outcome.record, 0, count);
    put_bytes(outcome.record, 104, slice(reply, 76, 4));
    return outcome;
}

TEST(cache_disp_topology_get, follows_the_rule_for_random_replies_whatever_their_texts)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, CACHED_TOPO);
    m_log_level = VESK_LOG_DEBUG;
    for (int i = 0; i < 500; ++i) {
        const bytes reply = random_bytes(272);
        const auto [result, record] = reference_cached(reply);
        auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
        h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, reply);
        EXPECT_EQ(link->cache_disp_topology_get(&topo), result);
        EXPECT_EQ(bytes_of(topo), record);
        h.raw_log(); // the texts are no lines
    }
    m_log_level = VESK_LOG_OFF;
}

TEST(cache_disp_topology_get, reports_the_last_rate_mark_of_an_unused_entry)
{
    static constexpr std::int64_t used_sizes[][2] = {{1920, 1080}, {0, 600}, {800, 0}, {0x100, 0}, {0, 0x100}};
    host h;
    constructed_link link(h);
    offer(*link, READABLE, CACHED_TOPO);
    for (unsigned int combination = 0; combination < 6 * 6 * 6 * 6; ++combination) {
        bytes reply = random_bytes(272);
        std::fill(reply.begin() + 80, reply.end(), std::uint8_t{'x'}); // the identities are shown
        put(reply, 76, 7);
        unsigned int rest = combination;
        for (std::size_t i = 0; i < 4; ++i, rest /= 6) {
            const bool is_used = rest % 2 == 1;
            const auto& size = used_sizes[(combination + i) % std::size(used_sizes)];
            put(reply, 8 + 16 * i + 8, is_used ? size[0] : 0, 2);
            put(reply, 8 + 16 * i + 10, is_used ? size[1] : 0, 2);
            const std::uint8_t rate = rest / 2 % 3 == 0 ? reply[72 + i] % 0xFE : rest / 2 % 3 == 1 ? 0xFE : 0xFF;
            reply[72 + i] = rate;
        }
        const auto [result, record] = reference_cached(reply);
        auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
        h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, reply);
        m_log_level = VESK_LOG_DEBUG;
        EXPECT_EQ(link->cache_disp_topology_get(&topo), result) << "combination " << combination;
        m_log_level = VESK_LOG_OFF;
        EXPECT_EQ(bytes_of(topo), record) << "combination " << combination;

        const lines written = h.log();
        ASSERT_EQ(written.size(), result == 0 ? 10u : 11u);
        EXPECT_EQ(written[0], result == -506   ? NO_CACHING
                              : result == -519 ? NOT_ACTIVE
                                               : "cache_disp_topology_get D primary=7");
        EXPECT_EQ(written.back(), "cache_disp_topology_get D end, ret=" + std::to_string(result) +
                                      ", disp_topo->num_disp=" + std::to_string(record[0]));
    }
}

TEST(cache_disp_topology_get, passes_every_ordinary_rate_through)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, CACHED_TOPO);
    for (unsigned int rate = 0; rate < 0xFE; ++rate) {
        bytes reply = zero_filled(272);
        std::fill_n(reply.begin() + 72, 4, static_cast<std::uint8_t>(rate));
        bytes expected(392);
        for (const std::size_t entry : {8, 32, 56, 80})
            expected[entry + 16] = static_cast<std::uint8_t>(rate);
        auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
        h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, reply);
        EXPECT_EQ(link->cache_disp_topology_get(&topo), 0);
        EXPECT_EQ(bytes_of(topo), expected) << "rate " << rate;
    }
}

TEST(cache_disp_topology_get, makes_every_rotation_code_0_to_3)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, CACHED_TOPO);
    for (const auto& [code, normalised] : rotations) {
        for (const std::int64_t width : {0, 1}) { // of an unused entry, too
            for (std::size_t i = 0; i < 4; ++i) {
                displays all{};
                all[i] = {0, 0, width, 0, code};
                bytes reply = zero_filled(272);
                put_displays(reply, 8, all);
                bytes expected(392);
                put(expected, 0, width);
                put(expected, 8 + 24 * i + 8, width, 2);
                put(expected, 8 + 24 * i + 12, normalised);
                auto topo = random_record<sVESK_HALDO_LINK_CACHE_DISP_TOPO>();
                h.expect_ioctl(HCC, 0x7843, CACHE_REQUEST, reply);
                EXPECT_EQ(link->cache_disp_topology_get(&topo), 0);
                EXPECT_EQ(bytes_of(topo), expected) << "code " << code;
            }
        }
    }
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
        EXPECT_EQ(bytes_of(topo), reference_cached(reply).record);
        EXPECT_EQ(stated(), (requests{{0x7843, 272, 2000}}));
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
        EXPECT_EQ(stated(), requests());
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
                              EXPECT_EQ(stated(), requests());
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
                              EXPECT_EQ(stated(), (requests{{0x7843, 272, 2000}}));
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
