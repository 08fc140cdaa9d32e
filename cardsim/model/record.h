// A record of what went through a card, as text that can be replayed.
//
//     > seed 1
//     > set commands=avail_cmd var_get var_set
//     > connect 192.0.2.77
//     HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 64 00 00 00
//
// A line is a command of control.h, or a request as the journal has it and, when it succeeded and has a record, its
// reply. The first lines set every key of the state, so that a replay may begin with any new card.
#pragma once

#include "card.h"
#include "fields.h"

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace cardsim
{

// The lines that a record begins with, and those of a command and of a request, without line end.
std::vector<std::string> record_start(const state& of, std::uint32_t seed);
std::string record_line(std::span<const std::string> command);
std::string record_line(const card::exchange& one);

// Gives the commands and requests of a record to a card, one after the other. Returns what is different, an entry for
// each request that now ends or answers otherwise: "NAME:LINE: LINE AS RECORDED\n    now LINE". name: the file, for
// messages. Throws std::invalid_argument, "NAME:LINE: 'WORD' is not ...", for a line that is none.
std::vector<std::string> replay(card& on, std::istream& from, const std::string& name);

} // namespace cardsim
