# The simulated card tells every request in words, also one that is too long to be carried, and records all but that.
# card: --words $here/words --record $here/record --session 192.0.2.77 --fail 0x7903=EIO
# card: --context cur_shape_cache_size=260100
words="$here/words"
record="$here/record"
haldo-cardsim ctl set tag.text=desk 2
haldo-cardsim ctl state >/dev/null
haldoctl kmp open >"$output"
status=0
haldoctl kmp status >"$output" 2>&1 || status=$?
expect_status 1
haldoctl cursor speed get >"$output"
# 255x255 px: a record of 260,120 bytes
png 255 255 7 >"$here/large.png"
haldoctl cursor shape --any-size "$here/large.png" >"$output"
python3 - <<'END'
import haldo

with open("/dev/haldo_host1") as node:
    assert haldo.request(node.fileno(), 0x7906, haldo.shape(1, 1, 1024 * 1024 + 1)) == "ENOMEM"
END

# Without their times, which each line begins with.
[ -s "$words" ]
expect_equal 0 "$(grep -cvE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} H[CD]C ' "$words" || true)"
told=$(cut -d ' ' -f 3- "$words")
expect_told() { grep -qxF -- "$1" <<<"$told" || differs "not told in words" "$1" "$told"; }
expect_told 'HCC HMI_AVAIL_CMD -> 0 commands=["avail_cmd","var_get","var_set"]'
expect_told 'HCC KMP_HDC_COMM_CTRL channel=1 open=1 -> 0'
expect_told 'HDC KMP_FEAT_STAT_GET -> EIO'
expect_told 'HDC KMP_CUR_SPD_GET -> 0 value=100'
expect_told 'HDC KMP_CUR_SHAPE_BMP type=0 cache_slot=129 shape_arg1=0 shape_arg2=0 width=255 height=255 and_depth=0 xor_depth=0 length=260120 -> 0'
expect_told 'HDC KMP_CUR_SHAPE_BMP length=1048577 -> ENOMEM'
expect_equal 1 "$(grep -c ENOMEM "$words")"
expect_equal "$(grep -c . <<<"$told")" "$(($(grep -c '^H[CD]C 0x' "$journal") + 1))"

# The requests of the record are those of the journal; its commands come where they were given.
expect_equal "$(grep '^H[CD]C 0x' "$journal")" "$(grep -v '^>' "$record" | sed 's/ = .*//')"
expect_equal '> seed 1
> set commands=avail_cmd var_get var_set' "$(head -n 2 "$record")"
expect_equal '> connect 192.0.2.77
> fail 30979 5
> set tag.text=desk 2' "$(grep '^>' "$record" | tail -n 3)"
grep -qx '> set context.cur_shape_cache_size=260100' "$record"
grep -qxF 'HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 64 00 00 00' "$record"
