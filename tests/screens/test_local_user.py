"""The local screen of an ordinary user, beside a daemon whose queues for orders are root's alone."""

import os

import pytest

import queues
import world
from local_painter import all_replies_with, read_files
from local_watch import DRIVER, SerialWatch
from process import OrdinaryUser
from settings import Settings

WATCHED = Settings(comm_mode=0, com_port=world.DEVICE)
ROOTS_QUEUES = ("daemonControlQueue", "commandQueue")


@pytest.fixture
def everyones_screen():
    """A copy of the program that ordinary users can reach."""
    path = "/run/local-screen-of-everyone"
    with open(world.bin(DRIVER), "rb") as source, open(path, "wb") as target:
        target.write(source.read())
    os.chmod(path, 0o755)
    yield path
    os.remove(path)


def show(watch):
    world.wait_until(lambda: queues.count("heartbeatQueue") > 1, what="the daemon's presence")
    watch.files = read_files()
    watch.screen.press(" ")
    watch.check(present=True)


def wait_reply(text):
    world.wait_until(lambda: all_replies_with(text), what=f"{text!r} told")


def test_it_shows_everything(serial_ups, tolvd, start, everyones_screen):
    WATCHED.write()
    running = tolvd()
    wait_reply("(230.0 ")
    rights = {name: queues.info(name).mode & 0o777 for name in ROOTS_QUEUES}
    assert set(rights.values()) == {0o600}, rights
    screen = start([*OrdinaryUser(), everyones_screen])
    screen.wait_key()
    watch = SerialWatch(screen, WATCHED, read_files())
    show(watch)
    assert screen.cells(9, 26, 8) == "Normal  "
    serial_ups.freeze()
    serial_ups.mains("fail")
    wait_reply(" 10000")
    show(watch)
    assert screen.cells(9, 26, 8) == "AC FAILS"
    # The settings that the daemon reads again are on the screen as well.
    other = Settings(comm_mode=0, com_port=world.DEVICE, ac_fail_delay=33).write()
    queues.send("screenControlQueue", 5, "010")
    show(SerialWatch(screen, other, read_files()))
    screen.send("q")
    assert screen.wait_exit() == 0
    assert {queues.info(name).mode & 0o777 for name in ROOTS_QUEUES} == {0o600}
    running.wait_status(status=2)
