// A display of a layout as text: "1920x1080+0+0", "1280x1024-1280+56/3" with a rotation other than 0, "-" for an entry
// that is all zero. Numbers are decimal, without zeros in front.
#pragma once

#include "vesk_hcc_records.h"

#include <optional>
#include <string>
#include <string_view>

namespace haldo
{

std::string display_text(const sVESK_HALDO_DISPLAY_STRUCT& display);

// What display_text writes, or nothing for any other text.
std::optional<sVESK_HALDO_DISPLAY_STRUCT> parse_display(std::string_view text);

// What it looks like, in words.
inline constexpr const char* DISPLAY_FORM = "WIDTHxHEIGHT+X+Y in decimal, with /ROTATION unless it is 0, or -";

} // namespace haldo
