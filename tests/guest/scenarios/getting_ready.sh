# Until it has the lock, the child still has the handlers that its parent waits with.
configure
start_daemon_aside --hold openat:/var/run/haldohostswd.pid="$step"
wait_event 'hold openat:*'
child=$(daemon_pid)
kill -HUP "$child"
expect_log daemon_handler I "daemon_handler(): signum=1 pid=$child"
take_step
wait_starter
expect_status 0
wait_event 'agent root *'
interrupt INT
wait_event 'exit 0'

start_daemon_aside --hold openat:/var/run/haldohostswd.pid="$step"
wait_event 'hold openat:*'
child=$(daemon_pid)
kill -TERM "$child"
expect_log daemon_handler I "daemon_handler(): signum=15 pid=$child"
wait_event 'exit 1'
wait_starter
expect_status 1
