# At level 0 nothing is logged and no log file opened; the directory is made all the same. Raising the level in the
# configuration opens the log at the next pass, and every line is in the file as soon as it is written.
configure DaemonLogLevel=0
start_card
start_daemon
expect_status 0
expect_file "$output" <<END
$(version_lines)
END
wait_event 'agent root *'
daemon=$(daemon_pid)
expect_equal '/dev/null /dev/null /dev/null' "$(readlink "/proc/$daemon/fd/"{0,1,2} | xargs)"
expect_mode /var/log/haldo '777 root'
expect_absent "$log"

configure DaemonLogLevel=3
agent_ends exit 0
wait_event 'agent root *'
expect_file "$log" <<END
$(log_line init_logging I "success: level 3, file /$log")
$(dumped_config)
END
expect_mode "$log" '777 root'

# Level 7 means errors only; the line that reports it is no error.
configure DaemonLogLevel=7
agent_ends exit 0
wait_event 'agent root *'
configure DaemonLogLevel=7 Unknown=1
agent_ends exit 0
wait_event 'agent root *'
expect_file "$log" <<END
$(log_line init_logging I "success: level 3, file /$log")
$(dumped_config)
$(log_line filesize I "Logfile: /$log is =< 1 MB")
$(log_line init_logging I "success: level 3, file /$log")
$(log_line get_field_name_index E "failed to find 'Unknown'")
END
