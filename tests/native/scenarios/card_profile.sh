# The simulated card takes what it offers and holds from a profile, shipped or a file, and from other options after it.
haldo-cardsim run --session 192.0.2.99 --context hoip_enable=0 --profile client-sc -- \
    sh -c 'haldoctl capabilities && haldoctl session show' >"$output"
wait_line "$output" 'client.is_client_sc  *yes'
wait_line "$output" 'client.hoip  *no'
wait_line "$output" 'peer  *192.0.2.99'

cat >"$here/own.profile" <<'END'
# a card of our own
readable = sess_stat conn_port
context.cur_shape_fadeout_enable = 7
port = 4711
END
haldo-cardsim run --profile "$here/own.profile" sh -c 'haldoctl capabilities && haldoctl port' >"$output"
wait_line "$output" 'firmware.sess_stat_get  *yes'
wait_line "$output" 'firmware.link_info_get  *no'
wait_line "$output" 'client.is_client_sc  *no'
wait_line "$output" 'port  4711'

# A profile that is wrong is refused like any other word.
echo 'port = all' >"$here/own.profile"
result=0
haldo-cardsim --profile "$here/own.profile" >"$output" 2>&1 || result=$?
expect_equal 2 "$result"
expect_file "$output" <<END
haldo-cardsim: --profile: $here/own.profile:1: 'all' is not a number of 32 bits
Try 'haldo-cardsim --help'.
END

# Every one that ships.
while read -r profile peer line; do
    haldo-cardsim run --profile "$profile" haldo-cardsim ctl state >"$output"
    wait_line "$output" "    \"peer\": \"$peer\""
    wait_line "$output" "    $line"
done <<'END'
full 192.0.2.77 "haldo_kmp_1_supported": 1,
minimal-firmware 192.0.2.77 "haldo_kmp_1_supported": 0,
client-sc 192.0.2.81 "1": "1920x1080+2560+180",
client-idle-hide 192.0.2.82 "idle_hide": 30,
brokered 192.0.2.90 "text": "brokered desk"
END

# Installed it finds them in its share; without that it knows none.
mkdir -p "$here/usr/bin" "$here/usr/share/haldo-cardsim"
cp "$build/cardsim/haldo-cardsim" "$here/usr/bin"
PATH=$here/usr/bin:$PATH
result=0
haldo-cardsim --profile full >"$output" 2>&1 || result=$?
expect_equal 2 "$result"
expect_file "$output" <<END
haldo-cardsim: --profile: 'full' is not a profile; a file's name has a '/'
Try 'haldo-cardsim --help'.
END
cp "$build/cardsim/profiles/full.profile" "$here/usr/share/haldo-cardsim"
haldo-cardsim run --profile full haldo-cardsim ctl state >"$output"
wait_line "$output" '    "peer": "192.0.2.77"'
