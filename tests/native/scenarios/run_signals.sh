# haldo-cardsim run: a request that waits is interrupted by signals as one that waits in a driver is; signals to the card
# reach the program.
# card: --words $here/words
asked='HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0'

# waits WORD : a program whose first request waits; it handles SIGUSR1, with SA_RESTART where the word is "restart"
waits() {
    haldo-cardsim ctl delay HMI_AVAIL_CMD 3600000 1
    python3 - "$1" >"$output" <<'END' &
import os
import signal
import sys

import haldo

signal.signal(signal.SIGUSR1, lambda *_: None)
signal.siginterrupt(signal.SIGUSR1, sys.argv[1] != "restart")
node = os.open("/dev/haldo_host0", os.O_RDWR)
record = bytearray(32)
print(haldo.request(node, 0x7801, record), record[0])
print(haldo.request(node, 0x7801, record), record[0])
END
    waiting=$!
    expect_events <<END
HCC open
$asked
END
}

# With a handler the request ends, and the next is answered.
waits interrupt
kill -USR1 "$waiting"
wait "$waiting"
expect_file "$output" <<END
EINTR 0
0 7
END
expect_events <<END
$asked
HCC release
END

# With a handler after which calls are issued again it is.
waits restart
kill -USR1 "$waiting"
wait "$waiting"
expect_file "$output" <<END
0 7
0 7
END
expect_events <<END
$asked
${asked/ 00/ 07}
HCC release
END

# One that is stopped issues its request again when it goes on; killed it is gone, its descriptors with it, and the card
# serves others.
waits interrupt
haldo-cardsim ctl delay HMI_AVAIL_CMD 3600000 1
kill -STOP "$waiting"
wait_until grep -q '^State:.T' "/proc/$waiting/status"
kill -CONT "$waiting"
expect_events <<<"$asked"
kill -KILL "$waiting"
status=0
wait "$waiting" || status=$?
expect_status 137
expect_events <<<'HCC release'
native-static "${nodes[0]}" >"$output"
expect_file "$output" <<<'0, errno 0, first byte 7'
