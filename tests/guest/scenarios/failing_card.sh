# A card that refuses requests: each refusal leaves its lines, and the shutdown goes on in its order.
configure
start_card --fail 0x7802 --fail 0x7911=EINVAL --fail 0x7821
start_daemon
expect_status 0
expect_file "$output" <<END
$(log_line synch_ioctl E 'ioctl 0x00007802 failed (rv=-1)')
$(log_line hmi_avail_get_var_get E 'VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed')
$(version_lines)
$(log_line filesize I "Logfile: /$log is =< 0 MB")
END
wait_event 'agent root *'
interrupt INT
expect_events <<END
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> EINVAL
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> EIO
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release
exit 0
END
expect_equal "$(log_line synch_ioctl E 'ioctl 0x00007911 failed (rv=-1)')
$(log_line kmp_driver_cfg_set E 'HDC_IOCTL_KMP_DRIVER_CFG_SET type 0 failed (ret=-500)')
$(log_line update_driver_cfg E 'failed to configure cursor mode 0 in driver')
$(log_line synch_ioctl E 'ioctl 0x00007821 failed (rv=-1)')
$(log_line hdc_close E 'VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL failed (ret=-500)')
$(log_line hdc_close E 'VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE failed (ret=-500)')
$(log_line main I Terminated)" "$(dateless "$log" | tail -n 7)"
