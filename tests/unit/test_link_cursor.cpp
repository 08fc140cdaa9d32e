// Cursor shapes: whether one can be sent, how it is sent, and the mirror of the client's cache.
#include "allocations.h"
#include "cursor.h"
#include "link.h"
#include "vesk_log.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>

static constexpr std::uint32_t SHAPE_BMP = 0x7906;
static constexpr std::uint32_t SHAPE = 0x7907;

// --- lcur_shape_size_valid ---

// A client whose limits are no obstacle.
static void offer_sizes(visible_link& link, std::uint32_t cache_size)
{
    link.kmp_pri_ctxt.cur_shape_max_size_supported = 1;
    link.kmp_pri_ctxt.cur_shape_max_size_x = 0xFFFF;
    link.kmp_pri_ctxt.cur_shape_max_size_y = 0xFFFF;
    link.kmp_pri_ctxt.cur_shape_cache_size_supported = 1;
    link.kmp_pri_ctxt.cur_shape_cache_size = cache_size;
}

TEST(lcur_shape_size_valid, counts_the_bytes_that_a_bitmap_needs)
{
    const struct {
        std::uint16_t width, height;
        int type;
        std::uint32_t needed;
    } cases[] = {
        {32, 32, 1, 4224},
        {32, 32, 0, 4096},
        {32, 32, 2, 4224},
        {32, 32, -1, 4224},
        {32, 32, INT_MIN, 4224},
        {1, 1, 0, 4},
        {1, 1, 1, 4}, // less than a byte of the AND plane does not count
        {7, 1, 1, 28},
        {2, 4, 1, 33},
        {5, 3, 1, 61},
        {255, 255, 1, 268228},
        {65535, 1, 0, 262140},
        {1, 65535, 1, 270331},
        {32768, 16383, 0, 2147352576}, // wide of a sign
        // Counts that need all of 32 bits, and larger ones, of which the low 32 are left.
        {32768, 16384, 0, 0x80000000},
        {32768, 16384, 1, 0x84000000},
        {32768, 32768, 0, 0},
        {32768, 32768, 1, 0x08000000},
        {65535, 32768, 0, 0xFFFE0000}, // 0x7FFF8000 pixels
        {65535, 32768, 1, 0x0FFDF000},
        {65535, 32769, 1, 0xF0020FFC}, // 0x80007FFF: a negative number, divided towards zero
        {65535, 65535, 0, 0xFFF80004}, // 0xFFFE0001
        {65535, 65535, 1, 0xFFF7C005},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << 'x' << c.height << " of type " << c.type);
        expect_lines_by_level({}, [&](host&, visible_link& link) {
            offer_sizes(link, c.needed);
            EXPECT_EQ(link.lcur_shape_size_valid(c.width, c.height, c.type), 0);
            if (c.needed != 0) {
                link.kmp_pri_ctxt.cur_shape_cache_size = c.needed - 1;
                EXPECT_EQ(link.lcur_shape_size_valid(c.width, c.height, c.type), -511);
            }
            link.kmp_pri_ctxt.cur_shape_cache_size = 0xFFFFFFFF;
            EXPECT_EQ(link.lcur_shape_size_valid(c.width, c.height, c.type), 0);
        });
    }
}

TEST(lcur_shape_size_valid, accepts_width_and_height_up_to_what_the_client_reports)
{
    host h;
    constructed_link link(h);
    offer_sizes(*link, 0xFFFFFFFF);
    for (const std::uint16_t limit : {0, 1, 64, 0x7FFF, 0x8000, 0xFFFE}) {
        for (const int type : {0, 1}) {
            link->kmp_pri_ctxt.cur_shape_max_size_x = limit;
            link->kmp_pri_ctxt.cur_shape_max_size_y = 0xFFFF;
            EXPECT_EQ(link->lcur_shape_size_valid(limit, 1, type), 0);
            EXPECT_EQ(link->lcur_shape_size_valid(limit + 1, 1, type), -511);
            EXPECT_EQ(link->lcur_shape_size_valid(0xFFFF, 1, type), -511);
            link->kmp_pri_ctxt.cur_shape_max_size_x = 0xFFFF;
            link->kmp_pri_ctxt.cur_shape_max_size_y = limit;
            EXPECT_EQ(link->lcur_shape_size_valid(1, limit, type), 0);
            EXPECT_EQ(link->lcur_shape_size_valid(1, limit + 1, type), -511);
            EXPECT_EQ(link->lcur_shape_size_valid(1, 0xFFFF, type), -511);
        }
    }
}

TEST(lcur_shape_size_valid, needs_a_client_that_reports_both_sizes)
{
    host h;
    constructed_link link(h);
    for (const int type : {0, 1}) {
        offer_sizes(*link, 0xFFFFFFFF);
        link->kmp_pri_ctxt.cur_shape_max_size_supported = 0;
        EXPECT_EQ(link->lcur_shape_size_valid(0, 0, type), -511);
        link->kmp_pri_ctxt.cur_shape_max_size_supported = 0x80;
        EXPECT_EQ(link->lcur_shape_size_valid(0, 0, type), 0);
        link->kmp_pri_ctxt.cur_shape_cache_size_supported = 0;
        EXPECT_EQ(link->lcur_shape_size_valid(0, 0, type), -511);
        link->kmp_pri_ctxt.cur_shape_cache_size_supported = 0x80;
        EXPECT_EQ(link->lcur_shape_size_valid(0, 0, type), 0);
    }
}

TEST(lcur_shape_size_valid, does_not_ask_whether_the_context_is_valid)
{
    host h;
    constructed_link link(h);
    offer_sizes(*link, 4224);
    for (const std::uint32_t valid : {0, 1}) {
        link->kmp_pri_ctxt_valid = valid;
        EXPECT_EQ(link->lcur_shape_size_valid(32, 32, 1), 0);
    }
}

// --- Requests for shapes ---

// What is sent with this shape's fields and, behind the head, with its bitmap.
static bytes shape_record(const cursor_shape& sent, std::uint8_t slot)
{
    const auto length = static_cast<std::uint32_t>(20 + sent.bitmap.size());
    bytes head =
        joined({0x03, 0x00, 0x0A, 0x00, 0, 0, 0, 0}, {static_cast<std::uint8_t>(sent.type), slot, sent.arg1, sent.arg2,
                                                      sent.width, sent.height, sent.and_depth, sent.xor_depth});
    for (int shift = 0; shift < 32; shift += 8)
        head.push_back(static_cast<std::uint8_t>(length >> shift));
    return joined(head, sent.bitmap);
}

static bytes select_record(std::uint8_t slot)
{
    return {0x04, 0x00, 0x0A, 0x00, 0, 0, 0, 0, slot, 0, 0, 0};
}

// Shapes of which each is sent as it is: different ones by number.
static cursor_shape alpha_shape(std::uint8_t number, std::size_t len = 8)
{
    return {ALPHA, 0x11, 0x22, 2, 1, 0, 0, bytes(len, number)};
}

// The request for such a shape, and its answer: what a driver leaves in the record is its own affair.
static void expect_sent(host& h, const cursor_shape& shape, std::uint8_t slot, int result = 0)
{
    const bytes record = shape_record(shape, slot);
    h.expect_ioctl(HDC, SHAPE_BMP, record, random_bytes(record.size()), result);
}
static void expect_selected(host& h, std::uint8_t slot, int result = 0)
{
    h.expect_ioctl(HDC, SHAPE, select_record(slot), random_bytes(12), result);
}

