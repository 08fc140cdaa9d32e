# A second daemon fails at the lock, and its starter ends with 1. The first one goes on.
configure
start_card
start_daemon
expect_status 0
wait_event 'agent root *'
first=$(daemon_pid)
start_daemon
expect_status 1
expect_events <<END
$link_constructed
exit 1
END
expect_log daemonize E \
    'Unable to lock lockfile /var/run/haldohostswd.pid, code 11 (Resource temporarily unavailable)'
wait_line "$log" '*| daemon_handler(): signum=17 pid=*'
expect_equal "$first" "$(cat /run/haldohostswd.pid)"
agent_ends exit 0
wait_event 'agent root *'
