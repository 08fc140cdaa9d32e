# haldoctl against a card whose firmware and client offer nothing: status 3, and nothing is sent.
# card: --session 192.0.2.77 --readable-map 0 --writable-map 0 --context haldo_kmp_1_supported=0
# card: --context cur_shape_bmp_alpha=0 --context cur_speed_update_enable=0 --context cur_shape_fadeout_enable=0
# card: --context kbd_client_auto_repeat_supported=0 --context cur_shape_caches=0
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

for command in 'session show' 'session watch' 'session disconnect' 'net' 'port' 'stats show' 'stats reset' \
    'unicode 1' 'imaging show' 'imaging set 1' 'imaging cache 1' 'topology cached'; do
    name=${command%% [0-9]*}
    # shellcheck disable=SC2086 # words
    golden "not_offered_${name//[ -]/_}" 3 $command
    sends </dev/null
done
ctl 0 local-info # which no map offers
sends <<<'HCC 0x7804 HCC_IOCTL_HMI_LOCAL_VAR_GET 01 00 00 00 00 00 00 00 -> 0'
golden not_offered_wol_show 3 wol show
golden not_offered_wol_set 3 wol set --flags 1
golden not_offered_topology_send 3 topology send 1x1+0+0
golden not_offered_capabilities 0 capabilities
wait_event 'HCC 0x7822 *'
expect_events <<END
HDC release
HCC release
END
base64 -d >"$here/small.png" <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAYAAABytg0kAAAAFUlEQVR42mNgYPjP8B8IgBSIxdAAAE1FCHmykEBGAAAAAElFTkSuQmCC
cd "$here" || exit
for command in 'cursor enable' 'cursor disable' 'cursor speed get' 'cursor speed set 10' 'cursor idle-hide 1' \
    'cursor slot 0' 'keyboard repeat get' 'cursor shape --any-size small.png'; do
    name=${command%% [0-9]*}
    name=${name%% --*}
    # shellcheck disable=SC2086 # words
    golden "not_offered_${name//[ -]/_}" 3 $command
    sends <<<'HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 02 00 00 00 (+288 zero) -> 0'
done
# The tag is read before it is set, whatever is offered; the card refuses that.
golden refused_tag_set_unread 1 tag set x
