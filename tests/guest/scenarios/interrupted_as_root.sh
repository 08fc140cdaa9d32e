# The agent of the login screen, interrupted or quit, ends the daemon in order; killed or failing it is started again.
configure
start_card
start_daemon
expect_status 0
wait_event 'agent root *'
for end in 'exit 3' 'kill -KILL' 'kill -TERM' 'kill -INT'; do
    agent_ends "$end" # of the agent alone: the shell that the daemon waits for does not end by it
    wait_event 'agent root *'
done
for signal in INT QUIT; do
    interrupt $signal
    expect_events <<END
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release
exit 0
END
    expect_equal "$(log_line run_cmd I 'Host SW Received signal: haldo daemon exiting.')
$(log_line main I Terminated)" "$(dateless "$log" | tail -n 2)"
    if [ $signal = INT ]; then
        start_daemon
        wait_event 'agent root *'
    fi
done
