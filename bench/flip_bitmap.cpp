// flip_bitmap beside what it cannot do without: one memcpy for each row, in reversed order, of the same bytes; and for
// a bitmap without a transparent bit the same with the search for one.
#include "measure.h"
#include "plain.h"
#include "vesk_haldo_link.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace
{

constexpr double GOAL = 1.10;
constexpr double GOAL_WITHOUT_SEARCH = 1.15; // of what the search is no part of
constexpr int GOAL_WITHOUT_SEARCH_FROM_PX = 64;

// A COLOR cursor. An opaque one has zeros wherever the search looks; in a transparent one it ends at the first pixel.
unsigned char size;
unsigned char depth;
std::uint32_t and_row;
std::uint32_t xor_row;
std::uint32_t and_start;
std::uint32_t xor_start;
std::vector<unsigned char> bitmap;
std::vector<unsigned char> flipped;
int no_transparency;
int result;

void make_cursor(int px, int xor_depth, bool transparent)
{
    size = static_cast<unsigned char>(px);
    depth = static_cast<unsigned char>(xor_depth);
    and_row = static_cast<std::uint32_t>((px + 31) / 32 * 4);
    xor_row = depth == 1 ? and_row : 4U * size;
    and_start = depth == 1 ? xor_row * size : 0;
    xor_start = depth == 1 ? 0 : and_row * size;
    bitmap.assign((and_row + xor_row) * size, 0);
    flipped.assign(bitmap.size(), 0);
    if (transparent)
        bitmap[and_start + and_row * (size - 1U)] = 0x80;
}

void flip()
{
    result = cVESK_HALDO_LINK::flip_bitmap(size, size, depth, static_cast<unsigned int>(bitmap.size()), bitmap.data(),
                                           flipped.data(), &no_transparency);
}

void copy_both_planes()
{
    unsigned char* const behind = plain_copy_reversed(flipped.data(), bitmap.data() + and_start, and_row, size);
    plain_copy_reversed(behind, bitmap.data() + xor_start, xor_row, size);
}

void copy_xor_plane()
{
    plain_copy_reversed(flipped.data(), bitmap.data() + xor_start, xor_row, size);
}

void search_and_copy()
{
    no_transparency = plain_any_bit(bitmap.data() + and_start + and_row * (size - 1U), size, size) == 0;
    copy_xor_plane();
}

// What each side writes is the same.
bool same_bitmap()
{
    std::vector<unsigned char> by_c(bitmap.size(), 0);
    int none_by_c = 0;
    no_transparency = 0;
    flip();
    return plain_flip_bitmap(size, size, depth, static_cast<std::uint32_t>(bitmap.size()), bitmap.data(), by_c.data(),
                             &none_by_c) == result &&
           by_c == flipped && none_by_c == no_transparency;
}

// Measures one cursor. Returns the time of the conversion.
double measure_cursor(int px, int xor_depth, bool transparent)
{
    make_cursor(px, xor_depth, transparent);
    const std::string row = "flip_bitmap, " + std::to_string(px) + " px, " + std::to_string(xor_depth) + " bit, " +
                            (transparent ? "transparent" : "opaque");
    if (!same_bitmap()) {
        std::fprintf(stderr, "%s: the C beside it writes something else\n", row.c_str());
        std::exit(1);
    }
    const bool is_goal = xor_depth == 32;
    const timing time = measure(loop<flip>, transparent ? loop<copy_both_planes> : loop<copy_xor_plane>);
    const double goal = transparent ? GOAL : GOAL_WITHOUT_SEARCH;
    print({"cursor", row, "one memcpy a row",
           is_goal && (transparent || px >= GOAL_WITHOUT_SEARCH_FROM_PX) ? std::optional(goal) : std::nullopt, ""},
          time);
    if (!transparent && is_goal)
        print({"cursor", row + ", with the search", "one memcpy a row and a search by words", GOAL, ""},
              measure(loop<flip>, loop<search_and_copy>));
    return time.ours;
}

} // namespace

int main()
{
    std::string points;
    for (const int px : {32, 64, 96, 128, 160, 192, 224, 255}) {
        const double time = measure_cursor(px, 32, true);
        points += (points.empty() ? "[" : ", [") + std::to_string(px * px) + ", " + std::to_string(time) + "]";
        measure_cursor(px, 32, false);
        measure_cursor(px, 1, true);
        measure_cursor(px, 1, false);
    }
    std::printf("{\"part\": \"cursor\", \"row\": \"flip_bitmap by the size of the cursor\", \"x\": \"pixels\", "
                "\"y\": \"ns\", \"points\": [%s]}\n",
                points.c_str());
}
