// metrics: card, session, daemon and agent for a monitoring system, in the OpenMetrics text format. Only types are used
// that the older format of node exporter's textfile collector has too.
#include "commands.h"
#include "daemon_state.h"
#include "offers.h"
#include "options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace haldoctl
{

namespace
{

json family(const std::string& name, const char* type, const char* help)
{
    return {{"name", name}, {"type", type}, {"help", help}, {"samples", json::array()}};
}

void add(json& to, const json& value, const json& labels = json::object())
{
    to["samples"].push_back({{"labels", labels}, {"value", value}});
}

// What could not be asked has no sample.
json measured(invocation& given)
{
    json nodes = family("haldo_node_open", "gauge", "Whether the device node can be opened.");
    for (const char* path : {VESK_NODE_PATH_HCC, VESK_NODE_PATH_HDC})
        add(nodes, node_error(path) == 0 ? 1 : 0, {{"node", path}});

    cVESK_HALDO_LINK& link = given.link();
    json up = family("haldo_session_up", "gauge", "Whether a client is connected.");
    json transitions = family("haldo_session_transitions", "counter",
                              "Changes of the session, as the card counts them: from 255 to 0.");
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state{};
    if (link.sess_link_get(&state) == VESK_OK) {
        add(up, (state.flags & HMI_SESS_LINK_CONNECTED) != 0 ? 1 : 0);
        add(transitions, state.trans_cnt);
    }
    json capabilities = family("haldo_capability", "gauge", "Whether firmware or client offer it.");
    if (link.is_ready()) {
        for (const offer& one : firmware_offers(link))
            add(capabilities, one.is_offered ? 1 : 0, {{"by", "firmware"}, {"name", one.name}});
        link.kmp_pri_ctxt_get();
        if (link.kmp_context() != nullptr)
            for (const offer& one : client_offers(link))
                add(capabilities, one.is_offered ? 1 : 0, {{"by", "client"}, {"name", one.name}});
    }
    json statistics = family("haldo_session_statistics_word", "gauge",
                             "The session statistics, words that are the firmware's to interpret.");
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT words{};
    if (link.sess_stat_get(&words) == VESK_OK)
        for (std::size_t i = 0; i < std::size(words.words); ++i)
            add(statistics, words.words[i], {{"word", std::to_string(i)}});

    json daemon_up = family("haldo_daemon_up", "gauge", "Whether haldohostswd runs.");
    if (const known<process> daemon = running_daemon(); daemon.value || daemon.why.empty())
        add(daemon_up, daemon.value ? 1 : 0);
    json agent_up = family("haldo_agent_up", "gauge", "Whether the agent runs.");
    json agent_start = family("haldo_agent_start_time_seconds", "gauge", "When the agent started, since the epoch.");
    if (const auto agents = processes_called(AGENT); agents.value) {
        add(agent_up, agents.value->empty() ? 0 : 1);
        if (!agents.value->empty())
            add(agent_start, agents.value->back().started);
    }
    json daemon_starts = family("haldo_log_daemon_starts", "counter",
                                "Starts of the daemon in its current log file. A new file begins at 0.");
    json agent_restarts = family("haldo_log_agent_restarts", "counter",
                                 "Runs of the agent that ended, by the current log file. A new file begins at 0.");
    if (const known<configuration> config = read_configuration(); config.value) {
        if (const known<log_history> log = read_log(*config.value); log.value) {
            add(daemon_starts, log.value->daemon_starts);
            add(agent_restarts, log.value->agent_restarts);
        }
    }
    return json::array({nodes, up, transitions, capabilities, statistics, daemon_up, agent_up, agent_start,
                        daemon_starts, agent_restarts});
}

std::string exposition(const json& families)
{
    std::string text;
    for (const json& one : families) {
        if (one["samples"].empty())
            continue;
        const auto name = one["name"].get<std::string>();
        const auto type = one["type"].get<std::string>();
        text += "# TYPE " + name + " " + type + "\n# HELP " + name + " " + one["help"].get<std::string>() + "\n";
        for (const json& sample : one["samples"]) {
            std::string labels;
            for (const auto& [label, value] : sample["labels"].items())
                labels += (labels.empty() ? "" : ",") + label + "=\"" + value.get<std::string>() + "\"";
            text += name + (type == "counter" ? "_total" : "") + (labels.empty() ? "" : "{" + labels + "}") + " " +
                    sample["value"].dump() + "\n";
        }
    }
    return text + "# EOF\n";
}

// Whoever reads the file finds the old text or the new one, whole.
void replace_file(const std::string& path, const std::string& text)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        throw failure{REFUSED, path + ": not a regular file, and not replaced"};
    std::string temporary = path + ".XXXXXX";
    const int fd = mkstemp(temporary.data());
    if (fd < 0)
        throw failure{REFUSED, path + ": " + std::strerror(errno)};
    std::FILE* const file = fdopen(fd, "w");
    bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size() && fchmod(fd, 0644) == 0 &&
                      std::fflush(file) == 0 && fsync(fd) == 0;
    is_written = std::fclose(file) == 0 && is_written;
    if (!is_written || std::rename(temporary.c_str(), path.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        unlink(temporary.c_str());
        throw failure{REFUSED, path + ": " + why};
    }
}

json metrics(invocation& given, const std::string& output)
{
    const json families = measured(given);
    given.text = exposition(families);
    if (!output.empty()) {
        replace_file(output, *given.text);
        given.text = "";
    }
    return {{"output", output.empty() ? json() : json(output)}, {"families", families}};
}

} // namespace

void add_metrics(command_line& line)
{
    auto output = std::make_shared<std::string>();
    line.add(line.root(), "metrics", "Card, session, daemon and agent in OpenMetrics text",
             [=](invocation& given) { return metrics(given, *output); })
        ->add_option("--output", *output, "Replace this file, in one step, instead of printing")
        ->type_name("FILE")
        ->transform(file_name());
}

} // namespace haldoctl
