// A link on two announced nodes, with its members in sight.
#pragma once

#include "calls.h"
#include "vesk_haldo_link.h"

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

// A link that was constructed with firmware that offers nothing; what that wrote is not in the log. It closes its nodes
// at the end.
class constructed_link
{
public:
    explicit constructed_link(host& h) : h(h)
    {
        expect_link_constructed(h);
        link.emplace();
        h.raw_log();
    }
    ~constructed_link() { expect_nodes_closed(h); }
    visible_link* operator->() { return &*link; }
    visible_link& operator*() { return *link; }

private:
    host& h;
    std::optional<visible_link> link;
};
