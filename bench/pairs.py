"""What the screens cost beside their bare counterparts, each pair taken in turns: A B, B A, A B..."""

import collections
import json
import os
import re
import statistics
import subprocess

import world
from settings import Settings
from terminal import Terminal

# One row of the table: what it costs us and the other, in this unit; of each turn the ratio. A
# goal of None is none: the row explains another one.
Row = collections.namedtuple("Row", "what against own bare unit ratio goal")

TURNS = 25
PORT = "/run/ttyUPS"  # is shown, not opened
REPLIES = {
    "q1": b"(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000\r",
    "rtg": b"#230.0 004 12.00 50.0\r",
    "mdl": b"#WardenLink Lab  SIM-1000   1.20      \r",
}


def Bench(name):
    return world.bin(f"bench/{name}")


# --- taking turns -------------------------------------------------------------------------


def TakeTurns(own, bare, turns=TURNS):
    """What both functions return, turn by turn: [(own, bare), ...]."""
    pairs = []
    for turn in range(turns):
        if turn % 2 == 0:
            first = own()
            pairs.append((first, bare()))
        else:
            first = bare()
            pairs.append((own(), first))
    return pairs


def MakeRow(what, against, pairs, unit, goal):
    """The medians of both, and the median of the turns' ratios: a busy moment slows both."""
    own = statistics.median(own for own, _ in pairs)
    bare = statistics.median(bare for _, bare in pairs)
    ratio = statistics.median(own / bare for own, bare in pairs) if bare else 1.0 * (own == bare)
    return Row(what, against, own, bare, unit, ratio, goal)


def Pick(pairs, name):
    return [(own[name], bare[name]) for own, bare in pairs]


def Type(command, keys, passes, clock=0):
    """What the typist measures of a screen; clock: minutes that pass with each key."""
    environment = dict(os.environ, WARDENLINK_BENCH_CLOCK=str(clock), LANG="C", LC_ALL="C")
    result = subprocess.run([Bench("typist"), Bench("libstage.so"), keys, str(passes), *command],
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True,
                            env=environment)
    return json.loads(result.stdout)


def TypeBoth(pair, keys, passes, clock=0, turns=TURNS):
    return TakeTurns(lambda: Type(pair.own, keys, passes, clock),
                     lambda: Type(pair.bare, keys, passes, clock), turns)


# --- the screens --------------------------------------------------------------------------

# The commands of a screen and of its bare counterpart.
ScreenPair = collections.namedtuple("ScreenPair", "own bare")


def ReadPicture(command):
    with Terminal(command) as screen:
        screen.wait_key()
        cells = [(screen.row(row), screen.standout(row)) for row in range(screen.rows)]
        return cells, screen.cursor


def RequireSameCells(pair):
    """A counterpart that shows anything else is none. The clock may have gone on in between."""
    for _ in range(3):
        if ReadPicture(pair.own) == ReadPicture(pair.bare):
            return
    raise SystemExit(f"bench: {pair.bare[0]} does not show the cells of {' '.join(pair.own)}")


def StatusPair():
    Settings(snmp_ip=world.agent_address()).write()
    return ScreenPair([world.bin("wardenlink"), "status"],
                      [Bench("bare_status"), world.agent_address()])


def MeasureStatus():
    pair = StatusPair()
    RequireSameCells(pair)
    pairs = TypeBoth(pair, "x", 100)
    clocks = TypeBoth(pair, "x", 60, clock=1, turns=3)
    return [
        MakeRow("CPU of a connected status pass", "bare loop: same ten requests, same cells",
                Pick(pairs, "cpu"), "µs", 1.05),
        MakeRow("first picture of status, without the required pause", "the same bare loop",
                Pick(pairs, "first"), "ms", 1.10),
        MakeRow("bytes of a status pass in which only the clock changes", "the same bare loop",
                Pick(clocks, "bytes"), "bytes", 1.00),
        MakeRow("peak memory of status", "the same bare loop", Pick(pairs, "memory"), "kB", 1.02),
    ]


def MeasureLocal():
    Settings(comm_mode=0, com_port=PORT).write()
    for name, reply in REPLIES.items():
        with open(f"{world.FOLDER}/wardenlink.{name}", "wb") as target:
            target.write(reply)
    pair = ScreenPair([world.bin("wardenlink-local")], [Bench("bare_local"), PORT])
    RequireSameCells(pair)
    return [MakeRow("CPU of a local pass, UPS on a serial line",
                    "three files opened, read, parsed; same cells",
                    Pick(TypeBoth(pair, "x", 300), "cpu"), "µs", 1.10)]


