# A log of exactly its limit is kept; one byte more and it is rotated, the oldest of five generations going.

# fill SIZE: the log has this size, and each older generation names itself.
fill() {
    local i
    head -c "$1" /dev/zero >"$log"
    for i in 1 2 3 4; do
        echo "generation $i" >"${log%.0.log}.$i.log"
    done
}

configure
start_daemon
expect_status 0
wait_event 'agent root *'
fill $((2 << 20))
agent_ends exit 0
wait_event 'agent root *'
expect_file <(tail -c +$(((2 << 20) + 1)) "$log") <<END
$(log_line filesize I "Logfile: /$log is =< 2 MB")
$(log_line init_logging I "success: level 3, file /$log")
END
expect_equal 'generation 1' "$(cat "${log%.0.log}.1.log")"

fill $(((2 << 20) + 1))
agent_ends exit 0
wait_event 'agent root *'
expect_file "$log" <<END
$(log_line init_logging I "success: level 3, file /$log")
END
expect_equal 'generation 1 generation 2 generation 3' "$(cat "${log%.0.log}".{2,3,4}.log | xargs)"
# What was said of the rotation went where the log was then.
expect_file <(tail -c +$(((2 << 20) + 2)) "${log%.0.log}.1.log") <<END
$(log_line filesize I "Logfile: /$log is =< 3 MB")
$(log_line init_logging I "Daemon logfile: /$log exceeds max size, recreating.")
END
expect_equal 5 "$(find /var/log/haldo -type f | wc -l)"

# At the start, and by a pass whose configuration has changed, the same.
interrupt INT
wait_event 'exit 0'
fill $(((2 << 20) + 1))
start_daemon --gate "$step"
expect_status 0
expect_log init_logging I "success: level 3, file /$log"
expect_equal 'generation 1 generation 2 generation 3' "$(cat "${log%.0.log}".{2,3,4}.log | xargs)"
take_step # start delay
take_step # X authority
wait_event 'agent root *'
agent_ends exit 0
wait_event 'sleep 1'
fill $(((2 << 20) + 1))
configure HostSWOptions=-a
take_step # pause
wait_event 'sleep 5'
expect_equal 'generation 1 generation 2 generation 3' "$(cat "${log%.0.log}".{2,3,4}.log | xargs)"
expect_file "$log" <<END
$(log_line init_logging I "success: level 3, file /$log")
$(dumped_config HostSWOptions=-a)
END
