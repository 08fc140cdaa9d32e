// haldo-cardsim run: the card for one program and all that it starts.
#pragma once

#include "../options.h"

// Runs given.command with a card of its own. Returns its exit status, 128 and the number of the signal that ended it,
// or one of run_status.
int run_command(const options& given);

enum run_status {
    RUN_FAILED = 125, // the command was not run
    RUN_NOT_EXECUTABLE = 126,
    RUN_NOT_FOUND = 127,
};
