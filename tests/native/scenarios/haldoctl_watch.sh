# haldoctl session watch and kmp open --hold: what they do until they are interrupted, and that they do nothing else.
# card: --session 192.0.2.77
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

look='HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0'
context='HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0'

# ended SIGNAL PROCESS
ended() {
    status=0
    kill "-$1" "$2"
    wait "$2" || status=$?
    expect_equal 0 "$status"
}

env --default-signal=INT haldoctl session watch --period 3600 >"$results" &
watcher=$!
wait_line "$results" 'connected yes  peer 192.0.2.77  transitions 1  flags 1'
ended INT $watcher
sends <<END
$look
$look
$context
END

# Two whole periods, which the program's start and the way to the journal can only make longer.
uptime_cs() {
    local uptime
    read -r uptime _ </proc/uptime
    echo "${uptime/./}"
}
start=$(uptime_cs)
haldoctl session watch --period 0.5 >"$results" &
watcher=$!
wait_event "$context"
wait_event "$look"
wait_event "$look"
((10#$(uptime_cs) - 10#$start >= 90)) || fail "from $start to $(uptime_cs) hundredths of a second for two periods of 0.5 s"
ended TERM $watcher

env --default-signal=INT haldoctl session watch --period 0.05 >"$results" &
watcher=$!
wait_line "$results" 'connected yes *'
wait_event "$context"
wait_event "$look"
haldoctl session disconnect >/dev/null
wait_line "$results" 'connected no *'
ended TERM $watcher
expect_equal 'connected yes  peer 192.0.2.77  transitions 1  flags 1
connected no  peer -  transitions 2  flags 0' "$(cat "$results")"

golden session_watch 0 session watch --count 1 --period 3600
ctl 0 session watch --count 1
expect_equal 'connected no  peer -  transitions 2  flags 0' "$(cat "$results")"
status=0
haldoctl session watch --period 3600 >/dev/full 2>"$messages" || status=$?
expect_equal '1 haldoctl: standard output: No space left on device' "$status $(cat "$messages")"

read_events
((seen += ${#events[@]}))
env --default-signal=INT haldoctl kmp open --hold >"$results" &
holder=$!
wait_line "$results" 'open yes'
expect_events <<END
$link_constructed
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0
HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0
END
expect_no_more_events
ended INT $holder
expect_events <<END
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release
END
expect_no_more_events
