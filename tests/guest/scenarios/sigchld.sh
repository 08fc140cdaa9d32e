# The daemon ignores SIGCHLD, but not while the agent's command runs. (INT and QUIT are ignored by system.)
configure
start_daemon --gate "$step"
expect_status 0
wait_event 'sleep 1'
status_file=/proc/$(daemon_pid)/status
wait_until grep -q '^SigIgn:' "$status_file"
expect_equal 'HUP CHLD TSTP TTIN TTOU' "$(ignored_signals "$status_file")"
take_step
wait_event 'sleep 5'
expect_equal 'HUP CHLD TSTP TTIN TTOU' "$(ignored_signals "$status_file")"
take_step
wait_event 'agent root *'
expect_equal 'HUP INT QUIT TSTP TTIN TTOU' "$(ignored_signals "$status_file")"
agent_ends exit 0
wait_event 'sleep 1'
expect_equal 'HUP CHLD TSTP TTIN TTOU' "$(ignored_signals "$status_file")"
