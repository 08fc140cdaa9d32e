// Cursor bitmaps of two planes, and what is kept of shapes: by hand and against slow references.
#include "cursor.h"
#include "cursor_bitmap.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

// --- Planes ---

TEST(bitmap_planes, lie_where_the_reference_has_them)
{
    for (int width = 0; width < 256; ++width) {
        for (int height = 0; height < 256; ++height) {
            for (const std::uint8_t xor_depth : {0, 1, 2, 31, 32, 33, 255}) {
                const auto w = static_cast<std::uint8_t>(width);
                const auto h = static_cast<std::uint8_t>(height);
                const planes expected(w, h, xor_depth);
                const vesk::bitmap_planes made(w, h, xor_depth);
                ASSERT_TRUE(made.and_row == expected.and_row && made.xor_row == expected.xor_row &&
                            made.and_start == expected.and_start && made.xor_start == expected.xor_start &&
                            made.length == expected.length)
                    << width << 'x' << height << 'x' << int{xor_depth};
            }
        }
    }
}

// --- The search for a pixel ---

// Searches a block of exactly this length on the heap, where every byte too far is seen.
static bool is_any_set(const bytes& rows, std::uint32_t width, std::uint32_t height)
{
    const auto block = std::make_unique<std::uint8_t[]>(rows.size());
    std::copy(rows.begin(), rows.end(), block.get());
    return vesk::any_pixel_set(block.get(), static_cast<std::uint32_t>(rows.size()), width, height);
}

// A pixel at a time.
static bool is_any_set_by_pixel(const bytes& rows, std::uint8_t width, std::uint8_t height)
{
    const std::size_t row_len = planes(width, height, 1).and_row;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t at = y * row_len + x / 8;
            if (at < rows.size() && (rows[at] & 0x80 >> x % 8) != 0)
                return true;
        }
    }
    return false;
}

TEST(any_pixel_set, sees_every_pixel_of_every_row_and_no_padding)
{
    for (int width = 0; width < 256; ++width) {
        const std::size_t row_len = planes(static_cast<std::uint8_t>(width), 1, 1).and_row;
        for (std::size_t bit = 0; bit < row_len * 8; ++bit) {
            for (std::size_t row = 0; row < 3; ++row) {
                bytes rows = zero_filled(3 * row_len);
                rows[row * row_len + bit / 8] = static_cast<std::uint8_t>(0x80 >> bit % 8);
                ASSERT_EQ(is_any_set(rows, static_cast<std::uint32_t>(width), 3), bit < static_cast<std::size_t>(width))
                    << "width " << width << ", row " << row << ", bit " << bit;
            }
        }
    }
}

TEST(any_pixel_set, ends_with_the_bytes_and_with_the_rows)
{
    for (std::size_t len = 0; len < 20; ++len) {
        for (std::uint32_t height = 0; height < 5; ++height) {
            for (std::size_t i = 0; i < len; ++i) {
                bytes rows = zero_filled(len);
                rows[i] = 0x01;
                EXPECT_EQ(is_any_set(rows, 24, height), i < 4 * height && i % 4 < 3) << "byte " << i << " of " << len;
            }
            EXPECT_FALSE(is_any_set(zero_filled(len), 24, height));
        }
    }
    EXPECT_FALSE(is_any_set(bytes(40, 0xFF), 0, 255));
    EXPECT_FALSE(is_any_set(bytes(40, 0xFF), 255, 0));
}

