// A link on two announced nodes, with its members in sight.
#pragma once

#include "calls.h"
#include "vesk_haldo_link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>

struct visible_link : cVESK_HALDO_LINK {
    using cVESK_HALDO_LINK::bmp_cache;
    using cVESK_HALDO_LINK::bmp_cache_cnt;
    using cVESK_HALDO_LINK::bmp_cache_last;
    using cVESK_HALDO_LINK::hcc_dev;
    using cVESK_HALDO_LINK::hdc_dev;
    using cVESK_HALDO_LINK::hmi_avail_cmd;
    using cVESK_HALDO_LINK::hmi_avail_get_var;
    using cVESK_HALDO_LINK::hmi_avail_set_var;
    using cVESK_HALDO_LINK::kmp_pri_ctxt;
    using cVESK_HALDO_LINK::kmp_pri_ctxt_valid;
    using cVESK_HALDO_LINK::started;
};

// --- What the firmware offers ---

using availability_map = sVESK_HALDO_HCC_HMI_AVAIL_STRUCT;
using map_member = availability_map visible_link::*;

inline constexpr map_member COMMANDS = &visible_link::hmi_avail_cmd;
inline constexpr map_member READABLE = &visible_link::hmi_avail_get_var;
inline constexpr map_member WRITABLE = &visible_link::hmi_avail_set_var;
inline constexpr map_member MAPS[] = {COMMANDS, READABLE, WRITABLE};

inline void offer(visible_link& link, map_member map, unsigned int bit)
{
    (link.*map).map[bit / 32] |= 1u << bit % 32;
}
// Everything but this bit of this map.
inline void offer_all_but(visible_link& link, map_member map, unsigned int bit)
{
    for (const map_member each : MAPS)
        std::ranges::fill((link.*each).map, 0xFFFFFFFF);
    (link.*map).map[bit / 32] &= ~(1u << bit % 32);
}

// --- Links ---

// A link that was constructed on the nodes that can be opened, with firmware that offers nothing; what that wrote is
// not in the log. It closes its nodes at the end.
template <bool has_hcc, bool has_hdc> class link_on_nodes
{
public:
    explicit link_on_nodes(host& h) : h(h)
    {
        if (has_hcc)
            expect_link_constructed(h, has_hdc ? 0 : ENOENT);
        else
            expect_nodes_opened(h, ENOENT, has_hdc ? 0 : ENOENT);
        link.emplace();
        h.raw_log();
    }
    ~link_on_nodes() { expect_nodes_closed(h, has_hdc, has_hcc); }
    visible_link* operator->() { return &*link; }
    visible_link& operator*() { return *link; }

private:
    host& h;
    std::optional<visible_link> link;
};

using constructed_link = link_on_nodes<true, true>;
using closed_link = link_on_nodes<false, true>;    // without the control channel
using half_open_link = link_on_nodes<true, false>; // without the driver channel
using nodeless_link = link_on_nodes<false, false>;

// --- Lines ---

using link_scenario = std::function<void(host&, visible_link&)>;

// Runs a scenario on a link at a level; of all the lines that it can write exactly those of the level must appear.
template <typename Link = constructed_link>
void expect_lines_at(int level, const lines& all, const link_scenario& scenario)
{
    host h;
    Link link(h);
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
