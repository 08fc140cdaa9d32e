# haldoctl's command line without card or configuration: help, version, what is wrong with it, and where output goes.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

usage_error haldoctl "'foo' is not a command of 'haldoctl'" foo
usage_error haldoctl "'a\\xC2\\x9B2J' is not a command of 'haldoctl'" $'a\xC2\x9B2J'
usage_error haldoctl "'é' is not a command of 'haldoctl'" é
for word in --json=false --verbose=x --verbose=-5; do
    usage_error haldoctl "${word%=*} takes no value" "$word" status
done
usage_error 'haldoctl session watch' '--period needs a value' session watch --period
usage_error 'haldoctl tag set' '--flags needs a value' tag set --flags=
usage_error 'haldoctl tag set' "'foo' is one word too many for 'haldoctl tag set'" tag set -- --json foo
usage_error 'haldoctl metrics' "--output: '' is not the name of a file" metrics --output ''
usage_error 'haldoctl topology show' "--svg: '' is not the name of a file" topology show --svg ''
usage_error haldoctl "'--foo' is not an option of 'haldoctl'" --foo session show
usage_error 'haldoctl session' "'foo' is not a command of 'haldoctl session'" session foo
usage_error 'haldoctl session' "'haldoctl session' needs a command: show, watch, disconnect, host-state" session
usage_error 'haldoctl session' "'--version' is not an option of 'haldoctl session'" session --version
usage_error 'haldoctl session host-state' "'put' is not a command of 'haldoctl session host-state'" session host-state put
usage_error 'haldoctl session show' "'more' is one word too many for 'haldoctl session show'" session show more
usage_error 'haldoctl session show' "'watch' is one word too many for 'haldoctl session show'" session show watch
usage_error 'haldoctl session show' "'-x' is not an option of 'haldoctl session show'" session show -x
usage_error 'haldoctl session show' "'a\\x0Ab' is one word too many for 'haldoctl session show'" session show $'a\nb'
for word in abc nan inf 0 0.001 3601 1x ''; do
    usage_error 'haldoctl session watch' "--period: '$word' is not a number from 0.01 to 3600" session watch --period "$word"
done
for word in 9 -1 abc 0x 0x-1 0x9 1.5 '' ' 1' 99999999999999999999 true; do
    usage_error 'haldoctl session host-state set' "STATE: '$word' is not a number from 0 to 8" \
        session host-state set -- "$word"
done
usage_error 'haldoctl session host-state set' 'STATE is required' session host-state set
usage_error 'haldoctl session disconnect' "--reason: '4294967296' is not a number from 0 to 4294967295" \
    session disconnect --reason 4294967296
usage_error 'haldoctl tag set' "'haldoctl tag set' needs TAG or --flags" tag set
long=$(printf '%0241d' 0)
usage_error 'haldoctl tag set' "TAG: '$long' is longer than 240 bytes" tag set "$long"
usage_error 'haldoctl tag set' "--flags: '256' is not a number from 0 to 255" tag set --flags 256
usage_error 'haldoctl wol set' "'haldoctl wol set' needs --mac, --ip or --flags" wol set -v
usage_error 'haldoctl wol set' "--mac: '123456789012345678901' is longer than 20 bytes" wol set --mac 123456789012345678901
usage_error 'haldoctl wol set' "--ip: '12345678901234567' is longer than 16 bytes" wol set --ip 12345678901234567
usage_error 'haldoctl imaging set' "PREFERENCE: '101' is not a number from 0 to 100" imaging set 101
usage_error 'haldoctl imaging cache' "PREFERENCE: '101' is not a number from 0 to 100" imaging cache 101
usage_error 'haldoctl cursor speed set' "SPEED: '9' is not a number from 10 to 250" cursor speed set 9
usage_error 'haldoctl cursor speed set' "SPEED: '251' is not a number from 10 to 250" cursor speed set 251
usage_error 'haldoctl cursor move' "Y: '65536' is not a number from 0 to 65535" cursor move 0 65536
usage_error 'haldoctl cursor move' '--if-new excludes --time-stamp' cursor move 0 0 --if-new --time-stamp 1
usage_error 'haldoctl cursor shape' '--color excludes --mono' cursor shape x.png --color --mono
usage_error 'haldoctl kmp driver-mode cursor' 'MODE: some not in {absolute,relative}' kmp driver-mode cursor some
for word in 1920x1080 1920x1080+0 x1080+0+0 1920x1080+0+0/ 1920x1080+0+0/x 1920x1080+0+0:1 65536x1+0+0 '' none \
    1x1+2147483648+0 1x1-2147483649+0 1920x1080+0+0+0 1x1++0+0 0x64x0x32+0+0 1x1+0+0/4294967296 1x1+0+0/0; do
    usage_error 'haldoctl topology send' "DISPLAY: '$word' is not WIDTHxHEIGHT+X+Y in decimal, with /ROTATION unless it is 0, or -" topology send "$word"
