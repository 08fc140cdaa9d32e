// A picture of what the client sees: its displays to scale, and the cursor at its position.
#pragma once

#include "card.h"

#include <cstdint>
#include <string>
#include <vector>

namespace cardsim
{

// Coloured rectangles, each over those before it; all of them within the whole.
struct scene {
    struct rectangle {
        std::int64_t x; // px, from the left edge of the whole
        std::int64_t y;
        std::int64_t width;
        std::int64_t height;
        std::uint32_t color; // 0xRRGGBB

        bool operator==(const rectangle&) const = default;
    };
    std::int64_t width = 0; // px
    std::int64_t height = 0;
    std::string title; // the cursor in words, "visible at 7,9"
    std::vector<rectangle> rectangles;
};

// The displays of the firmware's layout, each with a frame, around them the bounding box of them all, and the client's
// shape with its upper left corner at the pointer's position. The shape of a hidden pointer is only a frame. What of
// the shape lies outside of the box is cut off. A shape's transparent pixels show what is below, inverting ones invert
// it. The bytes of a pixel of 32 bits are blue, green, red, and opacity for ALPHA. Without a display there is an empty
// box of 640 by 480.
scene scene_of(const card& of);

// As a file of SVG, and of PNG: at most 4096 pixels wide and high, scaled by 1/2, 1/3 and so on to keep to that.
std::string render_svg(const scene& what);
std::string render_png(const scene& what);

} // namespace cardsim
