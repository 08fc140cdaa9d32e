# While the child gets ready the parent's fate is in the hands of signals.

# signalled SIGNAL STATUS: the parent, waiting for a child that is held, ends with this status on the signal.
signalled() {
    local parent
    rm -f "$log"
    start_daemon_aside --hold setsid="$step"
    wait_event 'hold setsid'
    # A child that is quicker may report before the parent has set its alarm; this one is held.
    wait_until grep -qx 'skip alarm 2' "$journal" || fail "the parent sets no alarm"
    parent=$(cut -d ' ' -f 4 "/proc/$(daemon_pid)/stat")
    # Again, should the first one come while the parent still sets its alarm.
    wait_until has_ended "$parent" "$1" || fail "SIG$1 does not end the parent"
    wait_starter
    expect_status "$2"
    expect_log daemon_handler I "daemon_handler(): signum=$(kill -l "$1") pid=$parent"
    kill -KILL "$(daemon_pid)"
    expect_gone "$(cat /run/haldohostswd.pid)"
}
has_ended() { is_dead "$1" || ! kill "-$2" "$1"; }

configure
signalled HUP 0
signalled TERM 1
signalled ALRM 1
