// A cursor shape that the client has in its cache, and one that is not among 16 of the same size, beside the reference,
// which reads the same memory. The driver costs nothing.
#include "driver.h"
#include "measure.h"
#include "reference.h"
#include "vesk_haldo_link.h"

#include <cstring>
#include <string>
#include <vector>

namespace
{

constexpr double GOAL = 1.05;

class bench_link : public cVESK_HALDO_LINK
{
public:
    unsigned char* cached(int slot) const { return bmp_cache[slot].data; }
};

bench_link ours;
reference_link reference;
std::vector<unsigned char> bitmap;
unsigned char size;
int found;
unsigned char slot;

#define SHAPE                                                                                                          \
    0, 0, size, size, 1, 32, bitmap.data(), static_cast<unsigned int>(bitmap.size()), KMP_CUR_BITMAP_TYPE_COLOR

void start_caches()
{
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT context{};
    context.cur_shape_caches_supported = context.cur_shape_cache_size_supported = context.cur_shape_bmp_alpha = 1;
    context.cur_shape_caches = BMP_CACHE_MAX;
    context.cur_shape_cache_size = static_cast<std::uint32_t>(bitmap.size());
    driver_reply = {HCC_IOCTL_KMP_PRI_CTXT_GET.code, 0, sizeof(context), &context};
    ours.kmp_pri_ctxt_get();
    ours.init_bitmap_cache();
    reference_context_get(&reference);
    reference_cache_init(&reference);
    for (int i = 0; i < BMP_CACHE_MAX; ++i) {
        std::free(reference.cache[i].data);
        reference.cache[i].data = ours.cached(i);
    }
    driver_reply = {};
}

void add_to_both()
{
    ours.add_bitmap_to_cache(SHAPE);
    reference_cache_add(&reference, SHAPE);
}

std::string of_size(const std::string& row)
{
    return row + ", " + std::to_string(size) + " px";
}

void measure_row(const std::string& row, loop_function by_us, loop_function by_reference)
{
    print({"cursor", row, "its idiom, free driver", GOAL, ""}, measure(by_us, by_reference));
}

void measure_miss(const std::string& where, unsigned char& byte)
{
    for (int i = 0; i < BMP_CACHE_MAX; ++i) {
        byte = static_cast<unsigned char>(i + 1);
        add_to_both();
    }
    byte = 0;
    measure_row(of_size("not among 16 shapes") + ", the " + where + " byte differs",
                loop<[] { found = ours.is_bitmap_cached(SHAPE, &slot); }>,
                loop<[] { found = reference_cache_find(reference, SHAPE, &slot); }>);
}

} // namespace

int main()
{
    claim_standard_output();
    reference_open(&reference);
    for (const int px : {32, 64, 128}) {
        size = static_cast<unsigned char>(px);
        bitmap.assign(static_cast<std::size_t>(px) * (px / 8 + px * 4), 0);
        start_caches();
        add_to_both();
        measure_row(of_size("a cached shape"), loop<[] { found = ours.lcur_shape_bmp_send(SHAPE); }>,
                    loop<[] { found = reference_shape_send(&reference, SHAPE); }>);
        measure_miss("first", bitmap.front());
        measure_miss("last", bitmap.back());
        reference.cached = 0; // what it compares with is ours
    }
}
