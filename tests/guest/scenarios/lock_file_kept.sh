# The lock file of an earlier daemon is not truncated: a shorter process id leaves the old end behind. Its mode stays.
printf '123456789012\nold\n' >/run/haldohostswd.pid
chmod 604 /run/haldohostswd.pid
configure
start_daemon
expect_status 0
wait_event 'agent root *'
daemon=$(daemon_pid)
old=$'123456789012\nold'
expect_equal "$daemon"$'\n'"${old:$((${#daemon} + 1))}" "$(cat /run/haldohostswd.pid)"
expect_mode /run/haldohostswd.pid '604 root'

# It stays when the daemon is gone, and does not keep the next one from starting.
kill "$daemon"
expect_gone "$daemon"
agent_ends exit 0
start_daemon
expect_status 0
wait_event 'agent root *'
