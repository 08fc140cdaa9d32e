# haldo-cardsim run: a program that is traced or debugged finds the card, too.
# card:
type strace gdb >"$output" 2>&1 || skip "$(tail -n 1 "$output")"
traced=$(strace -f -o "$here/trace" native-static "${nodes[0]}" 2>&1) || skip "strace may not trace here: $traced"
expect_equal '0, errno 0, first byte 7' "$traced"
wait_line "$here/trace" '* openat(*, "/dev/haldo_host0", O_RDWR) = *'
wait_line "$here/trace" '* ioctl(*) = 0'
gdb -nx -batch -ex 'break ioctl' -ex run -ex continue --args "$(command -v native-static)" "${nodes[0]}" >"$output" 2>&1
wait_line "$output" '0, errno 0, first byte 7'
