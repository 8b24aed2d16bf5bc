"""What tests/preload/short_waits is told while a program runs: how many requests to the UPS stay
without their answer, how far the time of day is off, how many passes of a screen are idle;
and what it has done since."""

import mmap
import os
import struct
import time

import pytest

FILE = "/run/wardenlink-weather"
# In this order, each a number of eight bytes.
LOST, CLOCK, IDLE, PASSES, IDLE_PASSES, KEYS, LOST_ANSWERS, LATE_ANSWERS = range(8)
SIZE = 8


class Weather:
    """Made before the program is started."""

    def __init__(self):
        with open(FILE, "w+b") as target:
            target.truncate(mmap.PAGESIZE)
            self._page = mmap.mmap(target.fileno(), mmap.PAGESIZE)

    def lose(self, percent):
        """So much gets lost between the program and its UPS from now on: half of it requests, the
        rest answers to what was obeyed, every second of which is only late. All of it: requests."""
        self._write(LOST, percent)

    def set_clock(self, moment, shown=None):
        """The time of day is this one, in seconds since 1970; other clocks stay what they are.
        shown: what a program's clock shows that has leapt."""
        shift = self._read(CLOCK)
        self._write(CLOCK, shift + int(moment) - int(shown or time.time() + shift))

    def idle(self, percent):
        """So many passes end without a key from now on, at once, whatever was typed."""
        self._write(IDLE, percent)

    def passes(self):
        """How often a key was waited for."""
        return self._read(PASSES)

    def idle_passes(self):
        """How many of these waits were ended by idle()."""
        return self._read(IDLE_PASSES)

    def keys(self):
        """How many bytes were read that somebody typed."""
        return self._read(KEYS)

    def lost_answers(self):
        return self._read(LOST_ANSWERS)

    def late_answers(self):
        """How many came after the program had stopped waiting for them."""
        return self._read(LATE_ANSWERS)

    def _read(self, place):
        return struct.unpack_from("q", self._page, place * SIZE)[0]

    def _write(self, place, number):
        struct.pack_into("q", self._page, place * SIZE, number)

    def close(self):
        self._page.close()
        os.remove(FILE)


@pytest.fixture
def weather():
    """Fair as yet; for a program that is started with short_waits."""
    made = Weather()
    yield made
    made.close()
