#include "fields.h"

#include "bytes.h"
#include "display_text.h"
#include "number_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace cardsim
{

namespace
{

#define AT(record, member) offsetof(record, member), sizeof(static_cast<record*>(nullptr)->member)

// clang-format off
#define VALUE_KEY(name, access, type, member, ...) \
    {#member, AT(state, kept.member), sizeof(type) == sizeof(std::uint32_t) ? form::NUMBER : form::WORDS},
#define NO_KEY(...)
#define CONTEXT(type, name) {"context." #name, AT(state, offered.kmp_context.name)},
#define EACH_DISPLAY(name, member, how) \
    {name ".0", AT(state, member[0]), how}, {name ".1", AT(state, member[1]), how}, \
    {name ".2", AT(state, member[2]), how}, {name ".3", AT(state, member[3]), how}
#define MONITOR(index) \
    {"monitor." #index ".vid", AT(state, kept.cached_topology.monitor[index].vid), form::TEXT}, \
    {"monitor." #index ".pid", AT(state, kept.cached_topology.monitor[index].pid), form::TEXT}, \
    {"monitor." #index ".serial", AT(state, kept.cached_topology.monitor[index].serial), form::TEXT}, \
    {"monitor." #index ".name", AT(state, kept.cached_topology.monitor[index].name), form::TEXT}
constexpr field state_table[] = {
    {"commands", AT(state, offered.commands), form::COMMANDS},
    {"readable", AT(state, offered.readable), form::VARIABLES},
    {"writable", AT(state, offered.writable), form::VARIABLES},
    VESK_KMP_PRI_CTXT_TABLE(CONTEXT)
    {"session.flags", AT(state, kept.sess_link.flags)},
    {"session.transitions", AT(state, kept.sess_link.trans_cnt)},
    {"session.peer", AT(state, kept.sess_link.ip), form::TEXT},
    {"tag.flags", AT(state, kept.sess_tag.flags)},
    {"tag.text", AT(state, kept.sess_tag.tag), form::TEXT},
    CARDSIM_VARIABLES(VALUE_KEY, NO_KEY)
    {"wol.flags", AT(state, kept.wol_cfg.flags)},
    {"wol.mac", AT(state, kept.wol_cfg.mac), form::TEXT},
    {"wol.ip", AT(state, kept.wol_cfg.ip), form::TEXT},
    {"host_state", AT(state, kept.host_sess_state), form::SIGNED},
    {"local_info", AT(state, kept.local_info)},
    {"imaging.preference", AT(state, kept.img_preference)},
    {"imaging.cached_preference", AT(state, kept.img_cached_preference)},
    {"imaging.requested_quality", AT(state, kept.img_requested.qual)},
    {"imaging.requested_b2l", AT(state, kept.img_requested.b2l)},
    EACH_DISPLAY("display", kept.topology.disp, form::DISPLAY),
    EACH_DISPLAY("async_display", kept.async_topology.topo.disp, form::DISPLAY),
    {"async_value", AT(state, kept.async_topology.value)},
    EACH_DISPLAY("cached_display", kept.cached_topology.topo.disp, form::DISPLAY),
    EACH_DISPLAY("rate", kept.cached_topology.rate, form::NUMBER),
    {"primary", AT(state, kept.cached_topology.primary)},
    MONITOR(0), MONITOR(1), MONITOR(2), MONITOR(3),
    {"driver.feature_enable", AT(state, kept.feature_enable)},
    {"driver.feature_status", AT(state, kept.feature_status)},
    {"driver.last_status", AT(state, kept.last_status), form::WORDS},
    {"driver.idle_hide", AT(state, kept.idle_hide)},
    {"driver.cursor_speed", AT(state, kept.cursor_speed)},
    {"driver.kbd_interval", AT(state, kept.kbd_interval)},
    {"driver.kbd_delay", AT(state, kept.kbd_delay)},
    {"driver.new_tablet_requests", AT(state, kept.new_tablet_requests)},
    {"driver.host_ready_requests", AT(state, kept.host_ready_requests)},
    {"pointer.x", AT(state, kept.pointer_x)},
    {"pointer.y", AT(state, kept.pointer_y)},
    {"pointer.visible", AT(state, kept.pointer_visible), form::FLAG},
    {"pointer.position_time_stamp", AT(state, kept.position_time_stamp)},
    {"pointer.visibility_time_stamp", AT(state, kept.visibility_time_stamp)},
};
// clang-format on

constexpr std::string_view command_names[] = {
#define VESK_CMD(number, name) #name,
    VESK_HMI_CMD_TABLE(VESK_CMD)
#undef VESK_CMD
};
constexpr std::string_view variable_names[] = {
#define VESK_VAR(number, name) #name,
    VESK_HMI_VAR_TABLE(VESK_VAR)
#undef VESK_VAR
};

std::span<const std::string_view> names_of(form how)
{
    return how == form::COMMANDS ? std::span<const std::string_view>(command_names) : variable_names;
}

// The table's name in lower case. A bit without one goes by its number.
std::string bit_name(form how, std::size_t bit)
{
    const auto names = names_of(how);
    if (bit >= names.size())
        return "bit" + std::to_string(bit);
    std::string name(names[bit]);
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

std::vector<std::string> split(std::string_view text)
{
    std::vector<std::string> words;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        if (end != 0)
            words.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

std::string joined(const json& array)
{
    std::string text;
    for (const json& one : array)
        text += (text.empty() ? "" : " ") + (one.is_string() ? one.get<std::string>() : one.dump());
    return text;
}

[[noreturn]] void refuse(std::string_view word, const std::string& what)
{
    throw std::invalid_argument(in_quotes(word) + " is not " + what);
}

std::uint32_t number_of_bits(std::size_t bits, std::string_view text)
{
    const auto number = haldo::parse_number<std::uint32_t>(text);
    if (!number || std::uint64_t{*number} >> bits != 0)
        refuse(text, "a number of " + std::to_string(bits) + " bits");
    return *number;
}

std::uint32_t word_of(std::string_view text)
{
    in_addr address{};
    if (inet_pton(AF_INET, std::string(text).c_str(), &address) == 1)
        return ntohl(address.s_addr);
    const auto number = haldo::parse_number<std::uint32_t>(text);
    if (!number)
        refuse(text, "a number of 32 bits or an IPv4 address");
    return *number;
}

std::vector<std::uint8_t> map_bytes(form how, std::size_t size, std::string_view text)
{
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT map{};
    const auto names = names_of(how);
    if (text == "all") {
        map.map[0] = (1U << names.size()) - 1;
    } else if (!text.empty() && text[0] >= '0' && text[0] <= '9') {
        map.map[0] = number_of_bits(32, text);
    } else if (text != "none") {
        for (const std::string& word : split(text)) {
            std::size_t bit = 0;
            while (bit < 256 && bit_name(how, bit) != word)
                ++bit;
            if (bit == 256)
                refuse(word, how == form::COMMANDS ? "a command" : "a variable");
            map.map[bit / 32] |= 1U << (bit % 32);
        }
    }
    std::vector<std::uint8_t> bytes(size);
    write(bytes, map);
    return bytes;
}

const field& find_key(std::string_view key)
{
    const auto* const found = std::ranges::find(state_table, key, &field::name);
    if (found == std::end(state_table))
        refuse(key, "a key");
    return *found;
}

} // namespace

std::string variable_name(std::uint32_t id)
{
    return bit_name(form::VARIABLES, id);
}

std::string in_quotes(std::string_view word)
{
    return "'" + std::string(word) + "'";
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r");
    const std::size_t end = text.find_last_not_of(" \t\r");
    return begin == std::string_view::npos ? std::string_view() : text.substr(begin, end - begin + 1);
}

json value_of(const field& of, std::span<const std::uint8_t> record)
{
    const auto bytes = record.subspan(of.offset, of.size);
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof(number)));
    switch (of.how) {
    case form::SIGNED:
        return static_cast<std::int32_t>(number);
    case form::FLAG:
        return number != 0;
    case form::TEXT: {
        const auto* const text = reinterpret_cast<const char*>(bytes.data());
        return std::string(text, strnlen(text, bytes.size()));
    }
    case form::WORDS: {
        json words = json::array();
        for (std::size_t i = 0; i < bytes.size(); i += sizeof(number))
            words.push_back(read<std::uint32_t>(bytes.subspan(i)));
        return words;
    }
    case form::DISPLAY:
        return haldo::display_text(read<sVESK_HALDO_DISPLAY_STRUCT>(bytes));
    case form::COMMANDS:
    case form::VARIABLES: {
        json names = json::array();
        for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit)
            if ((bytes[bit / 8] >> (bit % 8) & 1) != 0)
                names.push_back(bit_name(of.how, bit));
        return names;
    }
    default:
        return number;
    }
}

std::string text_of(const field& of, std::span<const std::uint8_t> record)
{
    const json value = value_of(of, record);
    if (value.is_array())
        return value.empty() ? "none" : joined(value);
    if (value.is_boolean())
        return value.get<bool>() ? "1" : "0";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void set_field(const field& of, std::span<std::uint8_t> record, std::string_view text)
{
    std::vector<std::uint8_t> bytes(of.size);
    const auto put = [&bytes](std::uint32_t number, std::size_t at = 0) {
        std::memcpy(bytes.data() + at, &number, std::min(bytes.size() - at, sizeof(number)));
    };
    switch (of.how) {
    case form::NUMBER:
        put(number_of_bits(of.size * 8, text));
        break;
    case form::SIGNED:
        if (const auto number = haldo::parse_number<std::int32_t>(text))
            put(static_cast<std::uint32_t>(*number));
        else
            refuse(text, "a signed number of 32 bits");
        break;
    case form::FLAG:
        put(number_of_bits(1, text));
        break;
    case form::TEXT:
        if (text.size() > of.size)
            throw std::invalid_argument(in_quotes(text) + " is longer than " + std::to_string(of.size) + " characters");
        text.copy(reinterpret_cast<char*>(bytes.data()), text.size());
        break;
    case form::WORDS: {
        const auto words = split(text);
        if (words.size() * sizeof(std::uint32_t) > of.size)
            throw std::invalid_argument(in_quotes(words[of.size / sizeof(std::uint32_t)]) + " is one word too many");
        for (std::size_t i = 0; i < words.size(); ++i)
            put(word_of(words[i]), i * sizeof(std::uint32_t));
        break;
    }
    case form::DISPLAY:
        if (const auto display = haldo::parse_display(text))
            write(bytes, *display);
        else
            refuse(text, std::string("a display, ") + haldo::DISPLAY_FORM);
        break;
    case form::COMMANDS:
    case form::VARIABLES:
        bytes = map_bytes(of.how, of.size, text);
        break;
    }
    std::ranges::copy(bytes, record.subspan(of.offset).begin());
}

std::vector<std::string> state_keys()
{
    std::vector<std::string> keys;
    for (const field& one : state_table)
        keys.emplace_back(one.name);
    return keys;
}

std::vector<field> state_fields(std::size_t begin, std::size_t size)
{
    std::vector<field> within;
    for (field one : state_table) {
        if (one.offset < begin || one.offset + one.size > begin + size)
            continue;
        one.offset -= begin;
        within.push_back(one);
    }
    return within;
}

std::string state_text(const state& of, std::string_view key)
{
    return text_of(find_key(key), bytes_of(of));
}

json state_json(const state& of)
{
    json all;
    for (const field& one : state_table) {
        std::string path = "/" + std::string(one.name);
        std::ranges::replace(path, '.', '/');
        json* at = &all;
        for (std::size_t begin = 1; begin <= path.size();) { // a pointer would take numbers for an array's
            const std::size_t end = std::min(path.find('/', begin), path.size());
            at = &(*at)[path.substr(begin, end - begin)];
            begin = end + 1;
        }
        *at = value_of(one, bytes_of(of));
    }
    return all;
}

void set_state(state& of, std::string_view key, std::string_view text)
{
    set_field(find_key(key), bytes_of(of), text);
}

void assign_state(state& of, std::string_view assignment, std::string_view prefix)
{
    const std::size_t equals = assignment.find('=');
    if (equals == std::string_view::npos)
        refuse(trimmed(assignment), "KEY=VALUE");
    set_state(of, std::string(prefix).append(trimmed(assignment.substr(0, equals))),
              trimmed(assignment.substr(equals + 1)));
}

} // namespace cardsim
