# Every step of detaching that fails ends the child, and with it the starter, with 1 and a line that says why.

# fails TEXT [OPTION...]: the daemon started with these options of the warden ends with status 1 and this line.
fails() {
    local text=$1
    shift
    rm -f "$log"
    start_daemon "$@"
    expect_status 1
    expect_log daemonize E "$text"
    wait_until is_no_daemon
}
is_no_daemon() { [ -z "$(daemon_pid)" ]; }

configure
start_card
fails 'Unable to fork daemon, code=11 (Resource temporarily unavailable)' --fail fork=EAGAIN
expect_no_log main I "haldohostswd daemon version $version running"
expect_absent /run/haldohostswd.pid

fails 'Unable to create a new session, code 1 (Operation not permitted)' --fail setsid=EPERM
wait_event 'exit 1'
wait_line "$log" '*| daemon_handler(): signum=17 pid=*'
expect_present /run/haldohostswd.pid # nothing is cleaned up

fails 'Unable to change directory to /, code 13 (Permission denied)' --fail chdir=EACCES
wait_event 'exit 1'
wait_line "$log" '*| daemon_handler(): signum=17 pid=*'

rm /run/haldohostswd.pid
mkdir /run/haldohostswd.pid
fails 'Unable to open lockfile /var/run/haldohostswd.pid, code 21 (Is a directory)'
wait_event 'exit 1'
wait_line "$log" '*| daemon_handler(): signum=17 pid=*'
