#include "cursor.h"

#include <algorithm>

int send_shape(visible_link& link, const cursor_shape& shape)
{
    return link.lcur_shape_bmp_send(shape.arg1, shape.arg2, shape.width, shape.height, shape.and_depth, shape.xor_depth,
                                    shape.bitmap.data(), static_cast<unsigned int>(shape.bitmap.size()), shape.type);
}

void add_to_cache(visible_link& link, const cursor_shape& shape)
{
    link.add_bitmap_to_cache(shape.arg1, shape.arg2, shape.width, shape.height, shape.and_depth, shape.xor_depth,
                             shape.bitmap.data(), static_cast<unsigned int>(shape.bitmap.size()), shape.type);
}

int is_cached(const visible_link& link, const cursor_shape& shape, unsigned char* slot)
{
    return link.is_bitmap_cached(shape.arg1, shape.arg2, shape.width, shape.height, shape.and_depth, shape.xor_depth,
                                 shape.bitmap.data(), static_cast<unsigned int>(shape.bitmap.size()), shape.type, slot);
}

// --- Planes ---

planes::planes(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth)
{
    and_row = 0;
    while (and_row * 8 < width)
        and_row += 4;
    xor_row = xor_depth == 1 ? and_row : std::size_t{width} * 4;
    and_start = xor_depth == 1 ? xor_row * height : 0;
    xor_start = xor_depth == 1 ? 0 : and_row * height;
    length = (and_row + xor_row) * height;
}

bool is_transparent(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& bitmap)
{
    const planes at(width, height, xor_depth);
    for (std::size_t row = 0; row < height; ++row) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t position = at.and_start + (height - 1 + row) * at.and_row + x / 8;
            if (position < bitmap.size() && (bitmap[position] & 0x80 >> x % 8) != 0)
                return true;
        }
    }
    return false;
}

bytes flipped(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& bitmap)
{
    const planes at(width, height, xor_depth);
    const bool has_and_plane = is_transparent(width, height, xor_depth, bitmap);
    const std::size_t xor_to = has_and_plane ? at.and_row * height : 0;
    bytes result(xor_to + at.xor_row * height);
    const std::uint8_t* const from = bitmap.data();
    std::uint8_t* const to = result.data();
    for (std::size_t row = 0; row < height; ++row) {
        const std::size_t turned = height - 1 - row;
        for (std::size_t i = 0; has_and_plane && i < at.and_row; ++i)
            to[turned * at.and_row + i] = from[at.and_start + row * at.and_row + i];
        for (std::size_t i = 0; i < at.xor_row; ++i)
            to[xor_to + turned * at.xor_row + i] = from[at.xor_start + row * at.xor_row + i];
    }
    return result;
}

// --- Random shapes ---

static constexpr std::size_t POOL = std::size_t{1} << 20;

dice::dice()
{
    const bytes seed = random_bytes(4);
    generator.seed(seed[0] | seed[1] << 8 | seed[2] << 16 | static_cast<std::uint32_t>(seed[3]) << 24);
    pool.resize(POOL);
    for (std::uint8_t& each : pool)
        each = byte();
}

bytes dice::some(std::size_t n)
{
    const auto first = pool.begin() + below(POOL / 2);
    return {first, first + static_cast<std::ptrdiff_t>(n)};
}

bytes dice::bitmap(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, std::size_t len)
{
    bytes made = some(len);
    const std::uint32_t kind = below(8);
    if (kind == 0 || width == 0 || height == 0)
        return made;
    const planes at(width, height, xor_depth);
    const std::size_t last = at.and_start + at.and_row * (height - 1U);
    const std::size_t plane_end = last + at.and_row;
    const std::size_t search_end = last + at.and_row * height;
    const auto fill = [&](std::size_t from, std::size_t to, std::uint8_t value) {
        std::fill(made.begin() + static_cast<std::ptrdiff_t>(std::min(from, len)),
                  made.begin() + static_cast<std::ptrdiff_t>(std::min(to, len)), value);
    };
    const auto set_bit = [&](std::size_t row, std::size_t x) {
        const std::size_t position = row + x / 8;
        if (position < len)
            made[position] |= static_cast<std::uint8_t>(0x80 >> x % 8);
    };
    const auto row_pixels = static_cast<std::uint32_t>(at.and_row * 8);
    fill(at.and_start, kind == 1 ? plane_end : search_end, 0);
    switch (kind) {
    case 3: // somewhere in the AND plane
        set_bit(at.and_start + at.and_row * below(height), below(row_pixels));
        break;
    case 4: // somewhere in what is searched
        set_bit(last + at.and_row * below(height), below(row_pixels));
        break;
    case 5: // about the end of a row that is searched
        set_bit(last + at.and_row * below(height), std::min(row_pixels - 1, width - 1 + below(2)));
        break;
    case 6: // in the padding of every row
        for (std::size_t row = at.and_start; row < search_end; row += at.and_row)
            for (std::size_t x = width; x < row_pixels; ++x)
                set_bit(row, x);
        break;
    case 7: // in every row but the last
        fill(at.and_start, last, 0xFF);
        break;
    default:
        break;
    }
    return made;
}
