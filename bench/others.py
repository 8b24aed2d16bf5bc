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

LONG, SHORT = 42, 4  # seconds; the second run's cost is that of the start, and is taken off
PERIOD = 2           # seconds between two refreshes of the others
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
    return [written[terminal] for terminal in terminals]


def RunAll(agent, commands, seconds):
    """{name: (microseconds of the processor, bytes)}, and how many passes the status screen had."""
    agent.clear_log()
    started = [Start(command) for command in commands.values()]
    written = TakeOutput([terminal for _, terminal in started], seconds)
    passes = agent.log().count(f"get {FREQUENCY}")
    spent = []
    for pid, terminal in started:
        os.kill(pid, signal.SIGKILL)
        usage = os.wait4(pid, 0)[2]  # with the children that it waited for
        spent.append((usage.ru_utime + usage.ru_stime) * 1e6)
        os.close(terminal)
    return dict(zip(commands, zip(spent, written))), passes


def MeasureOthers(agent):
    os.makedirs(HOME, exist_ok=True)
    Settings(snmp_ip=world.agent_address()).write()
    commands = Commands()
    short, first = RunAll(agent, commands, SHORT)
    long, passes = RunAll(agent, commands, LONG)
    refreshes = dict.fromkeys(commands, (LONG - SHORT) / PERIOD)
    refreshes["status"] = passes - first
    costs = {name: [(long[name][kind] - short[name][kind]) / refreshes[name] for kind in range(2)]
             for name in commands}
    own = costs.pop("status")
    rows = []
    for name, cost in costs.items():
        for kind, unit in enumerate(("µs", "bytes")):
            what = ("CPU", "bytes")[kind] + " of a status pass, nothing typed"
            rows.append(Row(what, f"a refresh of {name}", own[kind], cost[kind], unit,
                            own[kind] / cost[kind], 1.00))
    return rows
