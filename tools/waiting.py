"""How the tests wait: for an event, with a limit that only a program that hangs will reach."""

import time

LIMIT = 60  # seconds: a busy machine may take long over anything

# A program is looked at often at first, as most events come at once, and seldom in the end, as
# many tests wait side by side.
FIRST_STEP, LAST_STEP, GROWTH = 0.001, 0.03, 1.5


def wait_until(predicate, timeout=LIMIT, what="the condition", describe=None):
    """Waits until predicate() is true and returns its value; describe() adds to a failure."""
    until, step = time.monotonic() + timeout, FIRST_STEP
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() > until:
            state = "\n" + describe() if describe else ""
            raise AssertionError(f"{what}: not within {timeout} s{state}")
        time.sleep(step)
        step = min(step * GROWTH, LAST_STEP)
