# A log file that cannot be opened ends the daemon with 0: at its start, after a run of the agent, and when the
# configuration names another directory.
mkdir -p "$log"
configure
start_card
start_daemon
expect_status 0
expect_file "$output" <<END
$(version_lines)
$(log_line filesize I "Logfile: /$log is =< 1 MB")
$(log_line init_logging E "Error opening logfile /$log (ret -1)")
$(log_line main E 'init_logging() failed, exiting!')
END
expect_events <<END
$link_constructed
HDC release
HCC release
END
expect_no_more_events

rmdir "$log"
start_daemon
expect_status 0
wait_event 'agent root *'
mv "$log" "$log.kept"
mkdir "$log"
agent_ends exit 0
expect_events <<END
HDC release
HCC release
exit 0
END
expect_log init_logging E "Error opening logfile /$log (ret -1)" "$log.kept"
expect_log main E 'init_logging() failed, exiting!' "$log.kept"
expect_no_log main I Terminated "$log.kept"

rmdir "$log"
start_daemon
expect_status 0
wait_event 'agent root *'
mkdir -p /var/log/other/haldohostsw.0.log
configure LogDirLocation=/var/log/other
agent_ends exit 0
# The log of the pass that ends is re-opened with the configuration that the pass began with.
expect_events <<END
sleep 1
HDC release
HCC release
exit 0
END
expect_log init_logging E 'Error opening logfile //var/log/other/haldohostsw.0.log (ret -1)'
expect_log main E 'init_logging() failed, exiting!'
expect_no_more_events
