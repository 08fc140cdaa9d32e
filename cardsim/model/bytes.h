// Records as the bytes that a request carries.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>

namespace cardsim
{

template <class Record> Record read(std::span<const std::uint8_t> bytes)
{
    Record record;
    std::memcpy(&record, bytes.data(), sizeof(record));
    return record;
}

template <class Record> void write(std::span<std::uint8_t> bytes, const Record& record)
{
    std::memcpy(bytes.data(), &record, sizeof(record));
}

inline bool is_zero(std::span<const std::uint8_t> bytes)
{
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

} // namespace cardsim
