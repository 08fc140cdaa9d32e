# For a logged-in root nothing is run, on every pass, until the configuration allows it. The log is re-opened all the
# same.

# refuses N: the Nth pass refuses to run the agent.
refuses() {
    take_step # X authority
    expect_log_times "$1" main D 'user root is logged in'
    expect_log_times "$1" main I 'The haldo agent cannot run under root permissions'
    expect_log_times $(($1 + 1)) init_logging I "success: level 4, file /$log"
}

configure DaemonLogLevel=4 DaemonXAuthDelay=0
start_card
login root :0
start_daemon --gate "$step"
take_step # start delay
refuses 1
take_step # pause
refuses 2
take_step
refuses 3
expect_equal '' "$(grep launcher "$journal" || true)"

configure DaemonLogLevel=4 DaemonXAuthDelay=0 DaemonRootHaldoAgent=1
take_step
take_step
wait_event "launcher root * '-w' '1'"
wait_line "$log" '*run_cmd | Executing [[]su root -c *'
