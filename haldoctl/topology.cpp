// topology: the layouts of the client's displays.
#include "commands.h"
#include "display_text.h"
#include "layout.h"
#include "options.h"

#include <cerrno>
#include <cstdio>

namespace haldoctl
{

namespace
{

using display = sVESK_HALDO_DISPLAY_STRUCT;

bool is_used(const display& one)
{
    return one.width != 0 || one.height != 0;
}

std::vector<placed_display> used(const display (&all)[VESK_DISPLAY_COUNT])
{
    std::vector<placed_display> displays;
    for (unsigned int index = 0; index < VESK_DISPLAY_COUNT; ++index)
        if (is_used(all[index]))
            displays.push_back({index, all[index]});
    return displays;
}

json described(const placed_display& one)
{
    return {{"index", one.index},         {"geometry", haldo::display_text(one.at)},
            {"x", one.at.pos_x},          {"y", one.at.pos_y},
            {"width", one.at.width},      {"height", one.at.height},
            {"rotation", one.at.rotation}};
}

json described(const std::vector<placed_display>& displays)
{
    json all = json::array();
    for (const placed_display& one : displays)
        all.push_back(described(one));
    return all;
}

void write_file(const std::string& path, const std::string& content)
{
    std::FILE* const file = std::fopen(path.c_str(), "we");
    const bool is_written = file != nullptr && std::fwrite(content.data(), 1, content.size(), file) == content.size();
    // What is left in the buffer is written now, and may fail as well.
    if (const int closed = file != nullptr ? std::fclose(file) : EOF; !is_written || closed != 0)
        throw failure{REFUSED, path + ": " + std::strerror(errno)};
}

struct head {
    unsigned int message = 0;
    unsigned int reserved = 0;
};

json show(invocation& given, const head& words, const std::string& svg_path)
{
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topology{words.message, words.reserved, {}};
    given.require(given.link().disp_topology_get(&topology), "the display layout");
    const std::vector<placed_display> displays = used(topology.disp);
    if (!svg_path.empty())
        write_file(svg_path, draw_svg(displays));
    const json result{
        {"message", topology.message}, {"reserved", topology.reserved}, {"displays", described(displays)}};
    given.text = fields(result) + draw_text(displays, columns());
    return result;
}

json async(invocation& given)
{
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topology{};
    unsigned int value = 0;
    given.require(given.link().async_disp_topology_get(&topology, &value), "the layout that the firmware reports");
    return {{"value", value}, {"displays", described(used(topology.disp))}};
}

json cached(invocation& given)
{
    sVESK_HALDO_LINK_CACHE_DISP_TOPO topology{};
    const int result = given.link().cache_disp_topology_get(&topology);
    // The two say something of a rate, in a layout that has been read.
    if (result != VESK_RATE_NO_CACHING && result != VESK_RATE_NOT_ACTIVE)
        given.require(result, "the cached display layout");
    json displays = json::array();
    for (unsigned int index = 0; index < VESK_DISPLAY_COUNT; ++index) {
        const auto& [x, y, width, height, rotation, rate, reserved] = topology.disp[index];
        const sVESK_HALDO_LINK_MONITOR_STRUCT& monitor = topology.monitor[index];
        json one = described(placed_display{index, {x, y, width, height, rotation}});
        one["rate"] = rate;
        one["monitor"] = {{"vid", text_of(monitor.vid)},
                          {"pid", text_of(monitor.pid)},
                          {"serial", text_of(monitor.serial)},
                          {"name", text_of(monitor.name)}};
        displays.push_back(one);
    }
    return {{"rates", vesk_result_name(result)},
            {"num_disp", topology.num_disp},
            {"primary", topology.primary},
            {"displays", displays}};
}

struct size {
    std::int32_t width;
    std::int32_t height;
};

std::optional<size> parse_size(const std::string& text)
{
    long long width = 0;
    long long height = 0;
    std::sscanf(text.c_str(), "%12lldx%12lld", &width, &height);
    const size read{static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
    if (read.width == 0 || read.height == 0 || std::to_string(read.width) + "x" + std::to_string(read.height) != text)
        return std::nullopt;
    return read;
}

template <auto parse> CLI::Validator form(const std::string& description)
{
    const auto check = [=](std::string& word) -> std::string {
        return parse(word) ? std::string() : "'" + word + "' is not " + description;
    };
    return {check, "", "form"};
}

json send(invocation& given, const std::vector<std::string>& words, const std::string& primary, int twinview)
{
    if (words.size() > VESK_DISPLAY_COUNT)
        throw failure{USAGE, "'" + words[VESK_DISPLAY_COUNT] + "' is one word too many for 'haldoctl topology send'"};
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT topology{};
    for (std::size_t index = 0; index < words.size(); ++index) {
        topology.disp[index] = *haldo::parse_display(words[index]);
        topology.num_disp += is_used(topology.disp[index]) ? 1 : 0;
    }
    size first{topology.disp[0].width, topology.disp[0].height};
    if (!primary.empty())
        first = *parse_size(primary);
    if (first.width == 0 || first.height == 0)
        throw failure{USAGE, "'" + words.front() + "' has no size: --primary WIDTHxHEIGHT is needed"};

    const int result = given.link().disp_topology_send(&topology, first.width, first.height, twinview);
    if (result == VESK_FAILED) {
        sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT session{};
        given.require(given.link().sess_link_get(&session), "the state of the session");
        if ((session.flags & HMI_SESS_LINK_CONNECTED) == 0)
            throw failure{REFUSED, "no session is connected that a display layout could be sent to", result};
    }
    given.require(result, "the display layout");
    return {{"displays", described(used(topology.disp))},
            {"primary", {{"width", first.width}, {"height", first.height}}},
            {"twinview", twinview}};
}

} // namespace

void add_topology(command_line& line)
{
    CLI::App& topology = line.add_group(line.root(), "topology", "The layout of the displays");

    auto words = std::make_shared<head>();
    auto svg_path = std::make_shared<std::string>();
    CLI::App* const shown = line.add(topology, "show", "Show and draw the firmware's layout",
                                     [=](invocation& given) { return show(given, *words, *svg_path); });
    shown->add_option("--svg", *svg_path, "Draw it into this file, too")->type_name("FILE")->transform(file_name());
    shown->add_option("--message", words->message, "The first word of the request")->transform(number<unsigned int>());
    shown->add_option("--reserved", words->reserved, "Its second word")->transform(number<unsigned int>());

    line.add(topology, "async", "Show the layout that the firmware reports on its own", async);
    line.add(topology, "cached", "Show the layout that the firmware has cached", cached);

    auto displays = std::make_shared<std::vector<std::string>>();
    auto primary = std::make_shared<std::string>();
    auto twinview = std::make_shared<int>(0);
    CLI::App* const sent = line.add(topology, "send", "Tell firmware and driver the host's layout",
                                    [=](invocation& given) { return send(given, *displays, *primary, *twinview); });
    sent->add_option("DISPLAY", *displays,
                     "At most 4: WIDTHxHEIGHT+X+Y, with /ROTATION; or - for an entry without a display")
        ->required()
        ->transform(form<haldo::parse_display>(haldo::DISPLAY_FORM));
    sent->add_option("--primary", *primary, "The size of the primary display (that of the first one)")
        ->type_name("WIDTHxHEIGHT")
        ->transform(form<parse_size>("WIDTHxHEIGHT"));
    sent->add_option("--twinview", *twinview, "Sent as it is")->transform(number<int>())->capture_default_str();
}

} // namespace haldoctl
