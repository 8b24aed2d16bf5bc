"""Commands and screens beside ordinary users who mean harm to the message queues."""

import contextlib
import time

import pytest

import queues
import world
from screens import COMMANDS, open_screen
from settings import Settings
from stopwatch import Stopwatch
from users import end, spawn, storm, try_as_ordinary_user
from world import run, wait_until

NAMES = list(queues.NAMES)

pytestmark = pytest.mark.usefixtures("other_user")


# --- senders that never rest ---------------------------------------------------------------

def test_stop_is_not_held_up_by_senders_that_never_rest():
    with storm("heartbeatQueue"):
        took = Stopwatch()
        result = run("stop")
        assert took.below(50)
    assert (result.stdout, result.stderr) == ("", "")
    assert queues.drain("daemonControlQueue") == [(5, b"100")]


def test_a_local_screen_opens_beside_senders_that_never_rest(start):
    Settings(comm_mode=0).write()
    with storm("screenControlQueue"):
        took = Stopwatch()
        screen = start([world.bin("wardenlink-local")])
        screen.wait_key()
        screen.send("q")
        assert screen.wait_exit() == 0
        assert took.below(50)


# --- queues that somebody else made first --------------------------------------------------

def squat():
    for name in NAMES:
        queues.open(name)
        queues.limit(name, 0)


def beat():
    while True:
        if queues.count("heartbeatQueue") < 5:
            queues.send("heartbeatQueue", 4, "alive")
        time.sleep(0.1)


def test_stop_reaches_the_daemon_through_queues_that_somebody_else_made_first():
    assert try_as_ordinary_user(squat) == 0
    with pytest.raises(OSError):
        queues.send("daemonControlQueue", 5, "100")
    queues.remove("heartbeatQueue")  # as root's daemon does at its start
    daemon = spawn(beat)
    try:
        wait_until(lambda: queues.count("heartbeatQueue"), what="a presence message")
        result = run("stop")
    finally:
        end(daemon)
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")
    assert queues.drain("daemonControlQueue") == [(5, b"100")]


def test_a_save_reaches_daemon_and_screen_through_queues_that_somebody_else_made_first(start):
    assert try_as_ordinary_user(squat) == 0
    Settings().write()
    screen = start([world.bin("wardenlink"), "config"])
    screen.wait_key()
    screen.press("s")
    assert queues.drain("daemonControlQueue") == [(5, b"010")]
    assert queues.drain("screenControlQueue") == [(5, b"010")]
    for name in ("daemonControlQueue", "screenControlQueue"):
        info = queues.info(name)
        assert (info.uid, info.cuid, info.mode & 0o777) == (0, 0, 0o666)


# --- while a screen runs -------------------------------------------------------------------

def remove():
    for name in NAMES:
        queues.remove(name)


def fill():
    remove()
    for name in NAMES:
        with contextlib.suppress(OSError):
            while True:
                queues.send(name, 4, "x" * 99)


def take_them_all():
    remove()
    assert try_as_ordinary_user(squat) == 0


@pytest.mark.parametrize("screen_name", COMMANDS)
def test_queues_that_go_fill_or_change_hands_leave_a_screen_its_picture(start, screen_name):
    screen = open_screen(start, screen_name)
    screen.press(" ")
    before = screen.lines()
    for harm in (remove, fill, take_them_all):
        harm()
        screen.press("   ")
        shown = screen.lines()
        assert (shown[0], shown[2:]) == (before[0], before[2:]), harm  # row 1 has the time
    screen.send("q")
    assert screen.wait_exit() >= 0
