# haldo-cardsim run: what the start of root's programs may, and what another user's may; tried where root runs it.
[ "$(id -u)" = 0 ] || skip "only root can give a program to another user"
# Where others may go, whatever is closed to them of the build
chmod 755 "$here"
mkdir "$here/bin" "$here/own"
cp "$(command -v haldo-cardsim)" "$(command -v native-static)" "$here/bin"
as_nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups env "TMPDIR=$here/own" "GCOV_PREFIX=$here/own")
chown 65534:65534 "$here/own"
"${as_nobody[@]}" test -x "$here/bin/native-static" || skip "$here is closed to others"
found='0, errno 0, first byte 7'

# Another user's card, which nobody there gains rights from
expect_equal "$found" "$("${as_nobody[@]}" "$here/bin/haldo-cardsim" run "$here/bin/native-static" "${nodes[0]}")"
# shellcheck disable=SC2016
expect_equal '1 65534 65534' "$("${as_nobody[@]}" "$here/bin/haldo-cardsim" run \
    sh -c 'echo $(sed -n "s/^NoNewPrivs:.//p" /proc/self/status) $(stat -c "%u %g" /dev/haldo_host0)')"
expect_equal 0 "$(haldo-cardsim run sed -n 's/^NoNewPrivs:.//p' /proc/self/status)"

# Under root's a program of another user finds the card, and one that takes root's rights back has them.
expect_equal "$found" "$(haldo-cardsim run "${as_nobody[@]}" "$here/bin/native-static" "${nodes[0]}")"
cp "$(command -v id)" "$here/bin/id"
chmod 4755 "$here/bin/id"
if [ "$("${as_nobody[@]}" "$here/bin/id" -u)" = 0 ]; then # not where $here is mounted nosuid
    expect_equal 0 "$(haldo-cardsim run "${as_nobody[@]}" "$here/bin/id" -u)"
    expect_equal 65534 "$("${as_nobody[@]}" "$here/bin/haldo-cardsim" run "$here/bin/id" -u)"
fi
