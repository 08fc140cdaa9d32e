// The arithmetic of display layouts: boundary values by hand, and everything against slow references.
#include "display_layout.h"
#include "layouts.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>

static std::int64_t unsigned_at(const bytes& record, std::size_t offset, std::size_t width)
{
    std::int64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= std::int64_t{record.at(offset + i)} << (8 * i);
    return value;
}

static bytes slice(const bytes& record, std::size_t offset, std::size_t size)
{
    const auto first = record.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}

// The firmware's record of a layout.
static sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT firmware_record(const displays& all)
{
    return record_of<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(firmware_layout(all));
}

// --- layout_for_driver, by hand ---

static bytes driver_bytes(const layout& from)
{
    return bytes_of(vesk::layout_for_driver(firmware_record(from.all), static_cast<std::int32_t>(from.primary_width),
                                            static_cast<std::int32_t>(from.primary_height),
                                            static_cast<std::int32_t>(from.twinview)));
}

class layout_test : public testing::TestWithParam<layout>
{
};
INSTANTIATE_TEST_SUITE_P(of, layout_test, testing::ValuesIn(layouts),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(layout_test, gets_its_bounds_totals_and_scales)
{
    EXPECT_EQ(driver_bytes(GetParam()), driver_record(GetParam().head, GetParam().blocks));
}

// --- layout_for_driver, against a slow reference ---

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

TEST(layout_for_driver, follows_the_reference_for_100000_random_layouts)
{
    const auto seed = static_cast<std::uint32_t>(unsigned_at(random_bytes(4), 0, 4));
    SCOPED_TRACE("seed of the layouts " + std::to_string(seed));
    layout_source source(seed);
    int zero_totals = 0;
    int negative_totals = 0;
    for (int i = 0; i < 100'000; ++i) {
        const layout made = source.next();
        const bytes expected = reference_driver_record(made);
        ASSERT_EQ(driver_bytes(made), expected) << "layout " << i;
        const std::int64_t total_width = kept(unsigned_at(expected, 24, 4));
        zero_totals += total_width == 0 && expected[4] != 0;
        negative_totals += total_width < 0;
    }
    EXPECT_GT(zero_totals, 100); // the mix reaches what it is for
    EXPECT_GT(negative_totals, 1000);
}

static auto used_layout(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw)
{
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topo;
    std::memset(&topo, 0xAA, sizeof(topo));
    vesk::fill_used_layout(fw, &topo);
    return topo;
}

static auto cached_layout(const sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT& fw, int* result)
{
    sVESK_HALDO_LINK_CACHE_DISP_TOPO topo{};
    *result = vesk::fill_cached_layout(fw, &topo);
    return topo;
}

// --- used_layout ---

TEST(used_layout, keeps_the_index_of_used_entries_and_counts_no_others)
{
    static constexpr std::int64_t sizes[][2] = {{1, 1}, {0, 600}, {800, 0}, {65535, 65535}, {0, 256}, {256, 0}};
    for (unsigned int used = 0; used < 16; ++used) {
        for (const auto& size : sizes) {
            bytes firmware = random_bytes(72);
            bytes expected(68);
            put(expected, 0, std::popcount(used));
            for (unsigned int i = 0; i < 4; ++i) {
                const bool is_used = (used >> i & 1) != 0;
                put(firmware, 8 + 16 * i + 8, is_used ? size[0] : 0, 2);
                put(firmware, 8 + 16 * i + 10, is_used ? size[1] : 0, 2);
                put(firmware, 8 + 16 * i + 12, i);
                if (is_used)
                    put_bytes(expected, 4 + 16 * i, slice(firmware, 8 + 16 * i, 16));
            }
            EXPECT_EQ(bytes_of(used_layout(record_of<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(firmware))), expected)
                << "entries " << used << ", " << size[0] << " x " << size[1];
        }
    }
}

// What becomes of a rotation code.
static constexpr std::int64_t rotations[][2] = {{0, 0},   {1, 1},   {2, 2},       {3, 3},         {4, 3},      {5, 3},
                                                {255, 3}, {256, 3}, {0x10001, 3}, {1LL << 31, 3}, {U32_MAX, 3}};

TEST(used_layout, makes_every_rotation_code_0_to_3)
{
    for (const auto& [code, normalised] : rotations) {
        for (std::size_t i = 0; i < 4; ++i) {
            displays all{};
            all[i] = {1, 2, 3, 4, code};
            const auto firmware = firmware_record(all);
            all[i].rotation = normalised;
            EXPECT_EQ(bytes_of(used_layout(firmware)), link_layout(1, all)) << "code " << code;
        }
    }
}

// --- cached_layout ---

// The rule by which the reply becomes the caller's record, byte by byte.
struct cached_outcome {
    int result;
    bytes record;

    bool operator==(const cached_outcome&) const = default;
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

// What it makes of the firmware's record.
static cached_outcome cached(const bytes& reply)
{
    int result = 12345;
    const auto topo = cached_layout(record_of<sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT>(reply), &result);
    return {result, bytes_of(topo)};
}

TEST(cached_layout, follows_the_rule_for_random_replies)
{
    for (int i = 0; i < 500; ++i) {
        const bytes reply = random_bytes(272);
        EXPECT_EQ(cached(reply), reference_cached(reply));
    }
}

TEST(cached_layout, reports_the_last_rate_mark_of_an_unused_entry)
{
    static constexpr std::int64_t used_sizes[][2] = {{1920, 1080}, {0, 600}, {800, 0}, {0x100, 0}, {0, 0x100}};
    for (unsigned int combination = 0; combination < 6 * 6 * 6 * 6; ++combination) {
        bytes reply = random_bytes(272);
        unsigned int rest = combination;
        for (std::size_t i = 0; i < 4; ++i, rest /= 6) {
            const bool is_used = rest % 2 == 1;
            const auto& size = used_sizes[(combination + i) % std::size(used_sizes)];
            put(reply, 8 + 16 * i + 8, is_used ? size[0] : 0, 2);
            put(reply, 8 + 16 * i + 10, is_used ? size[1] : 0, 2);
            const std::uint8_t rate = rest / 2 % 3 == 0 ? reply[72 + i] % 0xFE : rest / 2 % 3 == 1 ? 0xFE : 0xFF;
            reply[72 + i] = rate;
        }
        EXPECT_EQ(cached(reply), reference_cached(reply)) << "combination " << combination;
    }
}

TEST(cached_layout, passes_every_ordinary_rate_through)
{
    for (unsigned int rate = 0; rate < 0xFE; ++rate) {
        bytes reply = zero_filled(272);
        std::fill_n(reply.begin() + 72, 4, static_cast<std::uint8_t>(rate));
        bytes expected(392);
        for (const std::size_t entry : {8, 32, 56, 80})
            expected[entry + 16] = static_cast<std::uint8_t>(rate);
        EXPECT_EQ(cached(reply), (cached_outcome{0, expected})) << "rate " << rate;
    }
}

TEST(cached_layout, makes_every_rotation_code_0_to_3)
{
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
                EXPECT_EQ(cached(reply), (cached_outcome{0, expected})) << "code " << code;
            }
        }
    }
}
