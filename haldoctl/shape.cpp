#include "shape.h"

#include "failure.h"

#include <png.h>

namespace haldoctl
{

namespace
{

constexpr std::uint32_t SIZE_MAX_PX = 255;

struct pixel {
    std::uint8_t blue;
    std::uint8_t green;
    std::uint8_t red;
    std::uint8_t alpha;

    bool is_transparent() const { return alpha < 128; }
    // By the weights of its colours in what the eye sees.
    bool is_bright() const { return 299 * red + 587 * green + 114 * blue >= 500 * 255; }
};
static_assert(sizeof(pixel) == 4);

struct picture {
    std::uint32_t width;
    std::uint32_t height;
    std::vector<pixel> pixels; // rows from the top to the bottom

    const pixel& at(std::uint32_t x, std::uint32_t y) const { return pixels[y * width + x]; }
};

picture read_png(const std::string& path, std::uint32_t height_max)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0)
        throw failure{REFUSED, path + ": " + image.message};
    if (image.width > SIZE_MAX_PX || image.height > height_max) {
        png_image_free(&image);
        throw failure{REFUSED, path + ": " + std::to_string(image.width) + "x" + std::to_string(image.height) +
                                   " px is more than " + std::to_string(SIZE_MAX_PX) + "x" +
                                   std::to_string(height_max)};
    }
    image.format = PNG_FORMAT_BGRA;
    image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB; // of 16 bits or 8, colours are what is seen
    picture read{image.width, image.height, std::vector<pixel>(std::size_t{image.width} * image.height)};
    if (png_image_finish_read(&image, nullptr, read.pixels.data(), 0, nullptr) == 0)
        throw failure{REFUSED, path + ": " + image.message};
    return read;
}

// Appends a plane of 1 bit, rows from the bottom to the top and padded to 4 bytes, the leftmost pixel in bit 7.
template <typename Bit> void append_bits(std::vector<std::uint8_t>& bitmap, const picture& from, Bit bit)
{
    for (std::uint32_t y = from.height; y-- > 0;) {
        std::vector<std::uint8_t> row((from.width + 31) / 32 * 4);
        for (std::uint32_t x = 0; x < from.width; ++x)
            if (bit(from.at(x, y)))
                row[x / 8] |= static_cast<std::uint8_t>(0x80 >> x % 8);
        bitmap.insert(bitmap.end(), row.begin(), row.end());
    }
}

void append_pixel(std::vector<std::uint8_t>& bitmap, const pixel& one)
{
    bitmap.insert(bitmap.end(), {one.blue, one.green, one.red, one.alpha});
}

// Goes out as it is, and is seen from the top.
std::vector<std::uint8_t> alpha_bitmap(const picture& from)
{
    std::vector<std::uint8_t> bitmap;
    for (const pixel& one : from.pixels)
        append_pixel(bitmap, one);
    return bitmap;
}

std::vector<std::uint8_t> color_bitmap(const picture& from)
{
    std::vector<std::uint8_t> bitmap;
    append_bits(bitmap, from, [](const pixel& one) { return one.is_transparent(); });
    for (std::uint32_t y = from.height; y-- > 0;)
        for (std::uint32_t x = 0; x < from.width; ++x) {
            const pixel& one = from.at(x, y);
            append_pixel(bitmap, one.is_transparent() ? pixel{} : pixel{one.blue, one.green, one.red, 255});
        }
    return bitmap;
}

std::vector<std::uint8_t> monochrome_bitmap(const picture& from)
{
    std::vector<std::uint8_t> bitmap;
    append_bits(bitmap, from, [](const pixel& one) { return !one.is_transparent() && one.is_bright(); });
    append_bits(bitmap, from, [](const pixel& one) { return one.is_transparent(); });
    return bitmap;
}

} // namespace

shape read_shape(const std::string& path, shape_kind kind)
{
    const picture from = read_png(path, kind == shape_kind::MONOCHROME ? SIZE_MAX_PX / 2 : SIZE_MAX_PX);
    const auto width = static_cast<std::uint8_t>(from.width);
    const auto height = static_cast<std::uint8_t>(from.height);
    switch (kind) {
    case shape_kind::COLOR:
        return {KMP_CUR_BITMAP_TYPE_COLOR, width, height, 1, 32, color_bitmap(from)};
    case shape_kind::MONOCHROME:
        return {KMP_CUR_BITMAP_TYPE_COLOR, width, height, 1, 1, monochrome_bitmap(from)};
    default:
        return {KMP_CUR_BITMAP_TYPE_ALPHA, width, height, 0, 0, alpha_bitmap(from)};
    }
}

} // namespace haldoctl
