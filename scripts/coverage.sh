#!/usr/bin/env bash
# coverage.sh BUILD WORK: what the unit tests and the guests together reach of the product's sources. Each guest's counts
# lie under a folder of its own in WORK/guest/gcov, each below the path that it would have had in BUILD.
set -eu
build=$(realpath "$1")
work=$(realpath "$2")
LEAST_PERCENT=95

# report BUILD NAME: counts what has run of it.
counted=()
report() {
    gcovr --root . --object-directory "$1" --json "$work/$2.json" "$1"
    counted+=(-a "$work/$2.json")
}

# Every run of a source file, the unit tests' and each guest's, is counted from a build tree of its own.
report "$build" unit
for counts in "$work"/guest/gcov/*; do
    tree=$work/guest-build-${counts##*/}
    rm -rf "$tree"
    mkdir -p "$tree"
    (cd "$build" && find . -name '*.gcno' -print0 | tar c --null -T -) | tar x -C "$tree"
    cp -r "$counts/$build/." "$tree/"
    report "$tree" "guest-${counts##*/}"
done
gcovr --root . "${counted[@]}" --filter 'daemon/' --filter 'dev/' --filter 'haldo_link/' \
    --branches --txt "$work/branches.txt" >/dev/null
gcovr --root . "${counted[@]}" --filter 'daemon/' --filter 'dev/' --filter 'haldo_link/' \
    --fail-under-line "$LEAST_PERCENT"
