"""How long things take.

A busy machine holds anything up for a while, and nothing makes it faster. So a lower limit is
measured from a moment before the event that begins the time, and holds always; an upper limit
that is near the time itself holds for one of many tries: who is too slow is so in each of them, and
only then they are all needed.
"""

import time

TRIES = 20


class Stopwatch:
    """Runs from when it is made, or from a moment of time.monotonic() before."""

    def __init__(self, began=None):
        self.began = time.monotonic() if began is None else began

    def passed(self):
        return time.monotonic() - self.began

    def below(self, highest):
        return self.passed() < highest


def check_time(measure, lowest, highest, tries=TRIES):
    """measure() returns seconds: never fewer than lowest, and at least once at most highest."""
    taken = []
    while len(taken) < tries:
        taken.append(measure())
        assert taken[-1] >= lowest, f"{taken[-1]:.2f} s, at least {lowest} are needed"
        if taken[-1] <= highest:
            return
    raise AssertionError(f"always more than {highest} s: {taken}")


def seconds_of(action):
    """How long an action of the test's own takes."""
    took = Stopwatch()
    action()
    return took.passed()


def seconds_of_pass(screen):
    """How long a pass takes in which no key is typed."""
    took = Stopwatch(screen.wait_paint())
    screen.wait_paint()
    return took.passed()
