# docs/without-a-card.md: what a newcomer types in the guest, as it stands there.
guide=$(dirname "${BASH_SOURCE[0]}")/../../../docs/without-a-card.md
# The first block of commands is for the machine around the guest.
awk '/^```/ {inside = !inside; block += inside; next} inside && block > 1' "$guide" | sed "s,/out/,$here/,g" >"$here/typed"
bash "$here/typed" >"$here/said" 2>"$here/errors"

expect_equal '1
3
4' "$(grep -x '[0-9]' "$here/said")"
expect_equal "haldoctl: the card refused the shape in slot 1
haldoctl: the client does not offer the speed of the local cursor
haldoctl: /dev/haldo_host0: No such file or directory" "$(cat "$here/errors")"
for line in 'peer         192.0.2.77' 'transitions  1' 'shapes.0.file       /opt/haldo/checkout/docs/arrow.png' \
    'shapes.0.cached     no' 'visible     yes' 'x           960' '  "schema_version": 1,'; do
    wait_line "$here/said" "$line"
done
wait_line "$here/card.log" 'HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00 81 00 00 10 14 *'
expect_equal '89 50 4e 47 0d 0a 1a 0a' "$(head -c 8 "$here/client.png" | od -An -tx1 | sed 's/^ //')"
expect_absent /dev/haldo_host0 /dev/haldo_host1
