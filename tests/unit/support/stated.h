// What the link states to the device handle of each request. The driver never sees it, so the host cannot either.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

struct stated_request {
    std::uint32_t code;
    std::uint32_t length;
    std::uint32_t timeout_ms;

    bool operator==(const stated_request&) const = default;
};
void PrintTo(const stated_request& request, std::ostream* to);

// Every request since the last call.
std::vector<stated_request> stated();
