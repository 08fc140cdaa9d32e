# The cursor policy against a card whose path never opens: 20 attempts without a pause, and absolute reports.

# twenty_times TEXT: the text, so often.
twenty_times() {
    local i
    for i in {1..20}; do
        printf '%s\n' "$1"
    done
}

start_card --fail 0x7900=EBUSY --fail 0x7902
warden --program guest-policy -- guest-policy
expect_file "$output" <<END
$(log_line lcur_lkbd_disable E 'not supported')
user_session_end -1
$(log_line kmp_pri_ctxt_get I 'hoip_enable=1: local tablet mode supported by host and client')
$(twenty_times "$(log_line synch_ioctl E 'ioctl 0x00007900 failed (rv=-1)')
$(log_line hdc_open E 'VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(OPEN) failed (ret=-500)')
$(log_line enable_local_cursor_with_relative_reports E 'hdc_open() failed')")
enable_local_cursor_with_relative_reports 0
status A0B0C00
$(log_line synch_ioctl E 'ioctl 0x00007902 failed (rv=-1)')
$(log_line lcur_lkbd_disable E 'HDC_IOCTL_KMP_FEAT_EN failed (ret=-500)')
status A0B0C00
update_driver_cfg 1
$(log_line synch_ioctl E 'ioctl 0x00007902 failed (rv=-1)')
$(log_line lcur_lkbd_disable E 'HDC_IOCTL_KMP_FEAT_EN failed (ret=-500)')
user_session_end -1
END
expect_events <<END
$link_constructed
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
$(twenty_times 'HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0
HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> EBUSY
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0')
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 00 00 00 00 -> EIO
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 00 00 00 00 -> EIO
HDC release
HCC release
END
expect_no_more_events
