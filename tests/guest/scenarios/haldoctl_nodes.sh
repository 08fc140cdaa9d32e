# haldoctl without device nodes, without one of them, and without the permission to open them: status 4.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

base64 -d >"$here/small.png" <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAYAAABytg0kAAAAFUlEQVR42mNgYPjP8B8IgBSIxdAAAE1FCHmykEBGAAAAAElFTkSuQmCC
chmod 755 "$here"
cd "$here" || exit
commands=(capabilities 'session show' 'session watch' 'session disconnect' 'session host-state get'
    'session host-state set 1' 'tag get' 'tag set x' net port 'stats show' 'stats reset' 'wol show' 'wol set --flags 1'
    'unicode 1' local-info 'imaging show' 'imaging set 1' 'imaging cache 1' 'topology show' 'topology async'
    'topology cached' 'topology send 1x1+0+0' 'cursor enable' 'cursor disable' 'cursor show' 'cursor hide'
    'cursor move 1 2' 'cursor move 1 2 --if-new' 'cursor speed get' 'cursor speed set 10' 'cursor idle-hide 1'
    'cursor slot 0' 'cursor shape small.png' 'keyboard repeat get' 'keyboard repeat set 1 2' 'tablet process-new'
    'tablet host-ready' 'kmp open' 'kmp open --hold' 'kmp close' 'kmp context' 'kmp status'
    'kmp driver-mode cursor absolute' 'kmp driver-mode tablet on')

# absent SENTENCE COMMAND
absent() {
    # shellcheck disable=SC2086 # words
    ctl 4 $2
    expect_equal "haldoctl: $1" "$(cat "$messages")"
    expect_equal '' "$(cat "$results")"
}

for command in "${commands[@]}"; do
    absent '/dev/haldo_host0: No such file or directory' "$command"
done
golden no_node 4 session show

start_card --readable-map 0x8
for command in "${commands[@]}"; do
    # shellcheck disable=SC2086 # words
    status=0
    su -s /bin/sh nobody -c "cd $here && /opt/haldo/bin/haldoctl $command" >"$results" 2>"$messages" || status=$?
    expect_equal "4 haldoctl: /dev/haldo_host0: Permission denied" "$status $(cat "$messages")"
done

# With the control channel alone its variables are there; the driver's part is not.
rm "${nodes[1]}"
ctl 0 session show
for command in capabilities 'cursor show' 'cursor enable' 'tablet host-ready' 'kmp status'; do
    absent '/dev/haldo_host1: No such file or directory' "$command"
done
ctl 3 port
expect_equal 'haldoctl: the firmware does not offer the port of the connection' "$(cat "$messages")"
