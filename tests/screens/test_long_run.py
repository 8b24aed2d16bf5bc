"""Thousands of passes of each screen, in minutes: what it holds does not grow, whatever its UPS,
its files and its user do.

WARDENLINK_PASSES says how many passes; without it as many as a usual run has time for.
"""

import contextlib
import dataclasses
import os
import random
import time

import pytest

import queues
import world
from help_painter import place_help
from issuer_watch import presence
from local_painter import Files
from process import MemoryKilobytes, OpenFiles
from settings import Settings
from tolvd import preloaded
from waiting import wait_until

PASSES = int(os.environ.get("WARDENLINK_PASSES", "240"))
PARTS = 8  # looks at what it holds, beside the one after the first part
MOST_KEYS = 50  # typed at once
IDLE = 50  # percent of the passes, as most are of a screen that nobody sits at
OTHER_ADDRESS, OTHER_CONTROL = "192.0.2.11", world.CONTROL + ".other"
PRESENCE_MESSAGES = 6  # the daemon leaves no more of them waiting
SETTLING = " " * (PRESENCE_MESSAGES + 1)  # passes enough for the presence
GARBAGE = bytes(range(256)) * 300


class AgentWorld:
    """A UPS behind an agent. Half of what it is asked, or of what it answers, gets lost or comes
    late; then it is gone, comes back as another process, and is to be found somewhere else."""

    def __init__(self, weather):
        self.weather = weather
        self.agent, self.other = world.Agent(), world.Agent(OTHER_ADDRESS, control=OTHER_CONTROL)
        self.troubles = [self.lose_half, self.vanish, self.come_back, self.move]
        self.other_was_asked = []
        for agent in (self.agent, self.other):
            agent.freeze()  # no command of the command center turns it off

    def lose_half(self):
        self.weather.lose(50)

    def vanish(self):
        self.weather.lose(100)  # nobody has to wait for an answer that cannot come
        assert self.agent.stop() == 0

    def come_back(self):
        self.agent = world.Agent()
        self.agent.freeze()
        self.weather.lose(0)

    def move(self):
        self.other.clear_log()
        Settings(comm_mode=1, snmp_ip=OTHER_ADDRESS).write()

    def calm(self):
        self.other_was_asked.append(bool(self.other.log()))
        self.weather.lose(0)
        Settings(comm_mode=1, snmp_ip=world.agent_address()).write()

    def check(self, mode):
        """What was to happen has happened. The local screen alone follows the settings: the remote
        one has its address from its start, and the command center reads them then."""
        assert self.weather.lost_answers() and self.weather.late_answers()
        assert self.other_was_asked[1:] == [mode.is_local] * (PARTS + 1)

    def stop(self):
        assert (self.agent.stop(), self.other.stop()) == (0, 0)


class FilesWorld:
    """A UPS on a serial line, as the daemon's files tell of it: half of them are missing, all are,
    they hold garbage; then the settings name another line."""

    def __init__(self, weather):
        del weather
        self.count = 0
        self.troubles = [self.lose_half, self.vanish, self.garble, self.move]

    def lose_half(self):
        self.count += 1
        Files(**{name: None for at, name in enumerate(("q1", "rtg", "mdl"))
                 if (self.count + at) % 2}).write()

    def vanish(self):
        Files(q1=None, rtg=None, mdl=None).write()

    def garble(self):
        Files(q1=GARBAGE, rtg=b"", mdl=GARBAGE).write()

    def move(self):
        Files().write()
        Settings(comm_mode=0, com_port="/dev/ttyS7").write()

    def calm(self):
        Files().write()
        Settings(comm_mode=0).write()

    def check(self, mode):
        pass

    def stop(self):
        pass


class AddressWorld(FilesWorld):
    """The same, and settings of a UPS behind an agent, for who does not ask it."""

    def move(self):
        super().move()
        Settings(comm_mode=1, snmp_ip=OTHER_ADDRESS).write()

    def calm(self):
        super().calm()
        Settings(comm_mode=1, snmp_ip=world.agent_address()).write()


@dataclasses.dataclass(frozen=True)
class Mode:
    """A screen in one of its modes. keys: what is typed, one of them after the other; shown: rows
    that look at the end as at the beginning, [r] typed before each; is_local: whether it is the
    local screen, which is told things; way: keys that lead to it."""

    command: tuple
    world: type
    keys: list
    shown: range = range(0, 1)
    is_local: bool = False
    way: str = ""


