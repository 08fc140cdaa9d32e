// haldohostswd, the host-software daemon of a HALDO host card.
#include "lifecycle.h"
#include "pid_files.h"
#include "supervision.h"
#include "vesk_haldo_link.h"

#include <csignal>

int main()
{
    const last_of_main last;
    prepare_standard_streams();
    cVESK_HALDO_LINK link;
    log_version_at_start();
    sVESK_DAEMON_STATE_STRUCT state{.config = {}, .user = "", .xauthority = "not_found"};
    if (!is_started_by_root())
        return 0;
    get_config(&state.config);
    if (!is_enabled(state.config))
        return 0;
    if (!open_log(state.config))
        return 0;
    remove_agent_pid_file();
    if (!is_child_of_init())
        daemonize();

    log_version_running();
    std::signal(SIGCHLD, SIG_IGN);
    sleep_seconds(state.config.DaemonStartDelay);
    is_user_logged_in_locally(state.user);
    dump_config(&state.config);
    link.start();
    if (supervise_agent(&state) == LOOP_AGENT_INTERRUPTED)
        shut_down(&link);
    return 0;
}
