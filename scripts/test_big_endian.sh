#!/usr/bin/env bash
# A build for a big-endian processor is refused, with the sentence that says so and nothing else.
set -eu
cd "$(dirname "$0")/.."
sentence="the card's records are little-endian: big-endian processors are not supported"

for source in dev/*.cpp haldo_link/src/*.cpp; do
    if said=$(s390x-linux-gnu-g++ -std=c++20 -fsyntax-only -I daemon/log -I dev -I haldo_link/include "$source" 2>&1); then
        echo "FAILED: $source is compiled"
        exit 1
    fi
    errors=$(sed -n 's/.*error: //p' <<<"$said")
    if [ "$errors" != "static assertion failed: $sentence" ]; then
        printf 'FAILED: %s is refused with\n%s\n' "$source" "$said"
        exit 1
    fi
done
