"""What other programs cost that show a screen anew by themselves, beside the status screen.

All run at the same time, each on a terminal of its own, long enough for some passes of the status
screen. The world holds few processes: htop, btop and top cost more on a machine that has many.
"""

import os
import pty
import select
import signal
import struct
import termios
import time
from fcntl import ioctl

import world
from pairs import Row
from settings import Settings

WARM_UP, SECONDS = 4, 38
PERIOD = 2  # seconds between two refreshes of the others
HOME = "/run/bench-home"

PREFIX = ".1.3.6.1.4.1.935.1.1.1."
FREQUENCY = PREFIX + "3.2.4.0"  # asked for once in a pass
OBJECTS = [PREFIX + tail for tail in ("3.2.1.0", "4.1.1.0", "2.1.1.0", "4.2.1.0", "4.2.2.0",
                                      "4.2.3.0", "2.2.1.0")] + [FREQUENCY]


def Commands():
    asking = ["snmpget", "-v1", "-cpublic", "-Oqv", world.agent_address(), *OBJECTS]
    return {
        "status": [world.bin("wardenlink"), "status"],
        "htop": ["htop", "-d", str(PERIOD * 10)],
        "btop": ["btop", "--utf-force"],
        "top": ["top", "-d", str(PERIOD)],
        "watch snmpget": ["watch", "-n", str(PERIOD), " ".join(asking)],
    }


def Start(command):
    """The process and its terminal."""
    pid, terminal = pty.fork()
    if pid == 0:
        ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 25, 80, 0, 0))
        environment = dict(os.environ, TERM="linux", LANG="C", LC_ALL="C", HOME=HOME)
        os.execvpe(command[0], command, environment)
    return pid, terminal


def TakeOutput(terminals, seconds):
    """The bytes that each terminal takes in this time."""
    written = dict.fromkeys(terminals, 0)
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        readable = select.select(terminals, [], [], max(0, until - time.monotonic()))[0]
        for terminal in readable:
            written[terminal] += len(os.read(terminal, 65536))
    return written


def Spent(pid):
    """Microseconds of the processor that a process had, its threads and its ended children."""
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{thread}/schedstat", encoding="ascii") as source:
            total += int(source.read().split()[0]) / 1000
    with open(f"/proc/{pid}/stat", encoding="ascii") as source:
        fields = source.read().rpartition(")")[2].split()
    ticks = int(fields[13]) + int(fields[14])
    return total + ticks * 1e6 / os.sysconf("SC_CLK_TCK")


def RunAll(agent, commands):
    """{name: (microseconds of the processor, bytes)}, and how many passes the status screen had."""
    started = {name: Start(command) for name, command in commands.items()}
    terminals = [terminal for _, terminal in started.values()]
    TakeOutput(terminals, WARM_UP)
    agent.clear_log()
    before = {name: Spent(pid) for name, (pid, _) in started.items()}
    written = TakeOutput(terminals, SECONDS)
    costs = {name: (Spent(pid) - before[name], written[terminal])
             for name, (pid, terminal) in started.items()}
    passes = agent.log().count(f"get {FREQUENCY}")
    for pid, terminal in started.values():
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)
        os.close(terminal)
    return costs, passes


def MeasureOthers(agent):
    os.makedirs(HOME, exist_ok=True)
    Settings(snmp_ip=world.agent_address()).write()
    costs, passes = RunAll(agent, Commands())
    own = [cost / passes for cost in costs.pop("status")]
    rows = []
    for name, cost in costs.items():
        for kind, unit in enumerate(("µs", "bytes")):
            what = ("CPU", "bytes")[kind] + " of a status pass, nothing typed"
            other = cost[kind] * PERIOD / SECONDS
            rows.append(Row(what, f"a refresh of {name}", own[kind], other, unit,
                            own[kind] / other, 1.00))
    return rows
