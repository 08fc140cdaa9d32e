// The documents as their readers see them, to be compared with what the code says.
#pragma once

#include <string>
#include <vector>

// A document of the source tree, "docs/protocol.md".
std::string document(const std::string& name);

// The rows of the table whose header begins with this text, each a list of its cells without the marks of code.
using rows = std::vector<std::vector<std::string>>;
rows table(const std::string& document, const std::string& header);

// Every part of a text that is in a regular expression's first group.
std::vector<std::string> all_of(const std::string& text, const std::string& expression);
