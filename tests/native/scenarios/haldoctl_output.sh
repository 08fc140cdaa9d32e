# haldoctl with a card whose answers go nowhere: it is no success, and a reader that has gone ends it.
# card:
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

for redirection in '>/dev/full' '>&-' '>&- 2>&-' '>&- 2>&- <&-' '2>&- >/dev/full'; do
    status=0
    bash -c "haldoctl -vvv session show $redirection" 2>"$messages" || status=$?
    expect_equal 1 "$status"
done

# A reader that has gone ends the program as it ends others, and one that ignores the signal says so.
without_reader() {
    { wait_until test -e "$here/gone" && status=0 && "$@" 2>"$messages" || status=$? && echo "$status" >"$here/status"; } |
        { exec <&- && : >"$here/gone" && wait_until test -s "$here/status"; }
    status=$(cat "$here/status")
    rm "$here/gone" "$here/status"
}
without_reader haldoctl topology show
expect_equal '141 ' "$status $(cat "$messages")"
without_reader env --ignore-signal=PIPE haldoctl topology show
expect_equal '1 haldoctl: standard output: Broken pipe' "$status $(cat "$messages")"
