# haldoctl without one of the device nodes, and without the permission to open them: status 4.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

base64 -d >"$here/small.png" <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAYAAABytg0kAAAAFUlEQVR42mNgYPjP8B8IgBSIxdAAAE1FCHmykEBGAAAAAElFTkSuQmCC
chmod 755 "$here"
cd "$here" || exit
start_card --readable-map 0x8
for command in "${card_commands[@]}"; do
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
