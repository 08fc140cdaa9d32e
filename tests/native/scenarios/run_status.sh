# haldo-cardsim run: what becomes of the program that it runs, and that nothing of the card is left.

cardsim=$(command -v haldo-cardsim)
# runs STATUS WORD... : the words behind "run" end with this status, and what they say is in $output
runs() {
    local expected=$1
    shift
    status=0
    "$cardsim" run "$@" >"$output" 2>&1 || status=$?
    expect_status "$expected"
}

for expected in 0 7 255; do
    runs "$expected" -- bash -c "exit $expected"
done
for signal in TERM KILL INT HUP SEGV; do
    # shellcheck disable=SC2016
    runs $((128 + $(kill -l $signal))) -- bash -c 'ulimit -c 0; kill -$0 $$' $signal
done

# Its words are its own, with "--" and without.
runs 0 echo --help -- x
expect_file "$output" <<<'--help -- x'
runs 0 -- echo --journal y
expect_file "$output" <<<'--journal y'
expect_equal 'abc' "$(echo abc | haldo-cardsim run cat)"
expect_equal "$(umask; ulimit -n; pwd)" "$(haldo-cardsim run bash -c 'umask; ulimit -n; pwd')"
expect_equal "$(grep '^Sig[BI]' /proc/self/status)" "$(haldo-cardsim run grep '^Sig[BI]' /proc/self/status)"
expect_equal "$(ls /proc/self/fd)" "$(haldo-cardsim run ls /proc/self/fd)"

PATH=/usr/bin:/bin runs 127 -- no-such-program
expect_file "$output" <<<'haldo-cardsim: no-such-program: No such file or directory'
runs 127 -- "$here/none"
expect_file "$output" <<<"haldo-cardsim: $here/none: No such file or directory"
: >"$here/file"
runs 126 -- "$here/file"
expect_file "$output" <<<"haldo-cardsim: $here/file: Permission denied"
runs 126 -- "$here"
expect_file "$output" <<<"haldo-cardsim: $here: Permission denied"

# The program is not run where the card cannot be had.
echo kept >"$here/record"
runs 125 --record "$here/record" --words /nonexistent/words -- touch "$here/ran"
expect_file "$output" <<<"haldo-cardsim: words '/nonexistent/words': No such file or directory"
runs 125 --record "$here/record" --control /nonexistent/socket -- touch "$here/ran"
expect_file "$output" <<<'haldo-cardsim: control socket: /nonexistent/socket: No such file or directory'
runs 125 -- haldo-cardsim run --record "$here/record" -- touch "$here/ran"
expect_file "$output" <<<'haldo-cardsim: the program is run by one that takes system calls already, as haldo-cardsim run does: there can be one only'
TMPDIR=/nonexistent runs 125 -- touch "$here/ran"
wait_line "$output" 'haldo-cardsim: a folder for the control socket, /nonexistent/haldo-cardsim.??????: No such file or directory'
expect_absent "$here/ran"

usage="Try 'haldo-cardsim --help'."
for words in '' '--' '--seed 1' '--seed 1 --'; do
    # shellcheck disable=SC2086 # words
    runs 2 $words
    expect_file "$output" <<<"haldo-cardsim: the program to run is missing
$usage"
done
runs 2 --sed 1 -- true
expect_file "$output" <<<"haldo-cardsim: '--sed' is not an option
$usage"
runs 2 --seed x -- true
expect_file "$output" <<<"haldo-cardsim: --seed: 'x' is not a number of 32 bits
$usage"

# What the program leaves behind is ended, and said. A path that is long does not stop the card.
for count in '1 process' '2 processes'; do
    # shellcheck disable=SC2016
    runs 3 -- bash -c 'for ((i = 0; i < $0; ++i)); do sleep 600 & done; exit 3' "${count% *}"
    expect_file "$output" <<<"haldo-cardsim: ended $count that the command left behind"
done
# shellcheck disable=SC2016
runs 0 -- bash -c 'setsid bash -c "trap \"\" TERM HUP; exec sleep 600" </dev/null >/dev/null 2>&1 & echo $! >$0' "$here/left"
expect_file "$output" <<<'haldo-cardsim: ended 1 process that the command left behind'
expect_absent "/proc/$(cat "$here/left")"
runs 0 -- bash -c 'true & wait'
expect_file "$output" </dev/null
long=$here/$(printf '%0100d' 0)
mkdir "$long"
TMPDIR=$long runs 0 -- haldo-cardsim ctl state
expect_equal '' "$(find "$TMPDIR" -name 'haldo-cardsim.*')"
