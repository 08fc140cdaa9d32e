# haldoctl cursor shape through the kernel's nodes: a client that keeps three shapes, of any length that passes the kernel.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"
words=$here/words
record=$here/record
start_card --context cur_shape_caches=3 --context cur_shape_cache_size=131052 --words "$words" --record "$record"
cd "$here" || exit
for byte in 1 2 3 4; do
    png 2 2 $byte >$byte.png
done
png 201 163 0 >longest.png # 131,052 bytes
png 200 164 0 >too_long.png
ctl 0 cursor shape --any-size {1,2,3,1,2,3,4,1,longest,longest}.png
expect_equal 'no no no yes yes yes no no no yes' "$(sed -n 's/^shapes.*cached *//p' "$results" | tr '\n' ' ' | sed 's/ $//')"
ctl 1 cursor shape --any-size too_long.png
expect_equal 'haldoctl: the card refused the shape too_long.png' "$(cat "$messages")"

shape='HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 03 00 0A 00 00 00 00 00 00'
select='HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00'
small='00 00 02 02 00 00 24 00 00 00'
# pixels BYTE: those of a small one
pixels() { printf "$1%.0s" {1..16} | sed 's/../ &/g'; }
expect_events <<END
$link_constructed
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
$shape 81 $small$(pixels 01) -> 0
$shape 82 $small$(pixels 02) -> 0
$shape 80 $small$(pixels 03) -> 0
$select 01 00 00 00 -> 0
$select 02 00 00 00 -> 0
$select 00 00 00 00 -> 0
$shape 81 $small$(pixels 04) -> 0
$shape 82 $small$(pixels 01) -> 0
$shape 80 00 00 C9 A3 00 00 00 00 02 00 (+131052 zero) -> 0
$select 00 00 00 00 -> 0
HDC release
HCC release
$link_constructed
HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0
HDC release
HCC release
END
expect_no_more_events

# What does not pass is told in words, and neither in the journal nor in the record.
expect_equal 1 "$(grep -c ENOMEM "$words")"
expect_equal 1 "$(grep -c ' HDC KMP_CUR_SHAPE_BMP length=131220 -> ENOMEM$' "$words")"
expect_equal "$(grep -c . "$words")" "$(($(grep -c '^H[CD]C 0x' "$journal") + 1))"
expect_equal "$(grep '^H[CD]C 0x' "$journal")" "$(grep -v '^>' "$record" | sed 's/ = .*//')"
