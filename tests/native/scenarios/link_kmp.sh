# The library against the card: keyboard, mouse and pointer.
# card:
guest-link kmp >"$output"
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
lcur_lkbd_enable 0
lcur_lkbd_dev_feat_stat_get 0: A0B0C01
lcur_lkbd_disable 0
lcur_lkbd_dev_feat_stat_get 0: A0B0C00
lcur_idle_hide_set 0
lcur_spd_get 0: 100
$(log_line lcur_spd_set E 'error setting speed equal to 9, must be >= 10 and <= 250')
lcur_spd_set 9: -501
lcur_spd_set 10: 0
lcur_spd_set 250: 0
$(log_line lcur_spd_set E 'error setting speed equal to 251, must be >= 10 and <= 250')
lcur_spd_set 251: -501
lcur_spd_get 0: 250
$(log_line synch_ioctl E 'ioctl 0x00007907 failed (rv=-1)')
$(log_line lcur_change_shape_send E 'HDC_IOCTL_KMP_CUR_SHAPE failed, index=15 (ret=-500)')
lcur_change_shape_send 15: -500
$(log_line lcur_change_shape_send E 'invalid argument, index>=16')
lcur_change_shape_send 16: -501
lcur_pointer_visibility_set 0
lcur_pointer_location_set 0
lcur_pointer_location_set_if_new 0
lkbd_repeat_rates_get 0: delay 500, interval 33
lkbd_repeat_rates_set 0
lkbd_repeat_rates_get 0: delay 250, interval 40
proc_new_hoip_tablets 0
send_hoip_host_ready 0
lcur_lkbd_last_stat_get 0: 1020304, count 5, HID devices 6, ack 7
kmp_pri_ctxt_reset 0
is_client_sc 0
$(log_line lcur_lkbd_enable E 'not supported')
lcur_lkbd_enable -511
$(log_line lcur_spd_get E 'not supported')
lcur_spd_get -511: 0
$(log_line lkbd_repeat_rates_get E 'not supported')
lkbd_repeat_rates_get -511: delay 0, interval 0
hdc_close 0
END
expect_events <<END
$link_constructed
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0
HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 01 00 00 00 -> 0
HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 01 00 00 00 01 00 00 00 -> 0
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 01 00 00 00 -> 0
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 00 00 00 00 -> 0
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x790A HDC_IOCTL_KMP_CUR_IDLE_HIDE 0D 00 0A 00 1E 00 00 00 -> 0
HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x790C HDC_IOCTL_KMP_CUR_SPD_SET 0F 00 0A 00 0A 00 00 00 -> 0
HDC 0x790C HDC_IOCTL_KMP_CUR_SPD_SET 0F 00 0A 00 FA 00 00 00 -> 0
HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 0F 00 00 00 -> ENOENT
HDC 0x7909 VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS 08 00 0A 00 04 03 02 01 01 00 00 00 -> 0
HDC 0x7908 VESK_HALDO_HDC_IOCTL_KMP_CUR_POS 05 00 0A 00 05 03 02 01 7F 07 37 04 -> 0
HDC 0x790F VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW 7E 07 36 04 -> 0
HDC 0x790E HDC_IOCTL_KMP_KBD_REPEAT_GET 00 00 00 00 00 00 00 00 00 00 00 00 -> 0
HDC 0x7904 HDC_IOCTL_KMP_KBD_REPEAT 06 00 0A 00 00 00 00 00 28 00 FA 00 -> 0
HDC 0x790E HDC_IOCTL_KMP_KBD_REPEAT_GET 00 00 00 00 00 00 00 00 00 00 00 00 -> 0
HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0
HDC 0x7913 HDC_IOCTL_KMP_HOIP_HOST_RDY -> 0
HDC 0x790D HDC_IOCTL_KMP_LAST_STAT_GET 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release
END
expect_no_more_events
