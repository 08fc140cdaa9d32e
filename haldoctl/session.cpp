// session: the session's link, its end, and the state of the host's session.
#include "commands.h"
#include "number_text.h"
#include "options.h"

#include <charconv>
#include <ctime>

namespace haldoctl
{

namespace
{

json described(const sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT& state)
{
    return {{"connected", (state.flags & HMI_SESS_LINK_CONNECTED) != 0},
            {"peer", text_of(state.ip)},
            {"transitions", state.trans_cnt},
            {"flags", state.flags}};
}

json show(invocation& given)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state{};
    given.require(given.link().sess_link_get(&state), "the state of the session");
    return described(state);
}

// Between two looks it sleeps; SIGINT and SIGTERM end it, once a request that is under way has been answered.
json watch(invocation& given, double period_s, unsigned int count)
{
    const sigset_t interrupts = block_interrupts();
    const auto whole_s = static_cast<std::time_t>(period_s);
    const timespec period{whole_s, static_cast<long>((period_s - static_cast<double>(whole_s)) * 1e9)};

    json transitions = json::array();
    show(given); // what stands in the way is said at once
    do {
        int changed = 0;
        sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT state{};
        given.link().link_heartbeat(&changed, &state);
        if (changed != 0) {
            transitions.push_back(described(state));
            given.progress(transitions.back());
        }
    } while (transitions.size() != count && sigtimedwait(&interrupts, nullptr, &period) < 0);
    given.text = "";
    return {{"transitions", transitions}};
}

// The period of a watch: a number as everywhere, or a fraction. CLI::Range takes what is no number at all.
CLI::Validator seconds(double min, double max)
{
    std::ostringstream limits;
    limits << min << " to " << max;
    const auto check = [=, limits = limits.str()](std::string& word) -> std::string {
        if (const auto whole = haldo::parse_number<std::int64_t>(word))
            word = std::to_string(*whole);
        double value = 0;
        const char* const end = word.data() + word.size();
        const auto [stop, error] = std::from_chars(word.data(), end, value);
        if (error != std::errc() || stop != end || !(value >= min && value <= max))
            return "'" + word + "' is not a number from " + limits;
        return {};
    };
    return {check, limits.str(), "seconds"};
}

json disconnect(invocation& given, unsigned int reason)
{
    given.require(given.link().sess_link_disc(reason), "to end the session");
    // The firmware that takes no reason has got none.
    const bool is_told = given.link().sess_link_disc_with_reason_avail() == VESK_OK;
    return {{"disconnected", true}, {"reason", is_told ? json(reason) : json()}};
}

json host_state_set(invocation& given, unsigned int state)
{
    given.require(given.link().host_sess_state_set(static_cast<eVESK_HALDO_HMI_HOST_SESSION_STATE>(state)),
                  "to set the state of the host's session");
    return {{"host_state", state}};
}

} // namespace

void add_session(command_line& line)
{
    CLI::App& session = line.add_group(line.root(), "session", "The session of the remote client");
    line.add(session, "show", "Whether a client is connected, and from where", show);

    auto period_s = std::make_shared<double>(1);
    auto count = std::make_shared<unsigned int>(0);
    CLI::App* const watched = line.add(session, "watch", "Print each change of the session until interrupted",
                                       [=](invocation& given) { return watch(given, *period_s, *count); });
    watched->add_option("--period", *period_s, "Seconds between two looks")
        ->transform(seconds(0.01, 3600))
        ->capture_default_str();
    watched->add_option("--count", *count, "End after so many changes, the first look being one")
        ->transform(number(1, UINT32_MAX));

    auto reason = std::make_shared<unsigned int>(0);
    line.add(session, "disconnect", "End the session", [=](invocation& given) { return disconnect(given, *reason); })
        ->add_option("--reason", *reason, "The reason that the client is told, where the firmware takes one")
        ->transform(number<unsigned int>())
        ->capture_default_str();

    CLI::App& host_state = line.add_group(session, "host-state", "The state of the host's session");
    line.add(host_state, "get", "Show what the driver keeps",
             reading(&cVESK_HALDO_LINK::host_sess_state_get, std::identity(), "host_state",
                     "the state of the host's session"));
    auto state = std::make_shared<unsigned int>();
    line.add(host_state, "set", "Tell the driver", [=](invocation& given) { return host_state_set(given, *state); })
        ->add_option("STATE", *state, "What it means is the firmware's")
        ->required()
        ->transform(number(0, HMI_HOST_SESSION_STATE_LAST));
}

} // namespace haldoctl
