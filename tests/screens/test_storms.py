"""Storms of signals, messages and datagrams: what a screen shows afterwards is what it showed
before, and it listens to its keys. And answers that come from elsewhere."""

import signal
import threading

import pytest

import queues
import world
from impostors import agent_at, answered_by
from local_watch import open_watch  # noqa: F401
from remote_painter import Watch
from screens import COMMANDS, open_screen
from settings import Settings
from storm import COUNT, send_datagrams, send_signals

FOUR_SIGNALS = (signal.SIGINT, signal.SIGHUP, signal.SIGTERM, signal.SIGQUIT)
OTHERS = (signal.SIGPIPE, signal.SIGXFSZ, signal.SIGCONT, signal.SIGWINCH)
NOTICE_ROW = 1  # with the time


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


@pytest.mark.parametrize("place", ["another", "the agent's"])
def test_datagrams_that_are_no_answers_are_forgotten(status, agent, settings, place):
    address = world.agent_address() if place == "the agent's" else "192.0.2.11"
    watch = Watch(status, agent, settings)
    sent = []
    sender = threading.Thread(
        target=lambda: sent.append(send_datagrams(status.pid, address)))
    sender.start()
    status.press(" ")  # while it asks, they come in between
    sender.join()
    watch.painter.connected = False  # perhaps: a pass may find no answer among them
    watch.show("r", load=71)
    assert sent == [COUNT]


def test_an_answer_to_the_request_counts_wherever_it_comes_from(start):
    """As from an agent with several addresses; who forges one has to know the request's number."""
    chosen = Settings(snmp_ip=world.agent_address()).write()
    with agent_at("192.0.2.11") as elsewhere, answered_by(elsewhere) as handed:
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_key()
        Watch(screen, elsewhere, chosen).check()
        assert handed
