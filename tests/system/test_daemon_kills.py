"""The daemon killed at any of its system calls: the one that follows finds whole files, and goes on
with the outage.

A few calls in each run of the tests, spread over all; WARDENLINK_KILLS=1 takes every one.
"""

import os
import re

import tolvd as daemon
from tolvd import (kept_outage, leave_outage, read_status, record_events, recorded,
                   serial_settings, trace)
from waiting import LIMIT, wait_until

LOG = "/run/calls"


def kills(step):
    """What strace is told to kill at the calls that it has logged: each by its name, and its number
    among those of the same name."""
    with open(LOG, encoding="utf-8", errors="replace") as source:
        names = re.findall(r"^(\w+)\(", source.read(), re.M)
    assert len(names) > 2 * step, names
    for at in range(0, len(names), 1 if "WARDENLINK_KILLS" in os.environ else step):
        number = names[:at + 1].count(names[at])
        yield "-e", f"inject={names[at]}:signal=KILL:when={number}"


def start_traced(*options):
    """A daemon with strace beside it, once it has ended, or said what it makes of the outage."""
    started = daemon.Tolvd(prefix=["strace", "-D", "-qq", *options])
    wait_until(lambda: started.process.poll() is not None or started.status().get("status") == 2,
               what="its end or the outage")
    return started


def check_follower(tolvd, since):
    """The next daemon goes on with what was left."""
    read_status()  # whole, if any
    assert since in (None, kept_outage())
    follower = tolvd()
    follower.wait_status(status=2, pending="outage")
    assert since in (None, kept_outage())
    follower.kill()


def test_killed_at_its_start_in_an_outage(serial_ups, tolvd):
    serial_settings(ac_fail_delay=60)
    record_events()
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(seconds=5)
    since = kept_outage()
    start_traced("-o", LOG).kill()
    killed = 0
    for kill in kills(step=23):
        started = start_traced("-o", "/dev/null", *kill)
        killed += started.process.poll() is not None
        started.kill()
        check_follower(tolvd, since)
    assert killed > 0 and recorded("shutdown") == []


def test_killed_when_the_mains_fail(serial_ups, tolvd):
    """And what it starts then, too: the event's programs."""
    serial_settings(ac_fail_delay=60)
    record_events()
    serial_ups.freeze()

    def fail_mains(*kill):
        """Whether a daemon lives on that meets the begin of an outage."""
        running = tolvd()
        tracer = trace(running.pid, "-f", *kill)
        serial_ups.mains("fail")
        wait_until(lambda: running.process.poll() is not None or
                   running.status().get("status") == 2, what="its end or the outage")
        lives = running.process.poll() is None
        running.kill()
        tracer.wait(LIMIT)
        return lives

    def mend():
        os.remove(daemon.OUTAGE)
        serial_ups.mains("restore")

    running = tolvd()
    tracer = trace(running.pid, "-o", LOG)
    serial_ups.mains("fail")
    daemon.wait_event("outage")
    running.kill()
    tracer.wait(LIMIT)
    mend()
    lived = []
    for kill in kills(step=9):
        lived.append(fail_mains(*kill))
        check_follower(tolvd, kept_outage())
        mend()
    assert not all(lived) and recorded("shutdown") == []
