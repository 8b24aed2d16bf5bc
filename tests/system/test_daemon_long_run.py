"""A day of the daemon's readings, in seconds: what it holds does not grow.

WARDENLINK_HOURS says how many hours; without it as many as a usual run has time for.
"""

import os
import time

import queues
from process import MemoryKilobytes, OpenFiles
from tolvd import agent_settings, preloaded, recorded, serial_settings
from waiting import wait_until

HOURS = float(os.environ.get("WARDENLINK_HOURS", "2"))
PARTS = 8  # looks at what it holds, beside the one after the first part
SECONDS_OF_AN_HOUR = 60  # in real time, on a machine that has little to spare
LOGGED = 20000  # requests that the simulated UPS keeps
INPUT_VOLTAGE = "get .1.3.6.1.4.1.935.1.1.1.3.2.1.0"


def children(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as source:
        return [int(number) for number in source.read().split()]


def fewest_files(pid):
    """Of looks so far apart that a process which does not run just now has its turn between."""
    looks = []
    for _ in range(20):
        looks.append(OpenFiles(pid))
        time.sleep(0.01)
    return min(looks)


def holding(running, workers):
    """Descriptors, kilobytes and messages of the daemon and its workers, once what else it has
    started is over; not the kilobytes under the sanitizers, which keep for a while what was given
    back. A file may just be open: the least of several looks counts."""
    def Look():
        pids = [running.pid, *children(running.pid)]
        if len(pids) != 1 + workers:
            return None
        try:
            files = [fewest_files(pid) for pid in pids]
        except FileNotFoundError:  # a worker that was given up meanwhile
            return None
        memory = [0 if "ASAN_OPTIONS" in os.environ else MemoryKilobytes(pid) for pid in pids]
        return (files, memory, queues.count("heartbeatQueue")) if None not in memory else None
    return wait_until(Look, what=f"{workers} children")


def live(running, seconds, change):
    """Waits until the daemon's clock has gone on so far; change(COUNT) is called meanwhile."""
    end = running.status()["boot_milliseconds"] + seconds * 1000
    count = 0

    def IsOver():
        nonlocal count
        count += 1
        change(count)
        return running.status().get("boot_milliseconds", 0) >= end
    wait_until(IsOver, SECONDS_OF_AN_HOUR * HOURS, f"{seconds} seconds of the daemon's")


def check_hours(running, ups, workers):
    """Lives through the hours and checks that all stays as it was after the first part."""
    began = time.monotonic()
    looks = []
    for _ in range(PARTS + 1):
        live(running, HOURS * 3600 / (PARTS + 1), lambda count: ups.load(20 + count % 60))
        looks.append(holding(running, workers))
    print(f"{HOURS} hours in {time.monotonic() - began:.0f} s: {looks}")
    first, last = looks[0], looks[-1]
    assert last[0] == first[0], looks
    assert all(now <= before + 64 for before, now in zip(first[1], last[1])), looks
    assert all(messages <= 6 for *_, messages in looks), looks
    assert recorded("shutdown") == []


def rounds_of(ups, request):
    """How often the UPS was asked, as far as its log reaches."""
    return ups.log().count(request)


def test_hours_on_a_line_leave_nothing_behind(serial_ups, tolvd):
    serial_settings()
    check_hours(tolvd(env=preloaded("short_waits")), serial_ups, 0)
    # A round a second, but for what a busy machine holds up.
    assert rounds_of(serial_ups, "serial Q1") >= min(HOURS * 3600, LOGGED) / 2


def test_hours_with_an_agent_leave_nothing_behind(agent, tolvd):
    agent_settings()
    check_hours(tolvd(env=preloaded("short_waits")), agent, 1)
    assert rounds_of(agent, INPUT_VOLTAGE) >= min(HOURS * 1800, LOGGED / 10) / 2
