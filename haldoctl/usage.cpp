#include "usage.h"

#include <algorithm>

namespace haldoctl
{

namespace
{

bool is_group(const CLI::App* level)
{
    return level->get_require_subcommand_min() != 0;
}

// What the library says, where that does not name the word as it is written.
std::string sentence_of(const std::string& said)
{
    static constexpr std::string_view flag_with_value = " was given a disallowed flag override";
    if (said.ends_with(flag_with_value))
        return "--" + said.substr(0, said.size() - flag_with_value.size()) + " takes no value";
    if (said.ends_with(" missing"))
        return said.substr(0, said.find(": ")) + " needs a value";
    return said;
}

} // namespace

std::string full_name(const CLI::App* level)
{
    const CLI::App* const parent = level->get_parent();
    return parent == nullptr ? level->get_name() : full_name(parent) + " " + level->get_name();
}

const CLI::App* wrong_level(const CLI::App& root)
{
    const CLI::App* level = &root;
    while (level->remaining_size() == 0 && !level->get_subcommands().empty())
        level = level->get_subcommands().front();
    return level;
}

std::string usage_sentence(const CLI::App& root, const CLI::ParseError& error)
{
    const CLI::App* const level = wrong_level(root);
    const std::vector<std::string> unknown = level->remaining();
    const auto wrong = std::ranges::find_if(unknown, [](const std::string& word) { return word != "--"; });
    if (wrong != unknown.end()) {
        const std::string& word = *wrong;
        const bool is_option = word.size() > 1 && word.front() == '-';
        return "'" + word + "' is " +
               (is_option         ? "not an option of '"
                : is_group(level) ? "not a command of '"
                                  : "one word too many for '") +
               full_name(level) + "'";
    }
    if (!is_group(level) || error.get_name() != "RequiredError")
        return sentence_of(error.what());
    std::string names;
    for (const CLI::App* const command : level->get_subcommands(nullptr))
        names += (names.empty() ? "" : ", ") + command->get_name();
    return "'" + full_name(level) + "' needs a command: " + names;
}

} // namespace haldoctl
