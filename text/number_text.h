// Numbers as text: decimal, or hexadecimal with 0x, behind a '-' where they are negative.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace haldo
{

// Nothing when the text is none of these, or is outside of what Integer holds.
template <typename Integer> std::optional<Integer> parse_number(std::string_view text)
{
    const bool is_negative = text.starts_with('-');
    text.remove_prefix(is_negative ? 1 : 0);
    const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hexadecimal ? 2 : 0);
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, is_hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || text.front() == '-')
        return std::nullopt;
    value = is_negative ? -value : value;
    return std::in_range<Integer>(value) ? std::optional(static_cast<Integer>(value)) : std::nullopt;
}

} // namespace haldo
