# The X authority file: "not_found" until the lookup has one, the last one it printed, and then the one known.

# passes FILE: the next pass hands this file to the launcher.
passes() {
    wait_event "launcher root '-e' '/opt/haldo/bin/haldo_agent' '-x' '$1' '-o' *"
    wait_event 'agent root *'
}
configure
start_daemon
expect_status 0
passes not_found

xauthority_says 'looking' XAUTHORITY=/run/one 'export XAUTHORITY=/run/two' 'XAUTHORITY='
agent_ends exit 0
passes /run/two

xauthority_says nothing
agent_ends exit 0
passes /run/two
