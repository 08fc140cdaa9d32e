"""Run in the guest by bench/guest/run: measures the daemon beside its peers. usage: measure.py PEERS [PART...]

Rows go to /out/rows, everything else to standard output. Times are CLOCK_MONOTONIC as the programs of stub.c write them
into a FIFO; ours and the reference take turns, and the median of each counts.
"""
import ctypes
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time
from collections import Counter
from pathlib import Path
from statistics import median

PEERS = sys.argv[1]
BUILT = "/opt/haldo/build/bench/guest"
HERE = Path("/run/bench")
PROGRAMS = HERE / "programs"  # in memory, as the daemon is
LOG = Path("/var/log/haldo/haldohostsw.0.log")
NO_SLEEP = f"{PROGRAMS}/libnosleep.so"
DAEMON, LOOP, BARE = ["haldohostswd"], [f"{PROGRAMS}/loop"], [f"{PROGRAMS}/loop", "bare"]
LOOP_TEXT, BARE_TEXT = "the same commands from a C loop", "the commands alone, no configuration and no log"
PATIENCE_S = 300
rows = open("/out/rows", "w", buffering=1)


def say(text):
    print(text, flush=True)


def row(name, ours, reference, unit, against, goal=None, ratio=None, **more):
    """A reference of 0 has no ratio: then it is what is ours, and the goal is 0."""
    ratio = (ours / reference if reference else ours) if ratio is None else ratio
    line = {"part": "guest", "row": name, "ours": round(ours, 3), "reference": round(reference, 3), "unit": unit,
            "against": against, "ratio": round(ratio, 3), "goal": goal,
            "goal_text": "" if goal is None else f"at most {goal}" if goal else "0", **more}
    rows.write(json.dumps(line) + "\n")
    say(f"{name}: {ours:.6g} {unit}, {against} {reference:.6g}, ratio {ratio:.3f}, goal {line['goal_text'] or 'none'}")


# Processes. Everything that is started becomes this process's child when its parent ends.

def start(command, output="/dev/null", **environment):
    files = [(os.POSIX_SPAWN_OPEN, fd, output if fd else "/dev/null", os.O_RDWR | os.O_CREAT, 0o600)
             for fd in (0, 1, 2)]
    return os.posix_spawnp(command[0], command, {**os.environ, **environment}, file_actions=files)


