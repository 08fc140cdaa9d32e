// The client of the simulated card: what it makes of cursor shapes, what it keeps, and what its user sees.

#include "card.h"
#include "cursor_client.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using bytes = std::vector<std::uint8_t>;
using cardsim::picture;
using cardsim::picture_kind;
using cardsim::pixel;

// What is in the head of a shape record. The planes follow.
struct head {
    std::uint8_t type;
    std::uint8_t width;
    std::uint8_t height;
    std::uint8_t and_depth;
    std::uint8_t xor_depth;
    std::uint8_t slot = 0;
    std::uint8_t arg1 = 0;
    std::uint8_t arg2 = 0;
};

bytes operator+(bytes first, const bytes& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Little-endian.
bytes word(std::size_t value)
{
    return {std::uint8_t(value), std::uint8_t(value >> 8), std::uint8_t(value >> 16), std::uint8_t(value >> 24)};
}

bytes shape(const head& of, const bytes& planes)
{
    const bytes description{of.type, of.slot, of.arg1, of.arg2, of.width, of.height, of.and_depth, of.xor_depth};
    return bytes{3, 0, 0x0A, 0, 0, 0, 0, 0} + description + word(20 + planes.size()) + planes;
}

bytes selection(std::uint8_t slot)
{
    return {4, 0, 0x0A, 0, 0, 0, 0, 0, slot, 0, 0, 0};
}

// The bits of a row as text, '1' for each bit that is set.
std::string row(std::size_t width, bool ends)
{
    std::string bits(width, ends ? '0' : '1');
    bits.front() = bits.back() = ends ? '1' : '0';
    return bits;
}

bytes inverted(bytes plane)
{
    for (std::uint8_t& byte : plane)
        byte = static_cast<std::uint8_t>(~byte);
    return plane;
}

bytes last_byte_of_32(std::uint8_t last)
{
    bytes plane(32);
    plane.front() = 0x80;
    plane.back() = last;
    return plane;
}

// A row of a 1-bit plane for each width, in which the first and the last pixel and all of the padding are set.
const std::vector<std::pair<std::uint8_t, bytes>> rows{
    {1, {0xFF, 0xFF, 0xFF, 0xFF}},
    {7, {0x83, 0xFF, 0xFF, 0xFF}},
    {8, {0x81, 0xFF, 0xFF, 0xFF}},
    {9, {0x80, 0xFF, 0xFF, 0xFF}},
    {20, {0x80, 0x00, 0x1F, 0xFF}},
    {32, {0x80, 0x00, 0x00, 0x01}},
    {33, {0x80, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}},
    {255, last_byte_of_32(0x03)},
};

// A plane of two rows of 32-bit pixels, each with a value of its own.
std::uint32_t value_at(std::size_t x, std::size_t y)
{
    return 0xA0000000 + static_cast<std::uint32_t>(y << 16 | x << 4);
}

bytes values(std::size_t width)
{
    bytes plane;
    for (const std::size_t y : {0, 1})
        for (std::size_t x = 0; x < width; ++x)
            plane = plane + word(value_at(x, y));
    return plane;
}

// The same picture: two rows, the AND bits in text, or none, and these values.
picture colors(picture_kind kind, std::uint8_t width, const std::string& and_bits)
{
    picture result{kind, width, 2, 0, 0, {}};
    for (std::size_t i = 0; i < 2U * width; ++i)
        result.pixels.push_back({!and_bits.empty() && and_bits[i] == '1', value_at(i % width, i / width)});
    return result;
}

picture bits(std::uint8_t width, const std::string& and_bits, const std::string& xor_bits)
{
    picture result{picture_kind::MONOCHROME, width, 2, 0, 0, {}};
    for (std::size_t i = 0; i < xor_bits.size(); ++i)
        result.pixels.push_back({!and_bits.empty() && and_bits[i] == '1', xor_bits[i] == '1'});
    return result;
}

TEST(CursorPicture, has_the_and_plane_first_and_its_rows_from_the_top)
{
    const bytes record =
        shape({.type = 1, .width = 2, .height = 2, .and_depth = 1, .xor_depth = 1, .arg1 = 5, .arg2 = 6},
              {0x80, 0, 0, 0, 0x00, 0, 0, 0, 0xC0, 0, 0, 0, 0x40, 0, 0, 0});
    EXPECT_EQ(cardsim::decode_picture(record),
              (picture{picture_kind::MONOCHROME, 2, 2, 5, 6, {{true, 1}, {false, 1}, {false, 0}, {false, 1}}}));
}

TEST(CursorPicture, has_the_first_byte_of_a_value_lowest)
{
    EXPECT_EQ(cardsim::decode_picture(shape({0, 1, 1, 0, 0}, {1, 2, 3, 4})),
              (picture{picture_kind::ALPHA, 1, 1, 0, 0, {{false, 0x04030201}}}));
}

TEST(CursorPicture, reads_monochrome_rows_of_every_padding)
{
    for (const auto& [width, ends] : rows) {
        const std::string and_bits = row(width, true) + row(width, false);
        const std::string xor_bits = row(width, false) + row(width, true);
        const bytes and_plane = ends + inverted(ends);
        const bytes xor_plane = inverted(ends) + ends;
        EXPECT_EQ(cardsim::decode_picture(shape({1, width, 2, 1, 1}, and_plane + xor_plane)),
                  bits(width, and_bits, xor_bits));
        EXPECT_EQ(cardsim::decode_picture(shape({0, width, 2, 1, 1}, xor_plane)), bits(width, "", xor_bits));
    }
}

TEST(CursorPicture, reads_color_rows_of_every_padding)
{
    for (const auto& [width, ends] : rows) {
        const std::string and_bits = row(width, true) + row(width, false);
        EXPECT_EQ(cardsim::decode_picture(shape({1, width, 2, 1, 32}, ends + inverted(ends) + values(width))),
                  colors(picture_kind::COLOR, width, and_bits));
        EXPECT_EQ(cardsim::decode_picture(shape({0, width, 2, 1, 32}, values(width))),
                  colors(picture_kind::COLOR, width, ""));
        EXPECT_EQ(cardsim::decode_picture(shape({0, width, 2, 0, 0}, values(width))),
                  colors(picture_kind::ALPHA, width, ""));
    }
}

TEST(CursorPicture, is_the_same_with_an_and_plane_of_zeros_and_without)
{
    EXPECT_EQ(cardsim::decode_picture(shape({1, 9, 2, 1, 32}, bytes(8) + values(9))),
              cardsim::decode_picture(shape({0, 9, 2, 1, 32}, values(9))));
}

TEST(CursorPicture, reads_the_largest_one_whole)
{
    bytes planes(255 * 32 + 255 * 255 * 4);
    planes[255 * 32 - 1] = 0x02;
    planes.back() = 0x80;
    const auto decoded = cardsim::decode_picture(shape({1, 255, 255, 1, 32}, planes));
    ASSERT_TRUE(decoded);
    picture expected{picture_kind::COLOR, 255, 255, 0, 0, std::vector<pixel>(255 * 255)};
    expected.pixels.back() = {true, 0x80000000};
    EXPECT_TRUE(decoded == expected);
}

TEST(CursorPicture, needs_all_bytes_of_its_planes_and_ignores_more)
{
    const std::pair<head, std::size_t> lengths[] = {
        {{1, 33, 3, 1, 1}, 48},   {{0, 33, 3, 1, 1}, 24},  {{1, 33, 3, 1, 32}, 24 + 396},
        {{0, 33, 3, 1, 32}, 396}, {{0, 33, 3, 0, 0}, 396},
    };
    for (const auto& [of, length] : lengths) {
        EXPECT_FALSE(cardsim::decode_picture(shape(of, bytes(length - 1)))) << length;
        const auto exact = cardsim::decode_picture(shape(of, bytes(length)));
        ASSERT_TRUE(exact) << length;
        EXPECT_EQ(exact->pixels, std::vector<pixel>(99)) << length;
        EXPECT_EQ(cardsim::decode_picture(shape(of, bytes(length) + bytes(100, 0xFF))), exact) << length;
    }
    EXPECT_FALSE(cardsim::decode_picture(bytes(19)));
}

TEST(CursorPicture, may_be_empty)
{
    EXPECT_EQ(cardsim::decode_picture(shape({1, 0, 9, 1, 32}, {})), (picture{picture_kind::COLOR, 0, 9, 0, 0, {}}));
    EXPECT_EQ(cardsim::decode_picture(shape({0, 9, 0, 0, 0}, {})), (picture{picture_kind::ALPHA, 9, 0, 0, 0, {}}));
}

TEST(CursorPicture, has_types_and_depths_that_go_together)
{
    for (const std::uint8_t type : {0, 1, 2, 3, 0x80, 255}) {
        for (const std::uint8_t and_depth : {0, 1, 2, 32, 255}) {
            for (const std::uint8_t xor_depth : {0, 1, 2, 8, 16, 24, 31, 32, 33, 255}) {
                const bool color = and_depth == 1 && (xor_depth == 1 || xor_depth == 32);
                const bool alpha = and_depth == 0 && xor_depth == 0;
                EXPECT_EQ(cardsim::decode_picture(shape({type, 2, 2, and_depth, xor_depth}, bytes(1000))).has_value(),
                          (type == 1 && color) || (type == 0 && (color || alpha)))
                    << int{type} << ' ' << int{and_depth} << ' ' << int{xor_depth};
            }
        }
    }
}

TEST(CursorPicture, differs_by_each_of_its_parts)
{
    const picture one{picture_kind::COLOR, 2, 1, 3, 4, {{true, 7}, {false, 8}}};
    std::vector<picture> others(8, one);
    others[0].kind = picture_kind::ALPHA;
    others[1].width = 1;
    others[2].height = 2;
    others[3].shape_arg1 = 4;
    others[4].shape_arg2 = 3;
    others[5].pixels[0].and_bit = false;
    others[6].pixels[1].value = 7;
    others[7].pixels.pop_back();
    for (const picture& other : others)
        EXPECT_NE(one, other) << other;
}

TEST(CursorPicture, prints_its_rows)
{
    std::ostringstream text;
    text << picture{picture_kind::COLOR, 2, 2, 3, 255, {{true, 0xFF8000}, {false, 0}, {false, 1}, {true, 2}}} << '\n'
         << bits(1, "01", "10") << '\n'
         << picture{picture_kind::ALPHA, 0, 5, 0, 0, {}};
    EXPECT_EQ(text.str(), "COLOR 2x2, arguments 3 255\n"
                          "    1:00FF8000 0:00000000\n"
                          "    0:00000001 1:00000002\n"
                          "MONOCHROME 1x2, arguments 0 0\n"
                          "    0:1\n"
                          "    1:0\n"
                          "ALPHA 0x5, arguments 0 0");
}

TEST(CursorPicture, prints_where_the_user_sees_it)
{
    std::ostringstream text;
    text << cardsim::cursor_view{picture{picture_kind::ALPHA, 0, 5, 0, 0, {}}, true, 65535, 2} << '\n'
         << cardsim::cursor_view{};
    EXPECT_EQ(text.str(), "visible at 65535,2\n"
                          "ALPHA 0x5, arguments 0 0\n"
                          "hidden at 0,0\n"
                          "no shape");
}

// A shape of one pixel with this value.
bytes dot(std::uint8_t value, std::uint8_t slot = 0)
{
    return shape({.type = 0, .width = 1, .height = 1, .and_depth = 0, .xor_depth = 0, .slot = slot}, {value, 0, 0, 0});
}

picture dot_picture(std::uint8_t value)
{
    return {picture_kind::ALPHA, 1, 1, 0, 0, {{false, value}}};
}

class CursorClient : public testing::Test
{
protected:
    std::vector<std::string> journal;
    cardsim::card card{{}, [this](std::string_view line) { journal.emplace_back(line); }};

    int send(bytes record) { return card.request(VESK_NODE_HDC, 0x7906, record); }
    int select(std::uint8_t slot) { return select(selection(slot)); }
    int select(bytes record) { return card.request(VESK_NODE_HDC, 0x7907, record); }

    // The card refuses the request with this result, and nothing has changed.
    void expect_refused(int expected, int (CursorClient::*request)(bytes), const bytes& record)
    {
        const auto cursor = card.cursor();
        const auto cache = card.client.cache();
        EXPECT_EQ((this->*request)(record), expected);
        EXPECT_EQ(card.cursor(), cursor);
        EXPECT_EQ(card.client.cache(), cache);
    }
    void expect_not_sent(int expected, const bytes& record) { expect_refused(expected, &CursorClient::send, record); }
    void expect_not_selected(int expected, const bytes& record)
    {
        expect_refused(expected, static_cast<int (CursorClient::*)(bytes)>(&CursorClient::select), record);
    }
};

TEST_F(CursorClient, shows_nothing_at_first)
{
    EXPECT_EQ(card.cursor(), cardsim::cursor_view());
    EXPECT_TRUE(card.client.cache().empty());
}

TEST_F(CursorClient, shows_the_shape_that_was_sent_where_the_pointer_is)
{
    bytes visible{8, 0, 0x0A, 0, 0, 0, 0, 0, 1, 0, 0, 0};
    bytes position{7, 0, 9, 0};
    EXPECT_EQ(send(dot(1)), 0);
    EXPECT_EQ(card.cursor(), (cardsim::cursor_view{dot_picture(1), false, 0, 0}));
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x7909, visible), 0);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x790F, position), 0);
    EXPECT_EQ(card.cursor(), (cardsim::cursor_view{dot_picture(1), true, 7, 9}));
    EXPECT_TRUE(card.client.cache().empty());
}

