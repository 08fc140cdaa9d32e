# A user logs in, works and logs out: the agent runs for the user, is started again when it ends, and then serves the
# login screen as root. When it is interrupted the daemon shuts down in order.
options='-ll3  -ld /var/log/haldo -ls 2'
words="'-ll3' '-ld' '/var/log/haldo' '-ls' '2'"
launcher="'-e' '/opt/haldo/bin/haldo_agent' '-x' '/home/alice/.Xauthority' '-o' '$options' '-w'"

xauthority_says XAUTHORITY=/home/alice/.Xauthority
configure
start_card
login alice :0
start_daemon
expect_status 0
expect_events <<END
$link_constructed
sleep 1
sleep 5
xauthority root
launcher alice $launcher '10'
agent alice $words
END
expect_file "$here"/agent.descriptors <<END
0 /dev/null
1 $log
2 $log
3 ${nodes[0]}
4 ${nodes[1]}
END
expect_equal /home/alice "$(sed -n 's/^HOME=//p' "$here/agent.environment")"
expect_equal /home/alice/.Xauthority "$(sed -n 's/^XAUTHORITY=//p' "$here/agent.environment")"
expect_ignored agent 'HUP TSTP TTIN TTOU'

agent_ends exit 1
expect_events <<END
sleep 1
sleep 0
xauthority root
launcher alice $launcher '1'
agent alice $words
END

logout :0
agent_ends kill -KILL
expect_events <<END
sleep 1
sleep 5
xauthority root
launcher root $launcher '1'
agent root $words
END

interrupt INT
expect_events <<END
$link_shut_down
exit 0
END
expect_log run_cmd I 'Host SW Received signal: haldo daemon exiting.'
expect_log main I Terminated
expect_no_more_events
