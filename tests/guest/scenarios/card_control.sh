# The simulated card is steered while it runs, and tells what it holds and what its client sees.
ctl() { haldo-cardsim ctl "$@"; }

# ctl_fails STATUS LINE... : what it says on standard error, and nothing on standard output
ctl_fails() {
    local expected=$1 result=0 said
    shift
    ctl "${words[@]}" >"$output" 2>"$here/errors" || result=$?
    expect_equal "$expected" "$result"
    expect_equal '' "$(cat "$output")"
    said=$(cat "$here/errors")
    expect_equal "$(printf '%s\n' "$@")" "$said"
}

words=(state)
ctl_fails 4 'haldo-cardsim: /run/haldo-cardsim.socket: No such file or directory'

start_card
expect_mode /run/haldo-cardsim.socket '600 root'
words=(fly)
ctl_fails 2 "haldo-cardsim: 'fly' is not a command" "Try 'haldo-cardsim --help'."
words=()
ctl_fails 2 'haldo-cardsim: a command is missing' "Try 'haldo-cardsim --help'."
words=(--socket /x state)
ctl_fails 2 "haldo-cardsim: '--socket' is not an option" "Try 'haldo-cardsim --help'."
words=(--control)
ctl_fails 2 "haldo-cardsim: '--control' needs a value" "Try 'haldo-cardsim --help'."
words=(render picture.gif)
ctl_fails 2 "haldo-cardsim: 'picture.gif' ends neither in .png nor in .svg" "Try 'haldo-cardsim --help'."
words=(render /nonexistent/picture.png)
ctl_fails 1 'haldo-cardsim: /nonexistent/picture.png: No such file or directory'
for path in '' "/run/$(printf '%0103d' 0)"; do
    words=(--control "$path" state)
    ctl_fails 2 "haldo-cardsim: --control: '$path' has no length between 1 and 107" "Try 'haldo-cardsim --help'."
done
words=(set "tag.text=$(printf '%04096d' 0)")
ctl_fails 2 'haldo-cardsim: the command is longer than 4096 bytes' "Try 'haldo-cardsim --help'."
words=(connect 'a b')
ctl_fails 2 "haldo-cardsim: 'a' is followed by a blank or a control character" "Try 'haldo-cardsim --help'."
words=(--control /run/other state)
ctl_fails 4 'haldo-cardsim: /run/other: No such file or directory'
ctl --help >"$output"
wait_line "$output" 'Usage: haldo-cardsim ctl *'
result=0
ctl state >/dev/full 2>"$output" || result=$?
expect_equal 1 "$result"
expect_file "$output" <<<'haldo-cardsim: standard output: No space left on device'

# Another user may not.
result=0
su alice -c "/opt/haldo/bin/haldo-cardsim ctl state" >"$output" 2>&1 || result=$?
expect_equal 4 "$result"
expect_file "$output" <<<'haldo-cardsim: /run/haldo-cardsim.socket: Permission denied'

# What a client of the nodes gets is what was ordered.
chmod 666 "${nodes[@]}"
ctl connect 192.0.2.5
ctl set context.cur_shape_fadeout_enable=0
ctl set tag.text=desk 2
ctl fail KMP_CUR_SPD_GET EIO 2
su alice -c "/opt/haldo/bin/haldoctl capabilities" >"$output"
wait_line "$output" 'client.is_client_sc  *yes'
su alice -c "/opt/haldo/bin/haldoctl cursor speed get" >"$output"
expect_file "$output" <<<'speed  100'
result=0
su alice -c "/opt/haldo/bin/haldoctl cursor speed get" >"$output" 2>&1 || result=$?
expect_equal 1 "$result"
ctl state >"$output"
wait_line "$output" '    "text": "desk 2"'
wait_line "$output" '    "peer": "192.0.2.5"'
wait_line "$output" '    "KMP_CUR_SPD_GET": 2'

# Every request but one of a kind is answered while that one waits for its reply.
ctl delay KMP_PRI_CTXT_GET 3600000 1
read_events
((seen += ${#events[@]}))
su alice -c "/opt/haldo/bin/haldoctl kmp context" >"$here/delayed" &
delayed=$!
wait_event 'HCC 0x7822 *'
su alice -c "/opt/haldo/bin/haldoctl cursor speed get" >"$output"
expect_file "$output" <<<'speed  100'
expect_present /proc/"$delayed"
ctl disconnect
ctl state >"$output"
wait_line "$output" '    "peer": ""'

# A picture of the cursor, as a file of the one who asks.
png 32 32 128 >"$here/cursor.png"
haldoctl cursor shape "$here/cursor.png" >"$output"
ctl set pointer.visible=1
ctl set pointer.x=100
(cd "$here" && haldo-cardsim ctl render view.svg && haldo-cardsim ctl render view.png)
wait_line "$here/view.svg" '<title>cursor visible at 100,*</title>'
expect_equal 89504e470d0a1a0a "$(head -c 8 "$here/view.png" | od -An -tx1 | tr -d ' \n')"

# The client that still waits gets its reply when the card ends, and the socket goes with it.
expect_present /proc/"$delayed"
kill %1
wait %1 "$delayed"
wait_line "$here/delayed" 'hoip_enable  *1'
expect_absent "${nodes[@]}" /run/haldo-cardsim.socket