TEST_F(CursorClient, leaves_the_record_of_a_shape_as_it_came)
{
    bytes record = dot(1, 0x82);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x7906, record), 0);
    EXPECT_EQ(record, dot(1, 0x82));
    EXPECT_EQ(journal, (std::vector<std::string>{"HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 82"
                                                 " 00 00 01 01 00 00 18 00 00 00 01 00 00 00 -> 0"}));
}

TEST_F(CursorClient, keeps_a_shape_in_its_slot_until_the_next_one)
{
    EXPECT_EQ(send(dot(1, 0x80)), 0);
    EXPECT_EQ(send(dot(2, 0x8F)), 0);
    EXPECT_EQ(select(0), 0);
    EXPECT_EQ(card.client.shown(), dot_picture(1));
    EXPECT_EQ(select(15), 0);
    EXPECT_EQ(card.client.shown(), dot_picture(2));
    EXPECT_EQ(send(dot(3, 0x80)), 0);
    EXPECT_EQ(send(dot(4)), 0);
    EXPECT_EQ(select(0), 0);
    EXPECT_EQ(card.client.shown(), dot_picture(3));
    EXPECT_EQ(card.client.cache(),
              (std::map<std::uint8_t, picture>{{std::uint8_t{0}, dot_picture(3)}, {std::uint8_t{15}, dot_picture(2)}}));
}

