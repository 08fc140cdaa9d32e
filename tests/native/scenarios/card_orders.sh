# What the simulated card is ordered while it runs is what the next requests get.
# card: --seed 7 --record $here/record --words $here/words
record=$here/record
words=$here/words
ctl() { haldo-cardsim ctl "$@"; }

# What clients that ask for the cursor's speed, one after the other, got.
ask_speed() {
    local before
    before=$(grep -c '^HDC 0x790B ' "$record" || true)
    for _ in 1 2; do
        haldoctl cursor speed get >"$output" 2>&1 || true
    done
    grep '^HDC 0x790B ' "$record" | tail -n "+$((before + 1))" | sed 's/.* -> //'
}
usual='0 = 00 00 00 00 FA 00 00 00'
ctl set driver.cursor_speed=250

ctl random KMP_CUR_SPD_GET 1
expect_equal "0 = AF C4 19 F6 43 D3 97 67
$usual" "$(ask_speed)"
ctl seed 5
ctl random 0x790B
expect_equal '0 = 63 CE EF BD E6 76 90 49
0 = 08 E4 E7 BE 9B 70 9E D0' "$(ask_speed)"
ctl normal 0x790B
ctl return KMP_CUR_SPD_GET 7 2
expect_equal "$usual
7 = 00 00 00 00 FA 00 00 00" "$(ask_speed)"
grep -q ' HDC KMP_CUR_SPD_GET -> 7 value=250$' "$words"
ctl fail KMP_CUR_SPD_GET EBUSY
ctl delay KMP_FEAT_EN 1
expect_equal 'EBUSY
EBUSY' "$(ask_speed)"
ctl normal
ctl state >"$output"
wait_line "$output" '  "orders": \[\],'
expect_equal "$usual
$usual" "$(ask_speed)"
expect_equal '> seed 7' "$(head -n 1 "$record")"
expect_equal '> random KMP_CUR_SPD_GET 1
> seed 5
> random 0x790B
> normal 0x790B
> return KMP_CUR_SPD_GET 7 2
> fail KMP_CUR_SPD_GET EBUSY
> delay KMP_FEAT_EN 1
> normal' "$(grep '^>' "$record" | grep -v '^> set' | tail -n +2)"

# A reply that is delayed comes, on either node, and not before its time: the client's next request is the next line.
: >"$words"
ctl delay KMP_FEAT_STAT_GET 300 1
ctl delay KMP_PRI_CTXT_GET 200 1
haldoctl kmp status >"$output"
haldoctl cursor speed get >"$output"
# waited NAME: the milliseconds from its first line to the line behind that
waited() {
    local line times=()
    mapfile -t times < <(grep -A 1 -m 1 " $1 " "$words" | cut -d ' ' -f 1,2)
    expect_equal 2 ${#times[@]}
    for line in 0 1; do
        times[line]=$(date -d "${times[line]}" +%s%3N)
    done
    echo $((times[1] - times[0]))
}
(($(waited KMP_FEAT_STAT_GET) >= 300)) || fail "$(cat "$words")"
(($(waited KMP_PRI_CTXT_GET) >= 200)) || fail "$(cat "$words")"

# The same while another client comes and goes.
ctl delay KMP_CUR_SPD_GET 200
ctl delay KMP_PRI_CTXT_GET 100
haldoctl cursor speed get >"$here/one" &
one=$!
haldoctl cursor speed get >"$here/other"
wait "$one"
expect_equal 'speed  250' "$(cat "$here/one")"
expect_equal 'speed  250' "$(cat "$here/other")"
