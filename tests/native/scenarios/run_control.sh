# haldo-cardsim run: the program steers its own card; from outside it is named. Two have a card each.

# starts NAME OPTION... : a card that ends when $here/NAME.end is read
starts() {
    local name=$1
    shift
    mkfifo "$here/$name.end"
    # shellcheck disable=SC2016
    haldo-cardsim run "$@" -- bash -c 'haldo-cardsim ctl state >$0.state; haldo-cardsim ctl connect $1
        echo $HALDO_CARDSIM_CONTROL >$0.control; : <$0.end; haldo-cardsim ctl state >$0.state' "$here/$name" "$name" &
}
starts 192.0.2.1 --control "$here/socket"
first=$!
starts 192.0.2.2
second=$!
wait_line "$here/192.0.2.1.control" "$here/socket"
wait_line "$here/192.0.2.2.control" "$here/haldo-cardsim.??????/control"
other=$(cat "$here/192.0.2.2.control")
expect_equal '700 600' "$(stat -c %a "$(dirname "$other")" "$here/socket" | paste -sd ' ')"

haldo-cardsim ctl --control "$here/socket" state >"$output"
wait_line "$output" '    "peer": "192.0.2.1"'
haldo-cardsim ctl --control "$other" state >"$output"
wait_line "$output" '    "peer": "192.0.2.2"'
haldo-cardsim ctl --control "$here/socket" set port=4711
haldo-cardsim ctl --control "$here/socket" render "$here/view.svg"
expect_present "$here/view.svg"

# A socket that another card has is refused.
status=0
haldo-cardsim run --control "$here/socket" -- touch "$here/ran" 2>"$output" || status=$?
expect_equal 125 "$status"
expect_absent "$here/ran"

for name in 192.0.2.1 192.0.2.2; do
    : >"$here/$name.end"
done
wait "$first" "$second"
wait_line "$here/192.0.2.1.state" '  "port": 4711,'
expect_equal 0 "$(grep -c '"port": 4711' "$here/192.0.2.2.state" || true)"
wait_line "$here/192.0.2.2.state" '    "peer": "192.0.2.2"'
expect_absent "$here/socket" "$other" "$(dirname "$other")"

# A program that lost its way, or asks the card of a machine, says so.
status=0
HALDO_CARDSIM_CONTROL=$here/socket haldo-cardsim ctl state 2>"$output" || status=$?
expect_equal 4 "$status"
expect_file "$output" <<<"haldo-cardsim: $here/socket: No such file or directory"
