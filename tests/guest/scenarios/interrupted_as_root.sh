# The agent of the login screen, interrupted or quit, ends the daemon in order; killed or failing it is started again.
configure
start_card
for signal in INT QUIT; do
    start_daemon
    expect_status 0
    wait_event 'agent root *'
    for end in 'exit 3' 'kill -KILL' 'kill -TERM' 'kill -INT'; do
        agent_ends "$end" # of the agent alone: the shell that the daemon waits for does not end by it
        wait_event 'agent root *'
    done
    interrupt $signal
    expect_events <<END
$link_shut_down
exit 0
END
    expect_equal "$(log_line run_cmd I 'Host SW Received signal: haldo daemon exiting.')
$(log_line main I Terminated)" "$(dateless "$log" | tail -n 2)"
done
