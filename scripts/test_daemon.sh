#!/usr/bin/env bash
# test_daemon.sh DAEMON: the daemon, built for any processor, needs the C library only, and is hardened.
set -eu
daemon=$1

fail() {
    echo "FAILED: $*"
    exit 1
}

# On some processors a part of the C library that every program has, the dynamic linker, is named too.
needed=$(readelf -d "$daemon" | sed -n '/\[ld-linux-/!s/.*(NEEDED).*\[\(.*\)\]/\1/p')
[ "$needed" = libc.so.6 ] || fail "needs: $needed"
readelf -h "$daemon" | grep -q 'Type: *DYN' || fail "not position independent"
readelf -lW "$daemon" | grep -q GNU_RELRO || fail "no RELRO"
readelf -d "$daemon" | grep -q BIND_NOW || fail "RELRO is not full"
readelf -lW "$daemon" | grep -q 'GNU_STACK.* RW ' || fail "executable stack"
readelf -sW --dyn-syms "$daemon" | grep -q __stack_chk_fail || fail "no stack protector"
readelf -sW --dyn-syms "$daemon" | grep -q '__.*_chk@' || fail "no fortified calls"
# A configuration that is read holds a copy of the last one only while it is read, and not while the agent runs.
nm -C "$daemon" | grep -q ' t read_config' || fail "read_config has no frame of its own"
