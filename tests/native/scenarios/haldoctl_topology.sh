# haldoctl topology against the card: layouts shown, drawn and sent.
# card: --session 192.0.2.77
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

session='HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> 0'

golden topology_show 0 topology show --message 0x102 --reserved 3
sends <<<'HCC 0x7840 HCC_IOCTL_IMG_DISP_TOPO_GET 02 01 00 00 03 00 00 00 (+64 zero) -> 0'
golden topology_async 0 topology async
sends <<<'HCC 0x7842 HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET 00 00 00 00 (+72 zero) -> 0'
golden topology_cached 0 topology cached
sends <<<'HCC 0x7843 HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET 10 00 00 00 (+268 zero) -> 0'

# An entry without a size whose rate is a mark is no failure; the last one decides.
haldo-cardsim ctl set rate.1=255
golden topology_cached_not_active 0 topology cached
haldo-cardsim ctl set rate.2=254
golden topology_cached_no_caching 0 topology cached
wait_event 'HCC release'
wait_event 'HCC release'

golden topology_send 0 topology send 1920x1080+0+0 - 1280x1024-1280+56/3 --twinview -1
wait_event "$session"
wait_event 'HCC 0x7841 HCC_IOCTL_IMG_DISP_TOPO_SEND 0C 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 80 07 38 04 00 *'
wait_event 'HCC 0x7910 HDC_IOCTL_KMP_DISP_TOPO_SET FF FF FF FF 02 00 00 00 00 FB FF FF 7F 07 00 00 00 00 00 00 37 04 *'
expect_events <<END
HDC release
HCC release
END
prints topology show --svg "$here/layout.svg" <<END
message              0
reserved             0
displays.0.index     0
displays.0.geometry  1920x1080+0+0
displays.0.x         0
displays.0.y         0
displays.0.width     1920
displays.0.height    1080
displays.0.rotation  0
displays.1.index     2
displays.1.geometry  1280x1024-1280+56/3
displays.1.x         -1280
displays.1.y         56
displays.1.width     1280
displays.1.height    1024
displays.1.rotation  3
                                +----------------------------------------------+
+-------------------------------+ 0                                            |
| 2                             | 1920x1080                                    |
| 1280x1024                     |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
|                               |                                              |
+-------------------------------+----------------------------------------------+
END
expect_file "$here/layout.svg" <<'END'
<svg xmlns="http://www.w3.org/2000/svg" viewBox="-1288 -8 3216 1096">
  <rect x="0" y="0" width="1920" height="1080" fill="#dde4ee" stroke="#334455" stroke-width="8"/>
  <text x="960" y="540" font-family="sans-serif" font-size="135" text-anchor="middle" dominant-baseline="middle">0: 1920x1080</text>
  <rect x="-1280" y="56" width="1280" height="1024" fill="#dde4ee" stroke="#334455" stroke-width="8"/>
  <text x="-640" y="568" font-family="sans-serif" font-size="128" text-anchor="middle" dominant-baseline="middle">2: 1280x1024</text>
</svg>
END

# Each reads what the other prints.
displays=(1920x1080+0+0 - 1280x1024-1280+56/3 1x65535+2147483647-2147483648/4294967295)
displays_of_card() { haldo-cardsim ctl state | sed -nE '/^  "display": /,/\}/s/.*: "(.*)",?$/\1/p'; }
for index in "${!displays[@]}"; do
    haldo-cardsim ctl set "display.$index=${displays[index]}"
done
mapfile -t printed < <(displays_of_card)
expect_equal "${displays[*]}" "${printed[*]}"
ctl 0 topology send "${printed[@]}"
expect_equal "${displays[*]}" "$(displays_of_card | paste -sd ' ')"
ctl 0 topology show
mapfile -t printed < <(sed -nE 's/^displays.*(index|geometry) +//p' "$results")
expect_equal "0 ${displays[0]} 2 ${displays[2]} 3 ${displays[3]}" "${printed[*]}"
for at in 0 2 4; do
    haldo-cardsim ctl set "display.${printed[at]}=${printed[at + 1]}"
done
expect_equal "${displays[*]}" "$(displays_of_card | paste -sd ' ')"

# drawn_on COLUMNS <<END: the drawing on a terminal that is so wide
drawn_on() {
    script -qec "stty cols $1; haldoctl topology show" /dev/null </dev/null | tr -d '\r' | grep '^[^a-z]' >"$results"
    expect_file "$results"
}

# A primary display of its own.
ctl 0 topology send 100x50+0-50 100x50+100-50 200x50+0+0 --primary -5x16
drawn_on 40 <<'END'
+-------------------+------------------+
| 0                 | 1                |
| 100x50            | 100x50           |
|                   |                  |
|                   |                  |
+-------------------+------------------+
| 2                                    |
| 200x50                               |
|                                      |
|                                      |
+--------------------------------------+
END

# A word has room up to the frame. The width of a terminal can be unknown, or less than the narrowest drawing.
ctl 0 topology send 5x6+0+0 4x6+5+0 2x6+9+0 68x4+11+0
drawn_on 0 <<'END'
+----+---+-+-------------------------------------------------------------------+
| 0  | 1 | | 3                                                                 |
| 5x6|   | +-------------------------------------------------------------------+
+----+---+-+
END
ctl 0 topology send 200x100+0+0
drawn_on 1 <<'END'
+------------------+
| 0                |
| 200x100          |
|                  |
|                  |
+------------------+
END
# No drawing has more than 40 lines.
ctl 0 topology send 1080x1920+0+0
drawn_on 200 <<'END'
+-------------------------------------------+
| 0                                         |
| 1080x1920                                 |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
|                                           |
+-------------------------------------------+
END

# At the limits of their types, a line, and none at all.
ctl 0 topology send 65535x65535+2147483647+2147483647 1x1-2147483648-2147483648 0x9+0+0 --primary 1x1
ctl 0 topology show --svg "$here/layout.svg"
expect_equal '<svg xmlns="http://www.w3.org/2000/svg" viewBox="-2158221230 -2158221230 4316507994 4316507994">' \
    "$(head -n 1 "$here/layout.svg")"
golden topology_send_none 0 topology send - --primary 1x1
golden topology_show_none 0 topology show
prints topology show --svg "$here/layout.svg" <<END
message   0
reserved  0
displays  -
END
expect_file "$here/layout.svg" <<END
<svg xmlns="http://www.w3.org/2000/svg" viewBox="-1 -1 3 3">
</svg>
END
