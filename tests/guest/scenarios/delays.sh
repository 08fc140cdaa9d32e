# Every delay is the configuration's; what is negative is no delay.
configure DaemonStartDelay=3 DaemonXAuthDelay=7 HostSWLoginStartDelay=21 HostSWRestartDelay=4
login alice :0
start_daemon
expect_status 0
expect_events <<END
sleep 3
sleep 7
xauthority root
END
wait_event "launcher alice *'-w' '21'"
wait_event 'agent alice *'
agent_ends exit 0
expect_events <<END
sleep 1
sleep 0
xauthority root
END
wait_event "launcher alice *'-w' '4'"
wait_event 'agent alice *'

logout :0
configure DaemonXAuthDelay=-1 HostSWRestartDelay=-2
agent_ends exit 0
expect_events <<END
sleep 1
sleep 0
xauthority root
END
wait_event "launcher root *'-w' '-2'"
