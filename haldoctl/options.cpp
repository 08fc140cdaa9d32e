#include "options.h"

#include "number_text.h"

namespace haldoctl
{

CLI::Validator number(std::int64_t min, std::int64_t max)
{
    const std::string limits = std::to_string(min) + " to " + std::to_string(max);
    const auto check = [=](std::string& word) -> std::string {
        const auto value = haldo::parse_number<std::int64_t>(word);
        if (!value || *value < min || *value > max)
            return "'" + word + "' is not a number from " + limits;
        word = std::to_string(*value);
        return {};
    };
    return {check, limits, "number"};
}

CLI::Validator text_up_to(std::size_t length)
{
    const auto check = [=](std::string& word) -> std::string {
        if (word.size() > length)
            return "'" + word + "' is longer than " + std::to_string(length) + " bytes";
        return {};
    };
    return {check, "up to " + std::to_string(length) + " bytes", "text"};
}

CLI::Validator file_name()
{
    return {[](std::string& word) { return std::string(word.empty() ? "'' is not the name of a file" : ""); }, "",
            "file"};
}

} // namespace haldoctl
