// What goes to standard output: results as text or as a document.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace haldoctl
{

// Objects keep the order in which they were built, so that both forms of output show it.
using json = nlohmann::ordered_json;

// Throws a failure when it cannot be written.
void print(const std::string& output);

// The document of a command's result or failure. command: empty when the command line names none; name: "result" or
// "error".
void print_document(const std::string& command, const char* name, const json& content);

// The text form of a value, and of a result: a field a line, names and values in two columns.
std::string value_text(const json& value);
std::string fields(const json& result);

// A text that cannot steer the terminal: what comes from a card, a file or a command line, its control characters as
// \xNN.
std::string harmless(const std::string& text);

// A text in a colour, on a terminal whose user has nothing against it; as it is elsewhere.
enum class colour {
    RED = 31,
    GREEN = 32,
    YELLOW = 33
};
std::string paint(colour in, const std::string& text);

// How many columns a drawing may take.
int columns();

} // namespace haldoctl
