#include "layout.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>

namespace haldoctl
{

namespace
{

constexpr int COLUMNS_MIN = 20;
constexpr int ROWS_MAX = 40;

// What all displays take up; positions may lie at the limits of their type.
struct box {
    std::int64_t left = std::numeric_limits<std::int64_t>::max();
    std::int64_t top = std::numeric_limits<std::int64_t>::max();
    std::int64_t right = std::numeric_limits<std::int64_t>::min();
    std::int64_t bottom = std::numeric_limits<std::int64_t>::min();

    std::int64_t width() const { return std::max<std::int64_t>(right - left, 1); }
    std::int64_t height() const { return std::max<std::int64_t>(bottom - top, 1); }
};

box around(const std::vector<placed_display>& displays)
{
    box all;
    for (const auto& [index, at] : displays) {
        all.left = std::min<std::int64_t>(all.left, at.pos_x);
        all.top = std::min<std::int64_t>(all.top, at.pos_y);
        all.right = std::max(all.right, std::int64_t{at.pos_x} + at.width);
        all.bottom = std::max(all.bottom, std::int64_t{at.pos_y} + at.height);
    }
    return all;
}

std::string size_of(const sVESK_HALDO_DISPLAY_STRUCT& at)
{
    return std::to_string(at.width) + "x" + std::to_string(at.height);
}

// A frame with the display's index and size within, as far as they have room.
void draw(std::vector<std::string>& canvas, std::size_t left, std::size_t top, std::size_t right, std::size_t bottom,
          const placed_display& display)
{
    for (const std::size_t row : {top, bottom})
        for (std::size_t column = left; column <= right; ++column)
            if (canvas[row][column] != '+')
                canvas[row][column] = '-';
    for (const std::size_t column : {left, right})
        for (std::size_t row = top; row <= bottom; ++row)
            if (canvas[row][column] != '+')
                canvas[row][column] = '|';
    for (const std::size_t row : {top, bottom})
        for (const std::size_t column : {left, right})
            canvas[row][column] = '+';
    std::size_t row = top + 1;
    for (const std::string& label : {std::to_string(display.index), size_of(display.at)}) {
        if (row < bottom && label.size() + 1 < right - left)
            canvas[row].replace(left + 2, std::min(label.size(), right - left - 2), label, 0, right - left - 2);
        ++row;
    }
}

} // namespace

std::string draw_text(const std::vector<placed_display>& displays, int columns)
{
    if (displays.empty())
        return {};
    const box all = around(displays);
    const double scale = std::min((std::max(columns, COLUMNS_MIN) - 1) / static_cast<double>(all.width()),
                                  2.0 * (ROWS_MAX - 1) / static_cast<double>(all.height()));
    const auto column = [&](std::int64_t x) {
        return static_cast<std::size_t>(std::lround(static_cast<double>(x - all.left) * scale));
    };
    const auto row = [&](std::int64_t y) {
        return static_cast<std::size_t>(std::lround(static_cast<double>(y - all.top) * scale / 2));
    };

    std::vector<std::string> canvas(row(all.top + all.height()) + 1,
                                    std::string(column(all.left + all.width()) + 1, ' '));
    for (const placed_display& display : displays) {
        const auto& at = display.at;
        draw(canvas, column(at.pos_x), row(at.pos_y), column(std::int64_t{at.pos_x} + at.width),
             row(std::int64_t{at.pos_y} + at.height), display);
    }
    std::string text;
    for (const std::string& line : canvas)
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    return text;
}

std::string draw_svg(const std::vector<placed_display>& displays)
{
    const box all = displays.empty() ? box{0, 0, 1, 1} : around(displays);
    const std::int64_t stroke = std::max<std::int64_t>(std::max(all.width(), all.height()) / 400, 1);
    std::ostringstream svg;
    svg << R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox=")" << all.left - stroke << ' ' << all.top - stroke << ' '
        << all.width() + 2 * stroke << ' ' << all.height() + 2 * stroke << "\">\n";
    for (const auto& [index, at] : displays) {
        const int text_size = std::max(std::min(at.width, at.height) / 8, 1);
        svg << R"(  <rect x=")" << at.pos_x << R"(" y=")" << at.pos_y << R"(" width=")" << at.width << R"(" height=")"
            << at.height << R"(" fill="#dde4ee" stroke="#334455" stroke-width=")" << stroke << "\"/>\n"
            << R"(  <text x=")" << std::int64_t{at.pos_x} + at.width / 2 << R"(" y=")"
            << std::int64_t{at.pos_y} + at.height / 2 << R"(" font-family="sans-serif" font-size=")" << text_size
            << R"(" text-anchor="middle" dominant-baseline="middle">)" << index << ": " << size_of(at) << "</text>\n";
    }
    svg << "</svg>\n";
    return svg.str();
}

} // namespace haldoctl
