# The library against the card: layouts are read, and sent while a session is connected.
# card: --session 192.0.2.77
guest-link topology >"$output"
expect_file "$output" <<END
disp_topology_get 0
  1920 x 1080 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
async_disp_topology_get 0: num_disp 1, value 1
  1920 x 1080 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
cache_disp_topology_get 0: num_disp 1, primary 0
  1920 x 1080 @ (0, 0) rotation 0
    rate 60, vid 'VSK', pid '1080', serial 'SN-0000000001', name 'Haldo display'
  0 x 0 @ (0, 0) rotation 0
    rate 0, vid '', pid '', serial '', name ''
  0 x 0 @ (0, 0) rotation 0
    rate 0, vid '', pid '', serial '', name ''
  0 x 0 @ (0, 0) rotation 0
    rate 0, vid '', pid '', serial '', name ''
disp_topology_send 0
disp_topology_get 0
  1920 x 1080 @ (0, 0) rotation 0
  0 x 0 @ (0, 0) rotation 0
  1280 x 1024 @ (-1280, 56) rotation 4
  0 x 0 @ (0, 0) rotation 0
$(log_line disp_topology_send E 'invalid argument: 1920 X 1080')
disp_topology_send -501
sess_link_disc 0
disp_topology_send -500
END
# 1920 x 1080 @ (0, 0), nothing, 1280 x 1024 @ (-1280, 56): -1280 to 1919, 0 to 1079
displays='00 00 00 00 00 00 00 00 80 07 38 04 00 00 00 00'
displays+=' 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00'
displays+=' 00 FB FF FF 38 00 00 00 00 05 00 04 04 00 00 00'
driver='01 00 00 00 02 00 00 00 00 FB FF FF 7F 07 00 00 00 00 00 00 37 04 00 00'
driver+=' 80 0C 00 00 38 04 00 00 80 07 00 00 38 04 00 00 3D 00 00 00 B6 00 00 00'
driver+=' 01 00 00 00 00 00 00 00 00 00 00 00 7F 07 00 00 37 04 00 00 00 00 00 00'
driver+=' 00 00 00 00 98 99 00 00 FF FF 00 00 80 07 00 00 38 04 00 00 00 00 00 00'
driver+=' 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00'
driver+=' 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00'
driver+=' 01 00 00 00 00 FB FF FF 38 00 00 00 FF FF FF FF 37 04 00 00 9A 99 FF FF'
driver+=' 46 0D 00 00 FF FF FF FF FF FF 00 00 00 05 00 00 00 04 00 00 04 00 00 00'
expect_events <<END
$link_constructed
HCC 0x7840 HCC_IOCTL_IMG_DISP_TOPO_GET 00 00 00 00 (+68 zero) -> 0
HCC 0x7842 HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET 00 00 00 00 (+72 zero) -> 0
HCC 0x7843 HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET 10 00 00 00 (+268 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HCC 0x7841 HCC_IOCTL_IMG_DISP_TOPO_SEND 0C 00 00 00 00 00 00 00 $displays (+16 zero) -> 0
HCC 0x7910 HDC_IOCTL_KMP_DISP_TOPO_SET $driver (+48 zero) -> 0
HCC 0x7840 HCC_IOCTL_IMG_DISP_TOPO_GET 00 00 00 00 (+68 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 09 00 00 00 (+248 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HDC release
HCC release
END
expect_no_more_events
