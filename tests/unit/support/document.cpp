#include "document.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <sstream>

std::string document(const std::string& name)
{
    std::ifstream file(std::string(SOURCE_TREE "/") + name);
    EXPECT_TRUE(file) << name << " cannot be read";
    return {std::istreambuf_iterator<char>(file), {}};
}

static std::vector<std::string> cells(const std::string& row)
{
    std::vector<std::string> found;
    std::istringstream in(row.substr(1));
    for (std::string cell; std::getline(in, cell, '|');) {
        std::erase(cell, '`');
        found.push_back(std::regex_replace(cell, std::regex("^ +| +$"), ""));
    }
    return found;
}

rows table(const std::string& document, const std::string& header)
{
    rows found;
    std::istringstream in(document);
    std::string line;
    while (std::getline(in, line) && !line.starts_with("| " + header)) {
    }
    std::getline(in, line); // |---|
    while (std::getline(in, line) && line.starts_with("|"))
        found.push_back(cells(line));
    EXPECT_FALSE(found.empty()) << "no table begins with " << header;
    return found;
}

std::vector<std::string> all_of(const std::string& text, const std::string& expression)
{
    const std::regex pattern(expression);
    return {std::sregex_token_iterator(text.begin(), text.end(), pattern, 1), {}};
}
