// What the link states to the device handle of each request. The driver never sees it, so the host cannot either.
#pragma once

#include "link.h"

#include <cstdint>
#include <functional>
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

// Runs a scenario on a link at every level, from a time when nothing has been stated; of all the lines that it can
// write exactly those of the level must appear.
void expect_lines_by_level(const lines& all, const std::function<void(host&, visible_link&)>& scenario);
