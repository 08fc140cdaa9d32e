// The command line of haldo-cardsim.
#pragma once

#include "profile.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Where the card of the machine listens, and the environment variable that tells a program where its own card does.
inline constexpr const char* DEFAULT_CONTROL = "/run/haldo-cardsim.socket";
inline constexpr const char* CONTROL_VARIABLE = "HALDO_CARDSIM_CONTROL";

struct options {
    struct fault {
        std::uint32_t code;
        int error; // errno
    };
    std::string journal; // empty: none, as with the next two
    std::string words;
    std::string record;
    std::string control; // empty: where the carrier has it
    std::uint32_t seed = 1;
    cardsim::profile profile;
    std::vector<fault> faults;
    std::vector<std::string> command; // what run runs
};

// Ends the process with status 2 and two lines on standard error, of which this is the first.
[[noreturn]] void refuse(const std::string& sentence);

// Writes text to standard output. Returns the exit status: 1, after a message, when that cannot be done.
int print(std::string_view text);

// Reads the command line, argv[0] being none of it. Asked for help or the version it prints that and ends the process;
// a command line that it does not understand ends it with refuse, which names the word.
enum class behind_options {
    NOTHING,
    COMMAND,
};
options parse_options(int argc, char** argv, behind_options wanted);
