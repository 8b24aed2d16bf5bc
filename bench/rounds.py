"""What the daemon's rounds cost, beside bare loops that run at the same time."""

import contextlib
import subprocess
import time

import tolvd
import world
from pairs import Bench, MakeRow
from waiting import wait_until

SLICES, SECONDS = 6, 4
LINES = {"daemon": world.DEVICE, "bare": "/run/bare-tty", "files": "/run/files-tty"}


def Spent(pid):
    """Microseconds of the processor that a process has had."""
    with open(f"/proc/{pid}/schedstat", encoding="ascii") as source:
        return int(source.read().split()[0]) / 1000


@contextlib.contextmanager
def Running(*command):
    with subprocess.Popen(command, stdin=subprocess.DEVNULL) as process:
        try:
            yield process.pid
        finally:
            process.kill()


@contextlib.contextmanager
def Daemon():
    running = tolvd.Tolvd()
    try:
        yield running.wait_ready()
    finally:
        running.close()


def TakeSlices(processes, period):
    """What a round of each process costs, slice by slice; all have a round in each period."""
    slices = []
    time.sleep(2 * period)  # the first rounds cost more
    for _ in range(SLICES):
        before = [Spent(pid) for pid in processes]
        began = time.monotonic()
        time.sleep(SECONDS)
        rounds = (time.monotonic() - began) / period
        slices.append([(Spent(pid) - spent) / rounds for pid, spent in zip(processes, before)])
    return slices


def MeasureSerial():
    with contextlib.ExitStack() as stack:
        for name, device in LINES.items():
            ups = world.Serial(device=device, control=f"/run/bench-{name}.sock")
            stack.callback(ups.stop)
        tolvd.serial_settings()
        daemon = stack.enter_context(Daemon())
        bare = stack.enter_context(Running(Bench("bare_line"), LINES["bare"]))
        files = stack.enter_context(Running(Bench("bare_line"), LINES["files"], "--files"))
        slices = TakeSlices([daemon.pid, bare, files], 1)
    return [
        MakeRow("the daemon's round on a serial line", "the bare request and its reply",
                [(own, bare) for own, bare, _ in slices], "µs", 1.10),
        MakeRow("the same", "with its queues and files, bare",
                [(own, files) for own, _, files in slices], "µs", None),
    ]


def FindRound(agent):
    """The objects of one round, as the daemon asks for them."""
    agent.clear_log()
    def Log():
        return [line.split()[1] for line in agent.log()]
    wait_until(lambda: Log() and Log().count(Log()[0]) >= 3, what="two whole rounds")
    log = Log()
    return log[:log.index(log[0], 1)]


def MeasureAgent(agent):
    tolvd.agent_settings()
    with Daemon() as daemon:
        objects = FindRound(agent)
        path = f"/proc/{daemon.pid}/task/{daemon.pid}/children"
        with open(path, encoding="ascii") as source:
            worker = int(source.read().split()[0])
        client = Bench("bare_agent_client")
        with Running(client, agent.address, *objects) as bare, \
                Running(client, agent.address, "--tell", *objects) as told:
            slices = TakeSlices([worker, bare, told, daemon.pid], 2)
    return [
        MakeRow("the daemon's round behind an agent, its worker", "the bare requests",
                [(own, bare) for own, bare, _, _ in slices], "µs", 1.10),
        MakeRow("the same", "with what it tells the daemon, bare",
                [(own, told) for own, _, told, _ in slices], "µs", None),
        MakeRow("the same with the daemon itself", "the bare requests",
                [(own + main, bare) for own, bare, _, main in slices], "µs", None),
    ]