static cursor_shape colour_shape()
{
    const bytes bitmap = {0x00, 0xA1, 0xA2, 0xA3, 0x80, 0xB1, 0xB2, 0xB3, 1, 2, 3, 4, 5, 6, 7, 8, 0xEE, 0xEE, 0xEE};
    return {COLOR, 0xC1, 0xC2, 1, 2, 1, 32, bitmap};
}
static cursor_shape opaque_shape()
{
    cursor_shape shape = colour_shape();
    shape.bitmap[4] = 0x7F;
    return shape;
}
// Two rows high: half of 5.
static cursor_shape monochrome_shape()
{
    const bytes bitmap = {1, 2, 3, 4, 5, 6, 7, 8, 0x11, 0x12, 0x13, 0x14, 0x00, 0x80, 0x17, 0x18};
    return {COLOR, 0xD1, 0xD2, 9, 5, 1, 1, bitmap};
}

// The link of a client that takes bitmaps and keeps this many of them, of at most 64 bytes.
static visible_link& caching(visible_link& link, std::uint16_t entries, std::uint32_t size = 64)
{
    agree_on_shapes(link);
    agree_on_cache(link, entries, size);
    EXPECT_EQ(link.init_bitmap_cache(), 0);
    return link;
}
// The lines of that.
static std::string caching_line(int entries, int size = 64)
{
    return "init_bitmap_cache D allocated storage for " + std::to_string(entries) + " cached bitmaps with size " +
           std::to_string(size);
}

// Sends with exactly one allocation, of the record, which is freed again.
static int send_with_one_record(visible_link& link, const cursor_shape& shape)
{
    const allocations made;
    const int result = send_shape(link, shape);
    EXPECT_EQ(made.tried, 1);
    EXPECT_EQ(made.sizes[0], shape.bitmap.size() + 20);
    EXPECT_EQ(made.freed, 1);
    return result;
}
static int send_without_a_record(visible_link& link, const cursor_shape& shape)
{
    const allocations made;
    const int result = send_shape(link, shape);
    EXPECT_EQ(made.tried, 0);
    EXPECT_EQ(made.freed, 0);
    return result;
}

static cursor_shape held_in(const bmp_cache_entry& entry)
{
    return {entry.bitmap_type, entry.shape_arg1, entry.shape_arg2, entry.width,
            entry.height,      entry.and_depth,  entry.xor_depth,  bytes(entry.data, entry.data + entry.len)};
}

// The cache holds the shape in this slot, with the height of the cursor itself.
static void expect_cached(const visible_link& link, const cursor_shape& shape, int slot)
{
    unsigned char found = 0xEE;
    EXPECT_EQ(is_cached(link, shape, &found), 1);
    EXPECT_EQ(found, slot);
}
static void expect_not_cached(const visible_link& link, const cursor_shape& shape)
{
    unsigned char found = 0xEE;
    EXPECT_EQ(is_cached(link, shape, &found), 0);
    EXPECT_EQ(found, 0xEE);
}

// --- lcur_shape_bmp_send: what is sent ---

static const char* const ALPHA_LINE = "lcur_shape_bmp_send D bmp_len=8 width=2 height=1";

TEST(lcur_shape_bmp_send, sends_an_alpha_bitmap_as_it_is)
{
    expect_lines_by_level(
        {caching_line(3), "lcur_shape_bmp_send D bmp_len=8 width=2 height=3"}, [](host& h, visible_link& link) {
            caching(link, 3);
            h.expect_ioctl(HDC, SHAPE_BMP,
                           {0x03, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0xA1, 0xB2, 0x02, 0x03,
                            0x00, 0x00, 0x1C, 0x00, 0x00, 0x00, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8});
            EXPECT_EQ(send_with_one_record(
                          link, {ALPHA, 0xA1, 0xB2, 2, 3, 0, 0, {0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8}}),
                      0);
        });
}

TEST(lcur_shape_bmp_send, turns_a_colour_bitmap_and_fills_up_with_zeros)
{
    expect_lines_by_level(
        {caching_line(3), "lcur_shape_bmp_send D bmp_len=19 width=1 height=2"}, [](host& h, visible_link& link) {
            caching(link, 3);
            h.expect_ioctl(HDC, SHAPE_BMP,
                           {0x03, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x81, 0xC1, 0xC2, 0x01,
                            0x02, 0x01, 0x20, 0x27, 0x00, 0x00, 0x00, 0x80, 0xB1, 0xB2, 0xB3, 0x00, 0xA1,
                            0xA2, 0xA3, 5,    6,    7,    8,    1,    2,    3,    4,    0,    0,    0});
            EXPECT_EQ(send_with_one_record(link, colour_shape()), 0);
        });
}

TEST(lcur_shape_bmp_send, sends_an_opaque_colour_bitmap_as_alpha_and_remembers_it_as_colour)
{
    expect_lines_by_level(
        {caching_line(3), "lcur_shape_bmp_send D bmp_len=19 width=1 height=2",
         "flip_bitmap D Zero transparent bits in AND mask", "lcur_shape_bmp_send D bmp_len=19 width=1 height=2"},
        [](host& h, visible_link& link) {
            caching(link, 3);
            h.expect_ioctl(HDC, SHAPE_BMP,
                           {0x03, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0xC1, 0xC2, 0x01,
                            0x02, 0x01, 0x20, 0x27, 0x00, 0x00, 0x00, 5,    6,    7,    8,    1,    2,
                            3,    4,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0});
            EXPECT_EQ(send_with_one_record(link, opaque_shape()), 0);
            EXPECT_EQ(link.bmp_cache[1].bitmap_type, COLOR);
            expect_cached(link, opaque_shape(), 1);
            expect_selected(h, 1);
            EXPECT_EQ(send_without_a_record(link, opaque_shape()), 0);
        });
}

TEST(lcur_shape_bmp_send, halves_the_height_of_a_monochrome_bitmap_everywhere)
{
    expect_lines_by_level(
        {caching_line(3), "lcur_shape_bmp_send D bmp_len=16 width=9 height=5"}, [](host& h, visible_link& link) {
            caching(link, 3);
            h.expect_ioctl(HDC, SHAPE_BMP, {0x03, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x81, 0xD1, 0xD2,
                                            0x09, 0x02, 0x01, 0x01, 0x24, 0x00, 0x00, 0x00, 0x00, 0x80, 0x17, 0x18,
                                            0x11, 0x12, 0x13, 0x14, 0x05, 0x06, 0x07, 0x08, 0x01, 0x02, 0x03, 0x04});
            EXPECT_EQ(send_with_one_record(link, monochrome_shape()), 0);
            EXPECT_EQ(link.bmp_cache[1].height, 2);
            EXPECT_EQ(held_in(link.bmp_cache[1]).bitmap, monochrome_shape().bitmap);
        });
}

TEST(lcur_shape_bmp_send, keeps_the_height_of_all_others)
{
    host h;
    constructed_link link(h);
    caching(*link, 3, 5000);
    cursor_shape shape{COLOR, 0, 0, 1, 64, 1, 32, bytes(64 * 8, 0xFF)};
    h.expect_ioctl(HDC, SHAPE_BMP, shape_record(shape, 0x81));
    EXPECT_EQ(send_shape(*link, shape), 0);
    EXPECT_EQ(link->bmp_cache[1].height, 64);
    shape = {ALPHA, 0, 0, 1, 64, 0, 0, bytes(64 * 8, 0xFF)};
    h.expect_ioctl(HDC, SHAPE_BMP, shape_record(shape, 0x82));
    EXPECT_EQ(send_shape(*link, shape), 0);
    EXPECT_EQ(link->bmp_cache[2].height, 64);
}

