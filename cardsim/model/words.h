// A request in words.
#pragma once

#include "card.h"

#include <string>

namespace cardsim
{

// "NODE NAME FIELD=VALUE... -> RESULT FIELD=VALUE...": the name behind IOCTL_, the fields of the record as it came, the
// result as in the journal, and of a success the fields of the reply. Fields that the state keeps have their keys, and
// text is in double quotes. Of an unknown code NAME is "request CODE". Of a record that is not as long as it must be
// only the length is told.
std::string words_of(const card::exchange& one);

} // namespace cardsim
