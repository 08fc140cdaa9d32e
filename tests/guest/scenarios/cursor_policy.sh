# The cursor policy against the card, before the client's context is known and then: a session that ends takes the local
# cursor from a client with idle hide, and leaves it with relative reports to one without.
enabled='HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0
HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0
sleep 2
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 01 00 00 00 -> 0
HDC 0x7909 VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS 08 00 0A 00 00 00 00 00 00 00 00 00 -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 01 00 00 00 -> 0'
disabled='HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 00 00 00 00 -> 0'

# expect_policy IDLE_HIDE EVENTS: the client's, and what the end of its session leads to.
expect_policy() {
    start_card --context cur_shape_fadeout_enable="$1"
    : >/tmp/haldohostsw.pid
    : >"$output"
    warden --program guest-policy -- guest-policy
    expect_file "$output" <<END
$(log_line lcur_lkbd_disable E 'not supported')
user_session_end 0
$(log_line kmp_pri_ctxt_get I 'hoip_enable=1: local tablet mode supported by host and client')
enable_local_cursor_with_relative_reports 1
status A0B0C01
status A0B0C00
update_driver_cfg 1
user_session_end -1
END
    expect_absent /tmp/haldohostsw.pid
    expect_events <<END
$link_constructed
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
$enabled
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
$disabled
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> 0
$2
HDC release
HCC release
END
    expect_no_more_events
    kill %haldo-cardsim
    wait %haldo-cardsim
}

expect_policy 1 "$disabled"
expect_policy 0 "$enabled"
