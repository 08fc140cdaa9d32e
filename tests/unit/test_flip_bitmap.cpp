// The conversion of a cursor's bitmap, against a slow reference and by hand.
#include "calls.h"
#include "cursor.h"
#include "vesk_log.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>

static const char* const OPAQUE_LINE = "flip_bitmap D Zero transparent bits in AND mask";

// What a conversion did. The destination has the bytes that it had before, and none behind them.
struct outcome {
    int result;
    int no_transparency;
    bytes destination;

    bool operator==(const outcome&) const = default;
};

static constexpr int UNTOUCHED = 7;

// Converts from and into blocks of exactly this length on the heap, where every byte too far is seen.
static outcome convert(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& source,
                       const bytes& before)
{
    const std::size_t len = source.size();
    const auto src = std::make_unique<std::uint8_t[]>(len);
    const auto dst = std::make_unique<std::uint8_t[]>(len);
    std::copy(source.begin(), source.end(), src.get());
    std::copy(before.begin(), before.end(), dst.get());
    int no_transparency = UNTOUCHED;
    const int result = cVESK_HALDO_LINK::flip_bitmap(width, height, xor_depth, static_cast<unsigned int>(len),
                                                     src.get(), dst.get(), &no_transparency);
    EXPECT_TRUE(std::equal(source.begin(), source.end(), src.get())) << "the source was written to";
    return {result, no_transparency, {dst.get(), dst.get() + len}};
}

static outcome expected(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& source,
                        const bytes& before)
{
    if (planes(width, height, xor_depth).length > source.size())
        return {-500, UNTOUCHED, before};
    outcome made{0, is_transparent(width, height, xor_depth, source) ? UNTOUCHED : 1, before};
    std::ranges::copy(flipped(width, height, xor_depth, source), made.destination.begin());
    return made;
}

// The source and what the destination becomes; the rest of it stays.
static void expect_conversion(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& source,
                              int no_transparency, const bytes& written)
{
    bytes destination = random_bytes(source.size());
    const bytes before = destination;
    std::ranges::copy(written, destination.begin());
    EXPECT_EQ(convert(width, height, xor_depth, source, before), (outcome{0, no_transparency, destination}));
}

// --- By hand ---

TEST(flip_bitmap, puts_the_and_plane_of_a_monochrome_cursor_first_and_turns_both)
{
    bytes source(256), written(256);
    for (int row = 0; row < 32; ++row) {
        for (int i = 0; i < 4; ++i) {
            const auto from_xor = static_cast<std::uint8_t>(row * 4 + i);
            const auto from_and = static_cast<std::uint8_t>(0x80 + row * 4 + i);
            source[row * 4 + i] = from_xor;
            source[128 + row * 4 + i] = from_and;
            written[(31 - row) * 4 + i] = from_and;
            written[128 + (31 - row) * 4 + i] = from_xor;
        }
    }
    expect_conversion(32, 32, 1, source, UNTOUCHED, written);
}

TEST(flip_bitmap, turns_both_planes_of_a_colour_cursor)
{
    expect_conversion(2, 3, 32, {0x00, 0xA1, 0xA2, 0xA3, 0x00, 0xB1, 0xB2, 0xB3, 0x40, 0xC1, 0xC2, 0xC3, // AND plane
                                 1,    2,    3,    4,    5,    6,    7,    8,                            // XOR plane
                                 9,    10,   11,   12,   13,   14,   15,   16,                           //
                                 17,   18,   19,   20,   21,   22,   23,   24,                           //
                                 0xEE},
                      UNTOUCHED, {0x40, 0xC1, 0xC2, 0xC3, 0x00, 0xB1, 0xB2, 0xB3, 0x00, 0xA1, 0xA2, 0xA3, //
                                  17,   18,   19,   20,   21,   22,   23,   24,                           //
                                  9,    10,   11,   12,   13,   14,   15,   16,                           //
                                  1,    2,    3,    4,    5,    6,    7,    8});
}

