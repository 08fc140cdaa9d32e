# SIGQUIT ends the agent of a logged-in user: the shell that runs su ends by it at once, and the daemon shuts down. The
# nodes, which su has inherited, are closed for good when su is gone too.
configure
start_card
login bob pts/1 :0.0
start_daemon
wait_event 'agent bob *'
interrupt QUIT
expect_events <<END
$(grep -v release <<<"$link_shut_down")
exit 0
HDC release
HCC release
END
expect_log main I Terminated
