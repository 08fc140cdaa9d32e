# The simulated card starts where it may, ends when it is told to, leaves nothing that stops the next one, and tells what
# it could not write.

# card_ends STATUS : it has ended, its nodes with it
card_ends() {
    local result=0
    wait %1 || result=$?
    expect_equal "$1" "$result"
    expect_absent "${nodes[@]}"
}

# Who may not use CUSE learns that before anything is opened.
echo kept >"$here/record"
chmod 666 "$here/record"
result=0
su alice -c "/opt/haldo/bin/haldo-cardsim --record $here/record" 2>"$here/errors" || result=$?
expect_equal 4 "$result"
expect_file "$here/errors" <<<'haldo-cardsim: /dev/cuse cannot be opened: Permission denied; load the kernel module cuse and run as root'
expect_file "$here/record" <<<kept

# A file that cannot be written is said before there are nodes. A card that does not start leaves the record as it is.
# not_started OPTION... <<<LINE
not_started() {
    local result=0
    haldo-cardsim --record "$here/record" "$@" 2>"$here/errors" || result=$?
    expect_equal 1 "$result"
    expect_file "$here/errors"
    expect_file "$here/record" <<<kept
}
not_started --words /nonexistent/words <<<"haldo-cardsim: words '/nonexistent/words': No such file or directory"
not_started --control /nonexistent/socket \
    <<<'haldo-cardsim: control socket: /nonexistent/socket: No such file or directory'
expect_absent "${nodes[@]}"

for signal in INT HUP TERM; do
    start_card
    kill "-$signal" %1
    card_ends 0
    expect_absent /run/haldo-cardsim.socket
done

# What is left of one that was killed is in nobody's way.
start_card
kill -KILL %1
wait %1 2>/dev/null || true
no_nodes() { [ ! -e "${nodes[0]}" ] && [ ! -e "${nodes[1]}" ]; }
wait_until no_nodes
expect_present /run/haldo-cardsim.socket
start_card
haldo-cardsim ctl state >"$output"
wait_line "$output" '  "schema_version": 2,'
kill %1
card_ends 0

# A file that takes no more is said once, also when only a part of a line fits, and clients are served on.
mkdir "$here/small"
mount -t tmpfs -o size=4k tmpfs "$here/small"
printf '%04092d' 0 >"$here/small/journal"
: >"$here/card"
start_card --journal "$here/small/journal"
exec 3<"${nodes[0]}"
wait_line "$here/card" 'haldo-cardsim: journal: No space left on device'
expect_equal '0HCC ' "$(tail -c 5 "$here/small/journal")"
haldoctl kmp close >"$output"
expect_file "$output" <<<'open  no'
kill %1
card_ends 1
exec 3<&-
expect_equal 'haldo-cardsim: journal: No space left on device' "$(grep -v ' is ready$' "$here/card")"

# Nor does a reader that goes away end it.
mkfifo "$here/pipe"
cat "$here/pipe" >/dev/null &
reader=$!
: >"$here/card"
haldo-cardsim --words "$here/pipe" >>"$here/card" 2>&1 &
card=$!
wait_until nodes_exist
kill "$reader"
wait "$reader" 2>/dev/null || true
haldoctl kmp close >"$output"
expect_file "$output" <<<'open  no'
kill "$card"
result=0
wait "$card" || result=$?
expect_equal 1 "$result"
expect_equal 'haldo-cardsim: words: Broken pipe' "$(grep -v ' is ready$' "$here/card")"
