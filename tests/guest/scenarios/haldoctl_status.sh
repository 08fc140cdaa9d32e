# haldoctl status: card, daemon and agent as far as they can be known, and why no agent runs.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

# Process ids and times differ from run to run.
haldoctl() {
    command haldoctl "$@" | sed -E 's/(process"?:? )[0-9]+/\142/; s/[0-9-]{10}T[0-9:]{8}\+0000/TIME/'
    return "${PIPESTATUS[0]}"
}
daemon_part() {
    ctl 0 status
    sed -n '/^Daemon$/,$p' "$results"
}
# no_agent_because REASON, in one line
no_agent_because() {
    expect_equal "No agent because $1" "$(daemon_part | sed -n '/No agent/,$p' | tr -s ' \n' ' ' | sed 's/^ //; s/ $//')"
}
as_alice() { setpriv --reuid alice --regid 1001 --init-groups haldoctl "$@"; }

# Neither card nor daemon nor user
configure
prints status <<'END'
Card
  /dev/haldo_host0  missing
  /dev/haldo_host1  missing
  Session           unknown: /dev/haldo_host0: No such file or directory
  Tag               unknown: /dev/haldo_host0: No such file or directory
  Firmware offers   unknown: /dev/haldo_host0: No such file or directory
  Client offers     unknown: /dev/haldo_host0: No such file or directory
  Client's cursors  unknown: /dev/haldo_host0: No such file or directory
Daemon
  haldohostswd      not running
  Lock file         held by nobody
  User              nobody
  X authority       not found by haldo_xauthority
  Agent             not running
  No agent because  the daemon does not run
END
golden status_nothing 0 status
configure DaemonEnable=0
no_agent_because 'the daemon is disabled: DaemonEnable is 0'

# All of it, but for what the firmware does not offer
xauthority_says XAUTHORITY=/home/alice/.Xauthority
configure
start_card --session 192.0.2.77 --readable-map 0x2806
login alice :0
start_daemon
wait_event 'agent alice *'
prints status <<'END'
Card
  /dev/haldo_host0  can be opened
  /dev/haldo_host1  can be opened
  Session           unknown: the firmware does not offer the state of the
                    session
  Tag               unknown: the card refused the session tag
  Firmware offers   link information, IPv4 configuration, ending the session,
                    ending the session with a reason, setting the session tag,
                    second form of the session tag, resetting the statistics,
                    cached display layout, caching a display layout, Unicode
                    mode, imaging preference, setting the imaging preference,
                    setting wake-on-LAN
  Client offers     local cursor and keyboard, switching the local cursor off,
                    cursor shapes, cursor speed, idle-hide, keyboard repeat
                    rates, local tablets
  Client's cursors  up to 64 by 64 px, 16 cache slots of 16384 bytes
Daemon
  haldohostswd      process 42, since TIME
  Lock file         held by process 42 (haldohostswd)
  User              alice on :0
  X authority       /home/alice/.Xauthority, which is not there
  Agent             process 42, since TIME
END
golden status_not_offered 0 status
haldo-cardsim ctl set readable=all
golden status 0 status
: >/home/alice/.Xauthority
expect_equal '  X authority       /home/alice/.Xauthority' "$(daemon_part | grep Xauthority)"

rm /home/alice/.Xauthority

# As a user
expect_equal 'Card
  /dev/haldo_host0  not permitted: mode 600, owner root:root, you are alice (uid
                    1001)
  /dev/haldo_host1  not permitted: mode 600, owner root:root, you are alice (uid
                    1001)
  Session           unknown: /dev/haldo_host0: Permission denied
  Tag               unknown: /dev/haldo_host0: Permission denied
  Firmware offers   unknown: /dev/haldo_host0: Permission denied
  Client offers     unknown: /dev/haldo_host0: Permission denied
  Client'"'"'s cursors  unknown: /dev/haldo_host0: Permission denied
Daemon
  haldohostswd      process 42, since TIME
  Lock file         unknown: /var/run/haldohostswd.pid: Permission denied
  User              alice on :0
  X authority       unknown: haldo_xauthority is asked by root alone, and you
                    are alice (uid 1001)
  Agent             process 42, since TIME' \
    "$(as_alice status | sed -E 's/process [0-9]+/process 42/; s/[0-9-]{10}T[0-9:]{8}\+0000/TIME/')"
mount -o remount,hidepid=2 /proc
expect_equal 'Daemon
  haldohostswd      unknown: /proc does not show the processes of others
  Lock file         unknown: /var/run/haldohostswd.pid: Permission denied
  User              alice on :0
  X authority       unknown: haldo_xauthority is asked by root alone, and you
                    are alice (uid 1001)
  Agent             unknown: /proc does not show the processes of others' "$(as_alice status | sed -n '/^Daemon$/,$p')"
mount -o remount,hidepid=0 /proc
chmod 600 /etc/haldohostswd.conf
expect_equal '  X authority       unknown: /etc/haldohostswd.conf: Permission denied' \
    "$(as_alice status | grep 'X authority')"
chmod 644 /etc/haldohostswd.conf

# Why there is no agent
echo HostSWPath=/tmp >/etc/haldohostswd.conf
agent_ends exit 0
wait_line "$log" '*/tmp/haldo_agent: start delay*'
no_agent_because '/tmp/haldo_starthostsw is missing'
cp /opt/haldo/bin/haldo_starthostsw /tmp
: >/tmp/haldo_agent
no_agent_because '/tmp/haldo_agent is not executable for all: mode 644, owner root:root'
logout :0
login root :0
configure
no_agent_because 'root is logged in, and DaemonRootHaldoAgent is 0'
login 'b;b' pts/1 :3.0 # first: while nobody is logged in, an agent would come and stay
logout :0
wait_line "$log" '*the haldo agent is not run'
no_agent_because 'the daemon logged: user name with character 0x3B, the haldo agent is not run'
expect_equal '  User              b;b on :3.0' "$(daemon_part | grep User)"
logout pts/1
wait_event 'agent root *'
rm /run/utmp
expect_equal '  User              nobody: without /run/utmp "who -u" may name nobody' "$(daemon_part | grep User)"
