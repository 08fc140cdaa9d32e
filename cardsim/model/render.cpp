#include "render.h"

#include <algorithm>
#include <cstdio>
#include <png.h>
#include <sstream>
#include <stdexcept>

namespace cardsim
{

namespace
{

using rectangle = scene::rectangle;

constexpr std::uint32_t outside_color = 0x202020;
constexpr std::uint32_t frame_color = 0xC0C0C0;
constexpr std::uint32_t display_color = 0x2E4A62;
constexpr std::uint32_t hidden_color = 0xE0A030;
constexpr std::int64_t frame_width = 4;
constexpr std::int64_t png_max = 4096;

bool contains(const rectangle& outer, std::int64_t x, std::int64_t y)
{
    return x >= outer.x && y >= outer.y && x - outer.x < outer.width && y - outer.y < outer.height;
}

std::uint32_t mix(std::uint32_t below, std::uint32_t above, std::uint32_t opacity)
{
    std::uint32_t mixed = 0;
    for (const int shift : {0, 8, 16}) {
        const std::uint32_t low = below >> shift & 0xFF;
        const std::uint32_t high = above >> shift & 0xFF;
        mixed |= (low * (255 - opacity) + high * opacity + 127) / 255 << shift;
    }
    return mixed;
}

std::uint32_t drawn(picture_kind kind, const pixel& one, std::uint32_t below)
{
    constexpr std::uint32_t white = 0xFFFFFF;
    if (kind == picture_kind::ALPHA)
        return mix(below, one.value & white, one.value >> 24);
    const std::uint32_t value = kind == picture_kind::MONOCHROME ? one.value * white : one.value & white;
    return one.and_bit ? below ^ value : value;
}

std::uint32_t color_at(const scene& what, std::int64_t x, std::int64_t y)
{
    for (auto one = what.rectangles.rbegin(); one != what.rectangles.rend(); ++one)
        if (contains(*one, x, y))
            return one->color;
    return outside_color;
}

void add(scene& to, rectangle one)
{
    const std::int64_t right = std::min(one.x + one.width, to.width);
    const std::int64_t bottom = std::min(one.y + one.height, to.height);
    one.x = std::max<std::int64_t>(one.x, 0);
    one.y = std::max<std::int64_t>(one.y, 0);
    one.width = right - one.x;
    one.height = bottom - one.y;
    if (one.width > 0 && one.height > 0)
        to.rectangles.push_back(one);
}

void add_frame(scene& to, const rectangle& outer, std::int64_t width)
{
    add(to, {outer.x, outer.y, outer.width, width, outer.color});
    add(to, {outer.x, outer.y + outer.height - width, outer.width, width, outer.color});
    add(to, {outer.x, outer.y + width, width, outer.height - 2 * width, outer.color});
    add(to, {outer.x + outer.width - width, outer.y + width, width, outer.height - 2 * width, outer.color});
}

// Pixels of one colour that lie side by side are one rectangle.
void add_shape(scene& to, const picture& shape, std::int64_t left, std::int64_t top)
{
    const scene below = to;
    std::size_t next = 0;
    for (std::int64_t y = top; y < top + shape.height; ++y) {
        rectangle run{left, y, 0, 1, 0};
        for (std::int64_t x = left; x < left + shape.width; ++x, ++run.width) {
            const std::uint32_t color = drawn(shape.kind, shape.pixels[next++], color_at(below, x, y));
            if (color != run.color) {
                add(to, run);
                run = {x, y, 0, 1, color};
            }
        }
        add(to, run);
    }
}

} // namespace

scene scene_of(const card& of)
{
    std::vector<rectangle> displays;
    for (const auto& one : of.kept.topology.disp)
        if (one.width != 0 && one.height != 0)
            displays.push_back({one.pos_x, one.pos_y, one.width, one.height, display_color});

    scene result;
    result.width = 640;
    result.height = 480;
    rectangle box{};
    if (!displays.empty()) {
        box = displays[0];
        for (const rectangle& one : displays) {
            const std::int64_t right = std::max(box.x + box.width, one.x + one.width);
            const std::int64_t bottom = std::max(box.y + box.height, one.y + one.height);
            box.x = std::min(box.x, one.x);
            box.y = std::min(box.y, one.y);
            box.width = right - box.x;
            box.height = bottom - box.y;
        }
        result.width = box.width;
        result.height = box.height;
    }
    result.rectangles.push_back({0, 0, result.width, result.height, outside_color});
    for (rectangle one : displays) {
        one.x -= box.x;
        one.y -= box.y;
        add(result, one);
        one.color = frame_color;
        add_frame(result, one, frame_width);
    }

    const cursor_view cursor = of.cursor();
    result.title = (cursor.visible ? "visible at " : "hidden at ") + std::to_string(cursor.x) + "," +
                   std::to_string(cursor.y) + (cursor.shape ? "" : ", no shape");
    if (!cursor.shape)
        return result;
    const std::int64_t left = cursor.x - box.x;
    const std::int64_t top = cursor.y - box.y;
    if (cursor.visible)
        add_shape(result, *cursor.shape, left, top);
    else
        add_frame(result, {left, top, cursor.shape->width, cursor.shape->height, hidden_color}, 1);
    return result;
}

std::string render_svg(const scene& what)
{
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << what.width << ' ' << what.height
        << "\" shape-rendering=\"crispEdges\">\n<title>cursor " << what.title << "</title>\n";
    for (const rectangle& one : what.rectangles) {
        char color[16];
        std::snprintf(color, sizeof(color), "#%06X", one.color);
        svg << "<rect x=\"" << one.x << "\" y=\"" << one.y << "\" width=\"" << one.width << "\" height=\"" << one.height
            << "\" fill=\"" << color << "\"/>\n";
    }
    svg << "</svg>\n";
    return svg.str();
}

std::string render_png(const scene& what)
{
    const std::int64_t scale = (std::max(what.width, what.height) + png_max - 1) / png_max;
    const std::int64_t width = (what.width + scale - 1) / scale;
    const std::int64_t height = (what.height + scale - 1) / scale;
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width * height * 3));
    for (const rectangle& one : what.rectangles) {
        // A pixel shows what is at its upper left corner, so that neighbours stay neighbours.
        const std::int64_t right = (one.x + one.width + scale - 1) / scale;
        const std::int64_t bottom = (one.y + one.height + scale - 1) / scale;
        for (std::int64_t y = (one.y + scale - 1) / scale; y < bottom; ++y) {
            for (std::int64_t x = (one.x + scale - 1) / scale; x < right; ++x) {
                std::uint8_t* const at = &pixels[static_cast<std::size_t>((y * width + x) * 3)];
                at[0] = static_cast<std::uint8_t>(one.color >> 16);
                at[1] = static_cast<std::uint8_t>(one.color >> 8);
                at[2] = static_cast<std::uint8_t>(one.color);
            }
        }
    }

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(image), '\0');
    png_alloc_size_t length = file.size();
    if (png_image_write_to_memory(&image, file.data(), &length, 0, pixels.data(), 0, nullptr) == 0)
        throw std::runtime_error(image.message);
    file.resize(length);
    return file;
}

} // namespace cardsim