TEST(any_pixel_set, follows_the_reference_for_50000_random_rows)
{
    dice random;
    int found = 0;
    for (int i = 0; i < 50'000; ++i) {
        const std::uint8_t width = random.byte();
        const auto height = static_cast<std::uint8_t>(random.below(40));
        bytes rows = zero_filled(random.below(2 * 32 * 40));
        for (std::uint32_t bits = random.below(4); bits > 0 && !rows.empty(); --bits)
            rows[random.below(static_cast<std::uint32_t>(rows.size()))] |=
                static_cast<std::uint8_t>(1 << random.below(8));
        const bool is_set = is_any_set_by_pixel(rows, width, height);
        ASSERT_EQ(is_any_set(rows, width, height), is_set) << int{width} << 'x' << int{height} << " in " << rows.size();
        found += is_set;
    }
    EXPECT_GT(found, 5'000); // the mix reaches what it is for
    EXPECT_LT(found, 45'000);
}

// --- Copies ---

TEST(copy_reversed, turns_the_rows_and_returns_their_end)
{
    const bytes source = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    bytes copy(10, 0xEE);
    EXPECT_EQ(vesk::copy_reversed(copy.data(), source.data(), 3, 3), copy.data() + 9);
    EXPECT_EQ(copy, (bytes{7, 8, 9, 4, 5, 6, 1, 2, 3, 0xEE}));
    for (const auto& [row_len, rows] : {std::pair{0u, 3u}, {3u, 0u}}) {
        EXPECT_EQ(vesk::copy_reversed(copy.data(), source.data(), row_len, rows), copy.data());
        EXPECT_EQ(copy[0], 7);
    }
}

// --- Shapes that are kept ---

static bmp_cache_entry description_of(const cursor_shape& shape)
{
    return {shape.type,      shape.arg1,   shape.arg2,
            shape.width,     shape.height, shape.and_depth,
            shape.xor_depth, nullptr,      static_cast<std::uint32_t>(shape.bitmap.size())};
}

// Entries with blocks of exactly 40 bytes.
class kept_shapes
{
public:
    kept_shapes()
    {
        for (std::size_t i = 0; i < 4; ++i)
            entries[i].data = (blocks[i] = std::make_unique<std::uint8_t[]>(40)).get();
    }
    void store(std::size_t slot, const cursor_shape& shape)
    {
        vesk::store_shape(&entries[slot], description_of(shape), shape.bitmap.data());
        EXPECT_EQ(entries[slot].data, blocks[slot].get());
    }
    int find(const cursor_shape& shape, int count = 4) const
    {
        return vesk::find_shape(entries, count, description_of(shape), shape.bitmap.data());
    }

private:
    bmp_cache_entry entries[4]{};
    std::unique_ptr<std::uint8_t[]> blocks[4];
};

TEST(find_shape, compares_every_argument)
{
    kept_shapes kept;
    const cursor_shape held{COLOR, 1, 2, 3, 4, 5, 6, random_bytes(40)};
    kept.store(1, held);
    EXPECT_EQ(kept.find(held), 1);
    std::vector<cursor_shape> others;
    for (int bit = 0; bit < 8; ++bit) {
        const auto changed = static_cast<std::uint8_t>(1 << bit);
        for (const auto each : {&cursor_shape::arg1, &cursor_shape::arg2, &cursor_shape::width, &cursor_shape::height,
                                &cursor_shape::and_depth, &cursor_shape::xor_depth})
            others.emplace_back(held).*each ^= changed;
        for (std::size_t i = 0; i < held.bitmap.size(); ++i)
            others.emplace_back(held).bitmap[i] ^= changed;
    }
    for (const int type : {0, 2, -1, 257})
        others.emplace_back(held).type = static_cast<eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE>(type);
    for (const std::size_t len : {1, 39, 41, 64, 296})
        others.emplace_back(held).bitmap.resize(len);
    for (const cursor_shape& other : others)
        EXPECT_EQ(kept.find(other), 4);
}

TEST(find_shape, does_not_read_a_bitmap_of_another_length)
{
    bytes held(8, 1);
    const bytes one(1, 1);
    bmp_cache_entry entry = description_of({ALPHA, 1, 2, 3, 4, 0, 0, held});
    entry.data = held.data();
    bmp_cache_entry longer = entry;
    longer.len = 0xFFFFFFFF;
    EXPECT_EQ(vesk::find_shape(&entry, 1, longer, one.data()), 1);
    EXPECT_EQ(vesk::find_shape(&entry, 1, entry, held.data()), 0);
}

TEST(find_shape, finds_the_lowest_and_none_from_the_count_on)
{
    kept_shapes kept;
    const cursor_shape shape{ALPHA, 1, 2, 3, 4, 0, 0, bytes(8, 1)};
    for (const int slot : {3, 2, 1, 0}) {
        kept.store(static_cast<std::size_t>(slot), shape);
        EXPECT_EQ(kept.find(shape), slot);
        EXPECT_EQ(kept.find(shape, slot), slot); // that is the count
    }
}

TEST(store_shape, takes_the_place_of_another_shape)
{
    kept_shapes kept;
    const cursor_shape first{ALPHA, 1, 2, 3, 4, 0, 0, random_bytes(40)};
    const cursor_shape second{COLOR, 5, 6, 7, 8, 1, 32, random_bytes(9)};
    kept.store(2, first);
    kept.store(2, second);
    EXPECT_EQ(kept.find(first), 4);
    EXPECT_EQ(kept.find(second), 2);
}
