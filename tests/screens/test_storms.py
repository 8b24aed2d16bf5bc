"""Storms of signals, messages and datagrams: what a screen shows afterwards is what it showed
before, and it listens to its keys. And answers that come from elsewhere."""

import dataclasses
import itertools
import signal

import pytest

import queues
import world
from canvas import MOST_LEAPT, Canvas
from impostors import agent_at, answered_by
from issuer_painter import IssuerPainter
from issuer_watch import open_center
from local_watch import open_watch  # noqa: F401
from remote_painter import Painter, Readings, Watch
from screens import COMMANDS, open_screen
from settings import Settings
from snmp_painter import SnmpPainter, open_local
from storm import datagram_storm, send_signals
from tolvd import preloaded
from waiting import wait_until

FOUR_SIGNALS = (signal.SIGINT, signal.SIGHUP, signal.SIGTERM, signal.SIGQUIT)
OTHERS = (signal.SIGPIPE, signal.SIGXFSZ, signal.SIGCONT, signal.SIGWINCH)
NOTICE_ROW = 1  # with the time
WAITING = 1000  # datagrams before each pass
PASSES, STRUCK = 2, 5000  # at least so many passes, and datagrams that come in them
AWAITED = "d"  # a command, not confirmed: it asks the agent in each pass


def picture(screen):
    return [screen.row(row) for row in range(screen.rows) if row != NOTICE_ROW]


@pytest.mark.parametrize("name", COMMANDS)
def test_signals_change_no_picture(start, name):
    screen = open_screen(start, name)
    screen.press(" ")
    before = picture(screen)
    send_signals(screen.pid, [*FOUR_SIGNALS, *OTHERS])
    screen.press("  ")
    assert picture(screen) == before
    screen.send("q")
    assert screen.wait_exit() >= 0


def flood(name, kind, text):
    """As many messages as there is room for."""
    try:
        while True:
            queues.send(name, kind, text)
    except OSError:
        pass


def test_messages_leave_the_local_screen_its_picture(open_watch):
    watch = open_watch()
    flood("heartbeatQueue", 4, "here")
    for text in ("001", "000", "010"):
        flood("screenControlQueue", 5, text)
        for _ in range(3):
            watch.screen.press(" ")
        queues.drain("screenControlQueue")
    watch.show("r", load="071")
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0


# --- datagrams -----------------------------------------------------------------------------------

# What a screen may show then: no UPS, or the UPS, where each value came or did not. Without the
# output's voltage or its frequency another text stands in one place.
SILENT = dict.fromkeys(reading.name for reading in dataclasses.fields(Readings))
READINGS = [Readings(), Readings(**SILENT), Readings(output_voltage=None),
            Readings(output_frequency=None)]
POWERS = list(itertools.product((True, False), repeat=2))  # of the utility and the output

# The parts of a picture that show one value each: rows and columns.
ALL_COLUMNS = slice(0, 80)
LINES = [(slice(row, row + 1), ALL_COLUMNS) for row in range(25)]
BEGINS = (0, 3, 7, 11, 15, 19, 23, 25)  # of the right panel's values, each with its bar
PANELS = [*((rows, slice(0, 39)) for rows, _ in LINES),
          *((slice(*rows), slice(39, 80)) for rows in itertools.pairwise(BEGINS))]


@dataclasses.dataclass
class Allowed:
    """The whole picture without a UPS, or in each part what one of those with a UPS has there."""

    without: Canvas
    those: list
    parts: list


def panels(painter, settings):
    """Of a status screen."""
    lost = painter(settings)
    lost.paint_lost()
    those = []
    for readings, flash in itertools.product(READINGS, (False, True)):
        those.append(painter(settings))
        those[-1].paint(readings, flash)
    return Allowed(lost, those, PANELS)


def conditions(settings):
    """Of the command center, below a command that awaits its confirmation."""
    def paint(connected, utility=False, output=False):
        painter = IssuerPainter(settings)
        painter.first_screen()
        painter.connected, painter.utility, painter.output = connected, utility, output
        painter.take(AWAITED)
        return painter
    return Allowed(paint(False), [paint(True, *powers) for powers in POWERS], LINES)


def cells(text, marks):
    """The letters of each row, and whether they are in reverse; without the row of the time."""
    return [[] if row == NOTICE_ROW else
            [(letter, col in marks[row]) for col, letter in enumerate(letters)]
            for row, letters in enumerate(text)]


def check_allowed(screen, allowed):
    shown = cells(screen.lines(), [screen.standout(row) for row in range(screen.rows)])
    if shown == cells(allowed.without.text, allowed.without.marks):
        return
    wanted = [cells(painter.text, painter.marks) for painter in allowed.those]
    for rows, columns in allowed.parts:
        def part(picture):
            return [row[columns] for row in picture[rows]]
        assert part(shown) in map(part, wanted), f"rows from {rows.start}\n{screen.picture()}"


def strike_pass(screen, sent):
    """A pass of the screen in a storm, many datagrams waiting for it; how many came in it."""
    calm = sent()
    wait_until(lambda: sent() >= calm + WAITING, what="the storm")
    before = sent()
    screen.press(" ")
    return sent() - before


def show_load(watch):
    watch.painter.ahead = MOST_LEAPT
    watch.painter.connected = False  # perhaps: a pass may have found no answer among them
    watch.show("r", load=71)


# Each screen behind an agent, what it may show in a storm, and what to do to see it right again.


def open_status(start, agent, settings):
    screen = start([world.bin("wardenlink"), "status"], env=preloaded("short_waits"))
    screen.wait_key()
    return screen, panels(Painter, settings), lambda: show_load(Watch(screen, agent, settings))


def open_local_screen(start, agent, settings):
    watch = open_local(start, agent, settings, env=preloaded("short_waits"))
    return watch.screen, panels(SnmpPainter, settings), lambda: show_load(watch)


def open_awaiting(start, agent, settings):
    del agent
    center = open_center(start, settings, env=preloaded("short_waits"))
    center.painter.ahead = MOST_LEAPT
    center.press(AWAITED)
    return center.screen, conditions(settings), lambda: center.press("r")


@pytest.mark.parametrize("opened", [open_status, open_local_screen, open_awaiting])
def test_datagrams_that_are_no_answers_are_forgotten(start, agent, settings, opened):
    """They come from the agent's address and from another while the screen makes its passes."""
    screen, allowed, show_calm = opened(start, agent, settings)
    struck = []
    with datagram_storm(screen.pid, agent.address, "192.0.2.11") as sent:
        while len(struck) < PASSES or sum(struck) < STRUCK:
            struck.append(strike_pass(screen, sent))
            check_allowed(screen, allowed)
    print("datagrams that came in each pass:", struck)
    screen.press(" ")  # reads the last of them
    show_calm()


def test_an_answer_to_the_request_counts_wherever_it_comes_from(start):
    """As from an agent with several addresses; who forges one has to know the request's number."""
    chosen = Settings(snmp_ip=world.agent_address()).write()
    with agent_at("192.0.2.11") as elsewhere, answered_by(elsewhere) as handed:
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_key()
        Watch(screen, elsewhere, chosen).check()
        assert handed
