#include "config_check.h"

#include "config.h"
#include "launcher_command.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <string_view>
#include <utility>

namespace haldoctl
{

namespace
{

using namespace std::string_literals;

constexpr std::size_t LINE_MAX_LENGTH = CONFIG_LINE_SIZE - 1; // line end included

// What the daemon's table says of each key, in its order.
struct key_rule {
    bool is_number;
    bool is_path;
    std::int64_t least; // the value of a number, the length of a text
    std::int64_t greatest;
    const char* unit;
};
#define VESK_NUMBER(key, initial, least, greatest, unit, ...)  {true, false, least, greatest, unit},
#define VESK_TEXT(key, initial, least, greatest, is_path, ...) {false, is_path, least, greatest, ""},
constexpr key_rule rules[] = {VESK_CONFIG_KEYS(VESK_NUMBER, VESK_TEXT)};
#undef VESK_NUMBER
#undef VESK_TEXT

// --- Words ---

std::string in_quotes(std::string_view text)
{
    std::string all = "'";
    all += text;
    return all += "'";
}

// "seconds, 0 or more", "0 or 1", "an absolute path of 3 to 400 characters, without blanks and quotes"
std::string allowed_by(const key_rule& rule)
{
    const std::string least = std::to_string(rule.least);
    const std::string greatest = std::to_string(rule.greatest);
    if (!rule.is_number)
        return (rule.is_path ? "an absolute path of " : "") + (rule.least > 1 ? least + " to " : "at most "s) +
               greatest + " characters, without " + (rule.is_path ? "blanks and " : "") + "quotes";
    return (*rule.unit != '\0' ? rule.unit + ", "s : "") + least +
           (rule.greatest == INT_MAX ? " or more" : (rule.greatest == rule.least + 1 ? " or " : " to ") + greatest);
}

std::string lower(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::size_t edit_distance(const std::string& from, const std::string& to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] != to[j] ? 1 : 0);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

// The known key that is nearest to a word, whatever the letter case; empty when none is near.
std::string nearest_key(const std::string& word)
{
    std::string nearest;
    std::size_t least = SIZE_MAX;
    for (const sVESK_CONFIG_LOOKUP_STRUCT& entry : config_lookup_table) {
        const std::size_t distance = edit_distance(lower(word), lower(entry.name));
        if (distance < least && distance <= std::strlen(entry.name) / 3) {
            nearest = entry.name;
            least = distance;
        }
    }
    return nearest;
}

int index_of_key(std::string_view key)
{
    const auto* const found = std::ranges::find(config_lookup_table, key, &sVESK_CONFIG_LOOKUP_STRUCT::name);
    return found == std::end(config_lookup_table) ? -1 : static_cast<int>(found - config_lookup_table);
}

// --- A file ---

class checker
{
public:
    explicit checker(bool is_strict) : m_is_strict(is_strict) {}

    std::vector<config_finding> check(const std::string& text);

private:
    void check_piece(std::string piece, bool is_rest);
    void check_unknown_key(const std::string& key, bool is_rest);
    void check_number(const key_rule& rule, const std::string& value);
    void check_text(const key_rule& rule, const std::string& value);
    void check_path(const key_rule& rule, const std::string& value);
    void check_command();

    void error(const std::string& problem, const std::string& allowed = "") { add(true, problem, allowed); }
    void warning(const std::string& problem, const std::string& allowed = "") { add(false, problem, allowed); }
    void add(bool is_error, const std::string& problem, const std::string& allowed)
    {
        m_findings.push_back({m_line, m_key, is_error, problem, allowed, ""});
    }

