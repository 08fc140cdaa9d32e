# haldoctl cursor shape and slot against the card: PNG files as bitmaps, byte for byte.
# card:
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

cd "$here" || exit
# 2x2 px: a blue that is not there, and white; red, and a green that is half there.
base64 -d >small.png <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAYAAABytg0kAAAAFUlEQVR42mNgYPjP8B8IgBSIxdAAAE1FCHmykEBGAAAAAElFTkSuQmCC
# White, 65x1, 256x1, 1x127 and 1x128 px.
base64 -d >65.png <<<iVBORw0KGgoAAAANSUhEUgAAAEEAAAABCAYAAACBr8MpAAAADUlEQVR42mP4Pwr+AwAONwMM79u75QAAAABJRU5ErkJggg==
base64 -d >256.png <<<iVBORw0KGgoAAAANSUhEUgAAAQAAAAABCAYAAAAxWXB3AAAAEUlEQVR42mP4PwpGwSgYsQAAeaf8LkcVgn0AAAAASUVORK5CYII=
base64 -d >1x127.png <<<iVBORw0KGgoAAAANSUhEUgAAAAEAAAB/CAYAAAAuPag4AAAAEklEQVR42mP4DwQMo8QoQXcCALsu+hR4IOaKAAAAAElFTkSuQmCC
base64 -d >1x128.png <<<iVBORw0KGgoAAAANSUhEUgAAAAEAAACACAYAAADK+QP0AAAAEklEQVR42mP4DwQMo8QoMTAEAKfT/hBHV9ZJAAAAAElFTkSuQmCC
# 6x1 px, each second one just bright enough: grey, red with green, blue with green.
base64 -d >bright.png <<<iVBORw0KGgoAAAANSUhEUgAAAAYAAAABCAIAAAByq0inAAAAG0lEQVR42mOor69vaGj4H87wP4KBYfl/hhX/AVNWCPg190SOAAAAAElFTkSuQmCC
base64 -w 0 small.png | head -c 60 | base64 -d >cut.png

context='HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0'
sent='HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00'

# A shape that the client has is selected; each program starts with a cache of its own.
golden cursor_shape 0 cursor shape small.png 65.png small.png --any-size --arg1 3 --arg2 0xFF
wait_event "$context"
expect_events <<END
$sent 00 81 03 FF 02 02 00 00 24 00 00 00 FF 00 00 00 FF FF FF FF 00 00 FF FF 00 FF 00 80 -> 0
END
wait_event "$sent 00 82 03 FF 41 01 00 00 18 01 00 00 FF FF FF *"
expect_events <<END
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 01 00 00 00 -> 0
HDC release
HCC release
END
golden cursor_shape_color 0 cursor shape --color small.png
sends <<END
$context
$sent 01 81 00 00 02 02 01 20 2C 00 00 00 80 00 00 00 00 00 00 00 00 00 00 00 FF FF FF FF 00 00 FF FF 00 FF 00 FF -> 0
END
golden cursor_shape_mono 0 cursor shape --mono small.png
sends <<END
$context
$sent 01 81 00 00 02 02 01 01 24 00 00 00 80 00 00 00 00 00 00 00 40 00 00 00 40 00 00 00 -> 0
END
ctl 0 cursor shape --mono bright.png
sends <<END
$context
$sent 00 81 00 00 06 01 01 01 1C 00 00 00 54 00 00 00 00 00 00 00 -> 0
END
prints cursor shape small.png <<END
shapes.0.file       small.png
shapes.0.type       ALPHA
shapes.0.width      2
shapes.0.height     2
shapes.0.xor_depth  0
shapes.0.length     16
shapes.0.cached     no
END
wait_event 'HCC release'

golden cursor_slot 0 cursor slot 1
sends <<END
$context
HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 01 00 00 00 -> 0
END
golden cursor_slot_empty 1 cursor slot 15
golden cursor_slot_missing 3 cursor slot 16
golden cursor_shape_too_large 3 cursor shape 65.png
ctl 0 cursor shape --mono --any-size 1x127.png
wait_event "$sent 00 81 00 00 01 7F 01 01 *"

# What is no file, or none that a shape can be made of, is found before there is a link.
read_events
golden cursor_shape_no_file 1 cursor shape small.png none.png
golden cursor_shape_no_png 1 cursor shape cut.png
wait_event 'HCC release'
golden cursor_shape_256 1 cursor shape --any-size 256.png
golden cursor_shape_mono_128 1 cursor shape --any-size --mono 1x128.png
expect_no_more_events
