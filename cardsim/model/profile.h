// A profile: a text file that says what kind of card and client there are.
//
//     # comment
//     readable = sess_link sess_tag
//     context.cur_shape_caches = 3
//     display.1 = 1280x1024+1920+0
//     session = 192.0.2.77
//
// A line is empty, a comment, or KEY=VALUE with blanks around either. Keys and values are those of the state
// (fields.h), and session: the address of a client that is connected from the start, or none. Of a key that stands
// twice the later line counts; what no line says is as in a card of its own.
#pragma once

#include "fields.h"

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

namespace cardsim
{

struct profile {
    state start;
    std::string session; // the client's address; empty: no session
};

// The address of a session's client: one word of 1 to 35 characters. Throws std::invalid_argument for another text.
std::string session_address(std::string_view text);

// Reads a profile. name: the file, for messages. Throws std::invalid_argument, "FILE:LINE: 'WORD' is not ...".
profile read_profile(std::istream& from, const std::string& name);

// The same from a file: one with this name, if the name contains a '/'; otherwise the first NAME.profile in these
// directories. Throws std::invalid_argument also when there is none.
profile find_profile(const std::string& name, std::span<const std::string> directories);

} // namespace cardsim
