# The library against the card, for the operations that the daemon has no use for.
start_card --readable-map 0x2806 --writable-map 0x1410
chmod 666 "${nodes[@]}"
su alice -c /opt/haldo/bin/guest-link >"$output"
expect_file "$output" <<END
is_ready 1
hdc_open 0
$(log_line kmp_pri_ctxt_get I 'hoip_enable=1: local tablet mode supported by host and client')
link_info_get_avail 0
ipv4_cfg_get_avail 0
sess_link_get_avail -511
sess_link_disc_avail -511
sess_link_disc_with_reason_avail -511
sess_tag_set_avail 0
sess_tag_version_1_key_scramble_feature_avail 0
conn_port_get_avail -511
sess_stat_get_avail -511
sess_stat_reset_avail -511
cached_topo_get_avail 0
cached_topo_set_avail -511
unicode_set_avail 0
img_user_ext_cfg_get_avail 0
img_user_ext_cfg_set_avail -511
lcur_lkbd_avail 0
lcur_shape_bmp_send_avail 0
lcur_spd_avail 0
lcur_idle_hide_avail 0
lkbd_client_auto_repeat_avail 0
hoip_avail 0
lcur_disable_avail 0
is_client_sc 0
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
HDC release
HCC release
END
expect_no_more_events
