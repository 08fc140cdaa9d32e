#!/usr/bin/env bash
# coverage.sh BUILD WORK: what the unit tests and the guest together reach of the product's sources. The guest's counts
# lie under WORK/guest/gcov, each below the path that it would have had in BUILD.
set -eu
build=$(realpath "$1")
work=$(realpath "$2")
LEAST_PERCENT=95

# Both runs of a source file, the unit tests' and the guest's, are counted from a build tree of their own.
guest_build=$work/guest-build
rm -rf "$guest_build"
mkdir -p "$guest_build"
(cd "$build" && find . -name '*.gcno' -print0 | tar c --null -T -) | tar x -C "$guest_build"
cp -r "$work/guest/gcov/$build/." "$guest_build/"

report() {
    gcovr --root . --object-directory "$1" --json "$2" "$1"
}
report "$build" "$work/unit.json"
report "$guest_build" "$work/guest.json"
gcovr --root . -a "$work/unit.json" -a "$work/guest.json" --filter 'daemon/' --filter 'dev/' --filter 'haldo_link/' \
    --branches --txt "$work/branches.txt" >/dev/null
gcovr --root . -a "$work/unit.json" -a "$work/guest.json" --filter 'daemon/' --filter 'dev/' --filter 'haldo_link/' \
    --fail-under-line "$LEAST_PERCENT"