def MeasureConfig():
    Settings(snmp_ip=world.agent_address()).write()
    pair = ScreenPair([world.bin("wardenlink"), "config"],
                      [Bench("bare_config"), world.agent_address()])
    RequireSameCells(pair)
    pairs = TypeBoth(pair, "+-", 500)
    return [
        MakeRow("key to redrawn screen in config, median", "bare ncurses loop, same cells",
                Pick(pairs, "median"), "µs", 1.2),
        MakeRow("the same, 99th percentile", "the same", Pick(pairs, "slowest"), "µs", 1.2),
        MakeRow("the same, CPU", "the same", Pick(pairs, "cpu"), "µs", None),
    ]


# --- a start, and calls in one process ----------------------------------------------------


def StartMilliseconds(path, starts=20):
    """What a start costs of the processor, to its end."""
    with open(os.devnull, "r+b") as nothing:
        streams = [(os.POSIX_SPAWN_DUP2, nothing.fileno(), number) for number in range(3)]
        spent = 0
        for _ in range(starts):
            pid = os.posix_spawn(path, [path], os.environ, file_actions=streams)
            usage = os.wait4(pid, 0)[2]
            spent += usage.ru_utime + usage.ru_stime
    return spent * 1000 / starts


def MeasureStart():
    pairs = TakeTurns(lambda: StartMilliseconds(world.bin("wardenlink")),
                      lambda: StartMilliseconds(Bench("bare_empty")))
    return [MakeRow("start-up (usage text), CPU", "empty program with the same libraries", pairs,
                    "ms", 1.02)]


CALLS = {
    "Messages": ("SendToMsgQ and ReadCtrlMsg", "msgsnd and msgrcv with one msgctl", 1.05),
    "ReadConfig": ("ReadConfig", "the bare system calls", 1.15),
    "WriteConfig": ("WriteConfig", "the bare system calls", 1.15),
}


def MeasureCalls():
    """The rows, and what so many objects cost: {number: (own, bare)} in microseconds."""
    result = subprocess.run(
        [Bench("in_process"), "--benchmark_repetitions=25", "--benchmark_min_time=0.02",
         "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    taken = collections.defaultdict(list)
    for run in json.loads(result.stdout)["benchmarks"]:
        assert not run.get("error_occurred"), run
        if run["run_type"] == "iteration":
            taken[run["run_name"]].append(run["cpu_time"] / 1000)
    rows = [MakeRow(*CALLS[name][:2], list(zip(taken[name + "ByProduct"], taken[name + "Bare"])),
                    "µs", CALLS[name][2]) for name in CALLS]
    objects = {}
    for name in taken:
        found = re.fullmatch(r"ObjectsByProduct/(\d+)", name)
        if found:
            objects[int(found[1])] = (statistics.median(taken[name]),
                                      statistics.median(taken["ObjectsBare/" + found[1]]))
    return rows, objects


# --- for the chart ------------------------------------------------------------------------

PASSES = (25, 50, 100, 200, 400, 800)
DELAYS = (0, 1, 2, 5, 10)  # milliseconds of an answer


def Medians(pairs):
    return [statistics.median(values) for values in zip(*pairs)]


def MeasurePasses():
    """{number: (own, bare)}: microseconds of the processor for each of so many passes."""
    pair = StatusPair()
    taken = {passes: [] for passes in PASSES}
    for _ in range(9):  # a slow minute of the machine is then one of all numbers
        for passes in PASSES:
            taken[passes] += Pick(TypeBoth(pair, "x", passes, turns=1), "cpu")
    return {passes: Medians(pairs) for passes, pairs in taken.items()}


def MeasureDelays(agent):
    """{milliseconds: (own, bare)}: milliseconds of a pass whose ten answers take so long."""
    pair = StatusPair()
    found = {}
    for delay in DELAYS:
        agent.delay(delay)
        pairs = Pick(TypeBoth(pair, "x", 15, turns=1), "median")
        found[delay] = [microseconds / 1000 for microseconds in pairs[0]]
    agent.delay(0)
    return found