TEST_F(CursorClient, takes_no_slot_that_it_does_not_have)
{
    send(dot(1, 0x81));
    expect_not_sent(-EINVAL, dot(2, 0x90));
    expect_not_sent(-EINVAL, dot(2, 0xFF));
    expect_not_sent(-EINVAL, dot(2, 0x01));
    expect_not_sent(-EINVAL, dot(2, 0x7F));
    expect_not_selected(-EINVAL, selection(16));
    expect_not_selected(-EINVAL, selection(0x81));
    expect_not_selected(-ENOENT, selection(0));
    expect_not_selected(-ENOENT, selection(15));

    card.offered.kmp_context.cur_shape_caches = 1;
    expect_not_sent(-EINVAL, dot(2, 0x81));
    expect_not_selected(-EINVAL, selection(1));
    EXPECT_EQ(send(dot(3, 0x80)), 0);
    EXPECT_EQ(select(0), 0);
    card.offered.kmp_context.cur_shape_caches = 0;
    expect_not_sent(-EINVAL, dot(2, 0x80));
    expect_not_selected(-EINVAL, selection(0));
    EXPECT_EQ(send(dot(2)), 0);
}

TEST_F(CursorClient, has_at_most_128_slots)
{
    card.offered.kmp_context.cur_shape_caches = 300;
    EXPECT_EQ(send(dot(1, 0xFF)), 0);
    EXPECT_EQ(select(127), 0);
    expect_not_selected(-ENOENT, selection(128));
    expect_not_selected(-ENOENT, selection(255));
}

