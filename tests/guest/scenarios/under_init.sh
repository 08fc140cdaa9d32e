# A child of init has nothing to detach from: no fork, no lock, no session, no handler.
configure
start_card
start_daemon_under_init
expect_events <<END
$link_constructed
sleep 1
END
wait_event 'agent root *'
daemon=$(daemon_pid)
expect_absent /run/haldohostswd.pid
expect_no_log daemonize I 'sent signal 10 to parent process'
expect_file "$log" <<END
$(log_line init_logging I "success: level 3, file /$log")
$(log_line main I "haldohostswd daemon version $version running")
$(log_line main I "haldohostswd daemon build id HEAD@$build_id")
$(dumped_config)
$(log_line filesize I "Logfile: /$log is =< 1 MB")
$(dumped_config)
END
expect_ignored agent ''

# SIGHUP has the effect that the daemon inherited: it ends it.
kill -HUP "$daemon"
wait_starter
expect_status 129
wait_event 'HCC release'
