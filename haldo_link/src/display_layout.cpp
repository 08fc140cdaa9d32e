#include "display_layout.h"

#include "vesk_result.h"

#include <algorithm>
#include <cstring>

namespace vesk
{

static constexpr std::int32_t SCALE_NUMERATOR = 0x30000;
static constexpr std::int32_t FIXED_POINT_ONE = 0x10000;

// 32-bit two's complement that wraps instead of being undefined.
static std::int32_t wrapped(std::uint32_t value)
{
    return static_cast<std::int32_t>(value);
}
static std::uint32_t bits(std::int32_t value)
{
    return static_cast<std::uint32_t>(value);
}
static std::int32_t add(std::int32_t a, std::int32_t b)
{
    return wrapped(bits(a) + bits(b));
}
static std::int32_t subtract(std::int32_t a, std::int32_t b)
{
    return wrapped(bits(a) - bits(b));
}
static std::int32_t multiply(std::int32_t a, std::int32_t b)
{
    return wrapped(bits(a) * bits(b));
}
static std::int32_t absolute(std::int32_t a)
{
    return a < 0 ? subtract(0, a) : a;
}
static std::int32_t divide(std::int32_t a, std::int32_t b)
{
    if (b == 0)
        return 0;
    return b == -1 ? subtract(0, a) : a / b;
}

static bool is_used(const sVESK_HALDO_DISPLAY_STRUCT& disp)
{
    return disp.width != 0 || disp.height != 0;
}
static bool is_active(const sVESK_HALDO_DISPLAY_STRUCT& disp)
{
    return disp.width != 0 && disp.height != 0;
}
static std::uint32_t normalized_rotation(std::uint32_t rotation)
{
    return rotation < 3 ? rotation : 3;
}

// --- For the driver ---

static void place_displays(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw,
                           sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT* kmp)
{
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_DISPLAY_STRUCT& from = fw.disp[i];
        if (!is_active(from))
            continue;
        sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT& to = kmp->disp[i];
        to.enabled = 1;
        to.left = from.pos_x;
        to.top = from.pos_y;
        to.right = add(from.pos_x, from.width - 1);
        to.bottom = add(from.pos_y, from.height - 1);
        to.width = from.width;
        to.height = from.height;
        to.rotation = from.rotation;
        kmp->min_x = std::min(kmp->min_x, to.left);
        kmp->min_y = std::min(kmp->min_y, to.top);
        kmp->max_x = std::max(kmp->max_x, to.right);
        kmp->max_y = std::max(kmp->max_y, to.bottom);
        ++kmp->active_displays;
    }
}

static std::int32_t total(std::int32_t min, std::int32_t max)
{
    return add(add(absolute(min), absolute(max)), 1);
}

static std::int32_t scaled_first(std::int32_t edge, std::int32_t whole)
{
    return divide(multiply(edge, FIXED_POINT_ONE), whole);
}

static std::int32_t scaled_last(std::int32_t edge, std::int32_t whole)
{
    return subtract(scaled_first(add(edge, 1), whole), 1);
}

static void scale_displays(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT* kmp)
{
    kmp->total_width = total(kmp->min_x, kmp->max_x);
    kmp->total_height = total(kmp->min_y, kmp->max_y);
    kmp->x_scale = divide(SCALE_NUMERATOR, kmp->total_width);
    kmp->y_scale = divide(SCALE_NUMERATOR, kmp->total_height);
    for (sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT& disp : kmp->disp) {
        if (disp.enabled == 0)
            continue;
        disp.scaled_left = scaled_first(disp.left, kmp->total_width);
        disp.scaled_top = scaled_first(disp.top, kmp->total_height);
        disp.scaled_right = scaled_last(disp.right, kmp->total_width);
        disp.scaled_bottom = scaled_last(disp.bottom, kmp->total_height);
    }
}

sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT layout_for_driver(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw,
                                                       std::int32_t primary_width, std::int32_t primary_height,
                                                       std::int32_t twinview)
{
    sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT kmp{};
    kmp.twinview = bits(twinview);
    kmp.primary_width = primary_width;
    kmp.primary_height = primary_height;
    place_displays(fw, &kmp);
    if (kmp.active_displays != 0)
        scale_displays(&kmp);
    return kmp;
}

// --- For the caller ---

void fill_used_layout(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw, sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo)
{
    *topo = {};
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        if (!is_used(fw.disp[i]))
            continue;
        topo->disp[i] = fw.disp[i];
        topo->disp[i].rotation = normalized_rotation(fw.disp[i].rotation);
        ++topo->num_disp;
    }
}

// The result that an unused display's rate stands for, or VESK_OK when it is no mark.
static int result_of_rate(std::uint8_t rate)
{
    switch (rate) {
    case IMG_RATE_NO_CACHING:
        return VESK_RATE_NO_CACHING;
    case IMG_RATE_NOT_ACTIVE:
        return VESK_RATE_NOT_ACTIVE;
    default:
        return VESK_OK;
    }
}

int fill_cached_layout(const sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT& fw, sVESK_HALDO_LINK_CACHE_DISP_TOPO* topo)
{
    int result = VESK_OK;
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_DISPLAY_STRUCT& disp = fw.topo.disp[i];
        const int mark = is_used(disp) ? VESK_OK : result_of_rate(fw.rate[i]);
        if (mark != VESK_OK)
            result = mark;
        if (is_used(disp) || mark != VESK_OK)
            ++topo->num_disp;
        topo->disp[i] = {.pos_x = disp.pos_x,
                         .pos_y = disp.pos_y,
                         .width = disp.width,
                         .height = disp.height,
                         .rotation = normalized_rotation(disp.rotation),
                         .rate = mark != VESK_OK ? std::uint8_t{0} : fw.rate[i],
                         .reserved = {}};
        const sVESK_HALDO_HCC_IMG_MONITOR_STRUCT& monitor = fw.monitor[i];
        std::memcpy(topo->monitor[i].vid, monitor.vid, sizeof(monitor.vid));
        std::memcpy(topo->monitor[i].pid, monitor.pid, sizeof(monitor.pid));
        std::memcpy(topo->monitor[i].serial, monitor.serial, sizeof(monitor.serial));
        std::memcpy(topo->monitor[i].name, monitor.name, sizeof(monitor.name));
    }
    topo->primary = fw.primary;
    return result;
}

} // namespace vesk
