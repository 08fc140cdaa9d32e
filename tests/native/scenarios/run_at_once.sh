# haldo-cardsim run: processes and threads ask at once, and one that waits for its reply holds up nobody.
# card:
python3 - <<'END'
import os
import threading

import haldo

PROCESSES, THREADS, REQUESTS = 4, 4, 50


def ask():
    node = os.open("/dev/haldo_host0", os.O_RDWR)
    for _ in range(REQUESTS):
        record = bytearray(32)
        assert haldo.request(node, 0x7801, record) == 0 and record[0] == 7
    os.close(node)


for _ in range(PROCESSES):
    if os.fork() == 0:
        results = []
        threads = [threading.Thread(target=lambda: results.append(ask())) for _ in range(THREADS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        os._exit(len(results) != THREADS)
assert [os.wait()[1] for _ in range(PROCESSES)] == [0] * PROCESSES
END
times() { grep -cx "$1" "$journal" || true; }
all_are_closed() { [ "$(times 'HCC release')" = 16 ]; }
wait_until all_are_closed
expect_equal '16 800' "$(times 'HCC open') $(times 'HCC 0x7801 .* -> 0')"
seen=$(wc -l <"$journal")

# One process waits, and so does one of two threads of another that share the descriptor.
haldo-cardsim ctl delay HMI_AVAIL_CMD 3600000 1
native-static "${nodes[0]}" >"$here/late" &
late=$!
wait_event 'HCC 0x7801 *'
haldo-cardsim ctl delay KMP_HOIP_PROC_NEW_TAB 3600000 1
python3 - <<'END'
import os
import threading

import haldo

node = os.open("/dev/haldo_host1", os.O_RDWR)
threading.Thread(target=haldo.request, args=(node, 0x7912), daemon=True).start()
while '"KMP_HOIP_PROC_NEW_TAB": 1' not in os.popen("haldo-cardsim ctl state").read():
    pass
assert haldo.request(node, 0x7913) == 0
os._exit(0)
END
haldoctl imaging show >"$output"
wait_line "$output" 'quality  80'
expect_present "/proc/$late"
expect_equal '' "$(cat "$here/late")"
kill -KILL "$late"
wait "$late" || true

# A reply that is delayed comes with its contents, and not before its time.
haldo-cardsim ctl delay HMI_AVAIL_CMD 300
milliseconds() { date +%s%3N; }
start=$(milliseconds)
native-static "${nodes[0]}" >"$output"
(($(milliseconds) - start >= 300)) || fail "a reply before its time"
expect_file "$output" <<<'0, errno 0, first byte 7'
