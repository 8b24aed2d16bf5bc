"""Time as the tests count it.

Now and then a machine or one of its processors stands still for seconds: a virtual one that is
halted, a busy one that serves somebody else. The product can do nothing for that, so such a
time does not count against an upper limit.
"""

import os
import threading
import time

TICK = 0.1
TOLERANCE = 0.3  # a tick that late is nothing special among many tests


class _Standstill(threading.Thread):
    """Notices ticks of one processor that come too late, and adds up by how much."""

    def __init__(self, processor):
        super().__init__(daemon=True)
        self.processor = processor
        self.lost = 0.0
        self.last = time.monotonic()
        self.start()

    def run(self):
        os.sched_setaffinity(0, {self.processor})  # of this thread alone
        while True:
            time.sleep(TICK)
            now = time.monotonic()
            self.lost += self.late(now)
            self.last = now

    def late(self, now):
        return max(0.0, now - self.last - TICK - TOLERANCE)

    def total(self):
        return self.lost + self.late(time.monotonic())


# The product may run on any of them.
_standstills = [_Standstill(processor) for processor in sorted(os.sched_getaffinity(0))[:8]]


class Stopwatch:
    """Started when it is made; an event's own time, for its limits."""

    def __init__(self):
        self.began = time.monotonic()
        self.lost = [standstill.total() for standstill in _standstills]

    def passed(self):
        return time.monotonic() - self.began

    def running(self):
        """The seconds passed, less those of the processor that stood still longest."""
        lost = [standstill.total() - before
                for standstill, before in zip(_standstills, self.lost)]
        return self.passed() - max(lost)

    def between(self, lowest, highest):
        """Whether more than `lowest` seconds have passed, and less than `highest` of running."""
        return lowest < self.passed() and self.below(highest)

    def below(self, highest):
        return self.running() < highest

    def __repr__(self):
        return f"{self.passed():.2f} s passed, {self.running():.2f} s of them running"
