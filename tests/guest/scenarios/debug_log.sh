# The whole log of a start at level 4, up to the agent's command, and of an orderly end.

# configuration_read KEY VALUE INDEX...: the lines of reading the configuration file.
configuration_read() {
    while [ $# -gt 0 ]; do
        log_line get_config D "Processing field name: $1"
        log_line get_field_name_index D "matched field '$1' at index $3"
        log_line get_config D "value = $2"
        shift 3
    done
}

xauthority_says XAUTHORITY=/run/authority
configure DaemonLogLevel=4 HostSWOptions=-x
start_card
login alice :0
who=$(who -u)
start_daemon
expect_status 0
wait_event 'agent alice *'
command="su alice -c \"/opt/haldo/bin/haldo_starthostsw -e /opt/haldo/bin/haldo_agent -x /run/authority \
-o '-ll3 -x -ld /var/log/haldo -ls 2' -w 10\""
login_found="$(log_line is_user_logged_in_locally D "'who -u' data: $who")
$(log_line is_user_logged_in_locally D 'user alice logged in locally :0')"
# The parent's line comes when it comes.
expect_equal "$(log_line init_logging I "success: level 4, file /$log")
$(log_line daemonize I 'sent signal 10 to parent process')
$(log_line main I "haldohostswd daemon version $version running")
$(log_line main I "haldohostswd daemon build id HEAD@$build_id")
$login_found
$(dumped_config DaemonLogLevel=4 HostSWOptions=-x)
$(configuration_read HostSWPath /opt/haldo/bin 7 DaemonLogLevel 4 3 HostSWOptions -x 6)
$(log_line filesize I "Logfile: /$log is =< 1 MB")
$(dumped_config DaemonLogLevel=4 HostSWOptions=-x)
$login_found
$(log_line get_xauthority D 'Trying XAUTHORITY.')
$(log_line get_xauthority D 'sleep 5 seconds')
$(log_line get_xauthority D /opt/haldo/bin/haldo_xauthority)
$(log_line get_xauthority D XAUTHORITY=/run/authority)
$(log_line get_xauthority D 'XAUTHORITY cookie is /run/authority')
$(log_line get_xauthority D Done.)
$(log_line main D 'user alice is logged in')
$(log_line run_cmd D ----)
$(log_line run_cmd D "Executing [$command]")
$(log_line run_cmd D ----)" "$(dateless "$log" | grep -v 'daemon_handler()')"

logout :0
agent_ends exit 0
wait_event 'agent root *'
: >"$log"
interrupt INT
wait_event 'exit 0'
# The agent's own words are in the log, too.
expect_equal "$(log_line run_cmd I 'Host SW Received signal: haldo daemon exiting.')
$(log_line kmp_driver_cfg_set D 'cursor event processing mode: Absolute')
$(log_line stop D start)
$(log_line hdc_close D 'VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay')
$(log_line hdc_close D 'VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay')
$(log_line stop D end)
$(log_line main I Terminated)
$(log_line '~cVESK_HALDO_LINK' D start)
$(log_line '~cVESK_HALDO_LINK' D end)
$(log_line '~cVESK_DEV' D start)
$(log_line '~cVESK_DEV' D end)
$(log_line '~cVESK_DEV' D start)
$(log_line '~cVESK_DEV' D end)" "$(dateless "$log" | grep '^d\[')"