    bool m_is_strict;
    std::vector<config_finding> m_findings;
    std::size_t m_line = 0;
    std::string m_key;
    std::map<std::string, std::size_t> m_lines_of_keys;
    std::map<std::string, std::string> m_texts; // those that count in the end
};

std::vector<config_finding> checker::check(const std::string& text)
{
    bool has_carriage_return = false;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t newline = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, newline - start);
        start = newline + 1;
        ++m_line;
        m_key.clear();
        if (!line.empty() && line.back() == '\r' && !std::exchange(has_carriage_return, true))
            warning("the line ends in a carriage return, which the daemon takes for text",
                    "lines that end in a newline alone");
        if (line.size() > LINE_MAX_LENGTH)
            error("the line has " + std::to_string(line.size()) + " characters; what follows the first " +
                      std::to_string(LINE_MAX_LENGTH) + " is read as a line of its own",
                  "at most " + std::to_string(LINE_MAX_LENGTH) + " characters");
        for (std::size_t at = 0; at < line.size(); at += LINE_MAX_LENGTH)
            check_piece(line.substr(at, LINE_MAX_LENGTH), at > 0);
    }
    m_key.clear();
    if (!text.empty() && text.back() != '\n')
        warning("the file does not end in a newline: a line that is appended becomes part of this one");
    check_command();
    std::ranges::stable_sort(m_findings, {}, &config_finding::line);
    return m_findings;
}

// As the daemon takes a line apart. is_rest: it is what was left of a line that is too long.
void checker::check_piece(std::string piece, bool is_rest)
{
    m_key.clear();
    if (piece.front() == '#')
        return;
    if (piece.find('\0') != std::string::npos) {
        error("the line has a NUL character, and what follows it is not read");
        piece.resize(piece.find('\0'));
    }
    const std::string whole = piece;
    const auto [found_key, found_value] = take_apart(piece.data());
    if (found_key == nullptr || std::strcmp(found_key, "\r") == 0)
        return;
    const std::string key = found_key;
    const auto behind_key = static_cast<std::size_t>(found_key - piece.data()) + key.size();
    const std::string value = found_value != nullptr ? found_value : "";

    m_key = key;
    const int index = index_of_key(key);
    if (index < 0) {
        check_unknown_key(key, is_rest);
        return;
    }
    if (is_rest)
        error("the rest of a line that is too long sets this key");
    if (m_lines_of_keys.contains(key))
        warning("set again; line " + std::to_string(m_lines_of_keys[key]) + " no longer counts", "each key once");
    m_lines_of_keys[key] = m_line;
    const std::size_t equals = whole.find('=', behind_key);
    if (found_value != nullptr && equals == std::string::npos)
        warning("no '=' before the value", key + "=VALUE");
    if (equals != std::string::npos && equals >= behind_key + 2 && whole.find_first_not_of(' ', behind_key) == equals) {
        error("two or more blanks before the '=': a blank is taken for the value", key + "=VALUE");
        return;
    }
    const key_rule& rule = rules[index];
    if (found_value != nullptr && static_cast<std::size_t>(found_value - piece.data()) + value.size() < whole.size())
        error("a second '=' ends the value, which is " + in_quotes(value), "no '=' in a value");
    if (rule.is_number)
        check_number(rule, value);
    else
        check_text(rule, value);
}

void checker::check_unknown_key(const std::string& key, bool is_rest)
{
    if (is_rest)
        return; // said of the line
    std::string problem = "unknown key, the line is ignored";
    std::string plain = key;
    std::erase_if(plain, [](unsigned char c) { return c <= ' ' || c >= 0x7F; });
    if (key.front() == '#')
        problem = "a comment begins in the first column; this is an unknown key, and the line is ignored";
    else if (key.starts_with("\xEF\xBB\xBF"))
        problem = "a byte order mark belongs to the key, and the line is ignored";
    else if (key.find('\t') != std::string::npos)
        problem = "a tab belongs to the key, and the line is ignored";
    m_findings.push_back({m_line, key, m_is_strict, problem, "", key.front() == '#' ? "" : nearest_key(plain), true});
}

