"""Days of the daemon's readings, in minutes: what it holds does not grow, whatever its UPS does.

WARDENLINK_HOURS says how many hours; without it as many as a usual run has time for. Again and
again half of its answers are missing or late, then it is gone, then it is back, then it is to be
found somewhere else.
"""

import os
import time

import queues
import world
from process import Children, MemoryKilobytes, OpenFiles
from tolvd import agent_settings, preloaded, recorded, serial_settings
from waiting import wait_until

HOURS = float(os.environ.get("WARDENLINK_HOURS", "2"))
PARTS = 8  # looks at what it holds, beside the one after the first part
ROUNDS = max(1, round(HOURS / (PARTS + 1)))  # of all troubles, in each part
SECONDS_OF_AN_HOUR = 120  # in real time, on a machine that has little to spare
OTHER_DEVICE, OTHER_CONTROL = world.DEVICE + "-other", world.CONTROL + ".other"
OTHER_ADDRESS = "192.0.2.11"
INPUT_VOLTAGE = "get .1.3.6.1.4.1.935.1.1.1.3.2.1.0"
LOST, BACK = "the UPS does not answer", "the UPS answers again"


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
        pids = [running.pid, *Children(running.pid)]
        if len(pids) != 1 + workers:
            return None
        try:
            files = [fewest_files(pid) for pid in pids]
        except FileNotFoundError:  # a worker that was given up meanwhile
            return None
        waiting = [queues.count(name) for name in queues.NAMES]
        memory = [0 if "ASAN_OPTIONS" in os.environ else MemoryKilobytes(pid) for pid in pids]
        return (files, memory, waiting) if None not in memory else None
    return wait_until(Look, what=f"{workers} children")


def live(running, seconds):
    """Waits until the daemon's clock has gone on so far."""
    end = running.status()["boot_milliseconds"] + seconds * 1000
    wait_until(lambda: running.status().get("boot_milliseconds", 0) >= end,
               SECONDS_OF_AN_HOUR * HOURS, f"{seconds} seconds of the daemon's")


def check_hours(running, ups, workers, troubles, request, period):
    """Lives through the hours and checks that all stays as it was after the first part.

    A trouble is a pair of actions: what begins and what ends it. Without any, the request comes
    every so many seconds, but for what a busy machine holds up.
    """
    began = time.monotonic()
    stretch = HOURS * 3600 / (PARTS + 1) / ROUNDS / (len(troubles) + 1)
    looks, rounds = [], 0
    for _ in range(PARTS + 1):
        for count in range(ROUNDS):
            for begin, end in troubles:
                begin()
                live(running, stretch)
                end()
                running.wait_status(ups="heard")
            ups.load(20 + count % 60)
            ups.clear_log()
            live(running, stretch)
            rounds += ups.log().count(request)
        looks.append(holding(running, workers))
    print(f"{HOURS} hours in {time.monotonic() - began:.0f} s, {rounds} rounds undisturbed: {looks}")
    first, last = looks[0], looks[-1]
    assert last[0] == first[0], looks
    assert all(now <= before + 64 for before, now in zip(first[1], last[1])), looks
    assert all(max(waiting) <= 6 for *_, waiting in looks), looks
    assert rounds >= stretch / period * (PARTS + 1) * ROUNDS / 2
    assert recorded("shutdown") == []
    assert min(len(running.lines(words)) for words in (LOST, BACK)) >= (PARTS + 1) * ROUNDS


def go_to(write_settings, **place):
    """The settings name another place of the UPS, and the daemon is told."""
    write_settings(**place)
    queues.send("daemonControlQueue", 5, "010")


def test_hours_on_a_line_leave_nothing_behind(serial_ups, tolvd, weather):
    serial_settings()
    other = world.Serial(OTHER_DEVICE, OTHER_CONTROL)
    running = tolvd(env=preloaded("short_waits"))
    check_hours(running, serial_ups, 0, [
        (lambda: weather.lose(50), lambda: weather.lose(0)),
        (lambda: weather.lose(100), lambda: weather.lose(0)),
        (lambda: serial_ups.serial("vanish"), lambda: serial_ups.serial("return")),
        (lambda: go_to(serial_settings, com_port=OTHER_DEVICE), lambda: go_to(serial_settings))],
        "serial Q1", 1)
    assert weather.lost_answers() and weather.late_answers()
    assert other.log()
    other.stop()


class Vanishing:
    """An agent that is gone for a while, and comes back as another process."""

    def __init__(self, weather):
        self.weather, self.agent = weather, world.Agent()

    def vanish(self):
        self.weather.lose(100)  # nobody has to wait for an answer that cannot come
        assert self.agent.stop() == 0

    def come_back(self):
        self.agent = world.Agent()
        self.weather.lose(0)

    def __getattr__(self, name):
        return getattr(self.agent, name)


def test_hours_with_an_agent_leave_nothing_behind(tolvd, weather):
    agent_settings()
    ups, other = Vanishing(weather), world.Agent(OTHER_ADDRESS, control=OTHER_CONTROL)
    running = tolvd(env=preloaded("short_waits"))
    check_hours(running, ups, 1, [
        (lambda: weather.lose(50), lambda: weather.lose(0)),
        (ups.vanish, ups.come_back),
        (lambda: go_to(agent_settings, snmp_ip=OTHER_ADDRESS), lambda: go_to(agent_settings))],
        INPUT_VOLTAGE, 2)
    assert weather.lost_answers() and weather.late_answers()
    assert other.log()
    assert (ups.agent.stop(), other.stop()) == (0, 0)
