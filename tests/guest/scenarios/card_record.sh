# The simulated card tells every request in words, also one that is too long to be carried, and records all but that.
words="$here/words"
record="$here/record"
start_card --words "$words" --record "$record" --session 192.0.2.77 --fail 0x7903=EIO --context cur_shape_cache_size=131052
chmod 666 "${nodes[@]}"
haldo-cardsim ctl set tag.text=desk 2
haldo-cardsim ctl state >/dev/null
su alice -c "/opt/haldo/bin/guest-link kmp" >"$output"
su alice -c "/opt/haldo/bin/guest-link shapes" >"$output"

# Without their times, which each line begins with.
[ -s "$words" ]
expect_equal 0 "$(grep -cvE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} H[CD]C ' "$words" || true)"
told=$(cut -d ' ' -f 3- "$words")
expect_told() { grep -qxF -- "$1" <<<"$told" || differs "not told in words" "$1" "$told"; }
expect_told 'HCC HMI_AVAIL_CMD -> 0 commands=["avail_cmd","var_get","var_set"]'
expect_told 'HCC KMP_HDC_COMM_CTRL channel=1 open=1 -> 0'
expect_told 'HDC KMP_FEAT_STAT_GET -> EIO'
expect_told 'HDC KMP_CUR_SPD_GET -> 0 value=100'
expect_told 'HDC KMP_CUR_SHAPE_BMP length=131073 -> ENOMEM'
expect_equal 1 "$(grep -c ENOMEM "$words")"
expect_equal "$(grep -c . <<<"$told")" "$(($(grep -c '^H[CD]C 0x' "$journal") + 1))"

# The requests of the record are those of the journal; its commands come where they were given.
expect_equal "$(grep '^H[CD]C 0x' "$journal")" "$(grep -v '^>' "$record" | sed 's/ = .*//')"
expect_equal '> seed 1
> set commands=avail_cmd var_get var_set' "$(head -n 2 "$record")"
expect_equal '> connect 192.0.2.77
> fail 30979 5
> set tag.text=desk 2' "$(grep '^>' "$record" | tail -n 3)"
grep -qx '> set context.cur_shape_cache_size=131052' "$record"
grep -qxF 'HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 64 00 00 00' "$record"

# A file that cannot be written is said before there are nodes.
kill %1
wait %1
result=0
haldo-cardsim --words /nonexistent/words 2>"$output" || result=$?
expect_equal 1 "$result"
expect_file "$output" <<<"haldo-cardsim: words '/nonexistent/words': No such file or directory"
result=0
haldo-cardsim --control /nonexistent/socket 2>"$output" || result=$?
expect_equal 1 "$result"
expect_file "$output" <<<'haldo-cardsim: control socket: /nonexistent/socket: No such file or directory'
# A card that does not start leaves the record as it is.
cp "$record" "$here/before"
haldo-cardsim --record "$record" --control /nonexistent/socket 2>"$output" || true
haldo-cardsim --record "$record" --words /nonexistent/words 2>"$output" || true
cmp "$record" "$here/before"
expect_absent "${nodes[@]}"
