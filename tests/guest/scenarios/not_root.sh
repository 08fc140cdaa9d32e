# An ordinary user cannot run the daemon: it says so and ends with 0. The card was opened and closed once all the same.
configure
start_card
chmod 666 "${nodes[@]}"
start_daemon_as nobody
expect_status 0
expect_file "$output" <<END
$(version_lines)
$(log_line main E 'The daemon must be run by root, exiting!')
END
expect_events <<END
$link_constructed
HDC release
HCC release
END
expect_no_more_events
expect_absent /var/log/haldo /run/haldohostswd.pid
