// net, port, stats, wol, unicode, local-info: the card's network, and the words that firmware and driver keep.
#include "commands.h"
#include "options.h"

namespace haldoctl
{

namespace
{

using wol_record = sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT;

json net(invocation& given)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT link_info{};
    sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT ipv4_cfg{};
    const int info_result = given.link().link_info_get(&link_info);
    const int cfg_result = given.link().ipv4_cfg_get(&ipv4_cfg);
    // One that is not offered leaves the other.
    if (info_result != VESK_NOT_SUPPORTED || cfg_result == VESK_NOT_SUPPORTED)
        given.require(info_result, "the state of the network");
    if (cfg_result != VESK_NOT_SUPPORTED)
        given.require(cfg_result, "the IPv4 configuration");
    return {{"link_info", info_result == VESK_OK ? json(link_info.words) : json()},
            {"ipv4", cfg_result == VESK_OK ? json(ipv4_cfg.words) : json()}};
}

json described(const wol_record& cfg)
{
    return {{"mac", text_of(cfg.mac)}, {"ip", text_of(cfg.ip)}, {"flags", cfg.flags}};
}

void require_wol(invocation& given, int result, const std::string& what)
{
    if (result == VESK_NOT_SUPPORTED && given.link().is_sess_view_brokered() != 0)
        throw failure{NOT_OFFERED, "a brokered session does not offer " + what, result};
    given.require(result, what);
}

wol_record read_wol(invocation& given)
{
    wol_record cfg{};
    require_wol(given, given.link().wol_cfg_get(&cfg), "the wake-on-LAN configuration");
    return cfg;
}

// What is not given stays as it is.
json set_wol(invocation& given, const std::optional<std::string>& mac, const std::optional<std::string>& ip,
             std::optional<unsigned int> flags)
{
    if (!mac && !ip && !flags)
        throw failure{USAGE, "'haldoctl wol set' needs --mac, --ip or --flags"};
    wol_record cfg = read_wol(given);
    if (mac)
        put_text(cfg.mac, *mac);
    if (ip)
        put_text(cfg.ip, *ip);
    if (flags)
        cfg.flags = static_cast<std::uint8_t>(*flags);
    require_wol(given, given.link().wol_cfg_set(&cfg), "to set the wake-on-LAN configuration");
    return described(cfg);
}

} // namespace

void add_network(command_line& line)
{
    line.add(line.root(), "net", "The words of the card's network link and IPv4 configuration", net);
    line.add(line.root(), "port", "The port of the connection",
             reading(&cVESK_HALDO_LINK::conn_port_get, &sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT::port, "port",
                     "the port of the connection"));

    CLI::App& stats = line.add_group(line.root(), "stats", "The session's statistics");
    line.add(stats, "show", "Show their words",
             reading(&cVESK_HALDO_LINK::sess_stat_get, &sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT::words, "stats",
                     "the session's statistics"));
    line.add(stats, "reset", "Set them to zero",
             operation(&cVESK_HALDO_LINK::sess_stat_reset, {{"reset", true}}, "to reset the session's statistics"));

    CLI::App& wol = line.add_group(line.root(), "wol", "The wake-on-LAN configuration");
    line.add(wol, "show", "Show it", [](invocation& given) { return described(read_wol(given)); });
    auto mac = std::make_shared<std::optional<std::string>>();
    auto ip = std::make_shared<std::optional<std::string>>();
    auto flags = std::make_shared<std::optional<unsigned int>>();
    CLI::App* const changed = line.add(wol, "set", "Change what is given of it",
                                       [=](invocation& given) { return set_wol(given, *mac, *ip, *flags); });
    changed->add_option("--mac", *mac, "The MAC address")->transform(text_up_to(sizeof(wol_record::mac)));
    changed->add_option("--ip", *ip, "The IPv4 address")->transform(text_up_to(sizeof(wol_record::ip)));
    changed->add_option("--flags", *flags, "The flags, the firmware's")->transform(number<std::uint8_t>());

    auto mode = std::make_shared<unsigned int>();
    line.add(line.root(), "unicode", "Switch the card's Unicode mode",
             setting(&cVESK_HALDO_LINK::unicode_set, mode, "unicode", "to switch the Unicode mode"))
        ->add_option("MODE", *mode, "Sent as it is; 0: off")
        ->required()
        ->transform(number<unsigned int>());
    line.add(line.root(), "local-info", "The driver's local information word",
             reading(&cVESK_HALDO_LINK::local_info_get, std::identity(), "local_info", "the local information"));
}

} // namespace haldoctl
