# Whom "who -u" names on an X display gets the agent; the sequence of states decides the delays.
launcher="'-e' '/opt/haldo/bin/haldo_agent' '-x' 'not_found' '-o' '-ll3  -ld /var/log/haldo -ls 2' '-w'"

# passes XAUTHORITY_DELAY USER WAIT: the next pass.
passes() {
    expect_events <<END
sleep $1
xauthority root
launcher $2 $launcher '$3'
agent $2 '-ll3' '-ld' '/var/log/haldo' '-ls' '2'
END
}
next_pass() {
    agent_ends exit 0
    expect_events <<END
sleep 1
END
}

configure
start_daemon
expect_status 0
expect_events <<END
sleep 1
END
passes 5 root 1 # nobody

next_pass
passes 5 root 1 # still nobody

login bob pts/1 :0.0
next_pass
passes 5 bob 10 # a terminal opened from the display

next_pass
passes 0 bob 1 # still there

login alice :0
next_pass
passes 0 bob 1 # the first one decides

logout pts/1
next_pass
passes 0 alice 1

login alice pts/2 192.168.1.7
logout :0
next_pass
passes 5 root 1 # a remote session is none

login '(unknown)' :1
next_pass
passes 5 root 1 # a display that is nobody's

logout :1
login rooty :1
next_pass
passes 5 rooty 10 # not root
