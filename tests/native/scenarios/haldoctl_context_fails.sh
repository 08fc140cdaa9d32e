# haldoctl against a card that does not tell the client's context, and lets the tag be read only; and files that cannot
# be written.
# card: --writable-map 0 --fail 0x7822 --fail 0x790D
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

golden refused_kmp_context 1 kmp context
ctl 1 cursor enable
expect_equal "haldoctl: the card refused the context of the session's client" "$(cat "$messages")"
golden no_context_capabilities 0 capabilities
golden refused_kmp_last_status 1 kmp status

golden topology_svg_nowhere 1 topology show --svg /nonexistent/layout.svg
golden topology_svg_full 1 topology show --svg /dev/full
golden not_offered_tag_set 3 tag set x
