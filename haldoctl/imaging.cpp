// imaging: the user's imaging preference, and what the client requested.
#include "commands.h"
#include "options.h"

namespace haldoctl
{

namespace
{

json show_requested(invocation& given)
{
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT cfg{};
    given.require(given.link().img_user_cfg_req_get(&cfg), "the imaging preference");
    return {{"quality", cfg.qual}, {"b2l", cfg.b2l}};
}

} // namespace

void add_imaging(command_line& line)
{
    CLI::App& imaging = line.add_group(line.root(), "imaging", "The user's imaging preference");
    line.add(imaging, "show", "What the client requested", show_requested);
    auto preference = std::make_shared<unsigned int>();
    for (CLI::App* const added : {line.add(imaging, "set", "Set it for the running session",
                                           setting(&cVESK_HALDO_LINK::img_user_cfg_set, preference, "preference",
                                                   "to set the imaging preference")),
                                  line.add(imaging, "cache", "Set it for sessions to come",
                                           setting(&cVESK_HALDO_LINK::img_user_cfg_cache_set, preference,
                                                   "cached_preference", "to set the cached imaging preference"))})
        added->add_option("PREFERENCE", *preference, "The preference")
            ->required()
            ->transform(number(0, IMG_USER_CFG_MAX));
}

} // namespace haldoctl
