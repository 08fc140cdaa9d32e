// A cursor shape that the client has in its cache, beside the memcmp and the request that cannot be done without; and a
// shape that it does not have, beside the memcmps with 16 entries of the same size. Both sides read the same memory.
#include "driver.h"
#include "measure.h"
#include "plain.h"
#include "vesk_haldo_link.h"

#include <string>
#include <vector>

namespace
{

constexpr double GOAL = 1.2;

class bench_link : public cVESK_HALDO_LINK
{
public:
    void start_cache(std::uint32_t entry_size)
    {
        kmp_pri_ctxt.cur_shape_caches_supported = kmp_pri_ctxt.cur_shape_cache_size_supported = 1;
        kmp_pri_ctxt.cur_shape_bmp_alpha = 1;
        kmp_pri_ctxt.cur_shape_caches = BMP_CACHE_MAX;
        kmp_pri_ctxt.cur_shape_cache_size = entry_size;
        kmp_pri_ctxt_valid = 1;
        init_bitmap_cache();
    }
    const std::uint8_t* cached(int slot) const { return bmp_cache[slot].data; }
};

bench_link ours;
plain_link plain;
std::vector<unsigned char> bitmap;
unsigned char size;
int found;
unsigned char slot;
const std::uint8_t* cached[BMP_CACHE_MAX];

#define SHAPE                                                                                                          \
    0, 0, size, size, 1, 32, bitmap.data(), static_cast<unsigned int>(bitmap.size()), KMP_CUR_BITMAP_TYPE_COLOR

void send_cached()
{
    found = ours.lcur_shape_bmp_send(SHAPE);
}

void compare_and_request()
{
    found = plain_show_if_same(&plain, 1, cached[1], bitmap.data(), bitmap.size());
}

void look_up()
{
    found = ours.is_bitmap_cached(SHAPE, &slot);
}

void compare_with_all()
{
    found = plain_same_as_any(cached, BMP_CACHE_MAX, bitmap.data(), bitmap.size());
}

} // namespace

int main()
{
    for (const int px : {32, 64, 128}) {
        size = static_cast<unsigned char>(px);
        const std::size_t length = static_cast<std::size_t>(px) * (px / 8 + px * 4);
        const std::string of_size = ", " + std::to_string(px) + " px";
        bitmap.assign(length, 0);
        ours.start_cache(static_cast<std::uint32_t>(length));
        for (int i = 0; i < BMP_CACHE_MAX; ++i)
            cached[i] = ours.cached(i);

        ours.add_bitmap_to_cache(SHAPE);
        print({"cursor", "a cached shape" + of_size, "one memcmp and one request, free driver", GOAL, ""},
              measure(loop<send_cached>, loop<compare_and_request>));

        const auto miss = [&](const char* where, unsigned char& byte) {
            for (int i = 0; i < BMP_CACHE_MAX; ++i) {
                byte = static_cast<unsigned char>(i + 1);
                ours.add_bitmap_to_cache(SHAPE);
            }
            byte = 0;
            print({"cursor", "not among 16 shapes" + of_size + ", the " + where + " byte differs", "16 memcmps", GOAL,
                   ""},
                  measure(loop<look_up>, loop<compare_with_all>));
        };
        miss("first", bitmap.front());
        miss("last", bitmap.back());
    }
}
