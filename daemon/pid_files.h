// The process id files: the daemon's, which is its lock, and the agent's.
#pragma once

// Locks the daemon's for as long as the process lives, and writes its id there. False, and logged under daemonize, when
// it cannot be opened or another process has it.
bool take_lock();

// Returns 0, or -1 when the agent's was not removed.
int remove_agent_pid_file();
