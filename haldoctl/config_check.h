// The configuration file as the daemon reads it, and what in it will not be taken as it was meant.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace haldoctl
{

struct config_finding {
    std::size_t line;
    std::string key; // as it stands in the file; empty where the finding is about a line as such
    bool is_error;   // otherwise the daemon copes
    std::string problem;
    std::string allowed; // may be empty
    std::string nearest; // the known key that an unknown one may have been meant for, or empty
    bool is_unknown_key = false;
};

// Checks the text of a configuration file, from the first line to the last. is_strict: unknown keys are errors.
std::vector<config_finding> check_config(const std::string& text, bool is_strict);

// "problem; allowed: 0 or 1; nearest: DaemonEnable"
std::string sentence(const config_finding& finding);

} // namespace haldoctl
