// What firmware and client offer: each with a name for programs and words for readers.
#pragma once

#include "vesk_haldo_link.h"

#include <string>
#include <vector>

namespace haldoctl
{

struct offer {
    std::string name;
    std::string words;
    bool is_offered;
};

// By the maps of the firmware. Asking for wake-on-LAN reads the session tag.
std::vector<offer> firmware_offers(cVESK_HALDO_LINK& link);

// By the context that the link holds; nothing is offered without one.
std::vector<offer> client_offers(const cVESK_HALDO_LINK& link);

} // namespace haldoctl
