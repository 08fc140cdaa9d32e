# For a logged-in root nothing is run, on every pass, until the configuration allows it.
configure DaemonLogLevel=4 DaemonXAuthDelay=0
start_card
login root :0
start_daemon --gate "$step"
take_step # start delay
take_step # X authority
wait_event 'xauthority *'
expect_events <<<'sleep 1'
expect_log main D 'user root is logged in'
expect_log main I 'The haldo agent cannot run under root permissions'
configure DaemonLogLevel=4 DaemonXAuthDelay=0 DaemonRootHaldoAgent=1
take_step
take_step
wait_event 'agent root *'
