# What signals do to the daemon itself, once it is detached.

# signalled SIGNAL LINE EVENT...: it ends the running daemon, which writes this line before, or none.
signalled() {
    local daemon before
    start_daemon
    expect_status 0
    wait_event 'agent root *'
    daemon=$(daemon_pid)
    before=$(wc -l <"$log")
    kill "-$1" "$daemon"
    expect_gone "$daemon"
    expect_equal "${2//PID/$daemon}" "$(dateless "$log" | tail -n "+$((before + 1))")"
    expect_equal "$daemon" "$(cat /run/haldohostswd.pid)"
    agent_ends exit 0
    shift 2
    expect_events <<END
${*:+$*
}HDC release
HCC release
END
}

configure
start_card
signalled TERM ''
signalled USR1 "$(log_line daemon_handler I 'daemon_handler(): signum=10 pid=PID')" exit 0
signalled ALRM "$(log_line daemon_handler I 'daemon_handler(): signum=14 pid=PID')" exit 1

# These are ignored, without a word.
start_daemon
expect_status 0
wait_event 'agent root *'
daemon=$(daemon_pid)
expect_equal 'HUP INT QUIT TSTP TTIN TTOU' "$(ignored_signals "/proc/$daemon/status")"
lines=$(wc -l <"$log")
kill -HUP "$daemon"
kill -TSTP "$daemon"
kill -TTIN "$daemon"
kill -TTOU "$daemon"
kill -CHLD "$daemon" # not, but without effect
agent_ends exit 0
wait_event 'agent root *'
expect_equal "$daemon" "$(daemon_pid)"
expect_equal '' "$(tail -n "+$((lines + 1))" "$log" | grep daemon_handler || true)"
