# The library against the card: keyboard, mouse and pointer.
start_card
chmod 666 "${nodes[@]}"
su alice -c "/opt/haldo/bin/guest-link kmp" >"$output"
expect_file "$output" <<END
start 0
hdc_open 0
$(log_line kmp_pri_ctxt_get I 'hoip_enable=1: local tablet mode supported by host and client')
lcur_lkbd_avail 0
lcur_shape_bmp_send_avail 0
lcur_spd_avail 0
lcur_idle_hide_avail 0
lkbd_client_auto_repeat_avail 0
hoip_avail 0
lcur_disable_avail 0
is_client_sc 0
init_bitmap_cache 0
flush_bitmap_cache 0
kmp_driver_cfg_set 0 1: 0
kmp_driver_cfg_set 1 1: 0
$(log_line kmp_driver_cfg_set E 'invalid input: type 1 setting 2')
kmp_driver_cfg_set 1 2: -501
kmp_pri_ctxt_reset 0
is_client_sc 0
hdc_close 0
END
expect_events <<END
$link_constructed
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0
HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 01 00 00 00 -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 01 00 00 00 01 00 00 00 -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release
END
expect_no_more_events
