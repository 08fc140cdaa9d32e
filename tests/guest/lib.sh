# shellcheck shell=bash
# shellcheck disable=SC2034 # scenarios use what looks unused
# usage: lib.sh SCENARIO
# What the guest's scenarios are written with beside ../scenario.sh; README.md lists the functions. It runs in the guest,
# once for each scenario, in a process and mount namespace of the scenario's own. run-scenarios sets $scenario, $version
# and $build_id.

here=/run/guest
out=/out
# shellcheck source=tests/scenario.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scenario.sh"
trap 'keep_files $?' EXIT

step=$here/step
log=/var/log/haldo/haldohostsw.0.log
time_limit=(--skip alarm)

mount -t tmpfs -o mode=755 tmpfs /run
mount -t tmpfs -o mode=755 tmpfs /var/log
mount -t tmpfs -o mode=1777 tmpfs /tmp
rm -f /etc/haldohostswd.conf
mkdir $here
chmod 777 $here
mkfifo -m 666 $here/agent $here/never $step
for file in "$journal" "$output" $here/xauthority; do
    : >"$file"
    chmod 666 "$file"
done
guest-utmp clear

keep_files() {
    if [ "$1" != 0 ]; then
        mkdir -p "/out/${scenario:?}"
        find $here /var/log/haldo /etc/haldohostswd.conf /run/haldohostswd.pid -type f \
            -exec cp {} "/out/$scenario" \; 2>/dev/null || true
    fi
}

# The system around the daemon

login() { guest-utmp login "$@"; }

logout() { guest-utmp logout "$1"; }

configure() {
    printf '%s\n' HostSWPath=/opt/haldo/bin "$@" >$here/configuration
    mv $here/configuration /etc/haldohostswd.conf
}

xauthority_says() { printf '%s\n' "$@" >$here/xauthority; }

nodes_exist() { [ -c "${nodes[0]}" ] && [ -c "${nodes[1]}" ]; }

start_card() {
    haldo-cardsim --journal "$journal" "$@" >>$here/card 2>&1 &
    wait_until nodes_exist || fail "the card has no nodes: $(cat $here/card)"
}

# The daemon

warden() { guest-warden --journal "$journal" "${time_limit[@]}" "$@" >>"$output" 2>&1; }

start_daemon() {
    status=0
    warden "$@" -- haldohostswd || status=$?
}

start_daemon_as() {
    local user=$1
    shift
    status=0
    # What counts lines has no place of its own to write to as another user.
    warden "$@" -- env GCOV_PREFIX=/tmp setpriv --reuid "$user" --regid "$(id -g "$user")" --init-groups haldohostswd || status=$?
}

start_daemon_on_terminal() {
    local command
    printf -v command '%q ' guest-warden --journal "$journal" "${time_limit[@]}" "$@" -- haldohostswd
    status=0
    script -qec "$command" /dev/null | tr -d '\r' >>"$output" || status=$?
}

# A shell's background command ignores SIGINT and SIGQUIT; the daemon is to find them as any other start leaves them.
start_daemon_aside() {
    env --default-signal=INT,QUIT guest-warden --journal "$journal" "${time_limit[@]}" "$@" -- haldohostswd \
        >>"$output" 2>&1 &
    starter=$!
}

start_daemon_under_init() {
    env --default-signal=INT,QUIT guest-warden --journal "$journal" "$@" -- \
        unshare --fork --pid --mount-proc sh -c 'haldohostswd; exit $?' >>"$output" 2>&1 &
    starter=$!
}

wait_starter() {
    status=0
    wait "$starter" || status=$?
}

daemon_pid() { grep -lx haldohostswd /proc/[0-9]*/comm | cut -d / -f 3 | sort -n | tail -n 1; }

descendants() {
    local children child
    read -ra children <"/proc/$1/task/$1/children" || true # the line has no end
    for child in "${children[@]}"; do
        echo "$child"
        descendants "$child"
    done
}

is_dead() { [[ ! -e /proc/$1 || $(sed 's/.*) //' "/proc/$1/stat") == Z* ]]; }

# As the interrupt key does, but the shell that the daemon waits for ends last, and with it what holds the nodes open.
interrupt() {
    local processes process
    mapfile -t processes < <(descendants "$(daemon_pid)")
    kill -STOP "${processes[0]}"
    kill "-$1" "${processes[@]:1}"
    for process in "${processes[@]:1}"; do
        wait_until is_dead "$process" || fail "process $process outlives SIG$1"
    done
    kill "-$1" "${processes[0]}"
    kill -CONT "${processes[0]}"
}

take_step() { printf . >"${1-$step}"; }

# The agent

agent_ends() {
    # shellcheck disable=SC2016
    timeout "$limit" sh -c 'echo "$1" >"$2"' sh "$*" $here/agent || fail "no agent waits"
}

# What the daemon logs

version_lines() {
    log_line main I "haldohostswd daemon version ${version:?}"
    log_line main I "haldohostswd daemon build ID HEAD@${build_id:?}"
}

# dumped_config [KEY=VALUE...]: what dump_config writes when these differ from the configuration of `configure` alone.
dumped_config() {
    local pair
    local -A value=([LogDirLocation]=/var/log/haldo [LogFileSize]=2 [DaemonLogLevel]=3 [DaemonEnable]=1
        [DaemonStartDelay]=1 [DaemonXAuthDelay]=5 [HostSWPath]=/opt/haldo/bin [HostSWLoginStartDelay]=10
        [HostSWRestartDelay]=1 [HostSWLogLevel]=3 [HostSWOptions]='')
    for pair; do
        value[${pair%%=*}]=${pair#*=}
    done
    log_line dump_config I "Log Directory: ${value[LogDirLocation]}, Max Size: ${value[LogFileSize]} MB"
    log_line dump_config I "Daemon: Log level ${value[DaemonLogLevel]}, Enable ${value[DaemonEnable]}, Delay \
${value[DaemonStartDelay]}, xAuth ${value[DaemonXAuthDelay]} "
    log_line dump_config I "${value[HostSWPath]}/haldo_agent: start delay ${value[HostSWLoginStartDelay]}/\
${value[HostSWRestartDelay]}, log level ${value[HostSWLogLevel]}, Options: ${value[HostSWOptions]}"
}

is_logged_times() { [ "$(grep -csxP -- "$date\\Q$1\\E" "$log")" = "$2" ]; }

expect_log_times() {
    local line
    line=$(log_line "$2" "$3" "$4")
    wait_until is_logged_times "$line" "$1" || differs "not logged $1 times" "$line" "$(dateless "$log")"
}

# The other expectations

# The names of the signals that a process ignores, by its status.
ignored_signals() {
    local mask number names=()
    mask=0x$(sed -n 's/^SigIgn:\t//p' "$1")
    for ((number = 1; number < 32; ++number)); do
        if ((mask >> (number - 1) & 1)); then
            names+=("$(kill -l "$number")")
        fi
    done
    echo "${names[*]}"
}

# Those that a program of the agent's side was started with ignored.
expect_ignored() { expect_equal "$2" "$(ignored_signals "$here/$1.signals")"; }

# The scenario itself
# shellcheck disable=SC1090
. "$1"