PANELS = range(2, 23)
MODES = {
    "remote": Mode(("wardenlink", "status"), AgentWorld, list("   rx\x1b"), PANELS),
    "local-serial": Mode(("wardenlink-local",), FilesWorld, list("   rmbx"), PANELS, True),
    "local-snmp": Mode(("wardenlink-local",), AgentWorld, list("   rmmb"), PANELS, True),
    "issuer-serial": Mode(("wardenlink-command",), FilesWorld, list("sbnacppp\x1b r")),
    "issuer-snmp": Mode(("wardenlink-command",), AgentWorld, list("sulmfcobditpppp\x1b+- r")),
    "config": Mode(("wardenlink", "config"), FilesWorld, list("+-imdbuvanlcoptsr\n\n\n\x1b\x7f")),
    "config-snmp": Mode(("wardenlink", "config"), AddressWorld,
                        ["+", "-", *"dbuanlrs", "o\x7fx\n", "p\x7f7\n", "t", "\n", "\x1b"]),
    "help": Mode(("wardenlink-help",), FilesWorld, list("123457abcnnnp")),
    "opening": Mode(("wardenlink-monitor",), FilesWorld,
                    ["l", "e", "r", "ri198.51.100.7\n", "rcpublic\x7f\n", "\x1b"]),
    "opening-remote": Mode(("wardenlink-monitor",), AgentWorld, list("   rx\x1b"), PANELS,
                           way="\n"),
}


@pytest.fixture
def around(name, weather):
    made = MODES[name].world(weather)
    yield made
    made.stop()


def show_presence():
    """As the daemon does, which throws the oldest away."""
    while queues.count("heartbeatQueue") < PRESENCE_MESSAGES:
        queues.send("heartbeatQueue", 4, "here")


def take_orders(mode):
    """As the daemon does; the notices of saves are taken by a local screen, and where another one
    runs, as if there were one beside it."""
    for name in ("daemonControlQueue", "commandQueue"):
        assert len(queues.drain(name)) <= MOST_KEYS, "a key is one order at most"
    if not mode.is_local:
        queues.drain("screenControlQueue")


def play_others(mode):
    """The daemon, and who tells a local screen things."""
    show_presence()
    take_orders(mode)
    for text in ("010", "001", "\x1b[2J", "x" * 99) if mode.is_local else ():
        queues.send("screenControlQueue", 5, text)


def type_keys(screen, mode, weather, chance, passes):
    """So many passes, the idle ones among them. Every key is taken in the end."""
    end = weather.passes() + passes
    while weather.passes() < end:
        play_others(mode)
        keys = ""
        while len(keys) < min((end - weather.passes()) * (100 - IDLE) / 100, MOST_KEYS):
            keys += chance.choice(mode.keys)
        taken = weather.keys()
        screen.press(keys)
        assert weather.keys() == taken + len(keys)
        screen.clear_raw()


def holding(screen, mode):
    """Descriptors, kilobytes and messages, once it has taken what is for it, one in each pass; not
    the kilobytes under the sanitizers, which keep for a while what was given back."""
    if mode.is_local:
        wait_until(lambda: screen.press(" ") or queues.count("screenControlQueue") == 0,
                   what="the screen taking what it was told")
    show_presence()
    screen.press(SETTLING)
    take_orders(mode)
    memory = 0 if "ASAN_OPTIONS" in os.environ else MemoryKilobytes(screen.pid)
    return OpenFiles(screen.pid), memory, [queues.count(name) for name in queues.NAMES]


def picture(screen, rows):
    show_presence()
    screen.press("r ")
    return [screen.row(row) for row in rows]


@pytest.mark.parametrize("name", MODES)
def test_thousands_of_passes_leave_nothing_behind(start, weather, around, name):
    mode, chance, began = MODES[name], random.Random(1), time.monotonic()
    around.calm()
    place_help()
    with presence() if "issuer" in name else contextlib.nullcontext():
        screen = start([world.bin(mode.command[0]), *mode.command[1:]],
                       env=preloaded("short_waits"), quit_keys="\nqq")
        screen.press(mode.way)
    first_picture, looks = picture(screen, mode.shown), []
    weather.idle(IDLE)
    stretches = [*around.troubles, around.calm]
    for _ in range(PARTS + 1):
        for begin in stretches:
            begin()
            type_keys(screen, mode, weather, chance, PASSES / (PARTS + 1) / len(stretches))
        looks.append(holding(screen, mode))
    print(f"{name}: {weather.passes()} passes, {weather.idle_passes()} of them idle, "
          f"{weather.lost_answers()} answers lost, {weather.late_answers()} late, "
          f"in {time.monotonic() - began:.0f} s: {looks}")
    around.check(mode)
    weather.idle(0)
    first, last = looks[0], looks[-1]
    assert weather.passes() >= PASSES
    assert weather.idle_passes() >= weather.passes() / 3
    assert (last[0], last[2]) == (first[0], first[2]), looks
    assert last[1] <= first[1] + 64, looks
    if mode.is_local:
        screen.press("b")
    assert picture(screen, mode.shown) == first_picture