TEST(lcur_shape_bmp_send, rounds_half_a_height_down)
{
    for (const auto& [given, halved] : {std::pair{64, 32}, {65, 32}, {255, 127}, {3, 1}, {2, 1}}) {
        host h;
        constructed_link link(h);
        caching(*link, 3, 5000);
        const auto height = static_cast<std::uint8_t>(halved);
        cursor_shape shape{COLOR, 1, 2, 8, static_cast<std::uint8_t>(given), 1, 1, bytes(2 * 4 * halved, 0xFF)};
        cursor_shape sent = shape;
        sent.height = height;
        h.expect_ioctl(HDC, SHAPE_BMP, shape_record(sent, 0x81));
        EXPECT_EQ(send_shape(*link, shape), 0);
        EXPECT_EQ(link->bmp_cache[1].height, height);
        // The odd height and the even one below it are the same shape.
        expect_selected(h, 1);
        shape.height = static_cast<std::uint8_t>(given ^ 1) / 2 == height ? given ^ 1 : given;
        EXPECT_EQ(send_shape(*link, shape), 0);
    }
}

TEST(lcur_shape_bmp_send, sends_zeros_for_a_cursor_without_rows)
{
    for (const auto& [height, xor_depth] : {std::pair{0, 1}, {1, 1}, {0, 32}}) {
        host h;
        constructed_link link(h);
        caching(*link, 3);
        const auto depth = static_cast<std::uint8_t>(xor_depth);
        const cursor_shape sent{ALPHA, 1, 2, 8, 0, 1, depth, bytes(5)};
        h.expect_ioctl(HDC, SHAPE_BMP, shape_record(sent, 0x81));
        EXPECT_EQ(
            send_with_one_record(*link, {COLOR, 1, 2, 8, static_cast<std::uint8_t>(height), 1, depth, bytes(5, 0xFF)}),
            0);
        EXPECT_EQ(link->bmp_cache[1].height, 0);
    }
}

TEST(lcur_shape_bmp_send, sends_a_single_byte_of_any_alpha_size)
{
    host h;
    constructed_link link(h);
    caching(*link, 3);
    const cursor_shape shape{ALPHA, 0xFF, 0xFE, 255, 254, 0, 0, {0xAB}};
    expect_sent(h, shape, 0x81);
    EXPECT_EQ(send_with_one_record(*link, shape), 0);
}

