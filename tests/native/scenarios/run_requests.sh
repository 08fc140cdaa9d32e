# haldo-cardsim run: requests of programs that nobody here wrote, whatever they ask and however long it is.
# card: --words $here/words --session 192.0.2.77
python3 - <<'END'
import fcntl

with open("/dev/haldo_host0") as node:
    record = bytearray(252)
    record[0] = 3
    assert fcntl.ioctl(node, 0x7802, record) == 0
    assert b"192.0.2.77\0" in record, record
END
expect_events <<END
HCC open
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0
HCC release
END

# A program that loads no library
native-static /dev/haldo_host0 >"$output"
expect_file "$output" <<<'0, errno 0, first byte 7'
expect_events <<END
HCC open
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HCC release
END
native-static /dev/null >"$output"
expect_file "$output" <<<'-1, errno 25, first byte 0'

# What is unknown, what belongs to the other node, what is none of the card's, and what leads nowhere
python3 - <<'END'
import mmap
import os

import haldo

hcc = os.open("/dev/haldo_host0", os.O_RDWR)
hdc = os.open("/dev/haldo_host1", os.O_RDWR)
assert haldo.request(hcc, 0x7999) == "ENOTTY"
assert haldo.request(hdc, 0x7999, 8) == "ENOTTY"
assert haldo.request(hdc, 0x7801, bytearray(32)) == "ENOTTY"
assert haldo.request(hcc, 0x7903, bytearray(8)) == "ENOTTY"
assert haldo.request(os.open("/dev/null", os.O_RDWR), 0x7801, bytearray(32)) == "ENOTTY"
assert haldo.request(99, 0x7801, bytearray(32)) == "EBADF"
assert haldo.request(hcc, 0x7801, 8) == "EFAULT"
assert haldo.request(hcc, 0x7801) == "EFAULT"
assert haldo.request(hdc, 0x7906, 8) == "EFAULT"
# A reply that cannot be written has reached the card.
haldo.libc.mmap.restype = haldo.ctypes.c_void_p
read_only = haldo.libc.mmap(None, haldo.ctypes.c_size_t(4096), mmap.PROT_READ, mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS, -1,
                            haldo.ctypes.c_long(0))
assert haldo.request(hcc, 0x7801, read_only) == "EFAULT"
assert haldo.request(hdc, 0x7912) == 0
END
expect_events <<END
HCC open
HDC open
HCC 0x7999 unknown -> ENOTTY
HDC 0x7999 unknown -> ENOTTY
HDC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> ENOTTY
HCC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> ENOTTY
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0
END
wait_event 'H?C release'
wait_event 'H?C release'

# Records above what CUSE carries, up to 1 MiB; a longer one is told in words only.
haldo-cardsim ctl set context.cur_shape_max_size_x=255
haldo-cardsim ctl set context.cur_shape_max_size_y=255
haldo-cardsim ctl fail KMP_CUR_SHAPE_BMP EBUSY 2
python3 - >"$here/expected" <<'END'
import haldo

with open("/dev/haldo_host1") as node:
    largest = haldo.shape(255, 255)
    assert len(largest) == 260120
    assert haldo.request(node.fileno(), 0x7906, largest) == 0
    longest = haldo.shape(1, 1, 1024 * 1024) + bytes(1024 * 1024 - 24)
    assert haldo.request(node.fileno(), 0x7906, longest) == "EBUSY"
    assert haldo.request(node.fileno(), 0x7906, haldo.shape(1, 1, 1024 * 1024 + 1)) == "ENOMEM"
print("HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP", largest.hex(" ").upper(), "-> 0")
END
wait_event 'HDC open'
expect_events <"$here/expected"
expect_events <<END
HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 00 01 02 01 01 00 00 00 00 10 00 01 02 03 04 \
(+1048552 zero) -> EBUSY
HDC release
END
expect_no_more_events
expect_equal 1 "$(grep -c ' HDC KMP_CUR_SHAPE_BMP length=1048577 -> ENOMEM$' "$here/words")"

# Calls that make files make none there, and a descriptor that is none leads nowhere.
python3 - <<'END'
import haldo

assert haldo.result_of(haldo.libc.openat, 99, b"dev/haldo_host0", 2) == "EBADF"
assert haldo.result_of(haldo.libc.creat, b"/dev/haldo_host0", 0o600) >= 0
END
expect_events <<END
HCC open
HCC release
END
