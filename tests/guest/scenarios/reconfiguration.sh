# An edit of the configuration takes effect at the next pass, and re-opens the log only where that is needed.
configure
start_daemon
expect_status 0
wait_event 'agent root *'

# after_edit KEY=VALUE...: the lines that the next pass begins with.
after_edit() {
    configure "$@"
    : >"$log"
    agent_ends exit 0
    wait_event 'agent root *'
}
# The options alone: the log is looked at, but not re-opened. It is after every run of the agent.
after_edit 'HostSWOptions=-a -b'
expect_file "$log" <<END
$(log_line filesize I "Logfile: /$log is =< 0 MB")
$(log_line init_logging I "success: level 3, file /$log")
$(log_line filesize I "Logfile: /$log is =< 1 MB")
$(dumped_config 'HostSWOptions=-a -b')
END

# Nothing: no word.
after_edit 'HostSWOptions=-a -b'
expect_file "$log" <<END
$(log_line filesize I "Logfile: /$log is =< 0 MB")
$(log_line init_logging I "success: level 3, file /$log")
END

# A key that is removed keeps its value.
after_edit HostSWLogLevel=1
expect_file "$log" <<END
$(log_line filesize I "Logfile: /$log is =< 0 MB")
$(log_line init_logging I "success: level 3, file /$log")
$(log_line filesize I "Logfile: /$log is =< 1 MB")
$(dumped_config 'HostSWOptions=-a -b' HostSWLogLevel=1)
END

# Another directory: the rest of the pass is logged there.
after_edit LogDirLocation=/var/log/elsewhere
elsewhere=/var/log/elsewhere/haldohostsw.0.log
expect_file "$log" <<END
$(log_line filesize I "Logfile: /$log is =< 0 MB")
$(log_line init_logging I "success: level 3, file /$log")
$(log_line filesize I "Logfile: /$elsewhere is =< 0 MB")
END
expect_file "$elsewhere" <<END
$(log_line init_logging I "success: level 3, file /$elsewhere")
$(dumped_config 'HostSWOptions=-a -b' HostSWLogLevel=1 LogDirLocation=/var/log/elsewhere)
END

# A lower level.
configure DaemonLogLevel=2
agent_ends exit 0
wait_event 'agent root *'
agent_ends exit 0
wait_event 'agent root *'
expect_equal "$(log_line init_logging I "success: level 3, file /$elsewhere")" "$(dateless "$elsewhere" | tail -n 1)"

# Another place of the programs.
cp -r /opt/haldo/bin /run/programs
configure HostSWPath=/run/programs
agent_ends exit 0
wait_event "launcher root '-e' '/run/programs/haldo_agent' *"
wait_event 'agent root *'

# No log: the file stays open, and nothing more is written.
configure DaemonLogLevel=0
agent_ends exit 0
wait_event 'agent root *'
lines=$(wc -l <"$elsewhere")
agent_ends exit 0
wait_event 'agent root *'
expect_equal "$lines" "$(wc -l <"$elsewhere")"
expect_equal "$elsewhere" "$(readlink "/proc/$(daemon_pid)/fd/1")"
