// The command line: its commands and options, and what is chosen with it.
#pragma once

#include "invocation.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace haldoctl
{

struct choice {
    bool is_json = false;
    std::int64_t verbosity = 0;
    std::string name; // of the command, "session show"
    command run;
    std::string help; // the text that is asked for instead of a command, or empty
};

class command_line
{
public:
    command_line();

    // Adds a command below a group or below the root. Its options are added to what is returned.
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& description, command run);
    // Adds a name that only other commands stand behind.
    CLI::App& add_group(CLI::App& parent, const std::string& name, const std::string& description);

    CLI::App& root() { return m_app; }
    const CLI::App& root() const { return m_app; }

    // Throws a failure when the command line is wrong; is_json is as it says then, too.
    void parse(int argc, char** argv);

    // What parse has found.
    const choice& chosen() const { return m_chosen; }

private:
    void add_flags(CLI::App& to);
    CLI::App* add_level(CLI::App& parent, const std::string& name, const std::string& description);

    CLI::App m_app;
    choice m_chosen;
};

} // namespace haldoctl
