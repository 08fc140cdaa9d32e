# SIGINT and SIGQUIT end the agent of a logged-in user, whichever line of "who -u" named the user, and the daemon shuts
# down in order.

# interrupted SIGNAL USER
interrupted() {
    start_daemon
    expect_status 0
    wait_event "agent $2 *"
    interrupt "$1"
    expect_events <<END
$link_shut_down
exit 0
END
    expect_equal "$(log_line run_cmd I 'Host SW Received signal: haldo daemon exiting.')
$(log_line main I Terminated)" "$(dateless "$log" | tail -n 2)"
    expect_no_more_events
}

configure
start_card
login bob pts/1 :0.0
interrupted INT bob
logout pts/1
login alice :0
interrupted QUIT alice
