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

# It stays when the daemon is gone, and keeps the next one from starting as little as the
# agent that is left behind.
kill "$daemon"
expect_gone "$daemon"
start_daemon
expect_status 0
wait_event 'agent root *'