TEST(lcur_shape_bmp_send, sends_the_largest_cursor)
{
    host h;
    constructed_link link(h);
    caching(*link, 2, 300'000);
    const bytes source = random_bytes(268'260 + 7);
    cursor_shape shape{COLOR, 1, 2, 255, 255, 1, 32, source};
    cursor_shape sent = shape;
    sent.type = is_transparent(255, 255, 32, source) ? COLOR : ALPHA;
    sent.bitmap = zero_filled(source.size(), flipped(255, 255, 32, source));
    h.expect_ioctl(HDC, SHAPE_BMP, shape_record(sent, 0x81));
    EXPECT_EQ(send_with_one_record(*link, shape), 0);
    expect_selected(h, 1);
    EXPECT_EQ(send_without_a_record(*link, shape), 0);
}

TEST(lcur_shape_bmp_send, takes_a_positive_value_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    caching(*link, 3);
    expect_sent(h, alpha_shape(1), 0x81, 5);
    EXPECT_EQ(send_with_one_record(*link, alpha_shape(1)), 0);
    expect_selected(h, 1, 5);
    EXPECT_EQ(send_without_a_record(*link, alpha_shape(1)), 0);
}

// --- lcur_shape_bmp_send: what is refused ---

static const std::string ASSERTION = "assertion in file ../haldo_link/src/vesk_haldo_link_kmp, function ";

// Refused with these lines, and nothing else happens.
static void expect_refused(int result, lines written, const std::function<int(visible_link&)>& send)
{
    written.insert(written.begin(), caching_line(3));
    expect_lines_by_level(written, [&](host&, visible_link& link) {
        caching(link, 3);
        const allocations made;
        EXPECT_EQ(send(link), result);
        EXPECT_EQ(made.tried, 0);
        EXPECT_EQ(made.freed, 0);
        EXPECT_EQ(link.bmp_cache_last, 0);
        EXPECT_EQ(link.bmp_cache[1].len, 0u);
    });
}

TEST(lcur_shape_bmp_send, refuses_a_null_pointer)
{
    expect_refused(-501,
                   {"lcur_shape_bmp_send D bmp_len=8 width=2 height=1",
                    "lcur_shape_bmp_send E invalid argument, bmp = NULL",
                    "lcur_shape_bmp_send C " + ASSERTION + "lcur_shape_bmp_send, line 2051"},
                   [](visible_link& link) { return link.lcur_shape_bmp_send(1, 2, 2, 1, 0, 0, nullptr, 8, ALPHA); });
}

TEST(lcur_shape_bmp_send, refuses_a_length_of_zero)
{
    const std::uint8_t bmp[1] = {};
    expect_refused(-501,
                   {"lcur_shape_bmp_send D bmp_len=0 width=255 height=254",
                    "lcur_shape_bmp_send E invalid argument, bmp_len = 0",
                    "lcur_shape_bmp_send C " + ASSERTION + "lcur_shape_bmp_send, line 2058"},
                   [&](visible_link& link) { return link.lcur_shape_bmp_send(1, 2, 255, 254, 0, 0, bmp, 0, ALPHA); });
}

TEST(lcur_shape_bmp_send, refuses_what_the_client_does_not_take)
{
    for (const bool has_context : {false, true}) {
        expect_refused(-511, {ALPHA_LINE, "lcur_shape_bmp_send E not supported"}, [&](visible_link& link) {
            link.kmp_pri_ctxt_valid = has_context ? 1 : 0;
            link.kmp_pri_ctxt.cur_shape_bmp_supported = 1;
            link.kmp_pri_ctxt.cur_shape_bmp_color = 1;
            link.kmp_pri_ctxt.cur_shape_bmp_alpha = has_context ? 0 : 1;
            return send_shape(link, alpha_shape(1));
        });
    }
}

TEST(lcur_shape_bmp_send, refuses_every_other_type)
{
    for (const int type : {2, 3, 255, 256, INT_MAX, INT_MIN, -1}) {
        expect_refused(-511,
                       {ALPHA_LINE, "lcur_shape_bmp_send E bitmap_type " + std::to_string(type) + " not supported"},
                       [&](visible_link& link) {
                           cursor_shape shape = alpha_shape(1);
                           shape.type = static_cast<eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE>(type);
                           return send_shape(link, shape);
                       });
    }
}

TEST(lcur_shape_bmp_send, refuses_depths_that_do_not_go_with_the_type)
{
    const struct {
        eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE type;
        std::uint8_t and_depth, xor_depth;
        const char* written;
    } cases[] = {
        {ALPHA, 0, 32, "and_depth (0) AND xor_depth (32) must both be zero for ALPHA bitmaps"},
        {ALPHA, 0, 1, "and_depth (0) AND xor_depth (1) must both be zero for ALPHA bitmaps"},
        {ALPHA, 1, 0, "and_depth (1) AND xor_depth (0) must both be zero for ALPHA bitmaps"},
        {ALPHA, 1, 1, "and_depth (1) AND xor_depth (1) must both be zero for ALPHA bitmaps"},
        {ALPHA, 255, 254, "and_depth (255) AND xor_depth (254) must both be zero for ALPHA bitmaps"},
        {COLOR, 0, 32, "and_depth (0) must be 1 for COLOR bitmaps"},
        {COLOR, 0, 0, "and_depth (0) must be 1 for COLOR bitmaps"},
        {COLOR, 2, 1, "and_depth (2) must be 1 for COLOR bitmaps"},
        {COLOR, 32, 8, "and_depth (32) must be 1 for COLOR bitmaps"},
        {COLOR, 255, 32, "and_depth (255) must be 1 for COLOR bitmaps"},
        {COLOR, 1, 0, "xor_depth 0 not supported for COLOR bitmaps"},
        {COLOR, 1, 2, "xor_depth 2 not supported for COLOR bitmaps"},
        {COLOR, 1, 8, "xor_depth 8 not supported for COLOR bitmaps"},
        {COLOR, 1, 24, "xor_depth 24 not supported for COLOR bitmaps"},
        {COLOR, 1, 31, "xor_depth 31 not supported for COLOR bitmaps"},
        {COLOR, 1, 33, "xor_depth 33 not supported for COLOR bitmaps"},
        {COLOR, 1, 255, "xor_depth 255 not supported for COLOR bitmaps"},
    };
    for (const auto& c : cases) {
        expect_refused(
            -511,
            {"lcur_shape_bmp_send D bmp_len=8 width=1 height=1", std::string("lcur_shape_bmp_send E ") + c.written},
            [&](visible_link& link) {
                return send_shape(link, {c.type, 1, 2, 1, 1, c.and_depth, c.xor_depth, bytes(8)});
            });
    }
}

TEST(lcur_shape_bmp_send, reports_the_first_of_several_faults)
{
    host h;
    constructed_link link(h);
    caching(*link, 1);
    const bytes bmp(8);
    // Every argument is wrong, and then one less each time.
    const std::uint8_t* pointer = nullptr;
    unsigned int len = 0;
    auto type = static_cast<eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE>(2);
    std::uint8_t and_depth = 3;
    std::uint8_t xor_depth = 3;
    link->kmp_pri_ctxt_valid = 0;
    const auto expect_fault = [&](int result, const std::string& written) {
        EXPECT_EQ(link->lcur_shape_bmp_send(1, 2, 9, 9, and_depth, xor_depth, pointer, len, type), result);
        EXPECT_EQ(h.log().front(), written);
    };
    expect_fault(-501, "lcur_shape_bmp_send E invalid argument, bmp = NULL");
    pointer = bmp.data();
    expect_fault(-501, "lcur_shape_bmp_send E invalid argument, bmp_len = 0");
    len = 8;
    expect_fault(-511, "lcur_shape_bmp_send E not supported");
    link->kmp_pri_ctxt_valid = 1;
    expect_fault(-511, "lcur_shape_bmp_send E bitmap_type 2 not supported");
    type = COLOR;
    expect_fault(-511, "lcur_shape_bmp_send E and_depth (3) must be 1 for COLOR bitmaps");
    and_depth = 1;
    expect_fault(-511, "lcur_shape_bmp_send E xor_depth 3 not supported for COLOR bitmaps");
    xor_depth = 1;
    {
        const allocations made(0);
        expect_fault(-507, "lcur_shape_bmp_send E failed to allocate memory for ioctl buffer");
    }
    expect_fault(-500, "flip_bitmap E dest buffer too small, aborting copy: alw 4 xlw 4 h 4 bl 8");
}

TEST(lcur_shape_bmp_send, refuses_a_bitmap_that_is_shorter_than_its_planes)
{
    expect_lines_by_level({caching_line(3), "lcur_shape_bmp_send D bmp_len=15 width=1 height=2",
                           "flip_bitmap E dest buffer too small, aborting copy: alw 4 xlw 4 h 2 bl 15",
                           "lcur_shape_bmp_send E HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-500)"},
                          [](host&, visible_link& link) {
                              caching(link, 3);
                              cursor_shape shape = colour_shape();
                              shape.bitmap.resize(15);
                              EXPECT_EQ(send_with_one_record(link, shape), -500);
                              EXPECT_EQ(link.bmp_cache_last, 0);
                              expect_not_cached(link, shape);
                          });
}

TEST(lcur_shape_bmp_send, fails_without_memory_for_its_record)
{
    expect_lines_by_level(
        {caching_line(3), ALPHA_LINE, "lcur_shape_bmp_send E failed to allocate memory for ioctl buffer"},
        [](host&, visible_link& link) {
            caching(link, 3);
            {
                const allocations made(0);
                EXPECT_EQ(send_shape(link, alpha_shape(1)), -507);
                EXPECT_EQ(made.tried, 1);
                EXPECT_EQ(made.freed, 0);
            }
            EXPECT_EQ(link.bmp_cache_last, 0);
            expect_not_cached(link, alpha_shape(1));
        });
}

TEST(lcur_shape_bmp_send, has_no_memory_for_a_record_whose_length_exceeds_32_bits)
{
    const struct {
        std::uint32_t len;
        const char* printed;
        int tried;
        std::size_t size;
    } cases[] = {
        {0x7FFFFFFF, "2147483647", 1, 0x80000013},
        {0xFFFFFFEB, "-21", 1, 0xFFFFFFFF},
        {0xFFFFFFEC, "-20", 0, 0},
        {0xFFFFFFED, "-19", 0, 0},
        {0xFFFFFFFF, "-1", 0, 0},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({caching_line(3),
                               std::string("lcur_shape_bmp_send D bmp_len=") + c.printed + " width=8 height=9",
                               "lcur_shape_bmp_send E failed to allocate memory for ioctl buffer"},
                              [&](host&, visible_link& link) {
                                  caching(link, 3);
                                  const bytes bmp(1);
                                  const allocations made(0);
                                  EXPECT_EQ(link.lcur_shape_bmp_send(1, 2, 8, 9, 0, 0, bmp.data(), c.len, ALPHA), -507);
                                  EXPECT_EQ(made.tried, c.tried);
                                  EXPECT_EQ(made.sizes[0], c.size);
                                  EXPECT_EQ(made.freed, 0);
                              });
    }
}

TEST(lcur_shape_bmp_send, announces_the_same_slot_again_after_a_failure)
{
    expect_lines_by_level({caching_line(3), ALPHA_LINE, "synch_ioctl E ioctl 0x00007906 failed (rv=-1)",
                           "lcur_shape_bmp_send E HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-500)", ALPHA_LINE,
                           "lcur_shape_bmp_send E failed to allocate memory for ioctl buffer", ALPHA_LINE, ALPHA_LINE},
                          [](host& h, visible_link& link) {
                              caching(link, 3);
                              expect_sent(h, alpha_shape(1), 0x81, -1);
                              EXPECT_EQ(send_with_one_record(link, alpha_shape(1)), -500);
                              expect_not_cached(link, alpha_shape(1));
                              EXPECT_EQ(link.bmp_cache_last, 0);
                              {
                                  const allocations made(0);
                                  EXPECT_EQ(send_shape(link, alpha_shape(1)), -507);
                              }
                              expect_sent(h, alpha_shape(2), 0x81);
                              EXPECT_EQ(send_with_one_record(link, alpha_shape(2)), 0);
                              expect_sent(h, alpha_shape(1), 0x82);
                              EXPECT_EQ(send_with_one_record(link, alpha_shape(1)), 0);
                          });
}

TEST(lcur_shape_bmp_send, on_a_closed_device_fails_and_leaves_the_cache)
{
    expect_lines_by_level<half_open_link>(
        {caching_line(3), ALPHA_LINE, "synch_ioctl E not m_initialized",
         "lcur_shape_bmp_send E HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-503)", ALPHA_LINE,
         "synch_ioctl E not m_initialized",
         "lcur_change_shape_send E HDC_IOCTL_KMP_CUR_SHAPE failed, index=1 (ret=-503)"},
        [](host&, visible_link& link) {
            caching(link, 3);
            EXPECT_EQ(send_with_one_record(link, alpha_shape(1)), -503);
            expect_not_cached(link, alpha_shape(1));
            EXPECT_EQ(link.bmp_cache_last, 0);
            add_to_cache(link, alpha_shape(1));
            EXPECT_EQ(send_without_a_record(link, alpha_shape(1)), -503);
        });
}

// --- lcur_shape_bmp_send: slots ---

TEST(lcur_shape_bmp_send, uses_the_slots_in_turn)
{
    const struct {
        std::uint16_t agreed;
        std::vector<std::uint8_t> slots;
    } cases[] = {
        {1, {0, 0, 0}},
        {2, {1, 0, 1, 0}},
        {3, {1, 2, 0, 1, 2, 0}},
        {16, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0, 1}},
        {40, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0, 1}},
    };
    for (const auto& c : cases) {
        host h;
        constructed_link link(h);
        caching(*link, c.agreed);
        std::uint8_t number = 0;
        for (const std::uint8_t slot : c.slots) {
            const cursor_shape shape = alpha_shape(number++);
            expect_sent(h, shape, 0x80 | slot);
            EXPECT_EQ(send_with_one_record(*link, shape), 0);
            EXPECT_EQ(link->bmp_cache_last, slot);
            expect_selected(h, slot);
            EXPECT_EQ(send_without_a_record(*link, shape), 0);
        }
        EXPECT_EQ(h.log(), lines());
    }
}

