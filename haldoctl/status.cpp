// status: card and daemon on one screen. What cannot be known stands there as unknown, with the reason.
#include "commands.h"
#include "daemon_state.h"
#include "offers.h"

#include <algorithm>
#include <sstream>
#include <unistd.h>

namespace haldoctl
{

namespace
{

// One thing that is shown: its value, and the same in words.
struct fact {
    json value;
    std::string words;
};

fact unknown(const std::string& why)
{
    return {{{"unknown", why}}, "unknown: " + why};
}

// The screen: what is added stands in the document and on lines that are broken between words.
class screen
{
public:
    explicit screen(int columns) : m_columns(static_cast<std::size_t>(columns)) {}

    void begin(const std::string& section, const std::string& title)
    {
        m_section = section;
        m_text += title + "\n";
    }
    void add(const std::string& name, const std::string& label, const fact& one)
    {
        m_document[m_section][name] = one.value;
        m_text += "  " + label + std::string(INDENT - 2 - std::min(label.size(), INDENT - 3), ' ');
        std::istringstream words(harmless(one.words));
        std::size_t column = INDENT;
        for (std::string word; words >> word; column += word.size()) {
            if (column == INDENT) {
                // the first one
            } else if (column + 1 + word.size() > m_columns) {
                m_text += "\n" + std::string(INDENT, ' ');
                column = INDENT;
            } else {
                m_text += ' ';
                ++column;
            }
            m_text += word;
        }
        m_text += "\n";
    }
    const json& document() const { return m_document; }
    const std::string& text() const { return m_text; }

private:
    static constexpr std::size_t INDENT = 20;

    std::size_t m_columns;
    json m_document;
    std::string m_text;
    std::string m_section;
};

// --- The card ---

fact described_node(const char* path)
{
    const std::string why = node_obstacle(path);
    return {{{"path", path}, {"open", why.empty()}, {"obstacle", why.empty() ? json() : json(why)}},
            why.empty() ? "can be opened" : why};
}

// What a function finds out about the card, or why it cannot.
template <typename Function> fact asked(Function function)
try {
    return function();
} catch (const failure& failed) {
    return unknown(failed.message);
}

fact session(invocation& given)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state{};
    given.require(given.link().sess_link_get(&state), "the state of the session");
    const bool connected = (state.flags & HMI_SESS_LINK_CONNECTED) != 0;
    const std::string peer = text_of(state.ip);
    return {{{"connected", connected}, {"peer", peer}, {"transitions", state.trans_cnt}},
            (connected ? "connected to " + peer : "not connected") + ", transition " + std::to_string(state.trans_cnt)};
}

fact tag(invocation& given)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT record{};
    given.require(given.link().sess_tag_get(&record), "the session tag");
    const std::string text = text_of(record.tag);
    const bool is_brokered = (record.flags & HMI_SESS_TAG_BROKERED) != 0;
    return {{{"text", text}, {"brokered", is_brokered}},
            "'" + text + "', the view is " + (is_brokered ? "brokered" : "not brokered")};
}

fact in_words(const std::vector<offer>& offers)
{
    json value = json::object();
    std::string words;
    for (const offer& one : offers) {
        value[one.name] = one.is_offered;
        if (one.is_offered)
            words += (words.empty() ? "" : ", ") + one.words;
    }
    return {value, words.empty() ? "nothing" : words};
}

fact firmware(invocation& given)
{
    if (given.link().is_ready())
        return in_words(firmware_offers(given.link()));
    given.require(VESK_NOT_INITIALIZED, "what the firmware offers");
    return {};
}

fact cursors(invocation& given)
{
    given.kmp_link();
    const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& agreed = *given.link().kmp_context();
    const std::string width = std::to_string(agreed.cur_shape_max_size_x);
    const std::string height = std::to_string(agreed.cur_shape_max_size_y);
    const std::string slots = std::to_string(agreed.cur_shape_caches);
    return {{{"max_width", agreed.cur_shape_max_size_x},
             {"max_height", agreed.cur_shape_max_size_y},
             {"cache_slots", agreed.cur_shape_caches},
             {"cache_slot_bytes", agreed.cur_shape_cache_size}},
            "up to " + width + " by " + height + " px, " + slots + " cache slots of " +
                std::to_string(agreed.cur_shape_cache_size) + " bytes"};
}

