# haldo-cardsim run: the nodes as programs see them that ask for a file by its name.
# card:
[ -e "${nodes[0]}" ] && [ -c "${nodes[0]}" ] && [ -r "${nodes[0]}" ] && [ -w "${nodes[0]}" ] && [ ! -x "${nodes[0]}" ]
[ ! -f "${nodes[1]}" ] && [ ! -d "${nodes[1]}" ] && [ ! -b "${nodes[1]}" ] && [ ! -L "${nodes[1]}" ] && [ ! -s "${nodes[1]}" ]
expect_equal "character special file 600 $(id -u) $(id -g) f0 0 1" "$(stat -c '%F %a %u %g %t %T %h' "${nodes[0]}")"
expect_equal "character special file 600 $(id -u) $(id -g) f0 1 1" "$(stat -c '%F %a %u %g %t %T %h' "${nodes[1]}")"
expect_equal "$(stat -c '%F %a %u %g %t %T %h' "${nodes[0]}")" "$(stat -L -c '%F %a %u %g %t %T %h' "${nodes[0]}")"
expect_equal "/dev/haldo_host0" "$(ls /dev/haldo_host0)"
expect_absent /dev/haldo_host2 /dev/haldo_host /dev/haldo_host00 /dev/other/../haldo_host3 /tmp/haldo_host0
expect_no_more_events

# By whatever name
cd /dev || exit
for path in haldo_host0 ./haldo_host0 ../dev/haldo_host0 //dev//haldo_host0 /dev/./haldo_host0 /dev/../dev/haldo_host0; do
    [ -c "$path" ] || fail "$path is no node"
    : <>"$path"
    expect_events <<END
HCC open
HCC release
END
done
cd / || exit
expect_absent haldo_host0 ./haldo_host0
[ -c dev/haldo_host1 ]

# A shell's redirections, each way; reading finds the end, what is written is lost.
exec 3</dev/haldo_host0 4>/dev/haldo_host1 5<>/dev/haldo_host1 6>>/dev/haldo_host0
expect_events <<END
HCC open
HDC open
HDC open
HCC open
END
expect_equal '' "$(cat <&3)"
echo lost >&4
echo lost >&5
head -c 300000 /dev/zero >&6
expect_equal '' "$(cat <&5)"
exec 5<&-
expect_events <<<'HDC release'
exec 3<&-
expect_events <<<'HCC release'
exec 6<&-
exec 4<&-
expect_events <<END
HCC release
HDC release
END
expect_equal '0+0 records in
0+0 records out' "$(dd if=/dev/haldo_host0 of=/dev/haldo_host1 2>&1 | grep records)"
expect_events <<END
HCC open
HDC open
HCC release
HDC release
END
expect_equal 5 "$(echo text | tee /dev/haldo_host1 | wc -c)"
expect_events <<END
HDC open
HDC release
END

python3 - <<'END'
import os
import stat

import haldo

NODE = "/dev/haldo_host0"


def errno_of(call, *arguments, **named):
    try:
        call(*arguments, **named)
    except OSError as error:
        return haldo.errno.errorcode[error.errno]
    return None


assert errno_of(os.open, NODE, os.O_RDWR | os.O_CREAT | os.O_EXCL) == "EEXIST"
assert errno_of(os.open, NODE, os.O_DIRECTORY) == "ENOTDIR"
os.close(os.open(NODE, os.O_RDWR | os.O_CREAT))
directory = os.open("/dev", os.O_DIRECTORY)
node = os.open("haldo_host0", os.O_RDWR | os.O_NONBLOCK, dir_fd=directory)
assert os.get_blocking(node) is False and os.get_inheritable(node) is False
assert os.stat("haldo_host1", dir_fd=directory).st_rdev == os.makedev(240, 1)
assert os.lstat(NODE).st_mode == stat.S_IFCHR | 0o600
assert os.access("haldo_host0", os.R_OK | os.W_OK, dir_fd=directory) and not os.access(NODE, os.X_OK)
assert errno_of(os.open, "haldo_host1", os.O_RDWR, dir_fd=node) is not None  # below what is no directory
assert errno_of(os.stat, NODE + "/x") is not None

# The calls themselves, where their arguments lead nowhere
libc, NOWHERE = haldo.libc, haldo.ctypes.c_void_p(8)
assert haldo.result_of(libc.open, NOWHERE, os.O_RDWR) == "EFAULT"
assert haldo.result_of(libc.stat, NODE.encode(), NOWHERE) == "EFAULT"
descriptor = libc.open(NODE.encode(), os.O_RDWR)
assert os.get_inheritable(descriptor) is True
END
