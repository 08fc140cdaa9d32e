// Cursor shapes, and what is to become of them: by the rules, a byte and a pixel at a time.
#pragma once

#include "link.h"

#include <cstdint>
#include <random>
#include <vector>

inline constexpr auto ALPHA = KMP_CUR_BITMAP_TYPE_ALPHA;
inline constexpr auto COLOR = KMP_CUR_BITMAP_TYPE_COLOR;

// The arguments of the link's operations for shapes.
struct cursor_shape {
    eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE type = ALPHA;
    std::uint8_t arg1 = 0;
    std::uint8_t arg2 = 0;
    std::uint8_t width = 0;
    std::uint8_t height = 0;
    std::uint8_t and_depth = 0;
    std::uint8_t xor_depth = 0;
    bytes bitmap = {};

    bool operator==(const cursor_shape&) const = default;
};

int send_shape(visible_link& link, const cursor_shape& shape);
void add_to_cache(visible_link& link, const cursor_shape& shape);
int is_cached(const visible_link& link, const cursor_shape& shape, unsigned char* slot);

// What a client that takes bitmaps has agreed on.
inline void agree_on_shapes(visible_link& link)
{
    link.kmp_pri_ctxt.cur_shape_bmp_alpha = 1;
    link.kmp_pri_ctxt_valid = 1;
}
// And one that caches: this many entries of this size.
inline void agree_on_cache(visible_link& link, std::uint16_t entries, std::uint32_t size)
{
    link.kmp_pri_ctxt.cur_shape_caches_supported = 1;
    link.kmp_pri_ctxt.cur_shape_cache_size_supported = 1;
    link.kmp_pri_ctxt.cur_shape_caches = entries;
    link.kmp_pri_ctxt.cur_shape_cache_size = size;
}

// --- The planes of a COLOR bitmap, height being that of the cursor itself ---

struct planes {
    planes(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth);

    std::size_t and_row; // bytes
    std::size_t xor_row;
    std::size_t and_start;
    std::size_t xor_start;
    std::size_t length; // of both
};

// Whether the search for a transparent pixel finds one.
bool is_transparent(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& bitmap);

// What flip_bitmap writes of a bitmap that has both planes.
bytes flipped(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, const bytes& bitmap);

// --- Random shapes ---

class dice
{
public:
    dice();

    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(generator()) % bound; }
    bool one_in(std::uint32_t n) { return below(n) == 0; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(generator()); }
    std::uint32_t one_of(const std::vector<std::uint32_t>& choices)
    {
        return choices[below(static_cast<std::uint32_t>(choices.size()))];
    }
    // n bytes, quickly: at most 2^19.
    bytes some(std::size_t n);

    // A bitmap of len bytes whose AND plane is clear, mostly clear, or anything, and likewise what the search for
    // transparency reads behind it.
    bytes bitmap(std::uint8_t width, std::uint8_t height, std::uint8_t xor_depth, std::size_t len);

private:
    std::mt19937 generator;
    bytes pool;
};