void add_card(screen& all, invocation& given)
{
    all.begin("card", "Card");
    all.add("control_node", VESK_NODE_PATH_HCC, described_node(VESK_NODE_PATH_HCC));
    all.add("driver_node", VESK_NODE_PATH_HDC, described_node(VESK_NODE_PATH_HDC));
    all.add("session", "Session", asked([&] { return session(given); }));
    all.add("tag", "Tag", asked([&] { return tag(given); }));
    all.add("firmware", "Firmware offers", asked([&] { return firmware(given); }));
    all.add("client", "Client offers", asked([&] { return in_words(client_offers(given.kmp_link())); }));
    all.add("cursors", "Client's cursors", asked([&] { return cursors(given); }));
}

// --- The daemon ---

// Why the daemon runs no agent, as far as that can be told.
fact why_no_agent(const known<configuration>& config, const known<process>& daemon, const known<local_user>& user)
{
    const auto because = [](const std::string& why) { return fact{why, why}; };
    const bool is_disabled = config.value && config.value->record.DaemonEnable == 0;
    if (!daemon.value && daemon.why.empty())
        return because(is_disabled ? "the daemon is disabled: DaemonEnable is 0" : "the daemon does not run");
    if (!config.value)
        return unknown(config.why);
    for (const char* name : {LAUNCHER, AGENT})
        if (const std::string why = obstacle(config.value->path + "/" + name).why; !why.empty())
            return because(why);
    if (user.value && user.value->name == "root" && config.value->record.DaemonRootHaldoAgent == 0)
        return because("root is logged in, and DaemonRootHaldoAgent is 0");
    if (const known<log_history> log = read_log(*config.value); log.value && !log.value->refusal.empty())
        return because("the daemon logged: " + log.value->refusal);
    if (const auto launchers = processes_called(LAUNCHER); launchers.value && !launchers.value->empty())
        return because("the launcher, process " + std::to_string(launchers.value->back().id) +
                       ", has not started it yet");
    return because("the daemon is between two runs of it, or the launcher fails: " + config.value->log_file +
                   " may tell");
}

fact described_lock()
{
    const known<process> holder = lock_holder();
    if (!holder.value)
        return unknown(holder.why);
    if (holder.value->id == 0)
        return {nullptr, "held by nobody"};
    return {{{"process", holder.value->id}, {"name", holder.value->name}},
            "held by process " + std::to_string(holder.value->id) + " (" + holder.value->name + ")"};
}

fact described(const known<process>& one, const std::string& absent)
{
    if (one.value) {
        const std::string since = local_time(one.value->started);
        return {{{"running", true}, {"process", one.value->id}, {"since", since}},
                "process " + std::to_string(one.value->id) + ", since " + since};
    }
    if (!one.why.empty())
        return unknown(one.why);
    return {{{"running", false}}, absent};
}

fact described(const known<local_user>& user)
{
    if (!user.value)
        return unknown(user.why);
    if (user.value->name.empty())
        return {nullptr, has_login_records() ? "nobody" : "nobody: without /run/utmp \"who -u\" may name nobody"};
    const std::string& display = user.value->display;
    return {{{"name", user.value->name}, {"display", display}}, user.value->name + " on " + display};
}

fact described_x_authority(const known<configuration>& config)
{
    if (!config.value)
        return unknown(config.why);
    const known<std::string> path = x_authority(*config.value);
    if (!path.value)
        return unknown(path.why);
    if (path.value->empty())
        return {nullptr, std::string("not found by ") + XAUTHORITY_LOOKUP};
    const bool exists = access(path.value->c_str(), F_OK) == 0;
    return {{{"path", *path.value}, {"exists", exists}}, *path.value + (exists ? "" : ", which is not there")};
}

void add_daemon(screen& all)
{
    const known<configuration> config = read_configuration();
    const known<process> daemon = running_daemon();
    const known<local_user> user = user_on_display();
    known<process> agent;
    if (const auto agents = processes_called(AGENT); !agents.value)
        agent.why = agents.why;
    else if (!agents.value->empty())
        agent.value = agents.value->back();

    all.begin("daemon", "Daemon");
    all.add("process", DAEMON, described(daemon, "not running"));
    all.add("lock", "Lock file", described_lock());
    all.add("user", "User", described(user));
    all.add("x_authority", "X authority", described_x_authority(config));
    all.add("agent", "Agent", described(agent, "not running"));
    if (!agent.value && agent.why.empty())
        all.add("no_agent_because", "No agent because", why_no_agent(config, daemon, user));
}

json status(invocation& given)
{
    screen all(columns());
    add_card(all, given);
    add_daemon(all);
    given.text = all.text();
    return all.document();
}

} // namespace

void add_status(command_line& line)
{
    line.add(line.root(), "status", "Card, session, daemon and agent on one screen", status);
}

} // namespace haldoctl