TEST(lcur_shape_bmp_send, sends_again_what_was_overwritten)
{
    host h;
    constructed_link link(h);
    caching(*link, 2);
    for (const auto& [number, slot] : {std::pair<std::uint8_t, std::uint8_t>{1, 1}, {2, 0}, {3, 1}, {1, 0}, {2, 1}}) {
        expect_sent(h, alpha_shape(number), 0x80 | slot);
        EXPECT_EQ(send_shape(*link, alpha_shape(number)), 0);
    }
}

TEST(lcur_shape_bmp_send, selects_without_sending_and_returns_what_becomes_of_that)
{
    expect_lines_by_level({caching_line(3), ALPHA_LINE, ALPHA_LINE, "synch_ioctl E ioctl 0x00007907 failed (rv=-1)",
                           "lcur_change_shape_send E HDC_IOCTL_KMP_CUR_SHAPE failed, index=1 (ret=-500)", ALPHA_LINE,
                           "lcur_change_shape_send E invalid argument, index>=1", ALPHA_LINE},
                          [](host& h, visible_link& link) {
                              caching(link, 3);
                              expect_sent(h, alpha_shape(1), 0x81);
                              EXPECT_EQ(send_shape(link, alpha_shape(1)), 0);
                              expect_selected(h, 1, -1);
                              EXPECT_EQ(send_without_a_record(link, alpha_shape(1)), -500);
                              // A later context whose client has fewer slots than the mirror.
                              link.kmp_pri_ctxt.cur_shape_caches = 1;
                              EXPECT_EQ(send_without_a_record(link, alpha_shape(1)), -501);
                              link.kmp_pri_ctxt.cur_shape_caches = 2;
                              expect_selected(h, 1);
                              EXPECT_EQ(send_without_a_record(link, alpha_shape(1)), 0);
                          });
}

TEST(lcur_shape_bmp_send, without_a_cache_announces_no_slot_and_complains_each_time)
{
    const lines all = {ALPHA_LINE,
                       "add_bitmap_to_cache E attempt to add bitmap to empty cache!!!",
                       "add_bitmap_to_cache C " + ASSERTION + "add_bitmap_to_cache, line 1977",
                       ALPHA_LINE,
                       "add_bitmap_to_cache E attempt to add bitmap to empty cache!!!",
                       "add_bitmap_to_cache C " + ASSERTION + "add_bitmap_to_cache, line 1977"};
    for (const bool is_offered : {false, true}) {
        expect_lines_by_level(all, [&](host& h, visible_link& link) {
            agree_on_shapes(link);
            if (is_offered)
                agree_on_cache(link, 3, 64);
            for (int i = 0; i < 2; ++i) {
                expect_sent(h, alpha_shape(1), 0);
                EXPECT_EQ(send_with_one_record(link, alpha_shape(1)), 0);
            }
            EXPECT_EQ(link.bmp_cache_last, 0);
        });
    }
}

TEST(lcur_shape_bmp_send, announces_no_slot_to_a_client_that_no_longer_names_number_or_size)
{
    for (const bool has_number : {false, true}) {
        for (const bool has_size : {false, true}) {
            host h;
            constructed_link link(h);
            caching(*link, 3);
            link->kmp_pri_ctxt.cur_shape_caches_supported = has_number ? 0x40 : 0;
            link->kmp_pri_ctxt.cur_shape_cache_size_supported = has_size ? 0x02 : 0;
            expect_sent(h, alpha_shape(1), has_number && has_size ? 0x81 : 0);
            EXPECT_EQ(send_with_one_record(*link, alpha_shape(1)), 0);
            expect_cached(*link, alpha_shape(1), 1);
            expect_selected(h, 1);
            EXPECT_EQ(send_without_a_record(*link, alpha_shape(1)), 0);
            EXPECT_EQ(h.log(), lines());
        }
    }
}

TEST(lcur_shape_bmp_send, empties_the_entry_of_a_bitmap_that_does_not_fit_in_it)
{
    host h;
    constructed_link link(h);
    caching(*link, 3);
    for (const auto& [number, slot] : {std::pair<std::uint8_t, std::uint8_t>{1, 1}, {2, 2}, {3, 0}}) {
        expect_sent(h, alpha_shape(number, 64), 0x80 | slot);
        EXPECT_EQ(send_with_one_record(*link, alpha_shape(number, 64)), 0);
    }
    for (const std::size_t len : {65, 65, 1000}) {
        expect_sent(h, alpha_shape(9, len), 0x81);
        EXPECT_EQ(send_with_one_record(*link, alpha_shape(9, len)), 0);
        EXPECT_EQ(link->bmp_cache[1].len, 0u);
        EXPECT_EQ(link->bmp_cache_last, 0);
    }
    // The others are still there, and the first one is not.
    expect_selected(h, 2);
    EXPECT_EQ(send_shape(*link, alpha_shape(2, 64)), 0);
    expect_selected(h, 0);
    EXPECT_EQ(send_shape(*link, alpha_shape(3, 64)), 0);
    expect_sent(h, alpha_shape(1, 64), 0x81);
    EXPECT_EQ(send_shape(*link, alpha_shape(1, 64)), 0);
    EXPECT_EQ(h.log(), lines());
}

