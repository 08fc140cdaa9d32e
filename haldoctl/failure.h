// How a command fails, and what the program ends with.
#pragma once

#include "vesk_result.h"

#include <string>

namespace haldoctl
{

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

} // namespace haldoctl
