// check-config: the mistakes in a configuration file.
#include "commands.h"
#include "config_check.h"
#include "daemon_state.h"

namespace haldoctl
{

namespace
{

json check(invocation& given, const std::string& file, bool is_strict)
{
    json findings = json::array();
    int errors = 0;
    given.text = "";
    for (const config_finding& one : check_config(content_of(file), is_strict)) {
        const char* const severity = one.is_error ? "error" : "warning";
        errors += one.is_error ? 1 : 0;
        *given.text +=
            harmless(file + ":" + std::to_string(one.line) + ": " + (one.key.empty() ? "" : one.key + ": ")) +
            paint(one.is_error ? colour::RED : colour::YELLOW, severity) + ": " + harmless(sentence(one)) + "\n";
        findings.push_back({{"line", one.line},
                            {"key", one.key.empty() ? json() : json(one.key)},
                            {"severity", severity},
                            {"problem", one.problem},
                            {"allowed", one.allowed.empty() ? json() : json(one.allowed)},
                            {"nearest", one.nearest.empty() ? json() : json(one.nearest)}});
    }
    given.status = errors != 0 ? REFUSED : DONE;
    return {{"file", file}, {"errors", errors}, {"findings", findings}};
}

} // namespace

void add_check_config(command_line& line)
{
    auto file = std::make_shared<std::string>(CONFIG_FILE);
    auto is_strict = std::make_shared<bool>(false);
    CLI::App* const added = line.add(line.root(), "check-config", "Find the mistakes in a configuration file",
                                     [=](invocation& given) { return check(given, *file, *is_strict); });
    added->add_option("FILE", *file, "The file to check")->capture_default_str()->type_name("FILE");
    added->add_flag("--strict", *is_strict, "Unknown keys are errors");
}

} // namespace haldoctl
