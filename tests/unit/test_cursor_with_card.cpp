// Cursors from the caller's bitmap to what the user sees, through the simulated card.
#include "calls.h"
#include "card.h"
#include "cursor.h"
#include "link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// What the user is to see of a good shape: the caller's rows come from the bottom to the top, except for an ALPHA
// bitmap, which nobody turns. Where the search for transparency finds nothing no pixel is transparent.
static cardsim::picture picture_of(const cursor_shape& shape)
{
    const bool is_monochrome = shape.xor_depth == 1;
    cardsim::picture seen{.kind = shape.type == ALPHA ? cardsim::picture_kind::ALPHA
                                  : is_monochrome     ? cardsim::picture_kind::MONOCHROME
                                                      : cardsim::picture_kind::COLOR,
                          .width = shape.width,
                          .height = static_cast<std::uint8_t>(is_monochrome ? shape.height / 2 : shape.height),
                          .shape_arg1 = shape.arg1,
                          .shape_arg2 = shape.arg2,
                          .pixels = {}};
    const bytes& bitmap = shape.bitmap;
    const auto bit = [&](std::size_t row, std::size_t x) { return (bitmap[row + x / 8] & 0x80 >> x % 8) != 0; };
    const auto word = [&](std::size_t at) {
        return bitmap[at] | bitmap[at + 1] << 8 | bitmap[at + 2] << 16 |
               static_cast<std::uint32_t>(bitmap[at + 3]) << 24;
    };
    const planes at(seen.width, seen.height, shape.xor_depth);
    const bool is_opaque = shape.type == ALPHA || !is_transparent(seen.width, seen.height, shape.xor_depth, bitmap);
    for (std::size_t y = 0; y < seen.height; ++y) {
        const std::size_t row = shape.type == ALPHA ? y : seen.height - 1 - y;
        for (std::size_t x = 0; x < seen.width; ++x) {
            cardsim::pixel pixel;
            if (shape.type == ALPHA) {
                pixel.value = word((row * seen.width + x) * 4);
            } else {
                pixel.and_bit = !is_opaque && bit(at.and_start + row * at.and_row, x);
                pixel.value = is_monochrome ? bit(at.xor_start + row * at.xor_row, x)
                                            : word(at.xor_start + row * at.xor_row + x * 4);
            }
            seen.pixels.push_back(pixel);
        }
    }
    return seen;
}

// The shape as the link's caller gave it, whose height counts the rows of both planes of a monochrome one.
static cursor_shape shape_of(const bmp_cache_entry& entry)
{
    const auto height = static_cast<std::uint8_t>(entry.xor_depth == 1 ? entry.height * 2 : entry.height);
    return {entry.bitmap_type,
            entry.shape_arg1,
            entry.shape_arg2,
            entry.width,
            height,
            entry.and_depth,
            entry.xor_depth,
            bytes(entry.data, entry.data + entry.len)};
}

class cursor_with_card : public testing::Test
{
protected:
    cursor_with_card()
    {
        expect_nodes_opened(h);
        h.serve_ioctl([this](int fd, std::uint32_t code, void* record) {
            const auto* const first = static_cast<std::uint8_t*>(record);
            std::size_t length = record != nullptr ? cardsim::record_length(code) : 0;
            if (length != 0)
                length = cardsim::record_length(code, {first, length});
            if (code == 0x7906)
                ++sent;
            if (code == 0x7907)
                ++selected;
            return card.request(fd == HCC ? VESK_NODE_HCC : VESK_NODE_HDC, code,
                                {static_cast<std::uint8_t*>(record), length});
        });
        link.emplace();
    }
    ~cursor_with_card() override { expect_nodes_closed(h); }

