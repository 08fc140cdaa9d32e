#include "record.h"

#include "control.h"
#include "journal.h"
#include "number_text.h"

#include <istream>
#include <sstream>
#include <stdexcept>

namespace cardsim
{

namespace
{

constexpr std::string_view command_mark = "> ";
constexpr std::size_t longest_record = 1 << 20;

[[noreturn]] void refuse(const std::string& word, const char* what)
{
    throw std::invalid_argument(in_quotes(word) + " is not " + what);
}

// Words apart by single blanks: an empty one is part of a value.
std::vector<std::string> split_command(std::string_view text)
{
    std::vector<std::string> words(1);
    for (const char character : text) {
        if (character == ' ')
            words.emplace_back();
        else
            words.back() += character;
    }
    return words;
}

std::vector<std::uint8_t> read_bytes(std::istringstream& line)
{
    std::vector<std::uint8_t> bytes;
    std::string word;
    while (line >> word && word != "->") {
        const auto number = haldo::parse_number<std::uint32_t>((word[0] == '(' ? "" : "0x") +
                                                               word.substr(word.starts_with("(+") ? 2 : 0));
        if (!number || (word[0] != '(' && (word.size() != 2 || *number > 0xFF)) || *number > longest_record)
            refuse(word, "a byte");
        if (word[0] != '(') {
            bytes.push_back(static_cast<std::uint8_t>(*number));
            continue;
        }
        bytes.resize(bytes.size() + *number);
        line >> word; // "zero)"
    }
    return bytes;
}

// The line that a recorded request is recorded as now.
std::string repeat(card& on, const std::string& recorded)
{
    std::istringstream line(recorded);
    std::string node;
    std::string code;
    std::string name;
    line >> node >> code >> name;
    if (node != node_name(VESK_NODE_HCC) && node != node_name(VESK_NODE_HDC))
        refuse(node, "a node");
    const auto number = haldo::parse_number<std::uint32_t>(code);
    if (!number)
        refuse(code, "the code of a request");
    std::vector<std::uint8_t> record = read_bytes(line);

    const std::vector<std::uint8_t> sent = record;
    const eVESK_NODE on_node = node == node_name(VESK_NODE_HCC) ? VESK_NODE_HCC : VESK_NODE_HDC;
    const auto end = on.serve(on_node, *number, record);
    return record_line({on_node, *number, sent, record, end});
}

} // namespace

std::vector<std::string> record_start(const state& of, std::uint32_t seed)
{
    std::vector<std::string> lines{record_line(std::vector<std::string>{"seed", std::to_string(seed)})};
    for (const std::string& key : state_keys())
        lines.push_back(record_line(std::vector<std::string>{"set", key + "=" + state_text(of, key)}));
    return lines;
}

std::string record_line(std::span<const std::string> command)
{
    std::string line(command_mark.substr(0, 1));
    for (const std::string& word : command)
        line += " " + word;
    return line;
}

std::string record_line(const card::exchange& one)
{
    const std::string line = request_line(one.node, one.code, one.sent, one.end.result);
    return one.end.result >= 0 && !one.answered.empty() ? line + " =" + bytes_text(one.answered) : line;
}

std::vector<std::string> replay(card& on, std::istream& from, const std::string& name)
{
    std::vector<std::string> differences;
    std::string line;
    for (unsigned number = 1; std::getline(from, line); ++number) {
        const std::string where = name + ":" + std::to_string(number) + ": ";
        try {
            if (line.starts_with(command_mark)) {
                control(on, split_command(line.substr(command_mark.size())));
            } else if (const std::string now = repeat(on, line); now != line) {
                differences.push_back(where + line + "\n    now " + now);
            }
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(where + error.what());
        }
    }
    return differences;
}

} // namespace cardsim
