#!/bin/bash
# story_card.sh [--bold] WORDS PICTURE: run by ./demo where no guest can boot, by haldo-cardsim run --words WORDS.
# Sourced by story.sh, which tells the same in the middle of a working day.

bold="" plain=""
if [ "${1-}" = --bold ]; then
    bold=$'\e[1m' plain=$'\e[0m'
    shift
fi
say() {
    sleep 1
    printf '\n%s%s%s\n' "$bold" "$*" "$plain"
}

# shown COMMAND [ARG...]: runs it, its output set in.
shown() { "$@" | sed 's/^/    /'; }

# client_comes PICTURE: what haldoctl and the card have to do with a client; its view gets into the file.
client_comes() {
    haldo-cardsim ctl connect 192.0.2.77
    shown haldoctl session show
    shown haldoctl status
    shown haldoctl cursor shape "$(dirname "${BASH_SOURCE[0]}")/../../docs/arrow.png"
    shown haldoctl cursor show
    shown haldoctl cursor move 960 540
    haldo-cardsim ctl render "$1"
}

# card_saw WORDS: the lines of such a file without their times, long ones cut.
card_saw() { sed -E 's/^[^ ]+ [^ ]+ //; s/^(.{100}).{4,}/\1 .../; s/^/    /' "$1"; }

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
    set -e -o pipefail
    say "A client connects to a simulated card, and gets an arrow for a cursor:"
    client_comes "$2"
    say "What the card saw of that, in words:"
    card_saw "$1"
fi
