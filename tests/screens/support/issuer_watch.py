"""A running command center beside the painter that knows what it ought to show.

The daemon, which has to be seen at the start, is played by presence messages.
"""

import contextlib
import threading

import pytest

import queues
import world
from issuer_painter import ACCEPTED, IssuerPainter
from notice import wall_clock

DRIVER = "wardenlink-command"
PRESENCE, COMMAND = 4, 9

UPS = ".1.3.6.1.4.1.935.1.1.1."


def get(place):
    return f"get {UPS}{place}.0"


def put(place, number=2):
    return f"set {UPS}{place}.0 integer {number}"


ARMED = [put("5.2.10", 12)]
CONDITION = [get("3.2.1"), get("3.2.1"), get("4.1.1"), get("4.2.2")]

# Key: the datagrams of its command, in order, once it is confirmed.
COMMANDS = {
    "s": [put("6.2.1")],
    "u": [put("6.2.2")],
    "l": [put("5.2.11", 1), put("6.2.3")],
    "m": [put("6.2.4")],
    "f": [get("6.2.5"), put("6.2.5")],
    "c": [put("6.2.6")],
    "o": [put("6.2.6")],
    "b": [put("6.1.1")],
    "d": [put("7.2.2")],
    "i": [get("7.2.5"), put("7.2.5")],
    "t": [get("7.2.6"), put("7.2.6")],
}

# The simulated UPS's names for the objects that decide how a command ends.
NAMES = {"s": "turn_off", "u": "reboot", "l": "sleep", "m": "simulate_failure", "f": "flash_beep",
         "c": "cancel", "o": "cancel", "b": "conserve_battery", "d": "self_test",
         "i": "indicator_test", "t": "calibrate"}


class Center:
    """A running command center and the painter that knows what it ought to show."""

    def __init__(self, screen, settings, since):
        self.screen = screen
        self.painter = IssuerPainter(settings, screen.rows, screen.cols)
        self.painter.first_screen(since)
        self.painter.paint_pass()

    def check(self, what=""):
        """Compares the whole picture of a finished pass."""
        self.painter.check(self.screen, what)

    def check_picture(self, picture):
        """Compares all rows but the notice's with a picture as a whole."""
        self.check()
        shown, wanted = self.screen.lines(), picture.splitlines()
        wanted[1] = shown[1]
        assert shown == [line.ljust(80) for line in wanted + [""] * (25 - len(wanted))]

    def press(self, keys, outcome=ACCEPTED, check=True):
        """Types keys; outcome is how a command ends. Then compares the whole picture."""
        since = wall_clock()
        self.screen.press(keys)
        for key in keys:
            self.painter.take(key, outcome, since)
        if check:
            self.check(f"after {keys[-20:]!r}")

    def quit(self):
        """Leaves it; the exit status."""
        self.screen.send("q")
        return self.screen.wait_exit()


@contextlib.contextmanager
def presence():
    """A daemon that shows itself every half second, from now on."""
    ended = threading.Event()

    def Beat():
        while not ended.is_set():
            if queues.count("heartbeatQueue") < 6:
                queues.send("heartbeatQueue", PRESENCE, "alive")
            ended.wait(0.5)

    queues.send("heartbeatQueue", PRESENCE, "alive")
    beater = threading.Thread(target=Beat, daemon=True)
    beater.start()
    try:
        yield
    finally:
        ended.set()
        beater.join()


def open_center(start, settings, **options):
    """The command center with its first pass painted."""
    since = wall_clock()
    with presence():
        screen = start([world.bin(DRIVER)], **options)
        screen.wait_key()
    return Center(screen, settings, since)


@pytest.fixture
def center(agent, settings, start):
    """The command center, idle. The UPS stands still: what needs time waits."""
    agent.freeze()
    opened = open_center(start, settings)
    agent.clear_log()
    yield opened


def shown_passes(agent, key):
    """How often the pending command was shown since the log was cleared, and what came after."""
    log, one_pass, count = agent.log(), (ARMED if key == "s" else []) + CONDITION, 0
    while log[:len(one_pass)] == one_pass:
        log, count = log[len(one_pass):], count + 1
    return count, log
