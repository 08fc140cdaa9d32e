# The simulated card serves clients at once: the daemon's link stays as it is while others come, ask and go.
configure
start_card
chmod 666 "${nodes[@]}"

# A second card finds the nodes taken, and does not disturb the first.
result=0
haldo-cardsim --journal "$journal" 2>"$output" || result=$?
expect_equal 1 "$result"
expect_file "$output" <<<'haldo-cardsim: /dev/haldo_host0 exists already: another card has it'
start_daemon
expect_events <<<"$link_constructed"
wait_event 'agent root *'
times() { grep -cx "$1" "$journal" || true; }

# One of three waits for the reply to its first request; the other two come, get all of theirs, and go.
haldo-cardsim ctl delay HMI_AVAIL_CMD 3600000 1
clients=()
su alice -c "/opt/haldo/bin/haldoctl imaging show" >"$here/late" &
late=$!
wait_event 'HCC 0x7801 *'
for client in 1 2; do
    su alice -c "/opt/haldo/bin/haldoctl imaging show" >"$here/client$client" &
    clients+=($!)
done
wait "${clients[@]}"
expect_equal "$(dateless "$here/client1")" "$(dateless "$here/client2")"
[ -s "$here/client1" ]
expect_present /proc/"$late"
expect_equal 4 "$(times 'HDC open')"
two_are_closed() { [ "$(times 'HDC release')" = 2 ]; }
wait_until two_are_closed

# The daemon ends its own link in order meanwhile.
interrupt INT
wait_event 'HDC 0x7911 *'
wait_event 'HDC 0x7901 *'
expect_present /proc/"$late"

# One that is killed while it waits is gone at once; the card serves on.
haldo-cardsim ctl delay HMI_AVAIL_CMD 3600000 1
haldoctl imaging show >"$output" &
killed=$!
four_have_asked() { [ "$(times 'HCC 0x7801 .*')" = 5 ]; }
wait_until four_have_asked
kill -KILL "$killed"
expect_gone "$killed"
wait "$killed" || true
su alice -c "/opt/haldo/bin/haldoctl imaging show" >"$here/client3"
expect_equal "$(dateless "$here/client1")" "$(dateless "$here/client3")"
expect_present /proc/"$late"

# The late one's reply comes when the card ends, and it finds nothing offered then.
kill %1
wait %1
result=0
wait "$late" || result=$?
expect_equal 3 "$result"
expect_absent "${nodes[@]}"
