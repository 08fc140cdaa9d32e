// What an option's word must be, to be given to CLI::Option::transform.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <limits>

namespace haldoctl
{

// A number in these limits.
CLI::Validator number(std::int64_t min, std::int64_t max);
template <typename Integer> CLI::Validator number()
{
    return number(std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max());
}

CLI::Validator text_up_to(std::size_t length);
CLI::Validator file_name();

} // namespace haldoctl
