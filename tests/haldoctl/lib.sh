# shellcheck shell=bash
# What the scenarios of haldoctl have beside the guest's own functions:
#
#     ctl STATUS WORD...          haldoctl ends with this status; its results are in $results, the rest in $messages
#     prints WORD... <<END        the same with success, and these results
#     golden NAME STATUS WORD...  the same with --json; the document is golden/NAME.json, byte for byte
#                                 (if the run's output has a folder "golden", it goes there, to be read and kept)
#     sends <<END                 the card has seen one link since, with these requests behind its construction
#     usage_error LEVEL SENTENCE WORD...  the words are refused, in two lines that lead to the help of the level

# shellcheck disable=SC2154 # the guest's functions set what looks unset
results=$here/results
messages=$here/messages
documents=$(dirname "${BASH_SOURCE[0]}")/golden

ctl() {
    local expected=$1
    shift
    status=0
    haldoctl "$@" >"$results" 2>"$messages" || status=$?
    [[ $status == "$expected" ]] || fail "haldoctl $*: status $status, not $expected: $(cat "$messages")"
}

prints() {
    ctl 0 "$@"
    expect_equal "$(cat)" "$(cat "$results")"
}

golden() {
    local name=$1
    shift
    ctl "$@" --json
    if [ -d /out/golden ]; then
        cp "$results" "/out/golden/$name.json"
    elif ! cmp -s "$documents/$name.json" "$results"; then
        differs "haldoctl ${*:2}: another document" "$(cat "$documents/$name.json")" "$(cat "$results")"
    fi
}

sends() {
    local requests
    requests=$(cat)
    expect_events <<END
$link_constructed${requests:+
$requests}
HDC release
HCC release
END
    expect_no_more_events
}

usage_error() {
    local level=$1 sentence=$2
    shift 2
    ctl 2 "$@"
    expect_equal "haldoctl: $sentence
Try '$level --help'." "$(cat "$messages")"
    expect_equal "" "$(cat "$results")"
}
