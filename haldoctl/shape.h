// Pictures as the link's cursor bitmaps.
#pragma once

#include "vesk_kmp_records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace haldoctl
{

enum class shape_kind {
    ALPHA,
    COLOR,      // with an XOR plane of 32 bits
    MONOCHROME, // COLOR with an XOR plane of 1 bit
};

// What lcur_shape_bmp_send takes.
struct shape {
    eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE type;
    std::uint8_t width;
    std::uint8_t height; // of the cursor
    std::uint8_t and_depth;
    std::uint8_t xor_depth;
    std::vector<std::uint8_t> bitmap;

    // A monochrome shape counts the rows of both of its planes.
    std::uint8_t stated_height() const { return static_cast<std::uint8_t>(xor_depth == 1 ? 2 * height : height); }
};

// Reads a PNG file. A pixel is 4 bytes: blue, green, red, alpha. Where a kind has no alpha a pixel that is less than
// half opaque is transparent, and black; in one that has no colour a pixel is white when it is bright by half.
//
// Throws a failure when the file cannot be read, or is larger than a shape can be: 255 by 255 px, and 127 rows of a
// monochrome one.
shape read_shape(const std::string& path, shape_kind kind);

} // namespace haldoctl
