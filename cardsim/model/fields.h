// Values by name: what the card's state and the records of its requests hold, to be read and set as text.
#pragma once

#include "card.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cardsim
{

// Objects keep the order in which they were built.
using json = nlohmann::ordered_json;

// How a value is written as text, and as JSON:
enum class form {
    NUMBER,    // decimal, or hexadecimal with 0x; a number
    SIGNED,    // the same with a sign
    FLAG,      // 0 or 1; true or false
    TEXT,      // as it is, up to the first zero byte; a string
    WORDS,     // numbers of 32 bits or dotted IPv4 addresses, apart by blanks, the rest zero; an array of numbers
    DISPLAY,   // as display_text.h has it; a string
    COMMANDS,  // all, none, the bit map's first word, or what it offers by name, apart by blanks; an array of names
    VARIABLES, // the same
};

struct field {
    std::string_view name;
    std::size_t offset;
    std::size_t size; // bytes
    form how = form::NUMBER;
};

// A field as text and as JSON. record: what the field's offset counts from.
std::string text_of(const field& of, std::span<const std::uint8_t> record);
json value_of(const field& of, std::span<const std::uint8_t> record);

// Sets a field from its text. Throws std::invalid_argument, whose message names the word, as in "'x' is not a number of
// 8 bits"; the record is then as before.
void set_field(const field& of, std::span<std::uint8_t> record, std::string_view text);

// What a variable is called in a bit map.
std::string variable_name(std::uint32_t id);

// Without the blanks at its ends.
std::string_view trimmed(std::string_view text);

// In single quotes, as messages have it.
std::string in_quotes(std::string_view word);

// What makes a card: all that can be chosen before it starts.
struct state {
    settings offered;
    contents kept;
};

// Every key of the state, from "commands" on, and its value as text or, an object for each dot, as JSON.
// man/haldo-cardsim.1 lists the keys.
std::vector<std::string> state_keys();
std::string state_text(const state& of, std::string_view key);
json state_json(const state& of);

// The fields that lie within these bytes of a state, their offsets counted from there.
std::vector<field> state_fields(std::size_t begin, std::size_t size);

// Sets one key. Throws std::invalid_argument, as set_field does, also for a key that is none.
void set_state(state& of, std::string_view key, std::string_view text);

// The same from "KEY=VALUE", with blanks around either. prefix: what the key is given without.
void assign_state(state& of, std::string_view assignment, std::string_view prefix = "");

} // namespace cardsim
