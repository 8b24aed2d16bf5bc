"""What tests/preload/short_waits is told while a program runs: how much of what the program sends
to its UPS is lost on the way, how far the time of day is off; and how many passes it has made."""

import mmap
import os
import struct

FILE = "/run/wardenlink-weather"
LOST, CLOCK, PASSES = range(3)  # in this order, each a number of eight bytes
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

    def passes(self):
        """How often a key was waited for."""
        return struct.unpack_from("q", self._page, PASSES * SIZE)[0]

    def _write(self, place, number):
        struct.pack_into("q", self._page, place * SIZE, number)

    def close(self):
        self._page.close()
        os.remove(FILE)
