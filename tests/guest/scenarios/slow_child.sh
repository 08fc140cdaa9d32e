# A child that does not report within two seconds costs the starter its good status, and goes on all the same.
time_limit=()
configure
start_daemon --hold setsid="$step"
expect_status 1
wait_line "$log" '*| daemon_handler(): signum=14 pid=*'
expect_no_log main I "haldohostswd daemon version $version running"
take_step
wait_event 'agent root *'
expect_log main I "haldohostswd daemon version $version running"
# By then there is nobody to tell.
expect_no_log daemonize I 'sent signal 10 to parent process'
