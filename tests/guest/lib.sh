# shellcheck shell=bash
# shellcheck disable=SC2034 # scenarios use what looks unused
# usage: lib.sh SCENARIO
# What scenarios are written with; README.md lists the functions. It runs in the guest, once for each scenario, in a
# process and mount namespace of the scenario's own. run-scenarios sets $scenario, $version and $build_id.

set -eEu -o pipefail
trap 'fail "\"$BASH_COMMAND\" ended with status $?"' ERR
trap 'keep_files $?' EXIT

here=/run/guest
journal=$here/journal
output=$here/output
step=$here/step
log=/var/log/haldo/haldohostsw.0.log
nodes=(/dev/haldo_host0 /dev/haldo_host1)
limit=60 # seconds; the longest that anything is waited for
time_limit=(--skip alarm)
# What the card sees of a link that is constructed, and of an orderly shutdown.
link_constructed='HCC open
HDC open
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0
HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 00 00 00 00 (+248 zero) -> 0'
link_shut_down='HDC 0x7911 HDC_IOCTL_KMP_DRIVER_CFG_SET 00 00 00 00 00 00 00 00 -> 0
HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0
HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0
HDC release
HCC release'
seen=0 # events that expectations have taken
status=

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

# Failing

# Ends the scenario; the line named is the scenario's own.
fail() {
    local i
    trap - ERR
    for i in "${!BASH_SOURCE[@]}"; do
        if [[ ${BASH_SOURCE[i]} == */scenarios/* && ${BASH_SOURCE[i]} != */lib.sh ]]; then
            echo "line ${BASH_LINENO[i - 1]}: $1"
            break
        fi
    done
    exit 1
}

differs() {
    trap - ERR # diff's status is no surprise
    fail "$1
$(diff -u --label expected --label actual <(printf '%s\n' "$2") <(printf '%s\n' "$3") | tail -n +3)"
}

keep_files() {
    if [ "$1" != 0 ]; then
        mkdir -p "/out/${scenario:?}"
        find $here /var/log/haldo /etc/haldohostswd.conf /run/haldohostswd.pid -type f \
            -exec cp {} "/out/$scenario" \; 2>/dev/null || true
    fi
}

wait_until() {
    local end=$((SECONDS + limit))
    until "$@"; do
        if ((SECONDS >= end)); then
            return 1
        fi
        read -rt 0.05 <>$here/never || true # a sleep would be a process, which costs a guest more than the look
    done
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

# Events: the lines of the journal. When the starting process sets its alarm is no matter of order.

read_events() {
    local line
    events=()
    while IFS= read -r line; do
        if [[ $line != 'skip alarm '* ]]; then
            events+=("$line")
        fi
    done <"$journal"
    events=("${events[@]:seen}")
}

find_event() {
    local i
    read_events
    for i in "${!events[@]}"; do
        # shellcheck disable=SC2053 # a pattern
        if [[ ${events[i]} == $1 ]]; then
            ((seen += i + 1))
            return
        fi
    done
    return 1
}

wait_event() {
    wait_until find_event "$1" || differs "the event did not come" "$1" "$(printf '%s\n' "${events[@]}")"
}

# True as soon as the events cannot get any more or any less like the expected ones.
events_are_decided() {
    local i
    read_events
    for ((i = 0; i < ${#expected[@]}; ++i)); do
        if ((i >= ${#events[@]})); then
            return 1
        fi
        if [[ ${events[i]} != "${expected[i]}" ]]; then
            return 0
        fi
    done
}

expect_events() {
    local expected
    mapfile -t expected
    wait_until events_are_decided || true
    events=("${events[@]:0:${#expected[@]}}")
    if [[ "${events[*]}" != "${expected[*]}" ]]; then
        differs "other events" "$(printf '%s\n' "${expected[@]}")" "$(printf '%s\n' "${events[@]}")"
    fi
    ((seen += ${#expected[@]})) || true
}

expect_no_more_events() {
    read_events
    if ((${#events[@]} != 0)); then
        fail "unexpected events:
$(printf '%s\n' "${events[@]}")"
    fi
}

# Logged lines, by the name of the writing function, the level's letter and the text

log_line() { printf 'd[%s] %36s | %s\n' "$2" "$1" "$3"; }

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

# Only a whole date is taken away, so a line without it or with another one is found by no expectation.
date='[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} '

dateless() {
    if [ -e "$1" ]; then
        sed -E "s|^${date}d\\[|d[|" "$1"
    fi
}

is_logged() { grep -qsxP -- "$date\\Q$1\\E" "$2"; }

expect_log() {
    local line
    line=$(log_line "$1" "$2" "$3")
    wait_until is_logged "$line" "${4-$log}" || differs "the line is not logged" "$line" "$(dateless "${4-$log}")"
}

is_logged_times() { [ "$(grep -csxP -- "$date\\Q$1\\E" "$log")" = "$2" ]; }

expect_log_times() {
    local line
    line=$(log_line "$2" "$3" "$4")
    wait_until is_logged_times "$line" "$1" || differs "not logged $1 times" "$line" "$(dateless "$log")"
}

expect_no_log() {
    local line
    line=$(log_line "$1" "$2" "$3")
    ! is_logged "$line" "${4-$log}" || fail "the line is logged: $line"
}

has_line() {
    local line
    while IFS= read -r line; do
        # shellcheck disable=SC2053 # a pattern
        if [[ $line == $2 ]]; then
            return
        fi
    done < <(dateless "$1")
    return 1
}

wait_line() { wait_until has_line "$1" "$2" || differs "no line of $1 is like it" "$2" "$(dateless "$1")"; }

# The other expectations

expect_equal() { [[ $1 == "$2" ]] || differs "not equal" "$1" "$2"; }

expect_status() { [[ $status == "$1" ]] || fail "status $status, not $1; the output: $(cat "$output")"; }

expect_file() { expect_equal "$(cat)" "$(dateless "$1")"; }

expect_mode() { expect_equal "$2" "$(stat -c '%a %U' "$1")"; }

expect_present() {
    local path
    for path; do
        [ -e "$path" ] || fail "$path is not there"
    done
}

expect_absent() {
    local path
    for path; do
        [ ! -e "$path" ] || fail "$path is there"
    done
}

expect_gone() { wait_until test ! -e "/proc/$1" || fail "process $1 is still there"; }

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
