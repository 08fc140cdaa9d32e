// The arithmetic of display layouts.
#pragma once

#include "vesk_hcc_records.h"

namespace vesk
{

// The layout for the driver, all zero but for what the caller gives and for the active displays, those with width and
// height: their edges, the bounding box of them and the origin, and, unless there is none, totals, scales and edges in
// 16.16 fixed point of the totals.
sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT layout_for_driver(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw,
                                                       std::int32_t primary_width, std::int32_t primary_height,
                                                       std::int32_t twinview);

// The used displays of a layout, those with width or height, each at its index.
void fill_used_layout(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw, sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo);

// The cached layout, into a record that is all zero. Returns what the last mark among the rates of unused displays
// stands for, or VESK_OK.
int fill_cached_layout(const sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT& fw, sVESK_HALDO_LINK_CACHE_DISP_TOPO* topo);

} // namespace vesk
