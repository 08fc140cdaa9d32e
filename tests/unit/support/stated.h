// What the link states to the device handle of each request. The driver never sees it, so the host cannot either.
#pragma once

#include "link.h"
#include "vesk_log.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <ostream>
#include <vector>

struct stated_request {
    std::uint32_t code;
    std::uint32_t length;
    std::uint32_t timeout_ms;

    bool operator==(const stated_request&) const = default;
};
void PrintTo(const stated_request& request, std::ostream* to);

using requests = std::vector<stated_request>;
// Every request since the last call.
requests stated();

using link_scenario = std::function<void(host&, visible_link&)>;

// Runs a scenario on a link at a level, from a time when nothing has been stated; of all the lines that it can write
// exactly those of the level must appear.
template <typename Link = constructed_link>
void expect_lines_at(int level, const lines& all, const link_scenario& scenario)
{
    host h;
    Link link(h);
    stated();
    m_log_level = level;
    scenario(h, *link);
    EXPECT_EQ(h.log(), at_level(level, all)) << "at level " << level;
    m_log_level = VESK_LOG_OFF;
}
// At every level.
template <typename Link = constructed_link> void expect_lines_by_level(const lines& all, const link_scenario& scenario)
{
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level)
        expect_lines_at<Link>(level, all, scenario);
}
