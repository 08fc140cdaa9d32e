// flip_bitmap beside its reference: the search for a transparent bit, and one memcpy for each row.
#include "measure.h"
#include "reference.h"
#include "vesk_haldo_link.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

constexpr double GOAL = 1.05;

// A COLOR cursor. An opaque one has zeros wherever the search looks; in a transparent one it ends at the first pixel.
unsigned char size;
unsigned char depth;
std::vector<unsigned char> bitmap;
std::vector<unsigned char> flipped;
int no_transparency;
int result;

#define BITMAP                                                                                                         \
    size, size, depth, static_cast<unsigned int>(bitmap.size()), bitmap.data(), flipped.data(), &no_transparency

void make_cursor(int px, int xor_depth, bool transparent)
{
    const std::size_t and_row = static_cast<std::size_t>((px + 31) / 32 * 4);
    const std::size_t xor_row = xor_depth == 1 ? and_row : static_cast<std::size_t>(4 * px);
    size = static_cast<unsigned char>(px);
    depth = static_cast<unsigned char>(xor_depth);
    bitmap.assign((and_row + xor_row) * size, 0);
    if (transparent)
        bitmap[(xor_depth == 1 ? xor_row * size : 0) + and_row * (size - 1U)] = 0x80;
}

void flip()
{
    result = cVESK_HALDO_LINK::flip_bitmap(BITMAP);
}

void flip_by_reference()
{
    result = reference_flip(BITMAP);
}

// What one side writes.
std::vector<unsigned char> written(void (*writer)())
{
    flipped.assign(bitmap.size(), 0);
    no_transparency = 0;
    writer();
    flipped.push_back(static_cast<unsigned char>(no_transparency));
    return flipped;
}

// Measures one cursor. Returns the time of the conversion.
double measure_cursor(int px, int xor_depth, bool transparent)
{
    make_cursor(px, xor_depth, transparent);
    const std::string row = "flip_bitmap, " + std::to_string(px) + " px, " + std::to_string(xor_depth) + " bit, " +
                            (transparent ? "transparent" : "opaque");
    if (written(flip) != written(flip_by_reference)) {
        std::fprintf(stderr, "%s: the reference writes something else\n", row.c_str());
        std::exit(1);
    }
    const timing time = measure(loop<flip>, loop<flip_by_reference>);
    print({"cursor", row, "a search by words and one memcpy a row", GOAL, ""}, time);
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