TEST_F(CursorClient, takes_no_slot_when_it_keeps_no_cache)
{
    for (const auto flag : {&sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT::cur_shape_caches_supported,
                            &sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT::cur_shape_cache_size_supported}) {
        card.offered.kmp_context = cardsim::settings::full_client();
        card.offered.kmp_context.*flag = 0;
        expect_not_sent(-EINVAL, dot(1, 0x80));
        EXPECT_EQ(send(dot(2)), 0);
        expect_not_selected(-ENOENT, selection(0));
    }
}

TEST_F(CursorClient, needs_the_context_to_offer_shapes)
{
    send(dot(1, 0x81));
    card.offered.kmp_context.cur_shape_bmp_alpha = 0;
    expect_not_sent(-EOPNOTSUPP, dot(2));
    EXPECT_EQ(select(1), 0);
    card.offered.kmp_context.cur_shape_bmp_alpha = 2;
    EXPECT_EQ(send(dot(2)), 0);
}

TEST_F(CursorClient, refuses_a_shape_that_is_none)
{
    send(dot(1, 0x81));
    expect_not_sent(-EINVAL, shape({2, 1, 1, 0, 0}, bytes(4)));
    expect_not_sent(-EINVAL, shape({0, 1, 1, 0, 0}, bytes(3)));
    for (std::size_t at = 0; at < 8; ++at) {
        bytes record = dot(2, 0x82);
        record[at] ^= 0x40;
        expect_not_sent(-EINVAL, record);
    }
}

