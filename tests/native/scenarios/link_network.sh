# The library against the card: addresses, statistics and wake-on-LAN.
# card:
guest-link network >"$output"
expect_file "$output" <<END
link_info_get 0: 1 3E8 2 5DC 2000000 7 15180 3
ipv4_cfg_get 0: 1 C000020A FFFFFF00 C0000201 C0000202 C0000203 6 7 8 9 A B C D E F 10 11 12 13 14
conn_port_get 0: 5000
sess_stat_get 0: 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 75 76 77 78 79 7A 7B 7C 7D
sess_stat_reset 0
sess_stat_get 0: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
unicode_set 0
local_info_get 0: 10002
wol_cfg_get_avail 0
wol_cfg_set_avail 0
wol_cfg_get 0: flags 01, mac '02:00:00:00:00:01', ip '192.0.2.10'
wol_cfg_set 0
wol_cfg_get 0: flags 03, mac '02:00:00:00:00:FE', ip '192.0.2.254'
END
wol_cfg='03 00 00 00 30 32 3A 30 30 3A 30 30 3A 30 30 3A 30 30 3A 46 45 00 00 00'
wol_cfg+=' 31 39 32 2E 30 2E 32 2E 32 35 34 00'
expect_events <<END
$link_constructed
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 01 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 02 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 05 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 06 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 06 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 06 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 0C 00 00 00 02 00 00 00 (+244 zero) -> 0
HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 01 00 00 00 00 00 00 00 -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 08 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 08 00 00 00 $wol_cfg (+212 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 08 00 00 00 (+248 zero) -> 0
HDC release
HCC release
END
expect_no_more_events
