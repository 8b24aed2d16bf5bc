"""The signals of a serial line, DTR and RTS: a UPS may take their change for an order."""

import contextlib
import os
import termios

import pytest

import tolvd as daemon
import world
from tolvd import ask, leave_outage, preloaded, serial_settings, wait_recorded

RECORD = "/run/wardenlink-line-signals"
SWITCHED = ["DTR on", "RTS off"]
LEFT = "closed, they stay"


def done():
    """What was done to the signals so far, oldest first."""
    if not os.path.exists(RECORD):
        return []
    with open(RECORD, encoding="ascii") as source:
        return source.read().splitlines()


@pytest.fixture(autouse=True)
def nothing_done():
    if os.path.exists(RECORD):
        os.remove(RECORD)


@pytest.fixture
def watched():
    return {**os.environ, **preloaded("line_signals")}


@contextlib.contextmanager
def falling_line():
    """The line as a fresh one is: closing it lets its signals fall."""
    fd = os.open(world.DEVICE, os.O_RDWR | os.O_NOCTTY)
    terms = termios.tcgetattr(fd)
    terms[2] |= termios.HUPCL
    termios.tcsetattr(fd, termios.TCSANOW, terms)
    try:
        yield
    finally:
        os.close(fd)


def test_dtr_is_on_and_rts_off_and_both_stay_when_the_daemon_ends(serial_ups, tolvd, watched):
    serial_settings()
    running = tolvd(env=watched)
    assert done() == SWITCHED
    running.stop()
    assert done() == [*SWITCHED, LEFT]


def test_a_device_that_comes_back_gets_them_anew(serial_ups, tolvd, watched):
    serial_settings()
    running = tolvd(env=watched)
    serial_ups.serial("vanish")
    running.wait_log("cannot be opened")
    serial_ups.serial("return")
    running.wait_log("the line .* is open", count=2)
    running.wait_status(ups="heard")
    assert [word for word in done() if "closed" not in word] == SWITCHED * 2


def test_they_stay_through_the_shutdown(serial_ups, tolvd, watched):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(57)
    tolvd(env=watched)
    wait_recorded("shutdown", "-h now")
    assert "serial S03R0003" in serial_ups.log()
    assert set(done()) == {*SWITCHED, LEFT}


@pytest.mark.parametrize("words", [("--check",), ("--setup", "serial", world.DEVICE)], ids=str)
def test_they_stay_when_a_command_is_done(serial_ups, watched, words):
    serial_settings()
    daemon.require_recorders()
    with falling_line():
        assert ask(*words, env=watched).returncode == 0
    assert [word for word in done() if "closed" not in word] == SWITCHED
    assert done().count(LEFT) >= 1 and set(done()) == {*SWITCHED, LEFT}
