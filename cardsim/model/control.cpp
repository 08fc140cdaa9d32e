#include "control.h"

#include "number_text.h"
#include "profile.h"
#include "render.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace cardsim
{

namespace
{

using words = std::span<const std::string>;

constexpr int schema_version = 2;

std::uint32_t number_up_to(std::uint32_t max, const std::string& text)
{
    const auto number = haldo::parse_number<std::uint32_t>(text);
    if (!number || *number == 0 || *number > max)
        throw std::invalid_argument(in_quotes(text) + " is not a number from 1 to " + std::to_string(max));
    return *number;
}

unsigned nth_word(words given, std::size_t at)
{
    constexpr std::uint32_t last = 1000000000;
    return given.size() > at ? number_up_to(last, given[at]) : card::every;
}

std::string connect(card& to, words given)
{
    to.connect(session_address(given[1]));
    return {};
}

std::string disconnect(card& to, words)
{
    to.disconnect();
    return {};
}

std::string set(card& to, words given)
{
    std::string assignment; // a value may have blanks
    for (const std::string& word : given.subspan(1))
        assignment += (assignment.empty() ? "" : " ") + word;
    state changed{to.offered, to.kept};
    assign_state(changed, assignment);
    to.offered = changed.offered;
    to.kept = changed.kept;
    return {};
}

std::string fail(card& to, words given)
{
    to.order(parse_code(given[1]), -parse_errno(given[2]), nth_word(given, 3));
    return {};
}

std::string return_value(card& to, words given)
{
    const auto value = number_up_to(std::numeric_limits<int>::max(), given[2]);
    to.order(parse_code(given[1]), static_cast<int>(value), nth_word(given, 3));
    return {};
}

std::string delay(card& to, words given)
{
    constexpr std::uint32_t an_hour = 3600000;
    to.order_delay(parse_code(given[1]), number_up_to(an_hour, given[2]), nth_word(given, 3));
    return {};
}

std::string random(card& to, words given)
{
    to.order_random(parse_code(given[1]), nth_word(given, 2));
    return {};
}

std::string normal(card& to, words given)
{
    if (given.size() == 2)
        to.order_nothing(parse_code(given[1]));
    else
        for (const auto& known : vesk_requests)
            to.order_nothing(known.code);
    return {};
}

std::string seed(card& to, words given)
{
    const auto value = haldo::parse_number<std::uint32_t>(given[1]);
    if (!value)
        throw std::invalid_argument(in_quotes(given[1]) + " is not a number of 32 bits");
    to.seed(*value);
    return {};
}

std::string tell_state(card& to, words)
{
    return card_json(to).dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string render(card& to, words given)
{
    if (given[1] == "svg")
        return render_svg(scene_of(to));
    if (given[1] == "png")
        return render_png(scene_of(to));
    throw std::invalid_argument(in_quotes(given[1]) + " is neither svg nor png");
}

struct command {
    std::string_view name;
    std::size_t min; // words behind the name
    std::size_t max;
    bool changes;
    std::string (*execute)(card& to, words given);
};

constexpr std::size_t any = std::numeric_limits<std::size_t>::max();
constexpr command commands[] = {
    {"connect", 1, 1, true, connect},   {"disconnect", 0, 0, true, disconnect}, {"set", 1, any, true, set},
    {"fail", 2, 3, true, fail},         {"return", 2, 3, true, return_value},   {"delay", 2, 3, true, delay},
    {"random", 1, 2, true, random},     {"normal", 0, 1, true, normal},         {"seed", 1, 1, true, seed},
    {"state", 0, 0, false, tell_state}, {"render", 1, 1, false, render},
};

const command& find_command(std::string_view name)
{
    const auto* const found = std::ranges::find(commands, name, &command::name);
    if (found == std::end(commands))
        throw std::invalid_argument(in_quotes(name) + " is not a command");
    return *found;
}

json picture_json(const std::optional<picture>& shape)
{
    if (!shape)
        return nullptr;
    return {{"kind", name_of(shape->kind)},
            {"width", shape->width},
            {"height", shape->height},
            {"arguments", {shape->shape_arg1, shape->shape_arg2}}};
}

json order_json(const card::ordered& one)
{
    json order{{"request", short_name(*find_request(one.code))}};
    order["nth"] = one.nth == card::every ? json("every") : json(one.nth);
    switch (one.what) {
    case card::effect::RESULT: {
        const char* name = one.value < 0 ? strerrorname_np(static_cast<int>(-one.value)) : nullptr;
        order["result"] = name != nullptr ? json(name) : json(one.value);
        break;
    }
    case card::effect::DELAY:
        order["delay_ms"] = one.value;
        break;
    case card::effect::RANDOM:
        order["random"] = true;
        break;
    }
    return order;
}

} // namespace

std::string_view short_name(const sVESK_REQUEST_STRUCT& request)
{
    constexpr std::string_view mark = "IOCTL_";
    const std::string_view name = request.name;
    return name.substr(name.find(mark) + mark.size());
}

std::uint32_t parse_code(std::string_view text)
{
    const auto number = haldo::parse_number<std::uint32_t>(text);
    const auto* const found = std::ranges::find_if(vesk_requests, [&](const sVESK_REQUEST_STRUCT& known) {
        return number ? known.code == *number : text == known.name || text == short_name(known);
    });
    if (found == std::end(vesk_requests))
        throw std::invalid_argument(in_quotes(text) + " is not the code of a request");
    return found->code;
}

int parse_errno(std::string_view text)
{
    const auto number = haldo::parse_number<std::uint32_t>(text);
    for (int error = 1; error < 256; ++error) {
        const char* name = strerrorname_np(error);
        if (name == nullptr || (text != name && number != static_cast<std::uint32_t>(error)))
            continue;
        if (error == ENOSYS) // the kernel makes it ENOTTY
            throw std::invalid_argument(in_quotes(text) + " cannot reach a client");
        return error;
    }
    throw std::invalid_argument(in_quotes(text) + " is not an errno");
}

json card_json(const card& of)
{
    json all{{"schema_version", schema_version}};
    all.update(state_json({of.offered, of.kept}));
    all["driver"]["pointer_reports"] = of.driver_setting(KMP_DRIVER_CFG_LCUR_EVT_ALG);
    all["driver"]["local_tablet"] = of.driver_setting(KMP_DRIVER_CFG_LOCAL_TABLET);
    all["driver"]["channel_open"] = of.channel_open();
    all["driver"]["path_open"] = of.path_open();
    all["client"]["shown"] = picture_json(of.client.shown());
    all["client"]["cache"] = json::object();
    for (const auto& [slot, shape] : of.client.cache())
        all["client"]["cache"][std::to_string(slot)] = picture_json(shape);
    all["orders"] = json::array();
    for (const card::ordered& one : of.orders())
        all["orders"].push_back(order_json(one));
    all["requests"] = json::object();
    for (const auto& known : vesk_requests)
        if (const unsigned count = of.requests(known.code); count != 0)
            all["requests"][std::string(short_name(known))] = count;
    return all;
}

std::string control(card& to, std::span<const std::string> given)
{
    if (given.empty())
        throw std::invalid_argument("a command is missing");
    for (const std::string& word : given)
        if (word.find('\n') != std::string::npos)
            throw std::invalid_argument(in_quotes(word.substr(0, word.find('\n'))) + " is followed by a line end");
    const command& found = find_command(given[0]);
    if (given.size() - 1 < found.min)
        throw std::invalid_argument(in_quotes(given[0]) + " needs more words");
    if (given.size() - 1 > found.max)
        throw std::invalid_argument(in_quotes(given[found.max + 1]) + " is one word too many");
    return found.execute(to, given);
}

bool changes_card(std::string_view command)
{
    return find_command(command).changes;
}

} // namespace cardsim
