"""What tests/preload/short_waits is told while a program runs: how much of what the program sends
to its UPS is lost on the way, how far the time of day is off, how many passes of a screen are idle;
and what it has done since."""

import mmap
import os
import struct

FILE = "/run/wardenlink-weather"
LOST, CLOCK, IDLE, PASSES, IDLE_PASSES, KEYS = range(6)  # in this order, each a number of eight bytes
SIZE = 8


class Weather:
    """Made before the program is started."""

    def __init__(self):
        with open(FILE, "w+b") as target:
            target.truncate(mmap.PAGESIZE)
            self._page = mmap.mmap(target.fileno(), mmap.PAGESIZE)

    def lose(self, percent):
        """So much of what goes to the UPS gets lost from now on."""
        self._write(LOST, percent)

    def shift_clock(self, seconds):
        """The time of day is so far ahead; other clocks stay what they are."""
        self._write(CLOCK, seconds)

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

    def _read(self, place):
        return struct.unpack_from("q", self._page, place * SIZE)[0]

    def _write(self, place, number):
        struct.pack_into("q", self._page, place * SIZE, number)

    def close(self):
        self._page.close()
        os.remove(FILE)
