# The library against the card: what the firmware offers.
# card: --readable-map 0x2806 --writable-map 0x1510
guest-link offers >"$output"
expect_file "$output" <<END
is_ready 1
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
wol_cfg_get_avail -511
$(log_line synch_ioctl E 'ioctl 0x00007802 failed (rv=-1)')
$(log_line sess_tag_get E 'HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=-500)')
wol_cfg_set_avail 0
link_info_get_avail -511
sess_tag_set_avail -511
link_info_get_avail 0
sess_tag_set_avail -511
sess_tag_set_avail 0
link_info_get_avail 0
END
expect_events <<END
$link_constructed
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> EOPNOTSUPP
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 00 00 00 00 (+248 zero) -> 0
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 00 00 00 00 (+248 zero) -> 0
HDC release
HCC release
END
expect_no_more_events
