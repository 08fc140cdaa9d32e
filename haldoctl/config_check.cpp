#include "config_check.h"

#include "config.h"

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

constexpr std::size_t LINE_MAX_LENGTH = 499;    // characters that the daemon reads at once, line end included
constexpr std::size_t COMMAND_MAX_LENGTH = 399; // of the launcher's command line
constexpr std::size_t PATH_MIN_LENGTH = 3;      // of the log directory

// What the manual page documents of each key, in the order of the daemon's table.
enum class kind {
    number,
    log_directory,
    directory,
    options,
};
struct key_rule {
    kind is;
    const char* allowed;
    long min = 0;
    long max = INT32_MAX;
    std::size_t size = 0; // characters of a text that the daemon keeps
};
constexpr const char* SECONDS = "seconds, 0 or more";
constexpr const char* DIRECTORY = "an absolute path of at most 400 characters, without blanks and quotes";
constexpr key_rule rules[] = {
    {kind::number, "0 or 1", 0, 1}, // DaemonEnable
    {kind::log_directory,           // LogDirLocation
     "an absolute path of 3 to 400 characters, without blanks and quotes", 0, 0,
     sizeof(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT::LogDirLocation)},
    {kind::number, "MiB, 1 or more", 1},                            // LogFileSize
    {kind::number, "0 to 4", 0, 4},                                 // DaemonLogLevel
    {kind::number, SECONDS},                                        // DaemonStartDelay
    {kind::number, "0 or more"},                                    // HostSWLogLevel
    {kind::options, "at most 100 characters, without quotes", 0, 0, // HostSWOptions
     sizeof(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT::HostSWOptions)},
    {kind::directory, DIRECTORY, 0, 0, // HostSWPath
     sizeof(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT::HostSWPath)},
    {kind::number, SECONDS},        // HostSWLoginStartDelay
    {kind::number, SECONDS},        // HostSWRestartDelay
    {kind::number, SECONDS},        // DaemonXAuthDelay
    {kind::number, "0 or 1", 0, 1}, // DaemonRootHaldoAgent
};
static_assert(std::size(rules) == CONFIG_KEY_COUNT);

// --- Words ---

std::string in_quotes(std::string_view text)
{
    std::string all = "'";
    all += text;
    return all += "'";
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
    const char* const token = std::strtok(piece.data(), " =\n");
    if (token == nullptr || std::strcmp(token, "\r") == 0)
        return;
    const std::string key = token;
    const auto behind_key = static_cast<std::size_t>(token - piece.data()) + key.size();
    const char* const rest = std::strtok(nullptr, "=\n");
    const std::string value = rest != nullptr ? rest : "";

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
    if (rest != nullptr && equals == std::string::npos)
        warning("no '=' before the value", key + "=VALUE");
    if (equals != std::string::npos && equals >= behind_key + 2 && whole.find_first_not_of(' ', behind_key) == equals) {
        error("two or more blanks before the '=': a blank is taken for the value", key + "=VALUE");
        return;
    }
    const key_rule& rule = rules[index];
    if (rest != nullptr && static_cast<std::size_t>(rest - piece.data()) + value.size() < whole.size())
        error("a second '=' ends the value, which is " + in_quotes(value), "no '=' in a value");
    if (rule.is == kind::number)
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
        error("no value: the daemon keeps the one it has", rule.allowed);
        return;
    }
    errno = 0;
    char* end = nullptr;
    const long long wide = std::strtoll(text.c_str(), &end, 10);
    const auto number = static_cast<std::int32_t>(wide);
    const std::string counts = " counts as " + std::to_string(number);
    if (end == text.c_str())
        error(in_quotes(text) + " is no number and" + counts, rule.allowed);
    else if (*end != '\0')
        error(in_quotes(text) + " has more than a number and" + counts, rule.allowed);
    else if (number != wide || errno == ERANGE)
        error(in_quotes(text) + " has more than 32 bits and" + counts, rule.allowed);
    else if (number < rule.min || number > rule.max)
        error(std::to_string(number) + " is out of range", rule.allowed);
}

void checker::check_text(const key_rule& rule, const std::string& value)
{
    m_texts[m_key] = value.substr(0, rule.size);
    if (value.size() > rule.size)
        error("the value has " + std::to_string(value.size()) + " characters and is cut behind " +
                  std::to_string(rule.size),
              rule.allowed);
    if (!value.empty() && value.back() == '\r')
        error("a carriage return belongs to the value", "a line that ends in a newline alone");
    else if (std::ranges::any_of(value, [](unsigned char c) { return c < ' ' || c == 0x7F; }))
        error("a control character belongs to the value " + in_quotes(value), rule.allowed);
    if (const std::size_t at = value.find_first_of("'\"`$\\"); at != std::string::npos)
        error("the launcher's command line cannot carry the character "s + value[at], rule.allowed);
    if (rule.is != kind::options)
        check_path(rule, value);
}

void checker::check_path(const key_rule& rule, const std::string& value)
{
    if (value.empty())
        error("the value is empty", rule.allowed);
    else if (value.find('#') != std::string::npos)
        error("a '#' in a value begins no comment: the value is " + in_quotes(value), rule.allowed);
    else if (value.find(' ') != std::string::npos)
        error("a blank belongs to the value " + in_quotes(value), rule.allowed);
    else if (const std::size_t at = value.find_first_of("&;|<>()*?[]{}~!"); at != std::string::npos)
        error("the character "s + value[at] + " is special to the shell that runs the command", rule.allowed);
    else if (rule.is == kind::log_directory && value.size() < PATH_MIN_LENGTH)
        error(in_quotes(value) + " is too short: the log stays where it is", rule.allowed);
    else if (value.front() != '/')
        warning(in_quotes(value) + " is not absolute and is taken from /", rule.allowed);
}

// The shortest command line that these texts can give.
void checker::check_command()
{
    const auto length_of = [this](const char* key) {
        return m_texts.contains(key) ? m_texts[key].size()
                                     : std::strlen(config_lookup_table[index_of_key(key)].string_value);
    };
    constexpr std::string_view rest = "/haldo_starthostsw -e /haldo_agent -x  -o '-ll0  -ld  -ls 1' -w 0";
    const std::size_t length =
        2 * length_of("HostSWPath") + length_of("HostSWOptions") + length_of("LogDirLocation") + rest.size();
    if (length <= COMMAND_MAX_LENGTH)
        return;
    for (const auto& [key, text] : m_texts)
        if (m_key.empty() || text.size() > m_texts[m_key].size())
            m_key = key;
    m_line = m_lines_of_keys[m_key];
    error("with this value the launcher's command line has " + std::to_string(length) +
              " characters and more, and is not run",
          "at most " + std::to_string(COMMAND_MAX_LENGTH) +
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
