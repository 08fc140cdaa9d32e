// Cursor bitmaps of two planes, and what is kept of those that the client has.
#pragma once

#include "vesk_haldo_link.h"

namespace vesk
{

// The bytes of a row with a bit a pixel, padded to whole words.
inline std::uint32_t padded_row(std::uint32_t width)
{
    return (width + 31) / 32 * 4;
}

// Where the planes of a COLOR bitmap lie. height: that of the cursor itself, px; an xor_depth other than 1 means 32.
struct bitmap_planes {
    bitmap_planes(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth)
        : and_row(padded_row(width)), xor_row(xor_depth == 1 ? and_row : width * 4U),
          and_start(xor_depth == 1 ? xor_row * height : 0), xor_start(xor_depth == 1 ? 0 : and_row * height),
          length((xor_row + and_row) * height)
    {
    }

    std::uint32_t and_row; // bytes, padded to whole words
    std::uint32_t xor_row;
    std::uint32_t and_start; // bytes from the bitmap's start
    std::uint32_t xor_start;
    std::uint32_t length; // of both, bytes
};

// Whether rows of pixels have one that is set; each row is padded to whole words. rows has len bytes; what lies behind
// them counts as zero.
bool any_pixel_set(const std::uint8_t* rows, std::uint32_t len, std::uint8_t width, std::uint32_t height);

// Copies rows, which come from the bottom to the top, in the opposite order. Returns the end of the copy.
std::uint8_t* copy_reversed(std::uint8_t* dst, const std::uint8_t* src, std::uint32_t row_len, std::uint32_t rows);

// The first of the entries that has this description, data aside, and this bitmap; or count.
int find_shape(const bmp_cache_entry* entries, int count, const bmp_cache_entry& description, const std::uint8_t* bmp);

// Gives an entry this description and the bitmap, for which its block has room.
void store_shape(bmp_cache_entry* entry, const bmp_cache_entry& description, const std::uint8_t* bmp);

} // namespace vesk
