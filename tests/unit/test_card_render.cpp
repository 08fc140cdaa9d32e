// The simulated card's picture of what its client sees.

#include "fields.h"
#include "render.h"

#include <gtest/gtest.h>
#include <map>
#include <png.h>

namespace cardsim
{

void PrintTo(const scene::rectangle& one, std::ostream* to)
{
    *to << one.x << ' ' << one.y << ' ' << one.width << ' ' << one.height << ' ' << std::hex << one.color;
}

} // namespace cardsim

namespace
{

using bytes = std::vector<std::uint8_t>;
using rectangle = cardsim::scene::rectangle;

constexpr std::uint32_t outside = 0x202020;
constexpr std::uint32_t frame = 0xC0C0C0;
constexpr std::uint32_t display = 0x2E4A62;
constexpr std::uint32_t hidden = 0xE0A030;

class CardRender : public testing::Test
{
protected:
    cardsim::card card;

    CardRender() { set("display.0", "20x10+0+0"); }

    void set(const std::string& key, const std::string& text)
    {
        cardsim::state changed{card.offered, card.kept};
        set_state(changed, key, text);
        card.kept = changed.kept;
    }
    // A shape of 2 by 1 pixels, shown there.
    void show(std::uint8_t type, std::uint8_t and_depth, std::uint8_t xor_depth, const bytes& planes, int x = 8,
              int y = 5)
    {
        bytes record{3, 0, 0x0A, 0, 0, 0, 0, 0, type, 0, 0, 0, 2, 1, and_depth, xor_depth, 0, 0, 0, 0};
        record.insert(record.end(), planes.begin(), planes.end());
        record[16] = static_cast<std::uint8_t>(record.size());
        ASSERT_EQ(card.request(VESK_NODE_HDC, 0x7906, record), 0);
        set("pointer.visible", "1");
        set("pointer.x", std::to_string(x));
        set("pointer.y", std::to_string(y));
    }
    // What is drawn behind the displays.
    std::vector<rectangle> cursor() const
    {
        const auto all = scene_of(card).rectangles;
        return {all.begin() + 6, all.end()};
    }
};

// The pixels of a PNG file, by row.
struct decoded {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bytes rgb;

    explicit decoded(const std::string& file)
    {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        EXPECT_NE(png_image_begin_read_from_memory(&image, file.data(), file.size()), 0) << image.message;
        image.format = PNG_FORMAT_RGB;
        width = image.width;
        height = image.height;
        rgb.resize(PNG_IMAGE_SIZE(image));
        EXPECT_NE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr), 0) << image.message;
    }
    std::uint32_t at(std::uint32_t x, std::uint32_t y) const
    {
        const std::uint8_t* const pixel = &rgb[(y * width + x) * 3];
        return static_cast<std::uint32_t>(pixel[0] << 16 | pixel[1] << 8 | pixel[2]);
    }
};

TEST_F(CardRender, draws_the_displays_where_they_are)
{
    set("display.1", "30x20-30-5");
    const auto drawn = scene_of(card);
    EXPECT_EQ(drawn.width, 50);
    EXPECT_EQ(drawn.height, 20);
    EXPECT_EQ(drawn.title, "hidden at 0,0, no shape");
    EXPECT_EQ(drawn.rectangles, (std::vector<rectangle>{
                                    {0, 0, 50, 20, outside},
                                    {30, 5, 20, 10, display},
                                    {30, 5, 20, 4, frame},
                                    {30, 11, 20, 4, frame},
                                    {30, 9, 4, 2, frame},
                                    {46, 9, 4, 2, frame},
                                    {0, 0, 30, 20, display},
                                    {0, 0, 30, 4, frame},
                                    {0, 16, 30, 4, frame},
                                    {0, 4, 4, 12, frame},
                                    {26, 4, 4, 12, frame},
                                }));
}

TEST_F(CardRender, draws_an_empty_box_without_a_display)
{
    set("display.0", "-");
    set("display.1", "5x0+9+9");
    set("display.2", "0x5+9+9");
    const auto drawn = scene_of(card);
    EXPECT_EQ(drawn.rectangles, (std::vector<rectangle>{{0, 0, 640, 480, outside}}));
    EXPECT_EQ(drawn.width, 640);
    EXPECT_EQ(drawn.height, 480);
}

TEST_F(CardRender, draws_each_kind_of_pixel)
{
    const auto two = [](std::uint32_t left, std::uint32_t right) {
        return std::vector<rectangle>{{8, 5, 1, 1, left}, {9, 5, 1, 1, right}};
    };
    show(1, 1, 1, {0x00, 0, 0, 0, 0x40, 0, 0, 0});
    EXPECT_EQ(cursor(), two(0x000000, 0xFFFFFF));
    show(1, 1, 1, {0xC0, 0, 0, 0, 0x40, 0, 0, 0});
    EXPECT_EQ(cursor(), two(display, display ^ 0xFFFFFF));
    show(1, 1, 32, {0x40, 0, 0, 0, 1, 2, 3, 4, 0xFF, 0, 0, 0});
    EXPECT_EQ(cursor(), two(0x030201, display ^ 0xFF));
    show(0, 0, 0, {1, 2, 3, 0xFF, 9, 9, 9, 0});
    EXPECT_EQ(cursor(), two(0x030201, display));
    show(0, 0, 0, {0xFF, 0xFF, 0xFF, 0x80, 0, 0, 0, 51});
    EXPECT_EQ(cursor(), two(0x97A5B1, 0x253B4E));
}

