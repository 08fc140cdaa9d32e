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
    add_capabilities(line);
    add_session(line);
    add_tag(line);
    add_network(line);
    add_imaging(line);
    add_topology(line);
    add_cursor(line);
    add_kmp(line);
    add_status(line);
    add_doctor(line);
    add_check_config(line);
    add_metrics(line);
    add_completions(line);
}

} // namespace haldoctl
