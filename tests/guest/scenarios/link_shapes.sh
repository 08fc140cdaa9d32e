# The library against the card: cursor shapes, for a client that keeps three, of any length that passes the kernel.
words=$here/words
record=$here/record
start_card --context cur_shape_caches=3 --context cur_shape_cache_size=131052 --words "$words" --record "$record"
chmod 666 "${nodes[@]}"
su alice -c "/opt/haldo/bin/guest-link shapes" >"$output"
expect_file "$output" <<END
$(log_line kmp_pri_ctxt_get I 'hoip_enable=1: local tablet mode supported by host and client')
init_bitmap_cache 0
lcur_shape_bmp_send monochrome: 0
lcur_shape_bmp_send color: 0
lcur_shape_bmp_send alpha: 0
lcur_shape_bmp_send monochrome: 0
lcur_shape_bmp_send color: 0
lcur_shape_bmp_send alpha: 0
lcur_shape_bmp_send opaque: 0
lcur_shape_bmp_send monochrome: 0
$(log_line flip_bitmap E 'dest buffer too small, aborting copy: alw 4 xlw 8 h 2 bl 23')
$(log_line lcur_shape_bmp_send E 'HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-500)')
lcur_shape_bmp_send too short: -500
$(log_line synch_ioctl E 'ioctl 0x00007906 failed (rv=-1)')
$(log_line lcur_shape_bmp_send E 'HDC_IOCTL_KMP_CUR_SHAPE_BMP failed (ret=-500)')
lcur_shape_bmp_send too long: -500
lcur_shape_bmp_send longest: 0
lcur_shape_bmp_send longest: 0
END
# The rows come from the top, those of the AND plane first, which an opaque shape goes without; an alpha shape as it is.
monochrome='03 04 08 02 01 01 24 00 00 00 F3 F2 F1 F0 F7 F6 F5 F4 FB FA F9 F8 FF FE FD FC'
color='03 04 02 02 01 20 2C 00 00 00 FA F9 F8 F7 FE FD FC FB EE ED EC EB EA E9 E8 E7 F6 F5 F4 F3 F2 F1 F0 EF'
alpha='03 04 02 02 00 00 24 00 00 00 FD FC FB FA F9 F8 F7 F6 F5 F4 F3 F2 F1 F0 EF EE'
opaque='03 04 02 02 01 20 2C 00 00 00 2F 2E 2D 2C 2B 2A 29 28 37 36 35 34 33 32 31 30 00 00 00 00 00 00 00 00'
longest='03 04 01 01 00 00 00 00 02 00 01 00 00 00 (+131048 zero)'
expect_events <<END
$link_constructed
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 01 81 $monochrome -> 0
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 01 82 $color -> 0
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 80 $alpha -> 0
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 01 00 00 00 -> 0
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 02 00 00 00 -> 0
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 00 00 00 00 -> 0
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 81 $opaque -> 0
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 01 82 $monochrome -> 0
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 80 $longest -> 0
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 00 00 00 00 -> 0
HDC release
HCC release
END
expect_no_more_events

# What does not pass is told in words, and neither in the journal nor in the record.
expect_equal 1 "$(grep -c ENOMEM "$words")"
expect_equal 1 "$(grep -c ' HDC KMP_CUR_SHAPE_BMP length=131073 -> ENOMEM$' "$words")"
expect_equal "$(grep -c . "$words")" "$(($(grep -c '^H[CD]C 0x' "$journal") + 1))"
expect_equal "$(grep '^H[CD]C 0x' "$journal")" "$(grep -v '^>' "$record" | sed 's/ = .*//')"
