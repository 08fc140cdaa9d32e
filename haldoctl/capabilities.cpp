// capabilities: what the firmware offers, and what firmware and client have agreed on for the session.
#include "commands.h"
#include "offers.h"

namespace haldoctl
{

namespace
{

json described(const std::vector<offer>& offers)
{
    json all = json::object();
    for (const offer& one : offers)
        all[one.name] = one.is_offered;
    return all;
}

json client(const cVESK_HALDO_LINK& link)
{
    json all = described(client_offers(link));
    all["is_client_sc"] = link.is_client_sc() != 0;
    return all;
}

json capabilities(invocation& given)
{
    cVESK_HALDO_LINK& link = given.link();
    if (!link.is_ready())
        given.require(VESK_NOT_INITIALIZED, "its capabilities");
    const json offered = described(firmware_offers(link));
    link.kmp_pri_ctxt_get();
    return {{"firmware", offered}, {"client", link.kmp_context() != nullptr ? client(link) : json()}};
}

} // namespace

void add_capabilities(command_line& line)
{
    line.add(line.root(), "capabilities", "What the firmware and the session's client offer", capabilities);
}

} // namespace haldoctl
