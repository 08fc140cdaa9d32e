# haldoctl doctor: each thing that keeps an installation from working, and what helps.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

# The pairs of issue and remedy that a ready system with one fault gives.
finds() {
    ctl 1 doctor
    expect_equal "$(cat)" "$(cat "$results")"
}
works() { expect_equal 'nothing stands in the way' "$(haldoctl doctor)"; }
install_it='Install it there, or let HostSWPath in /etc/haldohostswd.conf name the directory that it is in'

# Nothing is there.
golden doctor 1 doctor

xauthority_says XAUTHORITY=/home/alice/.Xauthority
configure
start_card
login alice :0
start_daemon
wait_event 'agent alice *'
works
golden doctor_nothing 0 doctor

# Nodes. They stay within /dev: the kernel takes away what it has put there, and nothing else.
mv "${nodes[0]}" /dev/haldo_away
finds <<END
issue   /dev/haldo_host0: missing
remedy  Load the driver of the card; without a card start haldo-cardsim
END
mv /dev/haldo_away "${nodes[0]}"
mknod /dev/haldo_no_driver c 240 77
mv "${nodes[1]}" /dev/haldo_away
mv /dev/haldo_no_driver "${nodes[1]}"
finds <<END
issue   /dev/haldo_host1: cannot be opened: No such device or address
remedy  Load the driver of the card; without a card start haldo-cardsim
END
mv /dev/haldo_away "${nodes[1]}"
chmod 666 "${nodes[1]}"
result=0
setpriv --reuid alice --regid 1001 --init-groups haldoctl doctor >"$results" || result=$?
expect_equal 1 "$result"
expect_file "$results" <<END
issue   /dev/haldo_host0: not permitted: mode 600, owner root:root, you are alice (uid 1001)
remedy  Run haldoctl as root, or open the node to a group of yours: chgrp GROUP /dev/haldo_host0; chmod 660 /dev/haldo_host0
issue   you are alice (uid 1001): the lock, the X authority and what others may not read are not looked at
remedy  Run haldoctl doctor as root
END
mv "${nodes[0]}" /dev/haldo_away
: >"${nodes[0]}"
finds <<END
issue   /dev/haldo_host0: not a device node
remedy  Load the driver of the card; without a card start haldo-cardsim
END
ctl 4 session show
expect_equal 'haldoctl: /dev/haldo_host0: Inappropriate ioctl for device' "$(cat "$messages")"
mv /dev/haldo_away "${nodes[0]}"
works

# Configuration
configure DaemonLogLevel=9 LogFileSiz=1 LogFileSize=3 LogFileSize=4
finds <<END
issue   /etc/haldohostswd.conf:2: DaemonLogLevel: 9 is out of range
remedy  Allowed: 0 to 4
issue   /etc/haldohostswd.conf:3: LogFileSiz: unknown key, the line is ignored
remedy  Write LogFileSize
END
configure Colour=red
finds <<END
issue   /etc/haldohostswd.conf:2: Colour: unknown key, the line is ignored
remedy  Remove the line
END
# check-config reads that file, too, where none is named.
ctl 0 check-config
expect_equal '/etc/haldohostswd.conf:2: Colour: warning: unknown key, the line is ignored' "$(cat "$results")"
configure
for others in '646 root:root' '664 root:root' '644 alice:root'; do
    chmod "${others% *}" /etc/haldohostswd.conf
    chown "${others#* }" /etc/haldohostswd.conf
    finds <<END
issue   /etc/haldohostswd.conf can be changed by others than root, who runs what it names: mode ${others/ /, owner }
remedy  chown root /etc/haldohostswd.conf; chmod 644 /etc/haldohostswd.conf
END
done
rm /etc/haldohostswd.conf
mkdir /etc/haldohostswd.conf
ctl 1 doctor # of the programs, too: they are not where the defaults say
expect_equal "issue   /etc/haldohostswd.conf: Is a directory
remedy  Put a configuration file in its place" "$(head -n 2 "$results")"
rmdir /etc/haldohostswd.conf
# A relative path is taken from /, as by the daemon.
configure HostSWPath=opt/haldo/bin
sed -i 1d /etc/haldohostswd.conf
(cd /tmp && works)
configure

