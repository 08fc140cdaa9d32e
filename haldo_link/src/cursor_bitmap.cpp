#include "cursor_bitmap.h"

#include <algorithm>
#include <cstring>

namespace vesk
{

static constexpr std::uint32_t ROW_WORD_PIXELS = 32;
static constexpr std::uint32_t ROW_LEN_MAX = 32; // bytes of 255 pixels

// The pixels of a row's last byte, by their number.
static constexpr std::uint8_t and_msk_lkup_table[] = {0x00, 0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE};

static std::uint32_t row_length(std::uint32_t width)
{
    return (width + ROW_WORD_PIXELS - 1) / ROW_WORD_PIXELS * 4;
}

bitmap_planes::bitmap_planes(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth)
    : and_row(row_length(width)), xor_row(xor_depth == 1 ? and_row : width * 4U),
      and_start(xor_depth == 1 ? xor_row * height : 0), xor_start(xor_depth == 1 ? 0 : and_row * height),
      length((xor_row + and_row) * height)
{
}

bool any_pixel_set(const std::uint8_t* rows, std::uint32_t len, std::uint32_t width, std::uint32_t height)
{
    std::uint8_t mask[ROW_LEN_MAX];
    std::memset(mask, 0xFF, width / 8);
    mask[width / 8] = and_msk_lkup_table[width % 8];
    const std::uint32_t row_len = row_length(width);
    const std::uint32_t end = std::min(len, row_len * height);
    for (std::uint32_t row = 0; row < end; row += row_len) {
        const std::uint32_t seen = std::min((width + 7) / 8, end - row);
        std::uint8_t found = 0;
        for (std::uint32_t i = 0; i < seen; ++i)
            found = static_cast<std::uint8_t>(found | (rows[row + i] & mask[i]));
        if (found != 0)
            return true;
    }
    return false;
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
