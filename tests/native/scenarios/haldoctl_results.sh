# haldoctl's commands against the card: what each sends, and its result as a document, and of some as text.
# card: --session 192.0.2.77
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

get='HCC 0x7802 HCC_IOCTL_HMI_VAR_GET'
set='HCC 0x7803 HCC_IOCTL_HMI_VAR_SET'
context='HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0'

golden capabilities 0 capabilities
sends <<END
$get 04 00 00 00 (+248 zero) -> 0
$get 04 00 00 00 (+248 zero) -> 0
$context
END

# Each predicate by the bit of its own map; a tag that cannot be read does not stand in the way of wake-on-LAN.
haldo-cardsim ctl set readable=0x2806
haldo-cardsim ctl set writable=0x1510
golden some_capabilities 0 capabilities
sends <<END
$get 04 00 00 00 (+248 zero) -> EOPNOTSUPP
$context
END
haldo-cardsim ctl set readable=all
haldo-cardsim ctl set writable=all

golden completions 0 completions bash

golden session_show 0 session show
sends <<<"$get 03 00 00 00 (+248 zero) -> 0"
prints session show <<END
connected    yes
peer         192.0.2.77
transitions  1
flags        1
END
sends <<<"$get 03 00 00 00 (+248 zero) -> 0"
golden session_host_state_set 0 session host-state set 0x5
sends <<<'HCC 0x7805 HCC_IOCTL_HMI_LOCAL_VAR_SET 00 00 00 00 05 00 00 00 -> 0'
golden session_host_state_get 0 session host-state get
sends <<<'HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 00 00 00 00 00 00 00 00 -> 0'

