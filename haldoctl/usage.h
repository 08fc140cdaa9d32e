// What is wrong with a command line, in words.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace haldoctl
{

// "haldoctl session show"
std::string full_name(const CLI::App* level);

// The level of the command line where it goes wrong: the first one with a word that it does not know, or else the last.
const CLI::App* wrong_level(const CLI::App& root);

// Why it was refused, in one sentence that names the word.
std::string usage_sentence(const CLI::App& root, const CLI::ParseError& error);

} // namespace haldoctl
