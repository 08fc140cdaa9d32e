// All commands: each function adds one, or a group of them, and stands in the source that is named for it.
#pragma once

#include "command_line.h"

namespace haldoctl
{

void add_capabilities(command_line& line);
void add_session(command_line& line);
void add_tag(command_line& line);
void add_network(command_line& line);
void add_imaging(command_line& line);
void add_topology(command_line& line);
void add_cursor(command_line& line);
void add_kmp(command_line& line);
void add_status(command_line& line);
void add_doctor(command_line& line);
void add_check_config(command_line& line);
void add_metrics(command_line& line);
void add_completions(command_line& line);

inline void add_commands(command_line& line)
{
    for (const auto add : {add_capabilities, add_session, add_tag, add_network, add_imaging, add_topology, add_cursor,
                           add_kmp, add_status, add_doctor, add_check_config, add_metrics, add_completions})
        add(line);
}

} // namespace haldoctl
