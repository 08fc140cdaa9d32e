#include "command_line.h"

#include "commands.h"

#include "haldo_version.h"
#include "number_text.h"
#include "vesk_log.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace haldoctl
{

// Whether something else has a node's name.
static bool is_no_device(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && !S_ISCHR(status.st_mode);
}

int node_error(const char* path)
{
    if (is_no_device(path))
        return ENOTTY; // as its requests fail
    const int node = open(path, O_RDWR | O_CLOEXEC);
    if (node < 0)
        return errno;
    close(node);
    return 0;
}

sigset_t block_interrupts()
{
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigaddset(&interrupts, SIGTERM);
    sigprocmask(SIG_BLOCK, &interrupts, nullptr);
    return interrupts;
}

namespace
{

constexpr int SCHEMA_VERSION = 2;

// No device node takes the place of a closed stream, and what is written to one fails as before.
void occupy_closed_streams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", O_RDONLY);
}

// Results alone go to standard output.
void log_to_standard_error(eVESK_LOG_LEVEL level, const char* function, const char* text)
{
    vesk_log_print(stderr, level, function, text);
}

std::string printed(const json& value)
{
    if (value.is_null() || value == "")
        return "-";
    if (value.is_string())
        return harmless(value.get<std::string>());
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    if (value.is_array()) {
        std::string all;
        for (const json& one : value)
            all += (all.empty() ? "" : " ") + printed(one);
        return all.empty() ? "-" : all;
    }
    return value.dump();
}

void print(const std::string& output)
{
    std::size_t written = 0;
    while (written < output.size()) {
        const ssize_t length = write(STDOUT_FILENO, output.data() + written, output.size() - written);
        if (length < 0 && errno != EINTR)
            throw failure{REFUSED, std::string("standard output: ") + std::strerror(errno)};
        written += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
}

void print_document(const std::string& command, const char* name, const json& content)
{
    const json document{
        {"schema_version", SCHEMA_VERSION}, {"command", command.empty() ? json() : json(command)}, {name, content}};
    print(document.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
}

// Objects below the result are written as "name.field", arrays of them as "name.0.field".
void collect_lines(const json& value, const std::string& name, std::vector<std::pair<std::string, std::string>>& lines)
{
    const bool has_objects =
        value.is_array() && std::ranges::any_of(value, [](const json& one) { return one.is_structured(); });
    if (!value.is_object() && !has_objects) {
        lines.emplace_back(name, printed(value));
        return;
    }
    for (const auto& [key, below] : value.items())
        collect_lines(below, name.empty() ? key : name + "." + key, lines);
}

failure missing_node(int code)
{
    for (const char* path : {VESK_NODE_PATH_HCC, VESK_NODE_PATH_HDC})
        if (const int error = node_error(path); error != 0)
            return {NO_NODE, std::string(path) + ": " + std::strerror(error), code};
    return {NO_NODE, "a device node could not be opened", code};
}

// "haldoctl session show"
std::string full_name(const CLI::App* level)
{
    const CLI::App* const parent = level->get_parent();
    return parent == nullptr ? level->get_name() : full_name(parent) + " " + level->get_name();
}

bool is_group(const CLI::App* level)
{
    return level->get_require_subcommand_min() != 0;
}

// The level of the command line where it goes wrong: the first one with a word that it does not know, or else the last.
const CLI::App* wrong_level(const CLI::App& root)
{
    const CLI::App* level = &root;
    while (level->remaining_size() == 0 && !level->get_subcommands().empty())
        level = level->get_subcommands().front();
    return level;
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

std::string usage_sentence(const CLI::App* level, const CLI::ParseError& error)
{
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

} // namespace

std::string harmless(const std::string& text)
{
    std::string result;
    const auto byte_at = [&text](std::size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
    for (std::size_t i = 0, escaped_until = 0; i < text.size(); ++i) {
        if (byte_at(i) == 0xC2 && byte_at(i + 1) >= 0x80 && byte_at(i + 1) < 0xA0) // a control character in UTF-8
            escaped_until = i + 2;
        if (std::iscntrl(byte_at(i)) == 0 && i >= escaped_until) {
            result += text[i];
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof(escaped), "\\x%02X", byte_at(i));
            result += escaped;
        }
    }
    return result;
}

std::string fields(const json& result)
{
    std::vector<std::pair<std::string, std::string>> lines;
    collect_lines(result, "", lines);
    std::size_t width = 0;
    for (const auto& [name, value] : lines)
        width = std::max(width, name.size());
    std::string text;
    for (const auto& [name, value] : lines)
        text += name + std::string(width - name.size() + 2, ' ') + value + "\n";
    return text;
}

// --- What options take ---

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

// --- What a command gets ---

cVESK_HALDO_LINK& invocation::link()
{
    if (!m_link)
        m_link.emplace();
    return *m_link;
}

cVESK_HALDO_LINK& invocation::kmp_link()
{
    if (!m_has_context) {
        link().kmp_pri_ctxt_get();
        if (link().kmp_context() == nullptr)
            require(link().is_ready() ? VESK_FAILED : VESK_NOT_INITIALIZED, "the context of the session's client");
    }
    m_has_context = true;
    return link();
}

void invocation::require(int result, const std::string& what)
{
    switch (result) {
    case VESK_OK:
        return;
    case VESK_NOT_SUPPORTED:
        // Firmware that cannot be asked offers nothing.
        if ((!link().is_ready() || is_no_device(VESK_NODE_PATH_HCC)) && node_error(VESK_NODE_PATH_HCC) != 0)
            throw missing_node(VESK_NOT_INITIALIZED);
        throw failure{NOT_OFFERED,
                      std::string("the ") + (m_has_context ? "client" : "firmware") + " does not offer " + what,
                      result};
    case VESK_NOT_INITIALIZED:
    case VESK_OPEN_FAILED:
        throw missing_node(result);
    case VESK_NO_MEMORY:
        throw failure{REFUSED, "there is no memory for " + what, result};
    default:
        throw failure{REFUSED, "the card refused " + what, result};
    }
}

std::string invocation::paint(paint_colour in, const std::string& text) const
{
    return m_is_coloured ? "\x1B[" + std::to_string(in) + "m" + text + "\x1B[0m" : text;
}

void invocation::progress(const json& part) const
{
    if (m_is_silent)
        return;
    std::string line;
    for (const auto& [name, value] : part.items())
        line += (line.empty() ? "" : "  ") + name + " " + printed(value);
    print(line + "\n");
}

// --- Command line ---

command_line::command_line() : m_app("See a HALDO host card, and steer it.", "haldoctl")
{
    m_app.set_version_flag("--version", std::string("haldoctl ") + HALDO_VERSION);
    m_app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    m_app.require_subcommand(1);
    add_flags(m_app);
    add_commands(*this);
}

void command_line::add_flags(CLI::App& to)
{
    to.add_flag("--json", m_json, "Print one JSON document")->disable_flag_override();
    to.add_flag_function(
          "-v,--verbose", [this](std::int64_t count) { m_verbosity += count; },
          "Show the link's log on standard error: errors, with -vv more, with -vvv everything")
        ->disable_flag_override();
}

CLI::App* command_line::add_level(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* const added = parent.add_subcommand(name, description);
    added->group("Commands");
    return added;
}

CLI::App* command_line::add(CLI::App& parent, const std::string& name, const std::string& description, command run)
{
    CLI::App* const added = add_level(parent, name, description);
    added->callback([this, added, run = std::move(run)] {
        m_name = full_name(added).substr(m_app.get_name().size() + 1);
        m_command = run;
    });
    add_flags(*added);
    return added;
}

CLI::App& command_line::add_group(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* const added = add_level(parent, name, description);
    added->require_subcommand(1);
    add_flags(*added);
    return *added;
}

int command_line::run(int argc, char** argv)
{
    occupy_closed_streams();
    vesk_log_set_writer(log_to_standard_error);
    try {
        if (const auto help = parse(argc, argv); help) {
            print(*help);
            return DONE;
        }
        return execute();
    } catch (const failure& failed) {
        return print_failure(failed);
    } catch (const std::exception& error) {
        return print_failure({REFUSED, error.what()});
    }
}

std::optional<std::string> command_line::parse(int argc, char** argv)
{
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            const auto options_end = std::find(argv, argv + argc, std::string_view("--"));
            m_json = std::find(argv, options_end, std::string_view("--json")) != options_end; // nothing is set yet
            throw failure{USAGE, usage_sentence(wrong_level(m_app), error)};
        }
        std::ostringstream text;
        m_app.exit(error, text, text);
        return text.str();
    }
    return std::nullopt;
}

int command_line::execute()
{
    m_log_level = m_verbosity == 0
                      ? VESK_LOG_OFF
                      : static_cast<int>(std::min<std::int64_t>(VESK_LOG_CRITICAL + m_verbosity, VESK_LOG_DEBUG));
    invocation given;
    given.m_is_silent = m_json;
    const char* const no_color = std::getenv("NO_COLOR");
    given.m_is_coloured = isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0)
        given.columns = size.ws_col;
    const json result = m_command(given);
    if (m_json)
        print_document(m_name, "result", result);
    else
        print(given.text ? *given.text : fields(result));
    return given.status;
}

int command_line::print_failure(const failure& failed)
{
    std::fprintf(stderr, "haldoctl: %s\n", harmless(failed.message).c_str());
    if (failed.status == USAGE)
        std::fprintf(stderr, "Try '%s --help'.\n", full_name(wrong_level(m_app)).c_str());
    if (m_json) {
        json error{{"status", failed.status}, {"message", failed.message}};
        if (failed.code != VESK_OK) {
            error["code"] = failed.code;
            error["name"] = vesk_result_name(failed.code);
        }
        try {
            print_document(m_name, "error", error);
        } catch (const failure&) { // there is nowhere to say it
        }
    }
    return failed.status;
}

} // namespace haldoctl
