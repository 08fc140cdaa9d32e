# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154 # scenarios use what looks unused, and those of their rooms set what looks unset
# What the scenarios of haldoctl have beside the functions of every scenario:
#
#     ctl STATUS WORD...          haldoctl ends with this status; its results are in $results, the rest in $messages
#     prints WORD... <<END        the same with success, and these results
#     golden NAME STATUS WORD...  the same with --json; the document is golden/NAME.json, byte for byte
#                                 (if the run's output has a folder "golden", it goes there, to be read and kept)
#     sends <<END                 the card has seen one link since, with these requests behind its construction
#     usage_error LEVEL SENTENCE WORD...  the words are refused, in two lines that lead to the help of the level
#     absent SENTENCE COMMAND     the command, words in one text, finds a node missing
#     ${card_commands[@]}         every command that needs the nodes, with words for small.png

results=$here/results
messages=$here/messages
documents=$(dirname "${BASH_SOURCE[0]}")/golden
card_commands=(capabilities 'session show' 'session watch' 'session disconnect' 'session host-state get'
    'session host-state set 1' 'tag get' 'tag set x' net port 'stats show' 'stats reset' 'wol show' 'wol set --flags 1'
    'unicode 1' local-info 'imaging show' 'imaging set 1' 'imaging cache 1' 'topology show' 'topology async'
    'topology cached' 'topology send 1x1+0+0' 'cursor enable' 'cursor disable' 'cursor show' 'cursor hide'
    'cursor move 1 2' 'cursor move 1 2 --if-new' 'cursor speed get' 'cursor speed set 10' 'cursor idle-hide 1'
    'cursor slot 0' 'cursor shape small.png' 'keyboard repeat get' 'keyboard repeat set 1 2' 'tablet process-new'
    'tablet host-ready' 'kmp open' 'kmp open --hold' 'kmp close' 'kmp context' 'kmp status'
    'kmp driver-mode cursor absolute' 'kmp driver-mode tablet on')

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
    if [ -d "$out/golden" ]; then
        cp "$results" "$out/golden/$name.json"
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

absent() {
    # shellcheck disable=SC2086 # words
    ctl 4 $2
    expect_equal "haldoctl: $1" "$(cat "$messages")"
    expect_equal '' "$(cat "$results")"
}