TEST(lcur_shape_bmp_send, fills_entries_as_large_as_they_were_built)
{
    host h;
    constructed_link link(h);
    caching(*link, 1);
    for (const std::uint32_t named : {1000u, 0xFFFFFFFFu}) {
        link->kmp_pri_ctxt.cur_shape_cache_size = named;
        for (int i = 0; i < 2; ++i) {
            expect_sent(h, alpha_shape(1, 65), 0x80);
            EXPECT_EQ(send_with_one_record(*link, alpha_shape(1, 65)), 0);
        }
    }
    link->kmp_pri_ctxt.cur_shape_cache_size = 8;
    expect_sent(h, alpha_shape(1, 64), 0x80);
    EXPECT_EQ(send_with_one_record(*link, alpha_shape(1, 64)), 0);
    expect_selected(h, 0);
    EXPECT_EQ(send_without_a_record(*link, alpha_shape(1, 64)), 0);
}

TEST(lcur_shape_bmp_send, keeps_nothing_in_entries_without_room)
{
    host h;
    constructed_link link(h);
    caching(*link, 2, 0);
    for (int i = 0; i < 3; ++i) {
        expect_sent(h, alpha_shape(1, 1), 0x81);
        EXPECT_EQ(send_with_one_record(*link, alpha_shape(1, 1)), 0);
    }
}

TEST(lcur_shape_bmp_send, misses_a_shape_that_differs_in_anything)
{
    const cursor_shape first = {COLOR, 1, 2, 1, 2, 1, 32, random_bytes(16)};
    std::vector<cursor_shape> others(5, first);
    others[0].arg1 ^= 1;
    others[1].arg2 ^= 0x80;
    others[2].height = 1;
    others[3].bitmap.push_back(0);
    others[4] = {ALPHA, 1, 2, 1, 2, 0, 0, first.bitmap};
    others.push_back({COLOR, 1, 2, 1, 4, 1, 1, first.bitmap}); // halved, the same but for its depth
    others.push_back({COLOR, 1, 2, 0, 2, 1, 32, first.bitmap});
    for (std::size_t i = 0; i < first.bitmap.size(); ++i) {
        others.push_back(first);
        others.back().bitmap[i] ^= static_cast<std::uint8_t>(1u << i % 8);
    }
    host h(VESK_LOG_OFF);
    constructed_link link(h);
    caching(*link, 3);
    std::vector<std::uint32_t> codes;
    h.serve_ioctl([&](int, std::uint32_t code, void*) {
        codes.push_back(code);
        return 0;
    });
    for (const cursor_shape& other : others) {
        EXPECT_EQ(link->init_bitmap_cache(), 0);
        EXPECT_EQ(send_shape(*link, first), 0);
        EXPECT_EQ(send_shape(*link, other), 0);
        EXPECT_EQ(send_shape(*link, first), 0);
        EXPECT_EQ(send_shape(*link, other), 0);
        EXPECT_EQ(std::exchange(codes, {}), (std::vector{SHAPE_BMP, SHAPE_BMP, SHAPE, SHAPE}));
    }
}

TEST(lcur_shape_bmp_send, works_with_the_entries_for_which_there_was_memory)
{
    for (int failing = 0; failing < 4; ++failing) {
        host h(VESK_LOG_OFF);
        {
            constructed_link link(h);
            agree_on_shapes(*link);
            agree_on_cache(*link, 4, 64);
            {
                const allocations made(failing);
                EXPECT_EQ(link->init_bitmap_cache(), 0);
            }
            for (std::uint8_t i = 0; i < 10; ++i) {
                const auto slot = static_cast<std::uint8_t>(failing == 0 ? 0 : 0x80 | (i + 1) % failing);
                expect_sent(h, alpha_shape(i), slot);
                EXPECT_EQ(send_with_one_record(*link, alpha_shape(i)), 0);
            }
            const allocations made;
            EXPECT_EQ(link->flush_bitmap_cache(), 0);
            EXPECT_EQ(made.freed, failing);
        }
    }
}

TEST(lcur_shape_bmp_send, changes_nothing_in_the_callers_bitmap)
{
    host h(VESK_LOG_OFF);
    constructed_link link(h);
    caching(*link, 3);
    h.serve_ioctl([](int, std::uint32_t, void* record) {
        std::fill_n(static_cast<std::uint8_t*>(record), 20 + 16, 0xDD);
        return 0;
    });
    for (const cursor_shape& shape : {colour_shape(), opaque_shape(), monochrome_shape(), alpha_shape(7, 16)}) {
        const bytes before = shape.bitmap;
        EXPECT_EQ(send_shape(*link, shape), 0);
        EXPECT_EQ(shape.bitmap, before);
        EXPECT_EQ(held_in(link->bmp_cache[link->bmp_cache_last]).bitmap, before);
    }
}

// --- add_bitmap_to_cache ---

TEST(add_bitmap_to_cache, stores_the_shape_in_the_next_slot_and_leaves_the_others)
{
    expect_lines_by_level({caching_line(3)}, [](host&, visible_link& link) {
        caching(link, 3);
        const std::array<std::uint8_t*, 3> blocks = {link.bmp_cache[0].data, link.bmp_cache[1].data,
                                                     link.bmp_cache[2].data};
        std::array<cursor_shape, 3> held{};
        std::uint8_t number = 1;
        for (const std::uint8_t slot : {1, 2, 0, 1, 2, 0, 1}) {
            cursor_shape shape{number % 2 == 0 ? ALPHA : COLOR, number, 0x12, 0x23, 0x34, 0x45, 0x56,
                               random_bytes(number * 8u)};
            {
                const allocations made;
                add_to_cache(link, shape);
                EXPECT_EQ(made.tried, 0);
                EXPECT_EQ(made.freed, 0);
            }
            held[slot] = shape;
            EXPECT_EQ(link.bmp_cache_last, slot);
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_TRUE(held_in(link.bmp_cache[i]) == held[i]) << "slot " << i;
                EXPECT_EQ(link.bmp_cache[i].data, blocks[i]);
            }
            std::ranges::fill(shape.bitmap, 0);
            expect_not_cached(link, shape);
            ++number;
        }
    });
}

TEST(add_bitmap_to_cache, uses_slot_0_of_a_single_entry)
{
    host h;
    constructed_link link(h);
    caching(*link, 1);
    for (std::uint8_t number = 1; number < 4; ++number) {
        add_to_cache(*link, alpha_shape(number));
        expect_cached(*link, alpha_shape(number), 0);
        expect_not_cached(*link, alpha_shape(number - 1));
    }
}

TEST(add_bitmap_to_cache, stores_a_bitmap_as_long_as_the_block_and_none_that_is_longer)
{
    expect_lines_by_level({caching_line(3)}, [](host&, visible_link& link) {
        caching(link, 3);
        add_to_cache(link, alpha_shape(1, 64));
        EXPECT_EQ(link.bmp_cache_last, 1);
        EXPECT_EQ(link.bmp_cache[1].len, 64u);
        for (std::uint8_t number = 2; number < 4; ++number) {
            add_to_cache(link, alpha_shape(number, 64));
        }
        EXPECT_EQ(link.bmp_cache_last, 0);
        add_to_cache(link, alpha_shape(4, 65));
        EXPECT_EQ(link.bmp_cache_last, 0);
        EXPECT_EQ(link.bmp_cache[1].len, 0u);
        expect_not_cached(link, alpha_shape(1, 64));
        expect_not_cached(link, alpha_shape(4, 65));
        expect_cached(link, alpha_shape(2, 64), 2);
        expect_cached(link, alpha_shape(3, 64), 0);
    });
}

