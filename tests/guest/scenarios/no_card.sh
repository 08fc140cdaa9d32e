# Without a card the daemon says what is missing and does its other work; with one node it uses that one.
configure
start_daemon
expect_status 0
expect_file "$output" <<END
$(log_line cVESK_HALDO_LINK E 'failed to initialize Haldo HCC device object (ret=-510)')
$(log_line cVESK_HALDO_LINK E 'failed to initialize Haldo HDC device object (ret=-510)')
$(log_line synch_ioctl E 'not m_initialized')
$(log_line hmi_avail_cmd_get E 'failed to get available HMI commands')
$(version_lines)
$(log_line filesize I "Logfile: /$log is =< 0 MB")
END
wait_event 'agent root *'
interrupt INT
wait_event 'exit 0'
expect_equal "$(log_line synch_ioctl E 'not m_initialized')
$(log_line kmp_driver_cfg_set E 'HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-503)')
$(log_line update_driver_cfg E 'failed to configure cursor mode 0 in driver')
$(log_line synch_ioctl E 'not m_initialized')
$(log_line hdc_close E 'VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-503)')
$(log_line synch_ioctl E 'not m_initialized')
$(log_line hdc_close E 'VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-503)')
$(log_line main I Terminated)" "$(dateless "$log" | tail -n 8)"

start_card
rm "${nodes[1]}"
: >"$output"
start_daemon
expect_status 0
expect_file "$output" <<END
$(log_line cVESK_HALDO_LINK E 'failed to initialize Haldo HDC device object (ret=-510)')
$(version_lines)
$(log_line filesize I "Logfile: /$log is =< 1 MB")
END
expect_events <<END
HCC open
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 00 00 00 00 (+248 zero) -> 0
END
