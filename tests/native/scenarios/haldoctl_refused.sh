# haldoctl against a card that fails requests: status 1.
# card: --session 192.0.2.77 --readable-map 0x3FEF
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

for code in 0x7804 0x7805 0x7821 0x7840 0x7841 0x7842 0x7843 0x7845 0x7846 0x7847 0x7902 0x7903 0x7904 0x7906 0x7907 \
    0x7908 0x7909 0x790A 0x790B 0x790C 0x790D 0x790E 0x790F 0x7911 0x7912 0x7913; do
    haldo-cardsim ctl fail "$code" EIO
done
base64 -d >"$here/small.png" <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAYAAABytg0kAAAAFUlEQVR42mNgYPjP8B8IgBSIxdAAAE1FCHmykEBGAAAAAElFTkSuQmCC
cd "$here" || exit
for command in 'session host-state get' 'session host-state set 1' 'tag get' 'local-info' 'imaging show' \
    'imaging set 1' 'imaging cache 1' 'topology show' 'topology async' 'topology cached' 'topology send 1x1+0+0' \
    'cursor enable' 'cursor disable' 'cursor show' 'cursor hide' 'cursor move 1 2' 'cursor speed get' \
    'cursor speed set 10' 'cursor idle-hide 1' 'cursor slot 1' 'cursor shape small.png' 'keyboard repeat get' \
    'keyboard repeat set 1 2' 'tablet process-new' 'tablet host-ready' 'kmp open' 'kmp close' 'kmp status' \
    'kmp driver-mode cursor absolute' 'kmp driver-mode tablet on'; do
    name=${command%% [0-9]*}
    name=${name%% small.png}
    # shellcheck disable=SC2086 # words
    golden "refused_${name//[ -]/_}" 1 $command
done
golden refused_cursor_move_if_new 1 cursor move 1 2 --if-new
ctl 1 -v kmp open
expect_log hdc_open E 'VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(OPEN) failed (ret=-500)' "$messages"
expect_equal 'haldoctl: the card refused to open the KMP path' "$(tail -n 1 "$messages")"

# Requests of these codes also construct the link; the NTH of them fails.
refused_at() { # CODE NTH COMMAND...
    local name=${*:3}
    name=${name%% [0-9-]*}
    haldo-cardsim ctl fail "$1" EIO "$2"
    golden "refused_${name//[ -]/_}" 1 "${@:3}"
}
haldo-cardsim ctl set readable=all
for command in 'session show' 'session watch' net port 'stats show'; do
    # shellcheck disable=SC2086 # words
    refused_at HMI_VAR_GET 2 $command
done
haldo-cardsim ctl fail HMI_VAR_GET EIO 3
golden refused_net_ipv4 1 net
refused_at HMI_VAR_GET 3 wol show # behind the tag
haldo-cardsim ctl fail HMI_VAR_SET EIO 3 # without a reason, too
refused_at HMI_VAR_SET 2 session disconnect
for command in 'stats reset' 'wol set --flags 1' 'tag set --flags 1' 'unicode 1'; do
    # shellcheck disable=SC2086 # words
    refused_at HMI_VAR_SET 2 $command
done

ctl 0 session disconnect
golden refused_topology_send_no_session 1 topology send 1x1+0+0
ctl 1 topology show --svg /nonexistent/layout.svg
expect_equal 'haldoctl: the card refused the display layout' "$(cat "$messages")"