done
usage_error 'haldoctl topology send' "'1x1+0+0' is one word too many for 'haldoctl topology send'" \
    topology send - - - - 1x1+0+0
usage_error 'haldoctl topology send' "'-' has no size: --primary WIDTHxHEIGHT is needed" topology send -
long=$(printf '%060000d' 0)
usage_error 'haldoctl topology send' "DISPLAY: '${long}x1+0+0' is not WIDTHxHEIGHT+X+Y in decimal, with /ROTATION unless it is 0, or -" \
    topology send "${long}x1+0+0"
usage_error 'haldoctl topology send' "--primary: '${long}x1' is not WIDTHxHEIGHT" topology send - --primary "${long}x1"
for word in 0x5 5x0 5 x5 5x 5xx5 2147483648x1; do
    usage_error 'haldoctl topology send' "--primary: '$word' is not WIDTHxHEIGHT" topology send - --primary "$word"
done
golden usage_command 2 session foo
golden usage_option 2 session show --foo
golden usage_value 2 cursor speed set 1

haldoctl --version >"$results"
expect_equal "haldoctl $version" "$(cat "$results")"
# Help at every level, as the names that it lists lead to.
levels=0
visit() {
    local name names
    ((++levels))
    ctl 0 "$@" --help
    cp "$results" "$here/help"
    ctl 0 "$@" -h
    expect_equal "$(cat "$here/help")" "$(cat "$results")"
    grep -q "^Usage: haldoctl${*:+ $*} \[OPTIONS\]" "$results" || fail "the help of $* is another one: $(cat "$results")"
    mapfile -t names < <(sed -n '/^Commands:$/,$s/^  \([a-z][a-z-]*\) .*/\1/p' "$results")
    for name in "${names[@]}"; do
        visit "$@" "$name"
    done
}
visit
((levels >= 60)) || fail "only $levels levels have help"

# Colours are for terminals whose users have nothing against them.
cd "$here" || exit
printf '%s\n' HostSWPath=/ LogFileSize=0 Colour=red >own.conf
said_on_terminal() { script -qc "haldoctl check-config own.conf" /dev/null | tr -d '\r'; }
plain='own.conf:2: LogFileSize: error: 0 is out of range; allowed: MiB, 1 or more
own.conf:3: Colour: warning: unknown key, the line is ignored'
coloured=${plain/error/$'\e[31merror\e[0m'}
coloured=${coloured/warning/$'\e[33mwarning\e[0m'}
expect_equal "$coloured" "$(said_on_terminal)"
expect_equal "$coloured" "$(NO_COLOR='' said_on_terminal)"
expect_equal "$plain" "$(NO_COLOR=1 said_on_terminal)"
ctl 1 check-config own.conf
expect_equal "$plain" "$(cat "$results")"
ctl 1 check-config /dev/zero
expect_equal 'haldoctl: /dev/zero: longer than 64 MiB' "$(cat "$messages")"

# Where output cannot go it is no success; what is asked for is then said on standard error.
status=0
haldoctl --help >/dev/full 2>"$messages" || status=$?
expect_equal '1 haldoctl: standard output: No space left on device' "$status $(cat "$messages")"
status=0
haldoctl --help 2>"$messages" >&- || status=$?
expect_equal '1 haldoctl: standard output: Bad file descriptor' "$status $(cat "$messages")"
status=0
haldoctl session show --json 2>"$messages" >/dev/full || status=$?
expect_equal '4 haldoctl: /dev/haldo_host0: No such file or directory' "$status $(cat "$messages")"
