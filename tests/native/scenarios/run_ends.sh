# haldo-cardsim run: signals that end the card end the program, whose handlers decide, and the card ends with it.

# starts COMMAND : aside, as haldo-cardsim run; the program is there when $here/ready is
starts() {
    rm -f "$here/ready"
    haldo-cardsim run --journal "$journal" -- bash -c "$1; : >$here/ready; while :; do sleep 600 & wait; done" >"$output" 2>&1 &
    card=$!
    wait_until test -e "$here/ready"
}
# ends STATUS LINE...
ends() {
    status=0
    wait "$card" || status=$?
    expect_status "$1"
    shift
    expect_equal "$(printf '%s\n' "$@")" "$(cat "$output")"
}
left='haldo-cardsim: ended 1 process that the command left behind'

for signal in TERM HUP; do
    starts true
    kill "-$signal" "$card"
    ends $((128 + $(kill -l $signal))) "$left"
    starts "trap 'echo $signal; exit 5' $signal; exec 3<${nodes[0]}"
    kill "-$signal" "$card"
    ends 5 "$signal" "$left"
    expect_events <<END
HCC open
HCC release
END
done

# Those of the keyboard reach all of a terminal's programs, and the card waits for its own.
for signal in INT QUIT; do
    starts "trap 'echo $signal' $signal; trap 'exit 6' TERM"
    kill "-$signal" "$card"
    kill -TERM "$card"
    ends 6 "$left"
done

# Nothing of the program outlives a card that is killed.
starts "echo \$\$ >$here/program"
kill -KILL "$card"
status=0
wait "$card" || status=$?
expect_status 137
expect_gone "$(cat "$here/program")"
