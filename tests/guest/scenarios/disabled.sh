# DaemonEnable=0 keeps the daemon from starting, and ends a running one at its next pass, without the orderly shutdown.
configure DaemonEnable=0
start_card
start_daemon
expect_status 0
expect_file "$output" <<END
$(version_lines)
$(log_line main I 'The haldohostswd daemon is disabled')
END
expect_events <<END
$link_constructed
HDC release
HCC release
END
expect_no_more_events
expect_absent /var/log/haldo /run/haldohostswd.pid

configure DaemonEnable=1
start_daemon
expect_status 0
wait_event 'agent root *'
configure DaemonEnable=0
agent_ends exit 0
expect_events <<END
sleep 1
HDC release
HCC release
exit 0
END
expect_log main I 'The haldohostswd daemon is disabled'
expect_no_log main I Terminated
expect_no_more_events
