// kmp, keyboard, tablet: the path of keyboard, mouse and pointer, what was agreed on for it, and the driver's part.
#include "commands.h"
#include "options.h"

namespace haldoctl
{

namespace
{

// The driver closes a path whose node is closed, so that one which is to stay open is held.
json open_path(invocation& given, bool holds)
{
    cVESK_HALDO_LINK& link = given.link();
    link.start();
    given.require(link.hdc_open(), "to open the KMP path");
    if (holds) {
        const sigset_t interrupts = block_interrupts();
        given.progress({{"open", true}});
        int signal = 0;
        sigwait(&interrupts, &signal);
        link.stop();
        given.text = "";
    }
    return {{"open", !holds}};
}

json show_context(invocation& given)
{
    const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& agreed = *given.kmp_link().kmp_context();
    json all;
#define VESK_FIELD(type, name) all[#name] = agreed.name;
    VESK_KMP_PRI_CTXT_TABLE(VESK_FIELD)
#undef VESK_FIELD
    return all;
}

json show_status(invocation& given)
{
    unsigned int feature = 0, status = 0, count = 0, hid_devices = 0, tablet_activate_ack = 0;
    given.require(given.link().lcur_lkbd_dev_feat_stat_get(&feature), "the status of local cursor and keyboard");
    given.require(given.link().lcur_lkbd_last_stat_get(&status, &count, &hid_devices, &tablet_activate_ack),
                  "the driver's last status");
    return {{"feature_status", feature},
            {"last_status",
             {{"status", status},
              {"count", count},
              {"hoip_hid_devices", hid_devices},
              {"hoip_tablet_activate_ack", tablet_activate_ack}}}};
}

using choices = std::vector<std::string>; // their settings are 0 and 1

json set_driver_mode(invocation& given, std::uint32_t type, const std::string& name, const choices& words,
                     const std::string& word)
{
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{type, word == words[1] ? 1 : 0};
    given.require(given.link().kmp_driver_cfg_set(&cfg), "to configure the driver");
    return {{name, word}};
}

void add_driver_mode(command_line& line, CLI::App& group, const std::string& name, const std::string& description,
                     eVESK_HALDO_HDC_KMP_DRIVER_CFG_TYPE type, const choices& words)
{
    auto word = std::make_shared<std::string>();
    line.add(group, name, description,
             [=](invocation& given) { return set_driver_mode(given, type, name, words, *word); })
        ->add_option("MODE", *word)
        ->required()
        ->check(CLI::IsMember(words));
}

json repeat_get(invocation& given)
{
    unsigned short delay = 0, interval = 0;
    given.require(given.kmp_link().lkbd_repeat_rates_get(&delay, &interval), "the keyboard's repeat rates");
    return {{"delay", delay}, {"interval", interval}};
}

json repeat_set(invocation& given, unsigned short delay, unsigned short interval)
{
    given.require(given.link().lkbd_repeat_rates_set(delay, interval), "to set the keyboard's repeat rates");
    return {{"delay", delay}, {"interval", interval}};
}

} // namespace

void add_kmp(command_line& line)
{
    CLI::App& kmp = line.add_group(line.root(), "kmp", "Keyboard, mouse and pointer");
    auto holds = std::make_shared<bool>(false);
    line.add(kmp, "open", "Open the path; the driver may close it when the command ends",
             [=](invocation& given) { return open_path(given, *holds); })
        ->add_flag("--hold", *holds, "Hold it open until interrupted, and close it then")
        ->disable_flag_override();
    line.add(kmp, "close", "Close the path",
             operation(&cVESK_HALDO_LINK::hdc_close, {{"open", false}}, "to close the KMP path"));
    line.add(kmp, "context", "What firmware and client have agreed on", show_context);
    line.add(kmp, "status", "The status of local cursor and keyboard, and the driver's last one", show_status);

    CLI::App& mode = line.add_group(kmp, "driver-mode", "Configure the driver");
    add_driver_mode(line, mode, "cursor", "How the cursor is reported", KMP_DRIVER_CFG_LCUR_EVT_ALG,
                    {"absolute", "relative"});
    add_driver_mode(line, mode, "tablet", "Whether tablets are local", KMP_DRIVER_CFG_LOCAL_TABLET, {"off", "on"});

    CLI::App& keyboard = line.add_group(line.root(), "keyboard", "The client's keyboard");
    CLI::App& repeat = line.add_group(keyboard, "repeat", "Its repeat rates");
    line.add(repeat, "get", "Show them", repeat_get);
    auto delay = std::make_shared<unsigned short>();
    auto interval = std::make_shared<unsigned short>();
    CLI::App* const setting =
        line.add(repeat, "set", "Set them", [=](invocation& given) { return repeat_set(given, *delay, *interval); });
    setting->add_option("DELAY", *delay, "In the driver's units")->required()->transform(number<unsigned short>());
    setting->add_option("INTERVAL", *interval, "In the driver's units")
        ->required()
        ->transform(number<unsigned short>());

    CLI::App& tablet = line.add_group(line.root(), "tablet", "HID-over-IP tablets");
    line.add(tablet, "process-new", "Tell the driver to process new ones",
             operation(&cVESK_HALDO_LINK::proc_new_hoip_tablets, {{"process_new", true}}, "to process new tablets"));
    line.add(tablet, "host-ready", "Tell the client that the host is ready for them",
             operation(&cVESK_HALDO_LINK::send_hoip_host_ready, {{"host_ready", true}},
                       "to tell the client that the host is ready"));
}

} // namespace haldoctl
