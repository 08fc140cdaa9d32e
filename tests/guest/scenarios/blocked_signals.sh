# A starting shell that blocks signals does not leave the parent waiting, nor the daemon deaf to them.

# start_blocked [RULE...]: start_daemon, with these signals blocked.
start_blocked() {
    status=0
    warden "$@" -- env --block-signal=HUP,USR1,ALRM,TERM,CHLD haldohostswd || status=$?
}

configure
start_blocked
expect_status 0
wait_event 'agent root *'
blocked_of() { sed -n 's/^SigBlk:\t//p' "$1"; }
expect_equal 0000000000000000 "$(blocked_of "$here/agent.signals")"
expect_equal 0000000000010000 "$(blocked_of "/proc/$(daemon_pid)/status")" # SIGCHLD, by system
daemon=$(daemon_pid)
kill -TERM "$daemon"
expect_gone "$daemon"
agent_ends exit 0

# The child's death, and the two seconds.
start_blocked --fail setsid=EPERM
expect_status 1
wait_line "$log" '*| daemon_handler(): signum=17 pid=*'
time_limit=()
start_blocked --hold setsid="$step"
expect_status 1
wait_line "$log" '*| daemon_handler(): signum=14 pid=*'