TEST(flip_bitmap, writes_the_xor_plane_alone_when_nothing_is_transparent)
{
    // The search sees row 2 of the AND plane and the first pixels of what follows: 0x3F has none of a width of 2.
    expect_conversion(2, 3, 32, {0xFF, 0xA1, 0xA2, 0xA3, 0xFF, 0xB1, 0xB2, 0xB3, 0x3F, 0xC1, 0xC2, 0xC3, //
                                 0x01, 2,    3,    4,    0x05, 6,    7,    8,                            //
                                 9,    10,   11,   12,   13,   14,   15,   16,                           //
                                 17,   18,   19,   20,   21,   22,   23,   24},
                      1, {17, 18, 19, 20, 21, 22, 23, 24, //
                          9,  10, 11, 12, 13, 14, 15, 16, //
                          1,  2,  3,  4,  5,  6,  7,  8});
    // The monochrome plane's lower row has a transparent pixel, which the search does not see.
    expect_conversion(8, 2, 1, {1, 2, 3, 4, 5, 6, 7, 8, 0xFF, 0, 0, 0, 0x00, 0xFF, 0xFF, 0xFF}, 1,
                      {5, 6, 7, 8, 1, 2, 3, 4});
}

TEST(flip_bitmap, gives_only_the_xor_rows_of_an_and_plane_of_zeros)
{
    for (const std::uint8_t xor_depth : {1, 32}) {
        const planes at(32, 32, xor_depth);
        bytes source = zero_filled(at.length);
        bytes written(at.xor_row * 32);
        for (std::size_t row = 0; row < 32; ++row) {
            // Behind what the search sees of a colour cursor's XOR plane, which is 31 words.
            const std::size_t place = at.xor_start + row * at.xor_row + at.xor_row - 1;
            source[place] = static_cast<std::uint8_t>(1 + row);
            written[(31 - row) * at.xor_row + at.xor_row - 1] = source[place];
        }
        expect_conversion(32, 32, xor_depth, source, 1, written);
    }
}

TEST(flip_bitmap, searches_as_many_rows_as_the_cursor_has)
{
    for (std::size_t i = 0; i < 3 * 4 + 3 * 12; ++i) {
        bytes source = zero_filled(3 * 4 + 3 * 12);
        source[i] = 0x80;
        const bool is_seen = i == 8 || i == 12 || i == 16;
        EXPECT_EQ(convert(3, 3, 32, source, source).no_transparency, is_seen ? UNTOUCHED : 1) << "byte " << i;
    }
}

TEST(flip_bitmap, searches_what_follows_the_planes_as_far_as_the_source_goes)
{
    for (std::size_t extra = 0; extra < 16; ++extra) {
        for (std::size_t i = 0; i < extra; ++i) {
            bytes source = zero_filled(4 * 8 + extra);
            source[32 + i] = 0x01;
            // Three rows follow the last one of the AND plane; 24 pixels of each count.
            EXPECT_EQ(convert(24, 4, 1, source, source).no_transparency, i < 12 && i % 4 < 3 ? UNTOUCHED : 1)
                << "byte " << i << " of " << extra;
        }
    }
}

TEST(flip_bitmap, of_a_cursor_without_pixels_finds_nothing_and_writes_nothing)
{
    for (const std::uint8_t xor_depth : {1, 32}) {
        for (const std::size_t room : {0, 1, 40}) {
            expect_conversion(0, 0, xor_depth, bytes(room, 0xFF), 1, {});
            expect_conversion(0, 255, xor_depth, bytes(room, 0xFF), 1, {});
            expect_conversion(255, 0, xor_depth, bytes(room, 0xFF), 1, {});
        }
    }
}

