# docs/without-a-card.md: what a newcomer types, as it stands there, from the first card on.
checkout=$(realpath -- "$(dirname "${BASH_SOURCE[0]}")/../../..")
mkdir "$here/docs" "$here/build"
cp "$checkout/docs/arrow.png" "$here/docs"
cd "$here" || exit
awk '/^```/ {inside = !inside; next} inside && /^haldo-cardsim/ {begun = 1} inside && begun && !/^\.\/demo|^tests/' \
    "$checkout/docs/without-a-card.md" |
    sed "s,/out/,$here/guest-,g" | bash >said 2>errors # a pipe, so that the shell within takes its own lines only

expect_equal '1
3
4' "$(grep -x '[0-9]' said)"
expect_equal "haldoctl: the card refused the shape in slot 1
haldoctl: the client does not offer the speed of the local cursor
haldoctl: /dev/haldo_host0: No such file or directory" "$(cat errors)"
for line in 'peer         192.0.2.77' 'transitions  1' 'shapes.0.file       docs/arrow.png' 'shapes.0.cached     no' \
    'visible     yes' 'x           960' '  "schema_version": 2,' 'peer         192.0.2.78'; do
    wait_line said "$line"
done
wait_line build/card.log 'HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE *-> EIO'
wait_line guest-card.log 'HCC 0x7802 HCC_IOCTL_HMI_VAR_GET *'
expect_equal '89 50 4e 47 0d 0a 1a 0a' "$(head -c 8 build/client.png | od -An -tx1 | sed 's/^ //')"
expect_absent /dev/haldo_host0 /dev/haldo_host1