golden tag_get 0 tag get
sends <<<"$get 04 00 00 00 (+248 zero) -> 0"
golden tag_set 0 tag set 'desk "2"'
sends <<END
$get 04 00 00 00 (+248 zero) -> 0
$set 04 00 00 00 00 00 00 00 64 65 73 6B 20 22 32 22 (+236 zero) -> 0
END
golden tag_set_flags 0 tag set --flags 0xF1
sends <<END
$get 04 00 00 00 (+248 zero) -> 0
$set 04 00 00 00 F1 00 00 00 64 65 73 6B 20 22 32 22 (+236 zero) -> 0
END
# The view is brokered now.
golden wol_show_brokered 3 wol show
golden wol_set_brokered 3 wol set --flags 1
ctl 0 tag set --flags 0 $'a\e[2J\tb'
prints tag get <<'END'
text      a\x1B[2J\x09b
brokered  no
flags     0
END
ctl 0 tag set $'\xFF'
golden tag_get_no_text 0 tag get
ctl 0 tag set ''
prints tag get <<END
text      -
brokered  no
flags     0
END
wait_event 'HCC release'
ctl 0 tag set "$(printf '%0240d' 7)"
prints tag get <<END
text      $(printf '%0240d' 7)
brokered  no
flags     0
END

golden net 0 net
wait_event "$get 01 00 00 00 (+248 zero) -> 0"
expect_events <<END
$get 02 00 00 00 (+248 zero) -> 0
HDC release
HCC release
END
prints net <<END
link_info  1 1000 2 1500 33554432 7 86400 3
ipv4       1 3221225994 4294967040 3221225985 3221225986 3221225987 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20
END
wait_event 'HCC release'
golden port 0 port
sends <<<"$get 05 00 00 00 (+248 zero) -> 0"
golden stats_show 0 stats show
sends <<<"$get 06 00 00 00 (+248 zero) -> 0"
golden stats_reset 0 stats reset
sends <<<"$set 06 00 00 00 (+248 zero) -> 0"
golden unicode 0 unicode 2
sends <<<"$set 0C 00 00 00 02 00 00 00 (+244 zero) -> 0"
golden local_info 0 local-info
sends <<<'HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 01 00 00 00 00 00 00 00 -> 0'

golden wol_show 0 wol show
sends <<END
$get 04 00 00 00 (+248 zero) -> 0
$get 08 00 00 00 (+248 zero) -> 0
END
golden wol_set 0 wol set --mac 02:00:00:00:00:FE --flags 3
golden wol_set_ip 0 wol set --ip 192.0.2.254
wait_event "$set 08 00 00 00 03 00 00 00 30 32 3A 30 30 3A 30 30 3A 30 30 3A 30 30 3A 46 45 00 00 00 31 39 32 2E *"
wait_event 'HCC release'
wait_event 'HCC release'

# Of the two parts of net each is shown without the other.
for part in link_info ipv4_cfg; do
    haldo-cardsim ctl set "readable=avail_var sess_tag $part"
    golden "net_$part" 0 net
done
haldo-cardsim ctl set readable=all
wait_event "$get 02 00 00 00 (+248 zero) -> 0"
wait_event 'HCC release'

golden imaging_show 0 imaging show
sends <<<'HCC 0x7846 HCC_IOCTL_IMG_USER_CFG_REQ_GET 17 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 -> 0'
golden imaging_set 0 imaging set 100
sends <<<'HCC 0x7845 HCC_IOCTL_IMG_USER_CFG_SET 16 00 00 00 00 00 00 00 64 00 00 00 00 00 00 00 -> 0'
golden imaging_cache 0 imaging cache 0
sends <<<'HCC 0x7847 HCC_IOCTL_IMG_USER_CFG_CACHE_SET 18 00 00 00 00 00 00 00 00 00 00 00 -> 0'

golden kmp_open 0 kmp open
sends <<END
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> 0
HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0
END
golden kmp_close 0 kmp close
sends <<END
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
END
golden kmp_context 0 kmp context
sends <<<"$context"
golden kmp_status 0 kmp status
sends <<END
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0
HDC 0x790D HDC_IOCTL_KMP_LAST_STAT_GET 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 -> 0
END
golden kmp_driver_mode_cursor 0 kmp driver-mode cursor relative
sends <<<'HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 01 00 00 00 -> 0'
golden kmp_driver_mode_tablet 0 kmp driver-mode tablet off
sends <<<'HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 01 00 00 00 00 00 00 00 -> 0'
golden keyboard_repeat_get 0 keyboard repeat get
sends <<END
$context
HDC 0x790E HDC_IOCTL_KMP_KBD_REPEAT_GET 00 00 00 00 00 00 00 00 00 00 00 00 -> 0
END
golden keyboard_repeat_set 0 keyboard repeat set 250 40
sends <<<'HDC 0x7904 HDC_IOCTL_KMP_KBD_REPEAT 06 00 0A 00 00 00 00 00 28 00 FA 00 -> 0'
golden tablet_process_new 0 tablet process-new
sends <<<'HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0'
golden tablet_host_ready 0 tablet host-ready
sends <<<'HDC 0x7913 HDC_IOCTL_KMP_HOIP_HOST_RDY -> 0'

golden cursor_enable 0 cursor enable
sends <<END
$context
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 01 00 00 00 -> 0
END
golden cursor_disable 0 cursor disable
sends <<END
$context
HDC 0x7902 HDC_IOCTL_KMP_FEAT_EN 00 00 0A 00 00 00 00 00 -> 0
END
golden cursor_show 0 cursor show --time-stamp 0x01020304
sends <<<'HDC 0x7909 VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS 08 00 0A 00 04 03 02 01 01 00 00 00 -> 0'
golden cursor_hide 0 cursor hide --time-stamp 5
sends <<<'HDC 0x7909 VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS 08 00 0A 00 05 00 00 00 00 00 00 00 -> 0'
golden cursor_move 0 cursor move 1919 0X437 --time-stamp 6
sends <<<'HDC 0x7908 VESK_HALDO_HDC_IOCTL_KMP_CUR_POS 05 00 0A 00 06 00 00 00 7F 07 37 04 -> 0'
golden cursor_move_if_new 0 cursor move 1 2 --if-new
sends <<<'HDC 0x790F VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW 01 00 02 00 -> 0'
golden cursor_speed_get 0 cursor speed get
sends <<END
$context
HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0
END
golden cursor_speed_set 0 cursor speed set 250
sends <<END
$context
HDC 0x790C HDC_IOCTL_KMP_CUR_SPD_SET 0F 00 0A 00 FA 00 00 00 -> 0
END
golden cursor_idle_hide 0 cursor idle-hide 30
sends <<END
$context
HDC 0x790A HDC_IOCTL_KMP_CUR_IDLE_HIDE 0D 00 0A 00 1E 00 00 00 -> 0
END
# Without a time stamp of the caller's it is the system's, which moves on.
ctl 0 cursor move 1 2
first=$(sed -n 's/^time_stamp *//p' "$results")
ctl 0 cursor show
second=$(sed -n 's/^time_stamp *//p' "$results")
((0 < first && first <= second)) || fail "the time stamps $first and $second"
ctl 0 cursor move 1 2 --if-new
expect_equal 'x           1
y           2
time_stamp  -' "$(cat "$results")"

usage_error 'haldoctl session show' "'-' is one word too many for 'haldoctl session show'" session show -

# The end of the session is the last: nothing is connected then.
wait_event '* VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW 01 00 02 00 -> 0'
wait_event 'HCC release'
golden session_disconnect 0 session disconnect --reason 5
sends <<<"$set 09 00 00 00 05 00 00 00 (+244 zero) -> 0"
haldo-cardsim ctl set writable=sess_link
golden session_disconnect_reasonless 0 session disconnect --reason 5
sends <<<"$set 03 00 00 00 (+248 zero) -> 0"
haldo-cardsim ctl set writable=all
golden session_show_none 0 session show

# The link's log is on standard error, and only what was asked for.
ctl 0 -v session -v show
expect_equal '' "$(cat "$messages")"
ctl 0 session show -vvv
expect_log cVESK_HALDO_LINK D 'successfully opened Haldo HCC object' "$messages"
expect_equal 'connected    no' "$(head -n 1 "$results")"
