# A log directory of fewer than three characters is no reason to stop: the daemon goes on where it logged before.
configure LogDirLocation=ab
start_daemon
expect_status 0
wait_event 'agent root *'
expect_log init_logging E 'Error using log directory ab' "$output"
expect_log main I "haldohostswd daemon version $version running" "$output"
expect_absent /ab
agent_ends exit 0
wait_event 'agent root *'
kill "$(daemon_pid)"

configure LogDirLocation=abc
start_daemon
expect_status 0
wait_line /abc/haldohostsw.0.log "*| haldohostswd daemon version $version running"
