// What the commands are made of: how one is added, what it gets, and what it gives back.
#pragma once

#include "vesk_haldo_link.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace haldoctl
{

// Objects keep the order in which they were built, so that both forms of output show it.
using json = nlohmann::ordered_json;

enum exit_status {
    DONE = 0,
    REFUSED = 1,     // by card or driver, or something on this machine failed
    USAGE = 2,       // the command line is wrong
    NOT_OFFERED = 3, // by firmware or client
    NO_NODE = 4,     // a device node is absent or not permitted
};

// Ends a command. Its message is one sentence without a period, in the user's words.
struct failure {
    exit_status status;
    std::string message;
    int code = VESK_OK; // the link's result, where it is one
};

// What a command gets.
class invocation
{
public:
    // The link, constructed at the first call.
    cVESK_HALDO_LINK& link();

    // The same with the context that firmware and client have agreed on, fetched at the first call. Throws when there
    // is none.
    cVESK_HALDO_LINK& kmp_link();

    // Throws the failure that a result of the link stands for. what: the thing that could not be had or done, as in
    // "the session tag".
    void require(int result, const std::string& what);

    // How many columns a drawing may take.
    int columns = 80;

    // A text in a colour, on a terminal whose user has nothing against it; as it is elsewhere.
    enum paint_colour {
        RED = 31,
        GREEN = 32,
        YELLOW = 33
    };
    std::string paint(paint_colour in, const std::string& text) const;

    // What the program ends with, for a result that is no success all the same.
    exit_status status = DONE;

    // The text form of the result, where it is not the list of its fields.
    std::optional<std::string> text;

    // Prints a part of the result that is there already, on a line of its own. With --json the result at the end is
    // all.
    void progress(const json& part) const;

private:
    friend class command_line;
    bool m_is_silent = false; // until the result
    bool m_is_coloured = false;
    std::optional<cVESK_HALDO_LINK> m_link;
    bool m_has_context = false;
};

// A command returns its result, an object; or throws a failure.
using command = std::function<json(invocation&)>;

class command_line
{
public:
    command_line();

    // Adds a command below a group or below the root. Its options are added to what is returned.
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& description, command run);
    // Adds a name that only other commands stand behind.
    CLI::App& add_group(CLI::App& parent, const std::string& name, const std::string& description);

    CLI::App& root() { return m_app; }

    // Parses, runs and prints. Returns the exit status.
    int run(int argc, char** argv);

private:
    CLI::App* add_level(CLI::App& parent, const std::string& name, const std::string& description);
    void add_flags(CLI::App& to);
    // Returns the text that was asked for instead of a command.
    std::optional<std::string> parse(int argc, char** argv);
    int execute();
    int print_failure(const failure& failed);

    CLI::App m_app;
    bool m_json = false;
    std::int64_t m_verbosity = 0;
    std::string m_name; // of the chosen command, "session show"
    command m_command;
};

// What an option's word must be, to be given to CLI::Option::transform: a number in these limits, or a text that fits.
CLI::Validator number(std::int64_t min, std::int64_t max);
template <typename Integer> CLI::Validator number()
{
    return number(std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max());
}
CLI::Validator text_up_to(std::size_t length);
CLI::Validator file_name();

// A text of the card, which may fill its member.
template <std::size_t size> std::string text_of(const char (&member)[size])
{
    return {member, strnlen(member, size)};
}

// Puts a text into a member that it may fill.
template <std::size_t size> void put_text(char (&member)[size], const std::string& text)
{
    std::memset(member, 0, size);
    std::memcpy(member, text.data(), std::min(text.size(), size));
}

// Blocks SIGINT and SIGTERM, for a command that waits for one of them. Returns the two.
sigset_t block_interrupts();

// Why a node cannot be opened, as errno says it, or 0.
int node_error(const char* path);

// A text that cannot steer the terminal: what comes from a card, a file or a command line, its control characters as
// \xNN.
std::string harmless(const std::string& text);

// The text form of a result: a field a line, names and values in two columns.
std::string fields(const json& result);

} // namespace haldoctl
