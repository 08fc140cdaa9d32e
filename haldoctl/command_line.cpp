#include "command_line.h"

#include "haldo_version.h"
#include "usage.h"

#include <algorithm>
#include <sstream>

namespace haldoctl
{

command_line::command_line() : m_app("See a HALDO host card, and steer it.", "haldoctl")
{
    m_app.set_version_flag("--version", std::string("haldoctl ") + HALDO_VERSION);
    m_app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    m_app.require_subcommand(1);
    add_flags(m_app);
}

void command_line::add_flags(CLI::App& to)
{
    to.add_flag("--json", m_chosen.is_json, "Print one JSON document")->disable_flag_override();
    to.add_flag_function(
          "-v,--verbose", [this](std::int64_t count) { m_chosen.verbosity += count; },
          "Show the link's log on standard error: errors, with -vv more, with -vvv everything")
        ->disable_flag_override();
}

CLI::App* command_line::add_level(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* const added = parent.add_subcommand(name, description);
    added->group("Commands");
    add_flags(*added);
    return added;
}

CLI::App* command_line::add(CLI::App& parent, const std::string& name, const std::string& description, command run)
{
    CLI::App* const added = add_level(parent, name, description);
    added->callback([this, added, run = std::move(run)] {
        m_chosen.name = full_name(added).substr(m_app.get_name().size() + 1);
        m_chosen.run = run;
    });
    return added;
}

CLI::App& command_line::add_group(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* const added = add_level(parent, name, description);
    added->require_subcommand(1);
    return *added;
}

void command_line::parse(int argc, char** argv)
{
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            const auto options_end = std::find(argv, argv + argc, std::string_view("--"));
            m_chosen.is_json = std::find(argv, options_end, std::string_view("--json")) != options_end; // not yet set
            throw failure{USAGE, usage_sentence(m_app, error)};
        }
        std::ostringstream text;
        m_app.exit(error, text, text);
        m_chosen.help = text.str();
    }
}

} // namespace haldoctl