TEST(add_bitmap_to_cache, stores_nothing_without_a_cache)
{
    expect_lines_by_level({"add_bitmap_to_cache E attempt to add bitmap to empty cache!!!",
                           "add_bitmap_to_cache C " + ASSERTION + "add_bitmap_to_cache, line 1977"},
                          [](host&, visible_link& link) {
                              link.bmp_cache_last = 5;
                              add_to_cache(link, alpha_shape(1));
                              EXPECT_EQ(link.bmp_cache_last, 5);
                              EXPECT_EQ(link.bmp_cache_cnt, 0);
                              for (const bmp_cache_entry& entry : link.bmp_cache) {
                                  EXPECT_TRUE(held_in(entry) == cursor_shape());
                                  EXPECT_EQ(entry.data, nullptr);
                              }
                          });
}

// --- is_bitmap_cached ---

TEST(is_bitmap_cached, looks_at_no_slot_from_the_count_on)
{
    host h;
    constructed_link link(h);
    caching(*link, 3);
    for (std::uint8_t number = 1; number <= 3; ++number)
        add_to_cache(*link, alpha_shape(number)); // in slots 1, 2 and 0
    for (const int count : {2, 1, 0, -1, INT_MIN}) {
        link->bmp_cache_cnt = count;
        unsigned char slot;
        EXPECT_EQ(is_cached(*link, alpha_shape(2), &slot), 0);
        EXPECT_EQ(is_cached(*link, alpha_shape(1), &slot), count == 2);
        EXPECT_EQ(is_cached(*link, alpha_shape(3), &slot), count >= 1);
    }
    link->bmp_cache_cnt = 3;
    EXPECT_EQ(link->flush_bitmap_cache(), 0);
    expect_not_cached(*link, alpha_shape(1));
}

// --- Sequences, against a model ---

struct sent_request {
    int fd;
    std::uint32_t code;
    bytes record;

    bool operator==(const sent_request&) const = default;
};

// What is expected of a call.
struct expectation {
    int result = 0;
    std::vector<sent_request> requests = {};
    lines written = {};
    int allocations = 0;
    int freed = 0;
};

// What the link knows of the client's cache, as the rules have it.
class cache_model
{
public:
    expectation init(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context, int failing)
    {
        expectation made;
        const bool is_offered = context.cur_shape_caches_supported != 0 && context.cur_shape_cache_size_supported != 0;
        if (!slots.empty()) {
            made = flush();
            if (is_offered)
                made.written.emplace_back("init_bitmap_cache D stored bitmap cache is already initialized");
        }
        if (!is_offered) {
            made.written.emplace_back("init_bitmap_cache D bitmap caching disabled because client does not support it");
            return made;
        }
        const int wanted = std::min<int>(context.cur_shape_caches, 16);
        const bool fails = failing >= 0 && failing < wanted;
        const int count = fails ? failing : wanted;
        made.allocations = fails ? failing + 1 : wanted;
        if (fails)
            made.written.push_back("init_bitmap_cache E unable to allocate storage for " +
                                   std::to_string(wanted - failing) + " cached bitmap");
        block = context.cur_shape_cache_size;
        made.written.push_back(caching_line(count, static_cast<int>(block)));
        slots.assign(static_cast<std::size_t>(count), std::nullopt);
        last = 0;
        return made;
    }

    expectation flush()
    {
        expectation made;
        if (!slots.empty())
            made.written.push_back("flush_bitmap_cache D freeing storage for " + std::to_string(slots.size()) +
                                   " bitmaps");
        made.freed = static_cast<int>(slots.size());
        slots.clear();
        return made;
    }

    // failing: the allocation is refused; driver: what the driver returns.
    expectation send(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context, bool is_valid, cursor_shape shape,
                     bool failing, int driver)
    {
        expectation made;
        const auto len = static_cast<std::uint32_t>(shape.bitmap.size());
        made.written.push_back("lcur_shape_bmp_send D bmp_len=" + std::to_string(len) +
                               " width=" + std::to_string(shape.width) + " height=" + std::to_string(shape.height));
        const auto failed = [&](int result, const std::string& text) {
            made.result = result;
            made.written.push_back("lcur_shape_bmp_send E " + text);
            return made;
        };
        if (!is_valid || context.cur_shape_bmp_alpha == 0)
            return failed(-511, "not supported");
        if (shape.type != ALPHA && shape.type != COLOR)
            return failed(-511, "bitmap_type " + std::to_string(shape.type) + " not supported");
        const std::string and_depth = std::to_string(shape.and_depth);
        const std::string xor_depth = std::to_string(shape.xor_depth);
        if (shape.type == ALPHA && (shape.and_depth != 0 || shape.xor_depth != 0))
            return failed(-511, "and_depth (" + and_depth + ") AND xor_depth (" + xor_depth +
                                    ") must both be zero for ALPHA bitmaps");
        if (shape.type == COLOR && shape.and_depth != 1)
            return failed(-511, "and_depth (" + and_depth + ") must be 1 for COLOR bitmaps");
        if (shape.type == COLOR && shape.xor_depth != 1 && shape.xor_depth != 32)
            return failed(-511, "xor_depth " + xor_depth + " not supported for COLOR bitmaps");
        if (shape.and_depth == 1 && shape.xor_depth == 1)
            shape.height /= 2;

        const std::string rejected = "failed (rv=-1)";
        const auto hit = std::ranges::find(slots, shape);
        if (hit != slots.end()) {
            const auto slot = static_cast<std::uint8_t>(hit - slots.begin());
            if (slot >= context.cur_shape_caches) {
                made.result = -501;
                made.written.push_back("lcur_change_shape_send E invalid argument, index>=" +
                                       std::to_string(context.cur_shape_caches));
                return made;
            }
            made.requests = {{HDC, SHAPE, select_record(slot)}};
            if (driver < 0) {
                made.result = -500;
                made.written.push_back("synch_ioctl E ioctl 0x00007907 " + rejected);
                made.written.push_back("lcur_change_shape_send E HDC_IOCTL_KMP_CUR_SHAPE failed, index=" +
                                       std::to_string(slot) + " (ret=-500)");
            }
            return made;
        }

        made.allocations = 1;
        if (failing)
            return failed(-507, "failed to allocate memory for ioctl buffer");
        made.freed = 1;
        cursor_shape sent = shape;
        if (shape.type == COLOR) {
            const planes at(shape.width, shape.height, shape.xor_depth);
            if (at.length > len) {
                made.written.push_back("flip_bitmap E dest buffer too small, aborting copy: alw " +
                                       std::to_string(at.and_row) + " xlw " + std::to_string(at.xor_row) + " h " +
                                       std::to_string(shape.height) + " bl " + std::to_string(len));
                return failed(-500, "HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-500)");
            }
            sent.bitmap = zero_filled(len, flipped(shape.width, shape.height, shape.xor_depth, shape.bitmap));
            if (!is_transparent(shape.width, shape.height, shape.xor_depth, shape.bitmap)) {
                sent.type = ALPHA;
                made.written.emplace_back("flip_bitmap D Zero transparent bits in AND mask");
            }
        }
        std::uint8_t announced = 0;
        if (!slots.empty() && context.cur_shape_caches_supported != 0 && context.cur_shape_cache_size_supported != 0)
            announced = static_cast<std::uint8_t>(0x80 + next());
        made.requests = {{HDC, SHAPE_BMP, shape_record(sent, announced)}};
        if (driver < 0) {
            made.written.push_back("synch_ioctl E ioctl 0x00007906 " + rejected);
            return failed(-500, "HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-500)");
        }
        if (slots.empty()) {
            made.written.emplace_back("add_bitmap_to_cache E attempt to add bitmap to empty cache!!!");
            made.written.push_back("add_bitmap_to_cache C " + ASSERTION + "add_bitmap_to_cache, line 1977");
        } else if (len > block) {
            slots[next()].reset();
        } else {
            last = next();
            slots[last] = shape;
        }
        return made;
    }

