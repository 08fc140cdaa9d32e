// Steers a card by commands of a few words, as haldo-cardsim ctl sends them:
//
//     connect IP               a client's session comes
//     disconnect               it goes
//     set KEY=VALUE            a key of the state (fields.h)
//     fail CODE ERRNO [NTH]    the NTH request of this code from now on fails, or every one
//     return CODE VALUE [NTH]  returns this positive value
//     delay CODE MS [NTH]      gets its reply this much later
//     random CODE [NTH]        is answered with random bytes
//     normal [CODE]            takes what the four before have ordered back, for this code or for all
//     seed VALUE               from which on they are drawn
//     state                    answers with the state as JSON
//     render svg|png           answers with a picture of what the client sees
//
// CODE is a number or a name of the request table, or what of the name is behind "IOCTL_".
#pragma once

#include "fields.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace cardsim
{

// The code of a request, and an errno by its name or number. Throw std::invalid_argument for another text.
std::uint32_t parse_code(std::string_view text);
int parse_errno(std::string_view text);

// What a request is called in words: its name behind "IOCTL_".
std::string_view short_name(const sVESK_REQUEST_STRUCT& request);

// The state as JSON: the keys of a state; the driver's configurations, channel and path, what the client shows and has
// in its cache, the orders in effect and how many requests of each code there were.
json card_json(const card& of);

// Executes one command. Returns what it answers, or nothing; throws std::invalid_argument for a command that is none,
// and for one of its words that is wrong, whose message names it: the card is then as before.
std::string control(card& to, std::span<const std::string> words);

// Whether a command of this name changes the card.
bool changes_card(std::string_view command);

} // namespace cardsim
