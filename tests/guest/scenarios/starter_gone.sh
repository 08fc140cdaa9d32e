# A child whose starting process is gone before it is ready signals nobody: its parent is another one by then.
configure
start_daemon_aside --hold setsid="$step"
wait_event 'hold setsid'
parent=$(cut -d ' ' -f 4 "/proc/$(daemon_pid)/stat")
kill -KILL "$parent"
wait_starter
expect_status 137
take_step
wait_event 'agent root *'
expect_log main I "haldohostswd daemon version $version running"
expect_no_log daemonize I 'sent signal 10 to parent process'
