#include "journal.h"

#include "card.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace cardsim
{

namespace
{

constexpr std::size_t word = 4;
constexpr std::size_t shortest_tail = 16;

template <class Number> std::string formatted(const char* format, Number number)
{
    char text[16];
    std::snprintf(text, sizeof(text), format, number);
    return text;
}

} // namespace

const char* node_name(eVESK_NODE node)
{
    return node == VESK_NODE_HCC ? "HCC" : "HDC";
}

std::string code_text(std::uint32_t code)
{
    return formatted("0x%04X", code);
}

std::string bytes_text(std::span<const std::uint8_t> record)
{
    const auto last = std::find_if(record.rbegin(), record.rend(), [](std::uint8_t byte) { return byte != 0; });
    const std::size_t used = static_cast<std::size_t>(record.rend() - last);
    const std::size_t head = std::max(word, (used + word - 1) / word * word);
    const bool has_tail = record.size() >= head + shortest_tail;

    std::string text;
    for (const std::uint8_t byte : has_tail ? record.first(head) : record)
        text += formatted(" %02X", byte);
    if (has_tail)
        text += " (+" + std::to_string(record.size() - head) + " zero)";
    return text;
}

std::string result_text(int result)
{
    const char* error = result < 0 ? strerrorname_np(-result) : nullptr;
    return error != nullptr ? error : std::to_string(result);
}

std::string event_line(eVESK_NODE node, std::string_view event)
{
    return std::string(node_name(node)).append(" ").append(event);
}

std::string request_line(eVESK_NODE node, std::uint32_t code, std::span<const std::uint8_t> record, int result)
{
    const sVESK_REQUEST_STRUCT* known = find_request(code);
    return event_line(node, code_text(code)) + " " + (known != nullptr ? known->name : "unknown") + bytes_text(record) +
           " -> " + result_text(result);
}

} // namespace cardsim