TEST(flip_bitmap, needs_room_for_both_planes_even_when_one_is_left_out)
{
    const struct {
        std::uint8_t width, height, xor_depth;
        std::size_t needed;
        const char* figures;
    } cases[] = {
        {32, 32, 32, 4224, "alw 4 xlw 128 h 32 bl 4223"},
        {32, 32, 1, 256, "alw 4 xlw 4 h 32 bl 255"},
        {33, 1, 1, 16, "alw 8 xlw 8 h 1 bl 15"},
        {1, 1, 32, 8, "alw 4 xlw 4 h 1 bl 7"},
        {255, 255, 32, 268260, "alw 32 xlw 1020 h 255 bl 268259"},
        {255, 255, 1, 16320, "alw 32 xlw 32 h 255 bl 16319"},
    };
    for (const auto& c : cases) {
        const std::string written = std::string("flip_bitmap E dest buffer too small, aborting copy: ") + c.figures;
        expect_lines_by_level({written, written}, [&](host&) {
            const bytes before = random_bytes(c.needed - 1);
            for (const std::uint8_t content : {0x00, 0xFF})
                EXPECT_EQ(convert(c.width, c.height, c.xor_depth, bytes(c.needed - 1, content), before),
                          (outcome{-500, UNTOUCHED, before}));
        });
        expect_conversion(c.width, c.height, c.xor_depth, zero_filled(c.needed), 1,
                          zero_filled(planes(c.width, c.height, c.xor_depth).xor_row * c.height));
    }
}

TEST(flip_bitmap, takes_the_largest_length_for_room)
{
    int no_transparency = UNTOUCHED;
    const std::uint8_t src[8] = {1, 2, 3, 4, 0x80};
    std::uint8_t dst[8] = {};
    EXPECT_EQ(cVESK_HALDO_LINK::flip_bitmap(1, 1, 1, 0xFFFFFFFF, src, dst, &no_transparency), 0);
    EXPECT_EQ(bytes(dst, dst + 8), (bytes{0x80, 0, 0, 0, 1, 2, 3, 4}));
    EXPECT_EQ(no_transparency, UNTOUCHED);
}

TEST(flip_bitmap, logs_an_opaque_cursor_and_no_other)
{
    expect_lines_by_level({OPAQUE_LINE}, [](host&) { convert(8, 1, 1, zero_filled(8), zero_filled(8)); });
    expect_lines_by_level({OPAQUE_LINE}, [](host&) { convert(0, 0, 32, {}, {}); });
    expect_lines_by_level({}, [](host&) { convert(8, 1, 1, bytes(8, 0xFF), zero_filled(8)); });
}

// --- Against the reference ---

static std::uint8_t some_size(dice& random)
{
    switch (random.below(4)) {
    case 0:
        return static_cast<std::uint8_t>(random.below(12));
    case 1:
        return static_cast<std::uint8_t>(1 + random.below(40));
    default:
        return static_cast<std::uint8_t>(random.one_of({0, 1, 7, 8, 9, 20, 31, 32, 33}));
    }
}

static std::uint8_t some_large_size(dice& random)
{
    return static_cast<std::uint8_t>(random.one_in(2) ? random.below(256) : random.one_of({63, 64, 65, 254, 255}));
}

TEST(flip_bitmap, follows_the_reference_for_20000_random_cursors)
{
    host h(VESK_LOG_OFF);
    dice random;
    int refused = 0, opaque = 0, transparent = 0, large = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::uint8_t width = random.one_in(10) ? some_large_size(random) : some_size(random);
        const std::uint8_t height = random.one_in(10) ? some_large_size(random) : some_size(random);
        const auto xor_depth = static_cast<std::uint8_t>(random.one_in(8) ? random.below(256) : random.one_of({1, 32}));
        std::size_t len = planes(width, height, xor_depth).length;
        if (random.one_in(4))
            len += random.below(300);
        else if (random.one_in(8))
            len -= std::min<std::size_t>(len, random.one_in(2) ? 1 : random.below(300));
        const bytes source = random.bitmap(width, height, xor_depth, len);
        const bytes before = random.some(len);
        const outcome made = convert(width, height, xor_depth, source, before);
        ASSERT_EQ(made, expected(width, height, xor_depth, source, before))
            << "cursor " << i << ": " << int{width} << 'x' << int{height} << 'x' << int{xor_depth} << " in " << len;
        refused += made.result != 0;
        opaque += made.result == 0 && made.no_transparency == 1;
        transparent += made.result == 0 && made.no_transparency != 1;
        large += len > 100'000;
    }
    // The mix reaches what it is for.
    EXPECT_GT(refused, 1'000);
    EXPECT_GT(opaque, 4'000);
    EXPECT_GT(transparent, 4'000);
    EXPECT_GT(large, 4);
}