TEST_F(CursorClient, refuses_a_shape_that_states_another_length)
{
    cardsim::cursor_client client;
    for (const std::uint8_t length : {0, 20, 23, 25}) {
        bytes record = dot(1);
        record[16] = length;
        expect_not_sent(-EINVAL, record);
        EXPECT_EQ(client.show(card.offered.kmp_context, record), -EINVAL) << int{length};
        EXPECT_FALSE(client.shown());
    }
    EXPECT_EQ(client.show(card.offered.kmp_context, dot(1)), 0);
}

TEST_F(CursorClient, refuses_a_selection_that_is_none)
{
    send(dot(1, 0x80));
    send(dot(2));
    for (const std::size_t at : {0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11}) {
        bytes record = selection(0);
        record[at] ^= 0x40;
        expect_not_selected(-EINVAL, record);
    }
    EXPECT_EQ(card.client.select(card.offered.kmp_context, bytes(11)), -EINVAL);
    EXPECT_EQ(select(0), 0);
}

TEST_F(CursorClient, knows_nothing_in_a_new_session)
{
    card.kept.pointer_visible = true;
    card.kept.pointer_x = 3;
    const cardsim::cursor_view nothing{std::nullopt, true, 3, 0};

    EXPECT_EQ(send(dot(1, 0x81)), 0);
    card.connect("192.0.2.77");
    EXPECT_EQ(card.cursor(), nothing);
    expect_not_selected(-ENOENT, selection(1));

    EXPECT_EQ(send(dot(1, 0x81)), 0);
    card.connect("192.0.2.78");
    EXPECT_EQ(card.cursor(), nothing);
    expect_not_selected(-ENOENT, selection(1));

    EXPECT_EQ(send(dot(1, 0x81)), 0);
    card.disconnect();
    EXPECT_EQ(card.cursor(), nothing);
    expect_not_selected(-ENOENT, selection(1));

    EXPECT_EQ(send(dot(1, 0x81)), 0);
    card.disconnect();
    EXPECT_EQ(card.cursor(), nothing);
    expect_not_selected(-ENOENT, selection(1));
}