    // A session begins, with what the client offers then.
    void begin_session()
    {
        card.connect("10.1.2.3");
        link->kmp_pri_ctxt_get();
        link->init_bitmap_cache();
    }
    void begin_session(std::uint16_t entries, std::uint32_t size)
    {
        card.offered.kmp_context.cur_shape_caches = entries;
        card.offered.kmp_context.cur_shape_cache_size = size;
        begin_session();
    }

    // Sends a shape with all of its planes; the card reports it when that makes the client show another one.
    int send(const cursor_shape& shape)
    {
        card.client.expect(picture_of(shape));
        const int result = send_shape(*link, shape);
        card.client.expect({}); // a request that failed has left it
        return result;
    }

    // Whatever the link believes to be in a slot is there.
    void expect_same_caches()
    {
        for (int i = 0; i < link->bmp_cache_cnt; ++i) {
            const bmp_cache_entry& entry = link->bmp_cache[i];
            if (entry.len == 0)
                continue;
            const auto slot = card.client.cache().find(static_cast<std::uint8_t>(i));
            ASSERT_NE(slot, card.client.cache().end()) << "slot " << i;
            ASSERT_TRUE(slot->second == picture_of(shape_of(entry))) << "slot " << i;
        }
    }

    host h{VESK_LOG_OFF};
    cardsim::card card{{}, [](std::string_view line) {
                           if (line.find("wrong shape") != line.npos)
                               ADD_FAILURE() << line;
                       }};
    int sent = 0;
    int selected = 0;
    std::optional<visible_link> link;
};

// A shape of this size with all of its planes.
static cursor_shape good_shape(dice& random, std::uint32_t kind, std::uint8_t width, std::uint8_t height)
{
    cursor_shape shape{COLOR, random.byte(), random.byte(), width, height, 1, 32, {}};
    if (kind == 0) {
        shape.type = ALPHA;
        shape.and_depth = shape.xor_depth = 0;
        shape.bitmap = random.some(std::max<std::size_t>(1, std::size_t{width} * height * 4 + random.below(3)));
        return shape;
    }
    if (kind == 1)
        shape.xor_depth = 1;
    const auto rows = static_cast<std::uint8_t>(kind == 1 ? height / 2 : height);
    const std::size_t len = planes(width, rows, shape.xor_depth).length + random.one_of({0, 0, 1, 40});
    shape.bitmap = random.bitmap(width, rows, shape.xor_depth, std::max<std::size_t>(len, 1));
    return shape;
}

TEST_F(cursor_with_card, shows_a_drawn_cursor)
{
    begin_session();
    const bytes xor_plane = {0b00100000, 0, 0, 0, 0b01000000, 0, 0, 0}; // rows from the bottom
    const bytes and_plane = {0b10000000, 0, 0, 0, 0b10100000, 0, 0, 0};
    EXPECT_EQ(send({COLOR, 3, 4, 3, 4, 1, 1, joined(xor_plane, and_plane)}), 0);
    const std::vector<cardsim::pixel> pixels = {{true, 0}, {false, 1}, {true, 0}, {true, 0}, {false, 0}, {false, 1}};
    EXPECT_EQ(card.cursor().shape, (cardsim::picture{cardsim::picture_kind::MONOCHROME, 3, 2, 3, 4, pixels}));
    EXPECT_EQ(sent, 1);
}

