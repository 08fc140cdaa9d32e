# The library against the card: a session is found, described and ended.
# card: --session 192.0.2.77
guest-link session >"$output"
expect_file "$output" <<END
sess_link_get 0: flags 01, trans_cnt 1, ip '192.0.2.77'
$(log_line kmp_pri_ctxt_get I 'hoip_enable=1: local tablet mode supported by host and client')
link_heartbeat 1: flags 01, trans_cnt 1, ip '192.0.2.77'
lcur_lkbd_avail 0
link_heartbeat 0: flags 01, trans_cnt 1, ip '192.0.2.77'
lcur_lkbd_avail 0
host_sess_state_set 8: 0
$(log_line host_sess_state_set E 'Invalid host state=9')
host_sess_state_set 9: -511
host_sess_state_get 0: 8
sess_tag_get 0: flags 00, tag 'desk 1'
is_sess_view_brokered 0
sess_tag_set 0
sess_tag_get 0: flags 01, tag 'desk 2'
is_sess_view_brokered 1
$(log_line wol_cfg_get E 'not supported')
wol_cfg_get -511: flags 00, mac '', ip ''
sess_link_disc 0
link_heartbeat 1: flags 00, trans_cnt 2, ip ''
lcur_lkbd_avail -511
link_heartbeat 0: flags 00, trans_cnt 2, ip ''
lcur_lkbd_avail -511
END
expect_events <<END
$link_constructed
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HCC 0x7805 HCC_IOCTL_HMI_LOCAL_VAR_SET 00 00 00 00 08 00 00 00 -> 0
HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 00 00 00 00 00 00 00 00 -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 04 00 00 00 01 00 00 00 64 65 73 6B 20 32 00 00 (+236 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 09 00 00 00 05 00 00 00 (+244 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HDC release
HCC release
END
expect_no_more_events
