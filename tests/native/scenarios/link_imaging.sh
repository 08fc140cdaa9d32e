# The library against the card: the user's imaging preference.
# card:
guest-link imaging >"$output"
expect_file "$output" <<END
img_user_cfg_set 100: 0
img_user_cfg_cache_set 100: 0
$(log_line img_user_cfg_set E 'invalid argument')
img_user_cfg_set 101: -501
$(log_line img_user_cfg_cache_set E 'invalid argument')
img_user_cfg_cache_set 101: -501
img_user_cfg_req_get 0: qual 80, b2l 30
END
expect_events <<END
$link_constructed
HCC 0x7845 HCC_IOCTL_IMG_USER_CFG_SET 16 00 00 00 00 00 00 00 64 00 00 00 00 00 00 00 -> 0
HCC 0x7847 HCC_IOCTL_IMG_USER_CFG_CACHE_SET 18 00 00 00 00 00 00 00 64 00 00 00 -> 0
HCC 0x7846 HCC_IOCTL_IMG_USER_CFG_REQ_GET 17 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 -> 0
HDC release
HCC release
END
expect_no_more_events
