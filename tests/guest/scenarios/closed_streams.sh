# Started with its standard streams closed, the daemon keeps them from being taken by the card's nodes.
configure
start_card
status=0
warden -- sh -c 'exec haldohostswd <&- >&- 2>&-' || status=$?
expect_status 0
wait_event 'agent root *'
daemon=$(daemon_pid)
expect_equal "/dev/null $log $log ${nodes[*]}" "$(readlink "/proc/$daemon/fd/"{0,1,2,3,4} | xargs)"
