# A command that would be run cut, or with a user name that the shell takes apart, is not run at all; the pass goes on.
configure "HostSWOptions=$(printf '%100s' -x)" "LogDirLocation=/var/log/$(printf '%0200d' 0)"
start_daemon
expect_status 0
long=/var/log/$(printf '%0200d' 0)/haldohostsw.0.log
wait_line "$long" '*main | command of 411 characters is longer than 399, the haldo agent is not run'
expect_events <<END
sleep 1
sleep 5
xauthority root
sleep 1
sleep 5
xauthority root
END
# shellcheck disable=SC2016
login 'a$(id)' :0
configure LogDirLocation=/var/log/haldo HostSWOptions
wait_line "$log" '*main | user name with character 0x24, the haldo agent is not run'
login alice :0
wait_event 'agent alice *'

# A single quote in the options breaks the command: the shell finds no end, and nothing is run.
configure "HostSWOptions=it's"
agent_ends exit 0
expect_events <<END
sleep 1
sleep 0
xauthority root
sleep 1
sleep 0
xauthority root
END
