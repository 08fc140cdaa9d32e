# The starting shell gets its two lines and status 0; behind it the daemon lives in a session of its own.
echo 4711 >/tmp/haldohostsw.pid
configure
start_card
start_daemon
expect_status 0
expect_file "$output" <<END
$(version_lines)
$(log_line filesize I "Logfile: /$log is =< 0 MB")
END
wait_event 'agent root *'
daemon=$(daemon_pid)
expect_equal "$daemon" "$(cat /run/haldohostswd.pid)"
expect_mode /run/haldohostswd.pid '640 root'
expect_absent /tmp/haldohostsw.pid

expect_equal "1 $daemon" "$(ps -o ppid=,sid= -p "$daemon" | xargs)"
expect_equal / "$(readlink "/proc/$daemon/cwd")"
expect_equal 0000 "$(sed -n 's/^Umask:\t//p' "/proc/$daemon/status")"
expect_equal "/dev/null $log $log ${nodes[*]} /run/haldohostswd.pid" \
    "$(for fd in 0 1 2 3 4 5; do readlink "/proc/$daemon/fd/$fd"; done | xargs)"

expect_log init_logging I "success: level 3, file /$log"
wait_line "$log" '*| daemon_handler(): signum=10 pid=*'
expect_log daemonize I 'sent signal 10 to parent process'
expect_log main I "haldohostswd daemon version $version running"
expect_log main I "haldohostswd daemon build id HEAD@$build_id"

# The lock file's mode is taken before the mask is cleared.
interrupt INT
wait_event 'exit 0'
rm /run/haldohostswd.pid
umask 077
start_daemon
expect_status 0
expect_mode /run/haldohostswd.pid '600 root'
