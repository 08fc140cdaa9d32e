// Times an operation beside what it is compared with, and prints the result as one line of JSON.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

// Runs something a number of times.
using loop_function = void (*)(std::size_t times);

// The one shape of loop that everything is timed in: the body stands in it, with direct calls and nothing captured.
template <auto body> [[gnu::noinline, gnu::aligned(64)]] void loop(std::size_t times)
{
    for (; times > 0; --times) {
        body();
        asm volatile("" ::: "memory");
    }
}

// Nanoseconds of one turn.
struct timing {
    double ours;
    double reference;
};

// Short repetitions of both alternate at random, so that whatever else the machine does meets both. Of each the least
// processor time is taken. Under callgrind it makes three dumps of what one turn of ours executes instead.
timing measure(loop_function ours, loop_function reference);

struct comparison {
    std::string part;
    std::string row;
    std::string against;
    std::optional<double> goal; // of the ratio; none: only shown
    std::string more;           // further members, as ', "name": value'
};

void print(const comparison& what, timing result);

// Keeps standard output for what print writes, and points it elsewhere for everyone else. Without a path: nowhere.
void claim_standard_output(const char* path = "/dev/null");
