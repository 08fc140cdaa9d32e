# The library against a card that offers no variable: what is not offered is not requested.
# card: --readable-map 0 --writable-map 0
guest-link network >"$output"
expect_file "$output" <<END
$(log_line link_info_get E 'not supported')
link_info_get -511: 0 0 0 0 0 0 0 0
$(log_line ipv4_cfg_get E 'not supported')
ipv4_cfg_get -511: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
$(log_line conn_port_get E 'not supported')
conn_port_get -511: 0
$(log_line sess_stat_get E 'not supported')
sess_stat_get -511: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
$(log_line sess_stat_reset E 'not supported')
sess_stat_reset -511
$(log_line sess_stat_get E 'not supported')
sess_stat_get -511: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
$(log_line unicode_set E 'not supported')
unicode_set -511
local_info_get 0: 10002
wol_cfg_get_avail -511
wol_cfg_set_avail -511
$(log_line wol_cfg_get E 'not supported')
wol_cfg_get -511: flags 00, mac '', ip ''
$(log_line wol_cfg_set E 'not supported')
wol_cfg_set -511
$(log_line wol_cfg_get E 'not supported')
wol_cfg_get -511: flags 00, mac '', ip ''
END
expect_events <<END
$link_constructed
HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 01 00 00 00 00 00 00 00 -> 0
HDC release
HCC release
END
expect_no_more_events
