"""Storms of signals, messages and datagrams: what a screen shows afterwards is what it showed
before, and it listens to its keys. And answers that come from elsewhere."""

import dataclasses
import itertools
import operator
import signal

import pytest

import queues
import world
from canvas import MOST_LEAPT
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

# What a screen may show then: no UPS, the UPS, or the UPS without values that did not come. Where
# the output voltage alone did not, another text stands in its place.
SILENT = dict.fromkeys(reading.name for reading in dataclasses.fields(Readings))
READINGS = [Readings(), Readings(**SILENT), Readings(output_voltage=None)]
# Whether the agent answers, and whether there is utility and output power.
CONDITIONS = [(False, False, False), *((True, *powers) for powers in
                                       itertools.product((True, False), repeat=2))]


def panels(painter, settings):
    """Of a status screen."""
    lost = painter(settings)
    lost.paint_lost()
    yield lost
    for readings, flash in itertools.product(READINGS, (False, True)):
        found = painter(settings)
        found.paint(readings, flash)
        yield found


def conditions(settings):
    """Of the command center, below a command that awaits its confirmation."""
    for shown in CONDITIONS:
        painter = IssuerPainter(settings)
        painter.first_screen()
        painter.connected, painter.utility, painter.output = shown
        painter.take(AWAITED)
        yield painter


def cells(text, marks):
    """The letters of a row, and whether each is in reverse."""
    return [(letter, col in marks) for col, letter in enumerate(text)]


def check_among(screen, painters):
    """Each cell looks as one of them has it."""
    for row in range(screen.rows):
        allowed = zip(*(cells(painter.text[row], painter.marks[row]) for painter in painters))
        shown = cells(screen.row(row), screen.standout(row))
        assert row == NOTICE_ROW or all(map(operator.contains, allowed, shown)), screen.picture()


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
    screen, painters, show_calm = opened(start, agent, settings)
    allowed, struck = list(painters), []
    with datagram_storm(screen.pid, agent.address, "192.0.2.11") as sent:
        while len(struck) < PASSES or sum(struck) < STRUCK:
            struck.append(strike_pass(screen, sent))
            check_among(screen, allowed)
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
