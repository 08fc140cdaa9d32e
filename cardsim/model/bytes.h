// Records as the bytes that a request carries.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

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

template <class Record> auto bytes_of(Record& record)
{
    using byte = std::conditional_t<std::is_const_v<Record>, const std::uint8_t, std::uint8_t>;
    return std::span<byte>(reinterpret_cast<byte*>(&record), sizeof(record));
}

inline bool is_zero(std::span<const std::uint8_t> bytes)
{
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

} // namespace cardsim
