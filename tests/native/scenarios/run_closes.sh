# haldo-cardsim run: an open of a node ends with the last descriptor of it, whoever holds that, and in order.
# card:
python3 - <<'END'
import os

HCC, HDC = "/dev/haldo_host0", "/dev/haldo_host1"
# Closed as soon as opened, in either order
for _ in range(20):
    first, second = os.open(HCC, os.O_RDWR), os.open(HDC, os.O_RDWR)
    os.close(second)
    os.close(first)
    first, second = os.open(HCC, os.O_RDWR), os.open(HDC, os.O_RDWR)
    os.close(first)
    os.close(second)
END
for ((i = 0; i < 20; ++i)); do
    expect_events <<END
HCC open
HDC open
HDC release
HCC release
HCC open
HDC open
HCC release
HDC release
END
done

# Duplicated under another number, and the first closed: requests go on. What other programs inherit holds it open.
exec 3<>"${nodes[0]}"
exec 5<&3 3<&-
expect_events <<<'HCC open'
sleep 600 &
holder=$!
exec 5<&-
bash -c 'python3 -c "import haldo; haldo.request(3, 0x7912)"; exec 3>&-; : <"$0"' "${nodes[1]}" 3<>"${nodes[1]}"
expect_events <<END
HDC open
HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0
HDC release
HDC open
HDC release
END
expect_no_more_events
kill -KILL "$holder"
expect_events <<<'HCC release'
wait "$holder" || true

# A forked process asks through what it inherited while its parent has closed it; what is exec'd does without O_CLOEXEC.
python3 - <<'END'
import os

import haldo

node = os.open("/dev/haldo_host0", os.O_RDWR)
closed, go = os.pipe()
if os.fork() == 0:
    os.read(closed, 1)
    assert haldo.request(node, 0x7801, bytearray(32)) == 0
    kept = os.open("/dev/haldo_host1", os.O_RDWR)
    os.set_inheritable(kept, True)
    program = "import fcntl, sys; fcntl.ioctl(int(sys.argv[1]), 0x7912, 0)"
    os.execlp("python3", "python3", "-c", program, str(kept))
os.close(node)
os.write(go, b".")
_, status = os.wait()
assert status == 0
END
expect_events <<END
HCC open
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HDC open
HCC release
HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0
HDC release
END

# Through a socket to a program that never opened it
python3 - <<'END'
import os
import socket

import haldo

ours, theirs = socket.socketpair()
if os.fork() == 0:
    ours.close()
    _, descriptors, _, _ = socket.recv_fds(theirs, 1, 1)
    assert haldo.request(descriptors[0], 0x7913) == 0
    os._exit(0)
node = os.open("/dev/haldo_host1", os.O_RDWR)
socket.send_fds(ours, [b"."], [node])
os.close(node)
assert os.wait()[1] == 0
END
expect_events <<END
HDC open
HDC 0x7913 HDC_IOCTL_KMP_HOIP_HOST_RDY -> 0
HDC release
END
expect_no_more_events
