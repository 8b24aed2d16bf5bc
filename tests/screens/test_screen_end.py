"""What every screen leaves behind on a terminal that has a second screen to change to."""

import re

import pytest

import world
from help_painter import place_help
from issuer_watch import presence
from settings import Settings
from terminal import Terminal

ENTER, LEAVE = b"\x1b[?1049h", b"\x1b[?1049l"


@pytest.mark.parametrize("words", [
    ("wardenlink", "config"), ("wardenlink", "status"), ("wardenlink-monitor",),
    ("wardenlink-local",), ("wardenlink-command",), ("wardenlink-help",)])
def test_a_screen_that_is_quit_goes_back_to_the_first_one(words):
    Settings(comm_mode=0).write()
    place_help()
    # Only the bytes count: the terminal that the other tests look at is another one.
    with presence(), Terminal([world.bin(words[0]), *words[1:]], term="xterm") as screen:
        screen.wait_key()
        assert screen.raw.count(ENTER) == 1 and LEAVE not in screen.raw
        screen.send("q")
        assert screen.wait_exit() == 0
        _, left, rest = screen.raw.partition(LEAVE)
    assert left and not re.search(rb"[A-Za-z]{2}", rest), "nothing is painted after it"
