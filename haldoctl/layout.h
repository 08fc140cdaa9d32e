// A layout of displays, drawn to scale.
#pragma once

#include "vesk_hcc_records.h"

#include <string>
#include <vector>

namespace haldoctl
{

struct placed_display {
    unsigned int index;
    sVESK_HALDO_DISPLAY_STRUCT at;
};

// Of characters, at most so many in a line, each twice as high as it is wide. Nothing without a display.
std::string draw_text(const std::vector<placed_display>& displays, int columns);

std::string draw_svg(const std::vector<placed_display>& displays);

} // namespace haldoctl
