#include "supervision.h"

#include "daemon_paths.h"
#include "launcher_command.h"
#include "lifecycle.h"
#include "log_file.h"
#include "vesk_log.h"

#include <climits>
#include <csignal>
#include <cstring>

static constexpr int PAUSE_S = 1;
static constexpr int NO_LOGIN_STATE = INT_MIN; // equals no result of is_user_logged_in_locally

// What one pass is to do about the login that it found.
struct pass_plan {
    bool as_user;        // run the agent through su
    int launcher_wait_s; // observed by the launcher
    int xauthority_delay_s;
};

// How a configuration that was read again differs from the one before.
struct config_change {
    bool any;
    bool log; // its level or its directory
};

// Not inlined: the copy is off the stack before the agent's command runs, which the daemon spends its time waiting for.
[[gnu::noinline]] static config_change read_config(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* config)
{
    const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT previous = *config;
    get_config(config);
    return {
        .any = std::memcmp(&previous, config, sizeof(previous)) != 0,
        .log = previous.DaemonLogLevel != config->DaemonLogLevel ||
               std::strncmp(previous.LogDirLocation, config->LogDirLocation, sizeof(config->LogDirLocation)) != 0,
    };
}

static bool is_log_too_large(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config)
{
    char path[VESK_LOG_PATH_SIZE];
    log_file_path(path, config.LogDirLocation, LOG_NAME);
    return filesize(path) > config.LogFileSize;
}

// Reads the configuration; applies it when it has changed, and on the first pass. False when the daemon is to leave.
static bool refresh_config(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* config, bool* first_pass)
{
    const config_change change = read_config(config);
    if (!change.any && !*first_pass)
        return true;
    if (!is_enabled(*config))
        return false;
    if ((change.log || is_log_too_large(*config)) && !open_log(*config))
        return false;
    dump_config(config);
    *first_pass = false;
    return true;
}

// login: the result of is_user_logged_in_locally, of which -1 counts as a user. remembered: the last one that differed
// from the one before it.
static pass_plan plan_pass(int login, int* remembered, const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config)
{
    const bool as_user = login != 0;
    const bool same = login == *remembered;
    *remembered = login;
    return {
        .as_user = as_user,
        .launcher_wait_s = !same && as_user ? config.HostSWLoginStartDelay : config.HostSWRestartDelay,
        .xauthority_delay_s = same && as_user ? 0 : config.DaemonXAuthDelay,
    };
}

// The first character of a user name that su's command line cannot carry, or '\0'. A leading '-' would be an option.
static char unsafe_character(const char* user)
{
    if (user[0] == '-')
        return '-';
    for (const char* c = user; *c != '\0'; ++c) {
        if (static_cast<unsigned char>(*c) <= ' ' || *c == 0x7F || std::strchr("|&;<>()$`\\\"'*?[]{}#~=%!^", *c))
            return *c;
    }
    return '\0';
}

// Builds the command of a pass. False when there is none to run; the reason is logged.
static bool build_command(char (&command)[LAUNCHER_COMMAND_SIZE], const pass_plan& plan,
                          const sVESK_DAEMON_STATE_STRUCT& state)
{
    const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT& config = state.config;
    if (plan.as_user) {
        LOG_MAIN_D("user %s is logged in", state.user);
        if (std::strcmp(state.user, "root") == 0 && config.DaemonRootHaldoAgent == 0) {
            LOG_MAIN_I("The haldo agent cannot run under root permissions");
            return false;
        }
        if (const char c = unsafe_character(state.user)) {
            LOG_MAIN_E("user name with character 0x%02X, the haldo agent is not run", static_cast<unsigned char>(c));
            return false;
        }
    }
    const int length =
        launcher_command(command, config, plan.as_user ? state.user : nullptr, state.xauthority, plan.launcher_wait_s);
    if (static_cast<std::size_t>(length) >= sizeof(command)) {
        LOG_MAIN_E("command of %d characters is longer than %d, the haldo agent is not run", length,
                   LAUNCHER_COMMAND_SIZE - 1);
        return false;
    }
    return true;
}

// Whether SIGINT or SIGQUIT ended the agent. SIGCHLD has its default for as long: otherwise its end could not be seen,
// and the agent would inherit an ignored signal.
static bool is_agent_interrupted(char* command)
{
    std::signal(SIGCHLD, SIG_DFL);
    const bool interrupted = run_cmd(command) != 0;
    std::signal(SIGCHLD, SIG_IGN);
    return interrupted;
}

eVESK_LOOP_END supervise_agent(sVESK_DAEMON_STATE_STRUCT* state)
{
    bool first_pass = true;
    int remembered_login = NO_LOGIN_STATE;
    for (;;) {
        if (!refresh_config(&state->config, &first_pass))
            return LOOP_CANNOT_GO_ON;
        const int login = is_user_logged_in_locally(state->user);
        const pass_plan plan = plan_pass(login, &remembered_login, state->config);
        get_xauthority(plan.xauthority_delay_s, state->xauthority, &state->config);
        char command[LAUNCHER_COMMAND_SIZE];
        if (build_command(command, plan, *state) && is_agent_interrupted(command))
            return LOOP_AGENT_INTERRUPTED;
        if (!open_log(state->config))
            return LOOP_CANNOT_GO_ON;
        sleep_seconds(PAUSE_S);
    }
}