    // The link has the same in its members.
    void expect_same(const visible_link& link) const
    {
        ASSERT_EQ(link.bmp_cache_cnt, static_cast<int>(slots.size()));
        if (!slots.empty()) {
            ASSERT_EQ(link.bmp_cache_last, last);
        }
        for (std::size_t i = 0; i < slots.size(); ++i) {
            const bmp_cache_entry& entry = link.bmp_cache[i];
            if (!slots[i]) {
                ASSERT_EQ(entry.len, 0u);
                continue;
            }
            ASSERT_TRUE(held_in(entry) == *slots[i]) << "slot " << i;
        }
    }

private:
    std::size_t next() const { return (last + 1) % slots.size(); }

    std::vector<std::optional<cursor_shape>> slots;
    std::size_t last = 0;
    std::uint32_t block = 0;
};

// A small shape, mostly a good one.
static cursor_shape some_shape(dice& random)
{
    cursor_shape shape;
    shape.type = random.one_in(3) ? ALPHA : COLOR;
    shape.arg1 = static_cast<std::uint8_t>(random.below(2));
    shape.arg2 = random.byte();
    shape.width = static_cast<std::uint8_t>(random.below(10));
    shape.height = static_cast<std::uint8_t>(random.below(7));
    if (shape.type == COLOR) {
        shape.and_depth = 1;
        shape.xor_depth = random.one_in(2) ? 1 : 32;
    }
    if (random.one_in(30))
        shape.type = static_cast<eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE>(static_cast<int>(random.below(5)) - 2);
    if (random.one_in(30))
        shape.xor_depth = static_cast<std::uint8_t>(random.one_of({0, 1, 8, 32}));
    if (random.one_in(30))
        shape.and_depth = static_cast<std::uint8_t>(random.below(3));
    const auto height = static_cast<std::uint8_t>(shape.xor_depth == 1 ? shape.height / 2 : shape.height);
    std::size_t len = planes(shape.width, height, shape.xor_depth).length + random.one_of({0, 0, 1, 9});
    if (random.one_in(20))
        len /= 2;
    shape.bitmap = random.bitmap(shape.width, height, shape.xor_depth, std::max<std::size_t>(len, 1));
    return shape;
}

// One that differs from another in a little.
static cursor_shape varied(cursor_shape shape, dice& random)
{
    switch (random.below(4)) {
    case 0:
        shape.arg1 ^= 1;
        break;
    case 1:
        shape.height ^= 1;
        break;
    case 2:
        shape.bitmap[random.below(static_cast<std::uint32_t>(shape.bitmap.size()))] ^= 0x10;
        break;
    default:
        shape.bitmap.push_back(0);
        break;
    }
    return shape;
}

static void change_context(visible_link& link, dice& random)
{
    auto& context = link.kmp_pri_ctxt;
    context.cur_shape_bmp_alpha = static_cast<std::uint8_t>(random.one_in(20) ? 0 : 1 + random.below(255));
    context.cur_shape_caches_supported = static_cast<std::uint8_t>(random.one_in(8) ? 0 : 1 + random.below(255));
    context.cur_shape_cache_size_supported = static_cast<std::uint8_t>(random.one_in(8) ? 0 : 1 + random.below(255));
    context.cur_shape_caches = static_cast<std::uint16_t>(random.one_of({0, 1, 2, 3, 3, 4, 16, 17, 40, 0xFFFF}));
    context.cur_shape_cache_size = random.one_of({0, 16, 60, 100, 300, 300});
    link.kmp_pri_ctxt_valid = random.one_in(20) ? 0 : 1;
}

TEST(bitmap_cache, follows_the_model_through_10000_random_sequences)
{
    dice random;
    int sent = 0, selected = 0, failed = 0, without_memory = 0;
    for (int sequence = 0; sequence < 10'000; ++sequence) {
        SCOPED_TRACE("sequence " + std::to_string(sequence));
        ASSERT_EQ(allocations::living(), 0u); // the link before has left nothing
        const int level = sequence % 8 == 0 ? VESK_LOG_DEBUG : VESK_LOG_OFF;
        host h(level);
        constructed_link link(h);
        std::vector<sent_request> seen;
        int driver = 0;
        h.serve_ioctl([&](int fd, std::uint32_t code, void* record) {
            auto* const first = static_cast<std::uint8_t*>(record);
            std::uint32_t length = 12;
            if (code == SHAPE_BMP)
                std::memcpy(&length, first + 16, sizeof(length));
            seen.push_back({fd, code, bytes(first, first + length)});
            std::fill_n(first, length, 0xDD);
            return driver;
        });

        cache_model model;
        std::vector<cursor_shape> pool;
        for (int i = 0; i < 5; ++i)
            pool.push_back(random.one_in(3) && i > 0 ? varied(pool.back(), random) : some_shape(random));
        for (int step = 0; step < 20; ++step) {
            const std::uint32_t operation = step == 0 ? 1 : random.below(30);
            if (operation <= 1)
                change_context(*link, random);
            const bool builds = operation == 1 || operation == 2;
            int failing = -1;
            if (random.one_in(builds ? 4 : 15))
                failing = builds ? static_cast<int>(random.below(5)) : 0;
            driver = random.one_in(10) ? -EIO : static_cast<int>(random.below(2));
            const cursor_shape& shape = pool[random.below(static_cast<std::uint32_t>(pool.size()))];
            seen.clear();

            expectation expected;
            int result = 0;
            int tried = 0, freed = 0;
            {
                const allocations made(failing);
                if (builds)
                    result = link->init_bitmap_cache();
                else if (operation == 3)
                    result = link->flush_bitmap_cache();
                else if (operation > 3)
                    result = send_shape(*link, shape);
                tried = made.tried;
                freed = made.freed;
            }
            if (builds)
                expected = model.init(link->kmp_pri_ctxt, failing);
            else if (operation == 3)
                expected = model.flush();
            else if (operation > 3)
                expected = model.send(link->kmp_pri_ctxt, link->kmp_pri_ctxt_valid != 0, shape, failing == 0, driver);

            SCOPED_TRACE("step " + std::to_string(step));
            ASSERT_EQ(result, expected.result);
            ASSERT_TRUE(seen == expected.requests);
            ASSERT_EQ(h.log(), at_level(level, expected.written));
            ASSERT_EQ(tried, expected.allocations);
            ASSERT_EQ(freed, expected.freed);
            ASSERT_NO_FATAL_FAILURE(model.expect_same(*link));
            sent += result == 0 && seen.size() == 1 && seen[0].code == SHAPE_BMP;
            selected += result == 0 && seen.size() == 1 && seen[0].code == SHAPE;
            failed += driver < 0 && seen.size() == 1;
            without_memory += result == -507;
        }
    }
    // The mix reaches what it is for.
    EXPECT_GT(sent, 30'000);
    EXPECT_GT(selected, 12'000);
    EXPECT_GT(failed, 6'000);
    EXPECT_GT(without_memory, 1'200);
}
