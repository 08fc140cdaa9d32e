#!/bin/bash
# story.sh [--bold]: run in the guest by ./demo; what the daemon does in a working day, in words between its own log
# lines.
set -u
here=/run/guest
log=/var/log/haldo/haldohostsw.0.log
mkdir -p $here
: >/run/utmp
: >$here/journal
chmod 666 $here/journal
mkfifo -m 666 $here/agent
echo XAUTHORITY=/run/login-screen/authority >$here/xauthority

# shellcheck source=tests/guest/story_card.sh
. "$(dirname "${BASH_SOURCE[0]}")/story_card.sh"

# until_line PATTERN: waits for a line of the log that has come since the last call, and shows the new ones up to it.
# Of the debug lines only those are shown that tell the story.
shown=0
until_line() {
    local found=""
    for _ in $(seq 600); do
        found=$(tail -n "+$((shown + 1))" $log 2>/dev/null | grep -n -m 1 -E "$1") && break
        sleep 0.1
    done
    if [ -z "$found" ]; then
        echo "demo: no line '$1' came" >&2
        exit 1
    fi
    tail -n "+$((shown + 1))" $log | head -n "${found%%:*}" |
        grep -E 'd\[[CEI]\]|Executing|is logged in' | sed 's/^/    /'
    shown=$((shown + ${found%%:*}))
}

agent_ends() { echo "$*" >$here/agent; }

say "A card is plugged in (a simulated one, behind two real device nodes):"
haldo-cardsim --words $here/card | sed 's/^/    /' &
for _ in $(seq 100); do
    [ -c /dev/haldo_host0 ] && [ -c /dev/haldo_host1 ] && break
    sleep 0.1
done
sleep 0.2
stat -c '    %A %U %n' /dev/haldo_host?

cat >/etc/haldohostswd.conf <<'END'
DaemonLogLevel=4
DaemonXAuthDelay=1
HostSWLoginStartDelay=2
HostSWPath=/opt/haldo/bin
END
say "The configuration, /etc/haldohostswd.conf:"
sed 's/^/    /' /etc/haldohostswd.conf

say "haldohostswd is started. It opens the card and reads what the firmware offers before anything else, tells its
version, and detaches:"
haldohostswd | sed 's/^/    /'
printf '    the starting process ended with status %s; the lock file names the daemon: %s\n' \
    "${PIPESTATUS[0]}" "$(cat /run/haldohostswd.pid)"
echo "    the card saw:"
shown card_saw $here/card
daemon=$(cat /run/haldohostswd.pid)

say "From here on it logs to $log,
its configuration first, and again on the first pass. Nobody is logged in yet, so it runs the agent as root, with the
X authority file that the lookup program names: the agent serves the login screen."
until_line 'Executing'

say "alice logs in on the X display :0. The agent of the login screen ends, and the next pass starts one for her,
through su, with her X authority file and the longer wait of a login:"
guest-utmp login alice :0
echo XAUTHORITY=/home/alice/.Xauthority >$here/xauthority
shown who -u
agent_ends exit 0
until_line 'Executing'

say "Her agent crashes (SIGSEGV). It is started again a second later:"
agent_ends kill -SEGV
until_line 'Executing'

say "The administrator adds HostSWOptions=-verbose to the configuration. No restart, no signal: the next pass has it."
echo 'HostSWOptions=-verbose' >>/etc/haldohostswd.conf
agent_ends exit 0
until_line 'Executing'

say "Beside the daemon, haldoctl talks to the card. A client connects, and gets an arrow for a cursor:"
client_comes /out/client.png

say "alice logs out. The agent serves the login screen as root again:"
guest-utmp logout :0
echo XAUTHORITY=/run/login-screen/authority >$here/xauthority
agent_ends exit 0
until_line 'Executing'

say "The agent's command is interrupted (SIGINT to the daemon's process group, as Ctrl-C would). That ends the daemon,
in order: absolute cursor reports, the path to the driver closed, then both nodes:"
kill -INT -- "-$daemon"
until_line 'Terminated'
for _ in $(seq 600); do
    [ -d "/proc/$daemon" ] || break
    sleep 0.1
done
sleep 0.3

say "What the card saw from beginning to end, in words:"
card_saw $here/card

say "And whom the launcher ran for, with which arguments:"
grep ^launcher $here/journal | sed 's/^/    /'

say "That was all. The guest ends here, and nothing of it is left on this machine."