TEST_F(CardRender, joins_pixels_of_one_colour)
{
    show(0, 0, 0, {1, 2, 3, 0xFF, 1, 2, 3, 0xFF});
    EXPECT_EQ(cursor(), (std::vector<rectangle>{{8, 5, 2, 1, 0x030201}}));
    EXPECT_EQ(scene_of(card).title, "visible at 8,5");
}

TEST_F(CardRender, blends_with_what_is_below)
{
    show(1, 1, 1, {0xC0, 0, 0, 0, 0xC0, 0, 0, 0}, 15, 5);
    EXPECT_EQ(cursor(), (std::vector<rectangle>{{15, 5, 1, 1, display ^ 0xFFFFFF}, {16, 5, 1, 1, frame ^ 0xFFFFFF}}));
}

TEST_F(CardRender, cuts_off_what_is_outside)
{
    show(0, 0, 0, {1, 2, 3, 0xFF, 1, 2, 3, 0xFF}, 19, 9);
    EXPECT_EQ(cursor(), (std::vector<rectangle>{{19, 9, 1, 1, 0x030201}}));
    show(0, 0, 0, {1, 2, 3, 0xFF, 1, 2, 3, 0xFF}, 65535, 5);
    EXPECT_TRUE(cursor().empty());
    show(0, 0, 0, {1, 2, 3, 0xFF, 1, 2, 3, 0xFF}, 0, 10);
    EXPECT_TRUE(cursor().empty());
    set("display.0", "20x10+1+0");
    show(0, 0, 0, {1, 2, 3, 0xFF, 1, 2, 3, 0xFF}, 0, 5);
    EXPECT_EQ(cursor(), (std::vector<rectangle>{{0, 5, 1, 1, 0x030201}}));
}

TEST_F(CardRender, frames_the_place_of_a_hidden_cursor)
{
    show(0, 0, 0, {1, 2, 3, 0xFF, 1, 2, 3, 0xFF});
    set("pointer.visible", "0");
    for (const rectangle& one : cursor())
        EXPECT_EQ(one, (rectangle{8, 5, 2, 1, hidden}));
    EXPECT_FALSE(cursor().empty());
    EXPECT_EQ(scene_of(card).title, "hidden at 8,5");
}

TEST_F(CardRender, writes_svg)
{
    const cardsim::scene drawn{3, 2, "visible at 1,1", {{0, 0, 3, 2, 0x0A0B0C}, {1, 1, 2, 1, 0xFFFFFF}}};
    EXPECT_EQ(render_svg(drawn), "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 3 2\" "
                                 "shape-rendering=\"crispEdges\">\n"
                                 "<title>cursor visible at 1,1</title>\n"
                                 "<rect x=\"0\" y=\"0\" width=\"3\" height=\"2\" fill=\"#0A0B0C\"/>\n"
                                 "<rect x=\"1\" y=\"1\" width=\"2\" height=\"1\" fill=\"#FFFFFF\"/>\n"
                                 "</svg>\n");
}

TEST_F(CardRender, writes_png_with_the_same_pixels)
{
    show(0, 0, 0, {1, 2, 3, 0xFF, 0xFF, 0, 0, 0xFF});
    const decoded picture(render_png(scene_of(card)));
    ASSERT_EQ(picture.width, 20U);
    ASSERT_EQ(picture.height, 10U);
    for (std::uint32_t y = 0; y < 10; ++y) {
        for (std::uint32_t x = 0; x < 20; ++x) {
            const bool inside = x >= 4 && x < 16 && y >= 4 && y < 6;
            const std::uint32_t expected = y == 5 && x == 8   ? 0x030201
                                           : y == 5 && x == 9 ? 0x0000FF
                                           : inside           ? display
                                                              : frame;
            EXPECT_EQ(picture.at(x, y), expected) << x << ' ' << y;
        }
    }
}

TEST_F(CardRender, scales_png_down_to_4096_pixels)
{
    const cardsim::scene whole{4096, 1, "", {{0, 0, 4096, 1, outside}, {4095, 0, 1, 1, display}}};
    const decoded same(render_png(whole));
    EXPECT_EQ(same.width, 4096U);
    EXPECT_EQ(same.at(4095, 0), display);

    const cardsim::scene wide{4098, 3, "", {{0, 0, 4098, 3, outside}, {2, 2, 1, 1, display}, {5, 2, 1, 1, frame}}};
    const decoded half(render_png(wide));
    EXPECT_EQ(half.width, 2049U);
    EXPECT_EQ(half.height, 2U);
    EXPECT_EQ(half.at(1, 1), display);
    EXPECT_EQ(half.at(2, 1), outside);
    EXPECT_EQ(half.at(1, 0), outside);
}

TEST_F(CardRender, draws_the_largest_layout_there_can_be)
{
    set("display.0", "65535x65535-2147483648-2147483648");
    set("display.1", "65535x65535+2147483647+2147483647");
    const decoded picture(render_png(scene_of(card)));
    EXPECT_LE(picture.width, 4096U);
    EXPECT_LE(picture.height, 4096U);
    EXPECT_GT(picture.width, 4000U);
}

} // namespace
