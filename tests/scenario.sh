# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154 # scenarios use what looks unused, the lib.sh of a room sets what looks unset
# What every scenario is written with, the guest's and the native ones; guest/README.md lists the functions. Sourced by
# the lib.sh of either room, with $here, a folder of the scenario's own, which gets a FIFO "never" that nobody writes to.

set -eEu -o pipefail
trap 'fail "\"$BASH_COMMAND\" ended with status $?"' ERR

journal=$here/journal
output=$here/output
nodes=(/dev/haldo_host0 /dev/haldo_host1)
limit=60 # seconds; the longest that anything is waited for
# What the card sees of a link that is constructed, and of an orderly shutdown.
link_constructed='HCC open
HDC open
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 00 00 00 00 (+248 zero) -> 0'
link_shut_down='HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release'
seen=0 # events that expectations have taken
status=

# Failing

# Ends the scenario; the line named is the scenario's own.
fail() {
    local i
    trap - ERR
    for i in "${!BASH_SOURCE[@]}"; do
        if [[ ${BASH_SOURCE[i]} == */scenarios/* && ${BASH_SOURCE[i]} != */lib.sh ]]; then
            echo "line ${BASH_LINENO[i - 1]}: $1"
            break
        fi
    done
    exit 1
}

differs() {
    trap - ERR # diff's status is no surprise
    fail "$1
$(diff -u --label expected --label actual <(printf '%s\n' "$2") <(printf '%s\n' "$3") | tail -n +3)"
}

wait_until() {
    local end=$((SECONDS + limit))
    until "$@"; do
        if ((SECONDS >= end)); then
            return 1
        fi
        read -rt 0.05 <>"$here/never" || true # a sleep would be a process, which costs a guest more than the look
    done
}

# Events: the lines of the journal. When the starting process sets its alarm is no matter of order.

read_events() {
    local line
    events=()
    while IFS= read -r line; do
        if [[ $line != 'skip alarm '* ]]; then
            events+=("$line")
        fi
    done <"$journal"
    events=("${events[@]:seen}")
}

find_event() {
    local i
    read_events
    for i in "${!events[@]}"; do
        # shellcheck disable=SC2053 # a pattern
        if [[ ${events[i]} == $1 ]]; then
            ((seen += i + 1))
            return
        fi
    done
    return 1
}

wait_event() {
    wait_until find_event "$1" || differs "the event did not come" "$1" "$(printf '%s\n' "${events[@]}")"
}

# True as soon as the events cannot get any more or any less like the expected ones.
events_are_decided() {
    local i
    read_events
    for ((i = 0; i < ${#expected[@]}; ++i)); do
        if ((i >= ${#events[@]})); then
            return 1
        fi
        if [[ ${events[i]} != "${expected[i]}" ]]; then
            return 0
        fi
    done
}

expect_events() {
    local expected
    mapfile -t expected
    wait_until events_are_decided || true
    events=("${events[@]:0:${#expected[@]}}")
    if [[ "${events[*]}" != "${expected[*]}" ]]; then
        differs "other events" "$(printf '%s\n' "${expected[@]}")" "$(printf '%s\n' "${events[@]}")"
    fi
    ((seen += ${#expected[@]})) || true
}

expect_no_more_events() {
    read_events
    if ((${#events[@]} != 0)); then
        fail "unexpected events:
$(printf '%s\n' "${events[@]}")"
    fi
}

# Logged lines, by the name of the writing function, the level's letter and the text

log_line() { printf 'd[%s] %36s | %s\n' "$2" "$1" "$3"; }

# Only a whole date is taken away, so a line without it or with another one is found by no expectation.
date='[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} '

dateless() {
    if [ -e "$1" ]; then
        sed -E "s|^${date}d\\[|d[|" "$1"
    fi
}

is_logged() { grep -qsxP -- "$date\\Q$1\\E" "$2"; }

expect_log() {
    local line
    line=$(log_line "$1" "$2" "$3")
    wait_until is_logged "$line" "${4-$log}" || differs "the line is not logged" "$line" "$(dateless "${4-$log}")"
}

expect_no_log() {
    local line
    line=$(log_line "$1" "$2" "$3")
    ! is_logged "$line" "${4-$log}" || fail "the line is logged: $line"
}

has_line() {
    local line
    while IFS= read -r line; do
        # shellcheck disable=SC2053 # a pattern
        if [[ $line == $2 ]]; then
            return
        fi
    done < <(dateless "$1")
    return 1
}

wait_line() { wait_until has_line "$1" "$2" || differs "no line of $1 is like it" "$2" "$(dateless "$1")"; }

# A picture, as a PNG file on standard output: all four channels of its pixels are BYTE.
# png WIDTH HEIGHT BYTE
png() {
    python3 - "$@" <<'END'
import struct
import sys
import zlib

width, height, byte = map(int, sys.argv[1:])


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


head = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)
rows = (b"\0" + bytes((byte,)) * (4 * width)) * height
sys.stdout.buffer.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))
END
}

# The other expectations

expect_equal() { [[ $1 == "$2" ]] || differs "not equal" "$1" "$2"; }

expect_status() { [[ $status == "$1" ]] || fail "status $status, not $1; the output: $(cat "$output")"; }

expect_file() { expect_equal "$(cat)" "$(dateless "$1")"; }

expect_mode() { expect_equal "$2" "$(stat -c '%a %U' "$1")"; }

expect_present() {
    local path
    for path; do
        [ -e "$path" ] || fail "$path is not there"
    done
}

expect_absent() {
    local path
    for path; do
        [ ! -e "$path" ] || fail "$path is there"
    done
}

expect_gone() { wait_until test ! -e "/proc/$1" || fail "process $1 is still there"; }
