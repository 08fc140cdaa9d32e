// The command line of haldo-cardsim.
#pragma once

#include "profile.h"

#include <cstdint>
#include <string>
#include <vector>

inline constexpr const char* DEFAULT_CONTROL = "/run/haldo-cardsim.socket";

struct options {
    struct fault {
        std::uint32_t code;
        int error; // errno
    };
    std::string journal; // empty: none, as with the next two
    std::string words;
    std::string record;
    std::string control = DEFAULT_CONTROL;
    std::uint32_t seed = 1;
    cardsim::profile profile;
    std::vector<fault> faults;
};

// Ends the process with status 2 and two lines on standard error, of which this is the first.
[[noreturn]] void refuse(const std::string& sentence);

// Reads the command line. Asked for help it prints it and ends the process with status 0; a command line that it does
// not understand ends it with refuse, which names the word.
options parse_options(int argc, char** argv);
