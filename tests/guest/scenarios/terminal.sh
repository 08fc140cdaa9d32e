# On a terminal the version lines appear there, once.
configure
start_card
start_daemon_on_terminal
expect_status 0
wait_event 'agent *'
expect_file "$output" <<END
$(version_lines)
$(log_line filesize I "Logfile: /$log is =< 0 MB")
END