# Programs
mkdir /tmp/bin
cp /opt/haldo/bin/haldo_xauthority /tmp/bin
: >/tmp/bin/haldo_agent
configure HostSWPath=/tmp/bin
sed -i 1d /etc/haldohostswd.conf
finds <<END
issue   /tmp/bin/haldo_starthostsw is missing
remedy  $install_it
issue   /tmp/bin/haldo_agent is not executable for all: mode 644, owner root:root
remedy  chmod 755 /tmp/bin/haldo_agent
END
chmod 755 /tmp/bin/haldo_agent
cp /opt/haldo/bin/haldo_starthostsw /tmp/bin
chmod 700 /tmp/bin
finds <<END
issue   /tmp/bin cannot be entered by all: mode 700, owner root:root
remedy  chmod 755 /tmp/bin
issue   /tmp/bin cannot be entered by all: mode 700, owner root:root
remedy  chmod 755 /tmp/bin
issue   /tmp/bin cannot be entered by all: mode 700, owner root:root
remedy  chmod 755 /tmp/bin
END
chmod 755 /tmp/bin
works
rm /tmp/bin/haldo_{xauthority,agent}
mkdir /tmp/bin/haldo_agent
cp /opt/haldo/bin/haldo_xauthority /tmp/bin
finds <<END
issue   /tmp/bin/haldo_agent is no file
remedy  $install_it
END
rm -r /tmp/bin/haldo_{xauthority,agent}
cp /opt/haldo/bin/haldo_{starthostsw,agent} /tmp/bin
finds <<END
issue   /tmp/bin/haldo_xauthority is missing
remedy  $install_it
END
configure

# Log directory
: >/tmp/file
configure LogDirLocation=/tmp/file/log
finds <<END
issue   the log directory /tmp/file/log cannot be written: /tmp/file: Not a directory
remedy  Let LogDirLocation in /etc/haldohostswd.conf name a directory that can be written
END
configure LogDirLocation=/usr/log
finds <<END
issue   the log directory /usr/log cannot be written: /usr: Read-only file system
remedy  Let LogDirLocation in /etc/haldohostswd.conf name a directory that can be written
END
configure LogDirLocation=/var/log/new/haldo
works
mkdir -p /var/log/new/haldo/haldohostsw.0.log
finds <<END
issue   the log /var/log/new/haldo/haldohostsw.0.log is no file
remedy  Take away what has its name
END
configure

# The user
xauthority_says XDG=nothing
finds <<END
issue   /opt/haldo/bin/haldo_xauthority prints no XAUTHORITY=PATH for alice
remedy  Run it as root and look at what it prints; the agent cannot open the display without
END
xauthority_says XAUTHORITY=/root/.Xauthority
logout :0
login root :1
finds <<END
issue   root is logged in on the display, and DaemonRootHaldoAgent is 0: no agent runs
remedy  Log in as another user, or set DaemonRootHaldoAgent=1 in /etc/haldohostswd.conf
END
configure DaemonRootHaldoAgent=1
works
guest-utmp clear
rm /run/utmp
finds <<END
issue   /run/utmp is missing, so that "who -u" names nobody: the agent only serves the login screen
remedy  Create it at boot (tmpfiles.d: f /run/utmp 0664 root utmp -), and use a login manager that records sessions there
END
guest-utmp clear
works
configure
login 'b;b' :0
agent_ends exit 0
wait_line "$log" '*the haldo agent is not run'
finds <<END
issue   the daemon logged: user name with character 0x3B, the haldo agent is not run
remedy  haldohostswd(8) says under DIAGNOSTICS what it refuses
END
logout :0
wait_event 'agent root *'
works

# The daemon
configure DaemonEnable=0
finds <<END
issue   the daemon is disabled: DaemonEnable is 0
remedy  Set DaemonEnable=1 in /etc/haldohostswd.conf, and start the daemon
END
configure
daemon=$(daemon_pid)
kill -KILL "$daemon"
wait_until is_dead "$daemon"
finds <<END
issue   the daemon does not run
remedy  As root: systemctl start haldohostswd, or haldohostswd
END
# shellcheck disable=SC2016
perl -e '
    use Fcntl qw(:DEFAULT :flock);
    open(my $lock, "+<", "/var/run/haldohostswd.pid") or die;
    my $whole = pack("s s x4 q q i x4", F_WRLCK, 0, 0, 0, 0);
    fcntl($lock, F_SETLK, $whole) or die;
    open(my $ready, ">", "/tmp/locked");
    sleep 600;
' &
holder=$!
wait_until test -e /tmp/locked
finds <<END
issue   /var/run/haldohostswd.pid is locked by process $holder (perl), which is no daemon: none can start
remedy  End that process: kill $holder
issue   the daemon does not run
remedy  As root: systemctl start haldohostswd, or haldohostswd
END
kill "$holder"