TEST_F(CursorClient, forgets_its_shapes_when_a_request_ends_the_session)
{
    card.connect("192.0.2.77");
    EXPECT_EQ(send(dot(1, 0x81)), 0);
    bytes end(252);
    end[0] = HMI_VAR_SESS_DISC;
    EXPECT_EQ(card.request(VESK_NODE_HCC, 0x7803, end), 0);
    EXPECT_FALSE(card.cursor().shape);
    expect_not_selected(-ENOENT, selection(1));
}

TEST_F(CursorClient, takes_the_shape_that_is_expected)
{
    card.client.expect(dot_picture(1));
    EXPECT_EQ(send(dot(1, 0x81)), 0);
    card.client.expect(dot_picture(2));
    EXPECT_EQ(send(dot(2, 0x82)), 0);
    card.client.expect(dot_picture(1));
    EXPECT_EQ(select(1), 0);
    EXPECT_EQ(select(2), 0);
    EXPECT_EQ(send(dot(3)), 0);
    EXPECT_EQ(journal.size(), 5U);
}

TEST_F(CursorClient, refuses_another_shape_than_is_expected_once)
{
    send(dot(1, 0x81));
    send(dot(2, 0x8F));
    journal.clear();
    card.client.expect(dot_picture(1));
    expect_not_selected(-ESTALE, selection(15));
    card.client.expect(dot_picture(2));
    expect_not_sent(-ESTALE, dot(3, 0x81));
    EXPECT_EQ(journal, (std::vector<std::string>{
                           "HDC wrong shape in slot 15",
                           "HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 0F 00 00 00 -> ESTALE",
                           "HDC wrong shape sent",
                           "HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 81"
                           " 00 00 01 01 00 00 18 00 00 00 03 00 00 00 -> ESTALE",
                       }));
    EXPECT_EQ(select(1), 0);
    EXPECT_EQ(send(dot(3, 0x81)), 0);
}

TEST_F(CursorClient, keeps_an_expectation_over_requests_that_show_nothing)
{
    send(dot(1, 0x81));
    card.client.expect(dot_picture(9));
    expect_not_sent(-EINVAL, dot(1, 0x01));
    expect_not_selected(-EINVAL, selection(16));
    expect_not_selected(-ENOENT, selection(0));
    card.connect("192.0.2.77");
    expect_not_sent(-ESTALE, dot(1, 0x81));
}

TEST_F(CursorClient, expects_nothing_once_a_test_takes_it_back)
{
    card.client.expect(dot_picture(1));
    card.client.expect(std::nullopt);
    EXPECT_EQ(send(dot(2)), 0);
}

TEST_F(CursorClient, does_nothing_when_the_card_fails_by_order)
{
    send(dot(1, 0x81));
    send(dot(2, 0x82));
    journal.clear();
    card.client.expect(dot_picture(1));
    card.order(0x7906, -EIO, 1);
    card.order(0x7907, -ESTALE, 1);
    expect_not_sent(-EIO, dot(3, 0x81));
    expect_not_selected(-ESTALE, selection(1));
    EXPECT_EQ(journal.size(), 2U);
    expect_not_selected(-ESTALE, selection(2));
    EXPECT_EQ(journal[2], "HDC wrong shape in slot 2");
}

TEST_F(CursorClient, shows_a_shape_with_a_positive_result_by_order)
{
    card.order(0x7906, 7);
    card.order(0x7907, 8);
    EXPECT_EQ(send(dot(1, 0x81)), 7);
    EXPECT_EQ(send(dot(2)), 7);
    EXPECT_EQ(select(1), 8);
    EXPECT_EQ(card.client.shown(), dot_picture(1));
}

} // namespace