TEST_F(cursor_with_card, shows_every_size_as_it_was_drawn)
{
    dice random;
    begin_session(16, 300'000);
    const std::uint8_t sizes[] = {0, 1, 2, 7, 8, 9, 20, 31, 32, 33, 64, 65, 255};
    for (std::uint32_t kind = 0; kind < 3; ++kind) {
        for (const std::uint8_t width : sizes) {
            for (const std::uint8_t height : sizes) {
                const cursor_shape shape = good_shape(random, kind, width, height);
                const cardsim::picture expected = picture_of(shape);
                sent = selected = 0;
                ASSERT_EQ(send(shape), 0);
                ASSERT_TRUE(card.cursor().shape == expected) << kind << ": " << int{width} << 'x' << int{height};
                ASSERT_EQ(send(shape), 0);
                ASSERT_TRUE(card.cursor().shape == expected);
                ASSERT_EQ(sent, 1);
                ASSERT_EQ(selected, 1);
            }
        }
    }
}

TEST_F(cursor_with_card, shows_the_largest_cursors_from_the_cache_and_anew)
{
    dice random;
    begin_session(3, 268'260);
    std::vector<cursor_shape> shapes;
    for (const std::uint32_t kind : {0, 1, 2, 2}) {
        shapes.push_back(good_shape(random, kind, 255, 255));
        shapes.back().bitmap.resize(std::min<std::size_t>(shapes.back().bitmap.size(), 268'260));
    }
    for (const std::size_t i : {0, 1, 2, 2, 1, 0, 3, 0, 3, 1}) {
        ASSERT_EQ(send(shapes[i]), 0);
        ASSERT_TRUE(card.cursor().shape == picture_of(shapes[i])) << "shape " << i;
    }
    EXPECT_EQ(sent, 6); // 3 takes the place of 0, that the place of 1, and that the place of 2
    EXPECT_EQ(selected, 4);
}

TEST_F(cursor_with_card, shows_what_was_drawn_after_everything_that_can_happen)
{
    dice random;
    std::vector<cursor_shape> pool;
    int shown = 0, refused = 0, total_selected = 0;
    for (int step = 0; step < 15'000; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        if (step == 0 || random.one_in(60)) {
            auto& context = card.offered.kmp_context;
            context.cur_shape_caches_supported = random.one_in(8) ? 0 : 1;
            context.cur_shape_cache_size_supported = random.one_in(8) ? 0 : 1;
            context.cur_shape_bmp_alpha = random.one_in(8) ? 0 : 1;
            card.order(0x7906, 0);
            card.order(0x7907, 0);
            begin_session(static_cast<std::uint16_t>(random.one_of({0, 1, 2, 3, 4, 16, 17, 40})),
                          random.one_of({0, 50, 400, 400, 5000, 5000}));
            pool.clear();
            for (int i = 0; i < 5; ++i)
                pool.push_back(good_shape(random, random.below(3), static_cast<std::uint8_t>(random.below(25)),
                                          static_cast<std::uint8_t>(random.below(25))));
        }
        if (random.one_in(200))
            link->flush_bitmap_cache();
        if (random.one_in(10))
            card.order(random.one_in(2) ? 0x7906 : 0x7907, random.one_in(2) ? -EIO : 1, 1);
        cursor_shape shape = pool[random.below(static_cast<std::uint32_t>(pool.size()))];
        if (random.one_in(15))
            shape.arg1 ^= 1;
        if (random.one_in(40))
            shape.bitmap[random.below(static_cast<std::uint32_t>(shape.bitmap.size()))] ^= 0x10;
        const bool is_cut = random.one_in(30);
        if (is_cut)
            shape.bitmap.resize(std::max<std::size_t>(1, shape.bitmap.size() / 3)); // the card takes no such ALPHA one

        sent = selected = 0;
        const auto before = card.cursor().shape;
        const int result = is_cut ? send_shape(*link, shape) : send(shape);
        ASSERT_FALSE(HasFailure());
        ASSERT_LE(sent + selected, 1);
        if (result != 0) {
            ++refused;
            ASSERT_TRUE(card.cursor().shape == before);
            continue;
        }
        ASSERT_EQ(sent + selected, 1);
        ASSERT_TRUE(card.cursor().shape == picture_of(shape));
        ++shown;
        total_selected += selected;

        if (sent != 0) {
            ASSERT_NO_FATAL_FAILURE(expect_same_caches());
        }
    }
    // The mix reaches what it is for.
    EXPECT_GT(shown, 8'000);
    EXPECT_GT(total_selected, 800);
    EXPECT_GT(refused, 500);
}
