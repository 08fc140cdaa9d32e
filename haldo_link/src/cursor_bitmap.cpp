#include "cursor_bitmap.h"

#include <algorithm>
#include <cstring>

namespace vesk
{

static constexpr std::uint32_t ROW_LEN_MAX = 32; // bytes of 255 pixels

// The pixels of a row's last byte, by their number.
static constexpr std::uint8_t and_msk_lkup_table[] = {0x00, 0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE};

// Whether a row has a bit set that belongs to a pixel.
static bool any_bit_set(const std::uint8_t* row, const std::uint8_t* mask, std::uint32_t row_len)
{
    std::uint32_t found = 0;
    for (const std::uint8_t* const end = row + row_len; row != end; row += sizeof(found), mask += sizeof(found)) {
        std::uint32_t bits, pixels;
        std::memcpy(&bits, row, sizeof(bits));
        std::memcpy(&pixels, mask, sizeof(pixels));
        found |= bits & pixels;
    }
    return found != 0;
}

bool any_pixel_set(const std::uint8_t* rows, std::uint32_t len, std::uint8_t width, std::uint32_t height)
{
    if (width == 0)
        return false;
    std::uint8_t mask[ROW_LEN_MAX] = {};
    std::memset(mask, 0xFF, width / 8);
    mask[width / 8] = and_msk_lkup_table[width % 8];
    const std::uint32_t row_len = padded_row(width);
    const std::uint32_t whole = std::min(height, len / row_len);
    for (const std::uint8_t* const end = rows + whole * row_len; rows != end; rows += row_len) {
        if (any_bit_set(rows, mask, row_len))
            return true;
    }
    if (whole == height)
        return false;
    std::uint8_t cut[ROW_LEN_MAX] = {};
    std::memcpy(cut, rows, len - whole * row_len);
    return any_bit_set(cut, mask, row_len);
}

std::uint8_t* copy_reversed(std::uint8_t* dst, const std::uint8_t* src, std::uint32_t row_len, std::uint32_t rows)
{
    for (std::uint32_t row = rows; row > 0; --row) {
        std::memcpy(dst, src + row_len * (row - 1), row_len);
        dst += row_len;
    }
    return dst;
}

static bool has_description(const bmp_cache_entry& entry, const bmp_cache_entry& description)
{
    return entry.bitmap_type == description.bitmap_type && entry.shape_arg1 == description.shape_arg1 &&
           entry.shape_arg2 == description.shape_arg2 && entry.width == description.width &&
           entry.height == description.height && entry.and_depth == description.and_depth &&
           entry.xor_depth == description.xor_depth && entry.len == description.len;
}

int find_shape(const bmp_cache_entry* entries, int count, const bmp_cache_entry& description, const std::uint8_t* bmp)
{
    int i = 0;
    while (i < count &&
           !(has_description(entries[i], description) && std::memcmp(entries[i].data, bmp, description.len) == 0))
        ++i;
    return i;
}

void store_shape(bmp_cache_entry* entry, const bmp_cache_entry& description, const std::uint8_t* bmp)
{
    std::uint8_t* const data = entry->data;
    std::memcpy(data, bmp, description.len);
    *entry = description;
    entry->data = data;
}

} // namespace vesk
