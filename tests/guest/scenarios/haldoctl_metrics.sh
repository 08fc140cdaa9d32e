# haldoctl metrics: card, session, daemon, agent and log as a monitoring system reads them.
# shellcheck source=tests/haldoctl/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../haldoctl/lib.sh"

# When the agent started differs from run to run.
timeless() { sed -E '/start_time_seconds/,/]/s/[0-9]{10}/1000000000/'; }
haldoctl() {
    command haldoctl "$@" | timeless
    return "${PIPESTATUS[0]}"
}
# The samples of a family.
samples() {
    ctl 0 metrics
    grep "^$1" "$results" || true
}

prints metrics <<'END'
# TYPE haldo_node_open gauge
# HELP haldo_node_open Whether the device node can be opened.
haldo_node_open{node="/dev/haldo_host0"} 0
haldo_node_open{node="/dev/haldo_host1"} 0
# TYPE haldo_daemon_up gauge
# HELP haldo_daemon_up Whether haldohostswd runs.
haldo_daemon_up 0
# TYPE haldo_agent_up gauge
# HELP haldo_agent_up Whether the agent runs.
haldo_agent_up 0
# EOF
END

xauthority_says XAUTHORITY=/home/alice/.Xauthority
configure
start_card --session 192.0.2.77 --context hoip_enable=0
login alice :0
start_daemon
wait_event 'agent alice *'
golden metrics 0 metrics
prints metrics <"$documents/metrics.txt"

# A file is replaced whole or not at all, and nothing else is left.
mkdir /tmp/textfiles
ctl 0 metrics --output /tmp/textfiles/haldo.prom
expect_equal "" "$(cat "$results")"
expect_mode /tmp/textfiles/haldo.prom '644 root'
expect_equal "$(cat "$documents/metrics.txt")" "$(timeless </tmp/textfiles/haldo.prom)"
expect_equal haldo.prom "$(ls -A /tmp/textfiles)"
ctl 1 metrics --output /tmp/nowhere/haldo.prom
expect_equal 'haldoctl: /tmp/nowhere/haldo.prom: No such file or directory' "$(cat "$messages")"
mkdir /tmp/textfiles/folder
ln -s haldo.prom /tmp/textfiles/link
for file in folder link; do
    ctl 1 metrics --output "/tmp/textfiles/$file"
    expect_equal "haldoctl: /tmp/textfiles/$file: not a regular file, and not replaced" "$(cat "$messages")"
done
expect_equal 'folder
haldo.prom
link' "$(ls -A /tmp/textfiles)"
mount -t tmpfs -o size=4k tmpfs /tmp/textfiles
head -c 4096 /dev/zero >/tmp/textfiles/all
ctl 1 metrics --output /tmp/textfiles/haldo.prom
expect_equal 'haldoctl: /tmp/textfiles/haldo.prom: No space left on device' "$(cat "$messages")"
expect_equal all "$(ls -A /tmp/textfiles)"

# What the log tells: ends of the agent; not a new configuration, not a refusal.
agent_ends exit 0
wait_event 'agent alice *'
expect_equal 'haldo_log_agent_restarts_total 1' "$(samples haldo_log_agent)"
configure DaemonLogLevel=4
agent_ends exit 0
wait_event 'agent alice *'
expect_equal 'haldo_log_agent_restarts_total 2' "$(samples haldo_log_agent)"
agent_ends exit 0
wait_event 'agent alice *'
expect_equal 'haldo_log_agent_restarts_total 3' "$(samples haldo_log_agent)"
logout :0
login root :0
agent_ends exit 0
wait_line "$log" '*The haldo agent cannot run under root permissions'
logout :0
wait_event 'agent root *'
expect_equal 'haldo_log_agent_restarts_total 4' "$(samples haldo_log_agent)"
start_daemon
expect_status 1
expect_equal 'haldo_log_daemon_starts_total 1
haldo_log_agent_restarts_total 4' "$(samples haldo_log)"
configure DaemonLogLevel=2 # a log that leaves out what would be counted
expect_equal '' "$(samples haldo_log)"
configure
rm "$log"
expect_equal '' "$(samples haldo_log)"

# What cannot be asked is left out.
mount -o remount,hidepid=2 /proc
expect_equal '' "$(setpriv --reuid alice --regid 1001 --init-groups haldoctl metrics | sed -En '/^haldo_(daemon|agent)/p')"
