# When "who -u" cannot be run the last known user counts as logged in.
configure
login bob pts/1 :0.0
start_daemon --fail pipe2=EMFILE:4 # start, first pass, X authority, second pass
expect_status 0
wait_event "launcher bob * '-w' '10'"
wait_event 'agent bob *'
agent_ends exit 0
expect_events <<END
sleep 1
fail pipe2 EMFILE
sleep 5
xauthority root
END
wait_event "launcher bob * '-w' '10'"
expect_log is_user_logged_in_locally E 'popen() failed, code=24 (Too many open files)'
expect_log is_user_logged_in_locally E 'Unable to determine whether user logged in locally!'
