// The command line of haldo-cardsim.
#pragma once

#include "card.h"

#include <cstdint>
#include <string>
#include <vector>

struct options {
    struct fault {
        std::uint32_t code;
        int error; // errno
    };
    std::string journal;
    cardsim::settings firmware;
    std::string session; // the client's address; empty: no session
    std::vector<fault> faults;
};

// Reads the command line. Asked for help it prints it and ends the process with status 0; a command line that it does
// not understand ends the process with status 2 and two lines on standard error that name the word.
options parse_options(int argc, char** argv);
