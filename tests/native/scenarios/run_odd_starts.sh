# haldo-cardsim run: started as programs are that do not care how they start others.

# Where children are not told of, the program finds it so, and its end is seen all the same.
env --ignore-signal=CHLD haldo-cardsim run -- grep '^SigIgn' /proc/self/status >"$output"
expect_equal "$(env --ignore-signal=CHLD grep '^SigIgn' /proc/self/status)" "$(cat "$output")"

# What a shell has started before it became this program is none of the command's.
bash -c "haldo-cardsim run -- sh -c 'echo hello' > >(sleep 0.1; cat >$here/out; : >$here/done)" 2>"$output"
wait_until test -e "$here/done"
expect_file "$here/out" <<<hello
expect_file "$output" </dev/null

# A command that is not found, and nobody to tell it to
status=0
haldo-cardsim run -- nosuch 2>&- || status=$?
expect_status 127

# /proc of other processes
if unshare --pid --fork true 2>/dev/null; then
    status=0
    unshare --pid --fork haldo-cardsim run true 2>"$output" || status=$?
    expect_status 125
    expect_file "$output" <<<"haldo-cardsim: /proc is missing, or shows another PID namespace's processes"
fi

# Sockets whose paths are too long, or empty
long=$here/$(printf '%0100d' 0)
mkdir "$long"
cd "$long" || exit
haldo-cardsim run --control c true
expect_absent c
status=0
haldo-cardsim run --control c haldo-cardsim ctl state >"$output" 2>&1 || status=$?
expect_status 2
expect_file "$output" <<END
haldo-cardsim: HALDO_CARDSIM_CONTROL: '$long/c' has no length between 1 and 107
Try 'haldo-cardsim --help'.
END
cd "$here" || exit
status=0
HALDO_CARDSIM_CONTROL='' haldo-cardsim ctl state 2>"$output" || status=$?
expect_status 4
TMPDIR='' haldo-cardsim run true