def children(pid):
    try:
        return [int(child) for child in Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except OSError:
        return []


def end_all():
    """The supervisors first: what they started becomes a child in turn."""
    while mine := children(os.getpid()):
        for pid in mine:
            os.kill(pid, signal.SIGKILL)
        for pid in mine:
            os.waitpid(pid, 0)
    os.set_blocking(stamps, False)
    try:
        while os.read(stamps, 65536):
            pass
    except BlockingIOError:
        pass
    os.set_blocking(stamps, True)


def next_stamp(what):
    """The next time, in milliseconds, that a program has written under this name."""
    signal.alarm(PATIENCE_S)
    while True:
        line = b""
        while not line.endswith(b"\n"):
            line += os.read(stamps, 1)
        name, nanoseconds = line.split()
        if name.decode() == what:
            signal.alarm(0)
            return int(nanoseconds) / 1e6


def daemon_pid():
    return int(Path("/run/haldohostswd.pid").read_text().split()[0])


def status_of(pid, key):
    """A number of /proc/PID/status; context switches over all threads."""
    tasks = Path(f"/proc/{pid}/task").iterdir() if "ctxt" in key else [Path(f"/proc/{pid}")]
    return sum(int(n) for task in tasks for n in re.findall(rf"^{key}:\s+(\d+)", (task / "status").read_text(), re.M))


# The system around them

def configure(options="", lines=()):
    text = ["DaemonStartDelay=0", "DaemonXAuthDelay=0", "HostSWLoginStartDelay=0", "HostSWRestartDelay=0",
            f"HostSWPath={PROGRAMS}", f"HostSWOptions={options}", *lines]
    Path("/etc/haldohostswd.conf").write_text("\n".join(text) + "\n")
    shutil.rmtree(LOG.parent, ignore_errors=True)


def users(count=0, local=False):
    """count users on terminals, and one more on the local display."""
    subprocess.run(["guest-utmp", "clear"], check=True)
    for i in range(count):
        subprocess.run(["guest-utmp", "login", "bob", f"pts/{i}"], check=True)
    if local:
        subprocess.run(["guest-utmp", "login", "alice", ":0"], check=True)


def service(name, script="-hold"):
    """A service folder of runsv, supervise and s6-supervise."""
    folder = HERE / name
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    (folder / "run").write_text(f"#!/bin/sh\nexec {PROGRAMS}/haldo_agent {script}\n")
    (folder / "run").chmod(0o755)
    return str(folder)


def start_time(command):
    start([f"{PROGRAMS}/stamp", *command])
    began = next_stamp("start")
    took = next_stamp("agent") - began
    end_all()
    return took


def turns(measure, what, rounds):
    """The median of what `measure` gives for each of `what`, which take turns, in another order each round: whatever
    else the machine does, and what one leaves behind, meets all."""
    values = [[] for _ in what]
    turn = list(zip(values, what))
    for _ in range(rounds):
        random.shuffle(turn)
        for taken, one in turn:
            found = measure(one)
            taken += found if isinstance(found, list) else [found]
    for taken, one in zip(values, what):
        say(f"    {one}: {len(taken)} times, from {min(taken):.3f}, median {median(taken):.3f}")
    return [median(taken) for taken in values]


def passes(command, count):
    """From one start of the agent to the next, which ends at once; the first is no pass like the others."""
    start(command, LD_PRELOAD=NO_SLEEP)
    next_stamp("agent")
    times = [next_stamp("agent") for _ in range(count + 1)]
    end_all()
    return [after - before for before, after in zip(times, times[1:])]


def restarts(command, count):
    """From the agent's end to its next start."""
    start(command, LD_PRELOAD=NO_SLEEP)
    times = []
    for _ in range(count + 1):
        ended = next_stamp("end")
        times.append(next_stamp("agent") - ended)
    end_all()
    return times[1:]


# The parts

def peers():
    """Every peer with what it needs, running: name to process id. What cannot run is left out, and said."""
    config = HERE / "supervisord.conf"
    config.write_text(f"[supervisord]\nnodaemon=true\nlogfile={HERE}/supervisord.log\n"
                      f"[program:agent]\ncommand={PROGRAMS}/haldo_agent -hold\n")
    monitrc = HERE / "monitrc"
    monitrc.write_text(f"set daemon 30\nset log {HERE}/monit.log\nset pidfile {HERE}/monit.pid\n"
                       f"set idfile {HERE}/monit.id\nset statefile {HERE}/monit.state\n"
                       f"check process agent matching haldo_agent\nstart program = \"{PROGRAMS}/haldo_agent -hold\"\n")
    monitrc.chmod(0o600)
    rules = HERE / "usbguard.conf"
    (HERE / "usbguard").mkdir(exist_ok=True)
    (HERE / "usbguard.rules").touch(0o600)
    rules.write_text(f"RuleFile={HERE}/usbguard.rules\nIPCAccessControlFiles={HERE}/usbguard/\nIPCAllowedUsers=root\n"
                     f"DeviceManagerBackend=uevent\nAuditBackend=FileAudit\nAuditFilePath={HERE}/usbguard.log\n")
    rules.chmod(0o600)
    commands = {
        "runsv": ["runsv", service("runsv")],
        "supervise": ["supervise", service("supervise")],
        "s6-supervise": ["s6-supervise", service("s6")],
        "least supervisor": ["least_supervisor", f"{PROGRAMS}/haldo_agent", "-hold"],
        "spice-vdagentd": ["spice-vdagentd", "-x", "-X", "-f", "-s", f"{HERE}/port", "-S", f"{HERE}/vdagent", "-u",
                           "/dev/null"],
        "usbguard-daemon": ["usbguard-daemon", "-K", "-c", str(rules)],
        "qemu-ga": ["qemu-ga", "-m", "unix-listen", "-p", f"{HERE}/qga", "-t", str(HERE)],
        "monit": ["monit", "-I", "-c", str(monitrc)],
        "supervisord": ["/usr/bin/python3", f"{PEERS}/usr/bin/supervisord", "-c", str(config)],
    }
    running = {}
    (HERE / "vdagent").unlink(missing_ok=True)  # its socket outlives spice-vdagentd
    for name, (program, *arguments) in commands.items():
        running[name] = start([program if "/" in program else f"{PROGRAMS}/{program}", *arguments],
                              (HERE / name).with_suffix(".said"), LD_LIBRARY_PATH=f"{HERE}/lib",
                              PYTHONPATH=f"{PEERS}/usr/lib/python3/dist-packages")
    time.sleep(5)
    for name, pid in list(running.items()):
        if os.waitpid(pid, os.WNOHANG)[0]:
            del running[name]
            said = (HERE / name).with_suffix(".said").read_text().strip()
            say(f"{name} cannot run in the guest: {said[-300:]}")
    return running


def prepare_peers():
    """Programs and the libraries that only they have, to where the daemon is: into memory. usbguard wants a USB bus,
    with no device on it."""
    subprocess.run(["mount", "-t", "tmpfs", "none", "/sys/bus"], check=True)
    os.makedirs("/sys/bus/usb/devices")
    os.mkfifo(HERE / "port")
    (HERE / "lib").mkdir()
    for name in ("bin/runsv", "bin/supervise", "bin/s6-supervise", "sbin/spice-vdagentd", "sbin/usbguard-daemon",
                 "sbin/qemu-ga", "bin/monit"):
        shutil.copy(f"{PEERS}/usr/{name}", PROGRAMS)
    for folder in ("usr/lib", "lib"):
        for library in Path(PEERS, folder, "x86_64-linux-gnu").glob("*.so.*"):
            if re.match(r"lib(skarnet|usbguard|qb|umockdev|pcap|uring)\.", library.name):
                shutil.copy(library, HERE / "lib" / library.name)


def start_idle():
    """The daemon with its agent, and the peers."""
    users(local=True)
    configure("-hold")
    start(DAEMON)
    next_stamp("agent")
    return {"haldohostswd": daemon_pid(), **peers()}


def mappings(pid):
    """Of each mapping that has private memory or a share: name, permissions, Pss and anonymous kB."""
    text = Path(f"/proc/{pid}/smaps").read_text()
    for found in re.finditer(r"^[0-9a-f]+-[0-9a-f]+ (\S+) \S+ \S+ \S+ *(.*)\n((?:\w+: .*\n)+)", text, re.M):
        sizes = dict(re.findall(r"^(\w+): +(\d+) kB", found[3], re.M))
        yield found[2] or "(none)", found[1], int(sizes["Pss"]), int(sizes["Anonymous"])


def memory():
    running = start_idle()
    used = {name: (int(re.search(r"^Pss: +(\d+)", Path(f"/proc/{pid}/smaps_rollup").read_text(), re.M)[1]),
                   status_of(pid, "RssAnon")) for name, pid in running.items()}
    ours = used.pop("haldohostswd")
    for i, (what, goal) in enumerate((("Pss", 1.0), ("RssAnon", 1.1))):
        for name, values in used.items():
            row(f"memory of the idle daemon, {what}", ours[i], values[i], "kB", name, goal if name == "runsv" else None)
    for name in ("haldohostswd", "runsv", "least supervisor"):
        say(f"mappings of {name}: Pss and anonymous kB")
        for file, permissions, pss, anonymous in mappings(running[name]):
            if pss or anonymous:
                say(f"    {permissions} {pss:5} {anonymous:5} {file}")
    others = {file for file, *_ in mappings(running["haldohostswd"]) if ".so" in file} - {
        file for file, *_ in mappings(running["least supervisor"])}
    row("libraries of the daemon beyond libc", len(others), 0, "", " ".join(sorted(others)) or "none", 0)
    end_all()


def idle():
    """Context switches in one minute; then the system calls of another one, begun two seconds after strace has come."""
    running = start_idle()
    time.sleep(5)

    def switches():
        return {name: status_of(pid, r"\w*voluntary_ctxt_switches") for name, pid in running.items()}
    before = switches()
    time.sleep(60)
    after = switches()
    woken = {name: after[name] - before[name] for name in running}
    tracers = {name: subprocess.Popen(["strace", "-f", "-ttt", "-o", HERE / f"trace-{pid}", "-p", str(pid)],
                                      stderr=subprocess.DEVNULL) for name, pid in running.items()}
    time.sleep(5)
    begin = time.time()
    time.sleep(60)
    for tracer in tracers.values():
        tracer.terminate()
        tracer.wait()
    called = {}
    for name, pid in running.items():
        lines = Path(HERE, f"trace-{pid}").read_text().splitlines()
        entered = [line.split()[2] for line in lines if begin <= float(line.split()[1]) < begin + 60]
        called[name] = sum(1 for call in entered if re.match(r"\w+\(", call))
    for what, counts in (("system calls", called), ("wake-ups", woken)):
        ours = counts.pop("haldohostswd")
        for name, count in counts.items():
            row(f"an idle minute, {what}", ours, count, "", name + (", every 30 s" if name == "monit" else ""),
                0 if name == "runsv" else None, ours)
    end_all()


def start_part():
    for local in (True, False):
        users(local=local)
        configure("-hold")
        say(f"start {'with' if local else 'without'} su, ms:")
        ours, full, bare = turns(start_time, [DAEMON, LOOP, BARE], 41)
        name = f"start {'with' if local else 'without'} su"
        row(name, ours, full, "ms", LOOP_TEXT, 1.05)
        row(name, ours, bare, "ms", BARE_TEXT, 1.05)


def calls_of_a_pass(command, count=8):
    """System calls of the supervising process from one pause of a second to the next: how many of each,
    in the median pass."""
    pid = start(command)
    next_stamp("agent")
    pid = daemon_pid() if command is DAEMON else pid
    trace = HERE / "trace"
    tracer = subprocess.Popen(["strace", "-o", trace, "-p", str(pid)], stderr=subprocess.DEVNULL)
    for _ in range(count + 2):
        next_stamp("agent")
    tracer.terminate()
    tracer.wait()
    end_all()
    found = [Counter()]
    for line in trace.read_text().splitlines():
        if call := re.match(r"(\w+)\(", line):
            found[-1][call[1]] += 1
            if call[1] == "clock_nanosleep" and "tv_sec=1," in line:
                found.append(Counter())
    whole = sorted(found[1:-1], key=Counter.total)
    return whole[len(whole) // 2]


def pass_part():
    for local in (True, False):
        users(local=local)
        configure()
        kind = f"{'with' if local else 'without'} su"
        say(f"a pass {kind}, ms:")
        ours, full, bare = turns(lambda command: passes(command, 10), [DAEMON, LOOP, BARE], 7)
        row(f"a pass {kind}, pause taken off", ours, full, "ms", LOOP_TEXT, 1.05)
        row(f"a pass {kind}, pause taken off", ours, bare, "ms", BARE_TEXT, 1.05)
        counts = []
        for command in (DAEMON, LOOP, BARE):
            configure()
            counts.append(calls_of_a_pass(command))
        say(f"system calls of the process itself in a pass {kind}: daemon, loop, bare loop")
        for call in sorted(set().union(*counts), key=lambda call: -counts[0][call]):
            say(f"    {call:20}" + "".join(f"{count[call]:5}" for count in counts))
        totals = [count.total() for count in counts]
        row(f"system calls of a pass {kind}", totals[0], totals[1], "", LOOP_TEXT, 1.0)
        row(f"system calls of a pass {kind}", totals[0], totals[2], "", BARE_TEXT)


def restart():
    users(local=True)
    configure("-live 1100")
    runsv = [f"{PROGRAMS}/runsv", service("runsv", "-live 1100")]
    say("restart, ms:")
    ours, commands, peer = turns(lambda command: restarts(command, 4), [DAEMON, LOOP, runsv], 9)
    row("restart after the agent's end, pause taken off", ours, commands + peer, "ms",
        "runsv's restart and the commands of a pass from a C loop", 1.0)


def growth_row(name, points, reference, against, goal, x, y):
    say(f"{name}: {points}")
    row(name, points[-1][1], reference, y, against, goal, points=[[at, round(value, 3)] for at, value in points], x=x,
        y=y)


def growth():
    """The points of a curve take turns as well."""
    users()
    counts = (0, 1000, 10000, 100000, 1000000)
    for kind, line in (("comments", "# a comment of the administrator's"), ("known keys", "DaemonLogLevel=3")):
        def start_with(point):
            count, command = point
            configure("-hold", [line] * count)
            return start_time(command)
        say(f"start by configuration lines, {kind}, ms:")
        both = turns(start_with, [(count, command) for count in counts for command in (DAEMON, LOOP)], 7)
        growth_row(f"start by configuration lines, {kind}", list(zip(counts, both[::2])), both[-1], LOOP_TEXT, None,
                   "lines", "ms")
        peaks = []
        for count in counts:
            configure("-hold", [line] * count)
            start(DAEMON)
            next_stamp("agent")
            peaks.append((count, status_of(daemon_pid(), "VmHWM")))
            end_all()
        growth_row(f"peak memory by configuration lines, {kind}", peaks, peaks[0][1], "without them", 1.05, "lines",
                   "kB")

    def pass_with_log(mib):
        configure(f"-log {mib << 20}")
        return restarts(DAEMON, 4)
    sizes = (1, 128, 2048)
    say("a pass by size of the log, MiB, ms:")
    taken = turns(pass_with_log, sizes, 4)
    for file in sorted(LOG.parent.iterdir()):
        say(f"    {file.name}: {file.stat().st_size >> 20} MiB")
    growth_row("a pass by size of the log, rotated from 3 MiB on", list(zip(sizes, taken)), taken[1], "128 MiB", 1.2,
               "MiB", "ms")

    counts = (1, 10, 100, 1000)
    for count in counts:
        users(count)
        shutil.copy("/run/utmp", HERE / f"utmp-{count}")
    configure()

    def with_users(point):
        count, command = point
        shutil.copy(HERE / f"utmp-{count}", "/run/utmp")
        if command is DAEMON:
            return passes(command, 5)
        began = time.monotonic()
        os.waitpid(start(command), 0)
        return 1000 * (time.monotonic() - began)
    say("a pass by users logged in, and who alone, ms:")
    taken = turns(with_users, [(count, command) for count in counts for command in (DAEMON, ["who", "-u"])], 5)
    ours, alone = taken[::2], taken[1::2]
    growth_row("a pass by users logged in", list(zip(counts, ours)), ours[0] + alone[-1] - alone[0],
               "a pass with one user, and what who -u alone takes longer", 1.2, "users", "ms")


def request():
    """A small request at a node of CUSE's and through haldo-cardsim run, and the bare system call."""
    start(["haldo-cardsim"])
    while not Path("/dev/haldo_host1").exists():
        time.sleep(0.1)
    program = f"{BUILT}/../bench_request"
    commands = {"CUSE": [program, "/dev/haldo_host1"],
                "haldo-cardsim run": ["haldo-cardsim", "run", "--", program, "/dev/haldo_host1"],
                "the bare system call": [program, "/dev/null"]}
    say("a request, ns:")
    found = turns(lambda one: float(subprocess.check_output(commands[one])), list(commands), 11)
    cuse, run, bare = (value / 1000 for value in found)
    for ours, name, reference, against in ((run, "haldo-cardsim run", cuse, "CUSE"),
                                           (run, "haldo-cardsim run", bare, "the bare system call"),
                                           (cuse, "CUSE", bare, "the bare system call")):
        row(f"a request through {name}, in a guest", ours, reference, "us", against, part="card")
    end_all()


PARTS = {"memory": memory, "idle": idle, "start": start_part, "pass": pass_part, "restart": restart, "growth": growth,
         "request": request}


def main():
    global stamps
    chosen = sys.argv[2:] or PARTS
    if unknown := set(chosen) - set(PARTS):
        sys.exit(f"there is no part {' '.join(unknown)}")
    ctypes.CDLL(None).prctl(36, 1)  # PR_SET_CHILD_SUBREAPER
    PROGRAMS.mkdir(parents=True)
    for name in ("loop", "least_supervisor", "libnosleep.so"):
        shutil.copy(f"{BUILT}/{name}", PROGRAMS)
    for name in ("stamp", "haldo_agent", "haldo_starthostsw", "haldo_xauthority"):
        shutil.copy(f"{BUILT}/stub", PROGRAMS / name)
    os.mkfifo(HERE / "stamps")
    (HERE / "stamps").chmod(0o666)
    stamps = os.open(HERE / "stamps", os.O_RDWR)
    prepare_peers()
    for part in PARTS:
        if part in chosen:
            PARTS[part]()


main()
