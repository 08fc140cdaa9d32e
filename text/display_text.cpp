#include "display_text.h"

#include <cstdio>

namespace haldo
{

std::string display_text(const sVESK_HALDO_DISPLAY_STRUCT& display)
{
    if (display.width == 0 && display.height == 0 && display.pos_x == 0 && display.pos_y == 0 && display.rotation == 0)
        return "-";
    char text[80];
    const int length =
        std::snprintf(text, sizeof(text), "%ux%u%+d%+d", display.width, display.height, display.pos_x, display.pos_y);
    if (display.rotation != 0)
        std::snprintf(text + length, sizeof(text) - static_cast<std::size_t>(length), "/%u", display.rotation);
    return text;
}

std::optional<sVESK_HALDO_DISPLAY_STRUCT> parse_display(std::string_view text)
{
    sVESK_HALDO_DISPLAY_STRUCT display{};
    unsigned int width = 0;
    unsigned int height = 0;
    long long x = 0;
    long long y = 0;
    long long rotation = 0;
    // A part that its field cannot keep, or that is missing, is not written again as it was read.
    std::sscanf(std::string(text).c_str(), "%5ux%5u%12lld%12lld/%12lld", &width, &height, &x, &y, &rotation);
    display.width = static_cast<std::uint16_t>(width);
    display.height = static_cast<std::uint16_t>(height);
    display.pos_x = static_cast<std::int32_t>(x);
    display.pos_y = static_cast<std::int32_t>(y);
    display.rotation = static_cast<std::uint32_t>(rotation);
    return display_text(display) == text ? std::optional(display) : std::nullopt;
}

} // namespace haldo