void checker::check_number(const key_rule& rule, const std::string& value)
{
    const auto text = value.substr(0, value.find_last_not_of(" \t\r") + 1);
    if (value.empty()) {
        error("no value: the daemon keeps the one it has", allowed_by(rule));
        return;
    }
    errno = 0;
    char* end = nullptr;
    const long long wide = std::strtoll(text.c_str(), &end, 10);
    const auto number = static_cast<std::int32_t>(wide);
    const std::string counts = " counts as " + std::to_string(number);
    if (end == text.c_str())
        error(in_quotes(text) + " is no number and" + counts, allowed_by(rule));
    else if (*end != '\0')
        error(in_quotes(text) + " has more than a number and" + counts, allowed_by(rule));
    else if (number != wide || errno == ERANGE)
        error(in_quotes(text) + " has more than 32 bits and" + counts, allowed_by(rule));
    else if (number < rule.least || number > rule.greatest)
        error(std::to_string(number) + " is out of range", allowed_by(rule));
}

void checker::check_text(const key_rule& rule, const std::string& value)
{
    const auto size = static_cast<std::size_t>(rule.greatest);
    m_texts[m_key] = value.substr(0, size);
    if (value.size() > size)
        error("the value has " + std::to_string(value.size()) + " characters and is cut behind " + std::to_string(size),
              allowed_by(rule));
    if (!value.empty() && value.back() == '\r')
        error("a carriage return belongs to the value", "a line that ends in a newline alone");
    else if (std::ranges::any_of(value, [](unsigned char c) { return c < ' ' || c == 0x7F; }))
        error("a control character belongs to the value " + in_quotes(value), allowed_by(rule));
    if (const std::size_t at = value.find_first_of("'\"`$\\"); at != std::string::npos)
        error("the launcher's command line cannot carry the character "s + value[at], allowed_by(rule));
    if (rule.is_path)
        check_path(rule, value);
}

void checker::check_path(const key_rule& rule, const std::string& value)
{
    if (value.empty())
        error("the value is empty", allowed_by(rule));
    else if (value.find('#') != std::string::npos)
        error("a '#' in a value begins no comment: the value is " + in_quotes(value), allowed_by(rule));
    else if (value.find(' ') != std::string::npos)
        error("a blank belongs to the value " + in_quotes(value), allowed_by(rule));
    else if (const std::size_t at = value.find_first_of("&;|<>()*?[]{}~!"); at != std::string::npos)
        error("the character "s + value[at] + " is special to the shell that runs the command", allowed_by(rule));
    else if (value.size() < static_cast<std::size_t>(rule.least))
        error(in_quotes(value) + " is too short: the log stays where it is", allowed_by(rule));
    else if (value.front() != '/')
        warning(in_quotes(value) + " is not absolute and is taken from /", allowed_by(rule));
}

// The shortest command line that these texts can give.
void checker::check_command()
{
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT config{};
    config.LogFileSize = 1;
    const auto put = [this](auto& member, eVESK_CONFIG_KEY key) {
        const auto set = m_texts.find(config_lookup_table[key].name);
        const std::string text = set != m_texts.end() ? set->second : config_lookup_table[key].string_value;
        text.copy(member, sizeof(member));
    };
    put(config.HostSWPath, CONFIG_KEY_HostSWPath);
    put(config.HostSWOptions, CONFIG_KEY_HostSWOptions);
    put(config.LogDirLocation, CONFIG_KEY_LogDirLocation);
    char command[LAUNCHER_COMMAND_SIZE];
    const int length = launcher_command(command, config, nullptr, "", 0);
    if (length < LAUNCHER_COMMAND_SIZE)
        return;
    for (const auto& [key, text] : m_texts)
        if (m_key.empty() || text.size() > m_texts[m_key].size())
            m_key = key;
    m_line = m_lines_of_keys[m_key];
    error("with this value the launcher's command line has " + std::to_string(length) +
              " characters and more, and is not run",
          "at most " + std::to_string(LAUNCHER_COMMAND_SIZE - 1) +
              " for HostSWPath twice, HostSWOptions, LogDirLocation, the "
              "user's name, the X authority file and the rest");
}

} // namespace

std::vector<config_finding> check_config(const std::string& text, bool is_strict)
{
    return checker(is_strict).check(text);
}

std::string sentence(const config_finding& finding)
{
    return finding.problem + (finding.allowed.empty() ? "" : "; allowed: " + finding.allowed) +
           (finding.nearest.empty() ? "" : "; nearest: " + finding.nearest);
}

} // namespace haldoctl
