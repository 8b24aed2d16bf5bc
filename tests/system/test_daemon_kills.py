"""The daemon and the processes that it makes for an event, each killed at its system calls: what is
left is whole, and the outage is watched, if need be by the next daemon.

Some calls in each run of the tests; WARDENLINK_KILLS=1 takes every one.
"""

import os
import re
import signal

import pytest

import tolvd as daemon
from process import Children
from tolvd import (events, kept_outage, leave_outage, read_status, record_events, recorded,
                   serial_settings, trace, wait_event)
from waiting import LIMIT, wait_until

LOG = "/run/calls"
EVERY = "WARDENLINK_KILLS" in os.environ


# --- who is killed, and where ----------------------------------------------------------------


def first_calls(calls):
    """The first one of each name."""
    return calls if EVERY else list({call[0]: call for call in reversed(calls)}.values())


def inject(call, number=1):
    """What strace is told to kill at the call of that name and number."""
    return "-e", f"inject={call}:signal=KILL:when={number}"


def logged():
    with open(LOG, encoding="utf-8", errors="replace") as source:
        return source.read()


def logged_calls():
    """The logged calls of one process: name, and number among those of the same name."""
    names = re.findall(r"^(?!restart_syscall)(\w+)\(", logged(), re.M)
    assert names
    return [(name, names[:at + 1].count(name)) for at, name in enumerate(names)]


def is_killed(running):
    """Whether it was, once it has ended or gone on for two seconds with the outage. That it calls
    something once more than before is not said; but once it does."""
    def Outcome():
        status = running.status()
        if running.process.poll() is None and status.get("status") == 2:
            seen.append(status["boot_milliseconds"])
        return running.process.poll() is not None or (seen and seen[-1] >= seen[0] + 2000)
    seen = []
    wait_until(Outcome, what="its end or the outage")
    return running.process.poll() == -signal.SIGKILL


def stop_newborn(pid, cause, count=1):
    """The processes that pid makes then, each standing still at its first call."""
    tracer = trace(pid, "-f", "-o", LOG, "-e", "inject=set_robust_list:signal=STOP")
    cause()

    def Find():
        stopped = map(int, re.findall(r"^(\d+) +--- stopped by SIGSTOP", logged(), re.M))
        found = [child for child in stopped if child != pid]
        return found if len(found) == count else None
    found = wait_until(Find, what="its new processes")
    tracer.terminate()
    tracer.wait(LIMIT)
    return found


def let_go_on(pid):
    """One that stands still, once strace beside it has seen that."""
    wait_until(lambda: "stopped by SIGSTOP" in logged(), what="strace")
    os.kill(pid, signal.SIGCONT)


def go_on(pid, *options):
    """The same, and its end is waited for."""
    tracer = trace(pid, "-o", LOG, *options)
    let_go_on(pid)
    tracer.wait(LIMIT)


def go_on_to_be_killed(pid, *kill):
    go_on(pid, *kill)
    assert logged().endswith("+++ killed by SIGKILL +++\n"), kill


# --- the daemon --------------------------------------------------------------------------------


def check_follower(tolvd, since):
    """The next daemon goes on with what was left, and clears up."""
    read_status()  # whole, if any
    assert since in (None, kept_outage())
    follower = tolvd()
    follower.wait_status(status=2, pending="outage")
    assert since in (None, kept_outage())
    follower.stop()
    assert sorted(os.listdir(daemon.STATE)) == ["outage", "tolvd.lock"]


def test_killed_at_its_start_in_an_outage(serial_ups, tolvd):
    serial_settings(ac_fail_delay=60)
    record_events()
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(seconds=5)
    since = kept_outage()

    def start(*options):
        return daemon.Tolvd(prefix=["strace", "-D", "-qq", "-o", *options])
    running = start(LOG)
    running.wait_status(status=2)
    running.kill()
    calls = logged_calls()
    calls = first_calls(calls[calls.index(("umask", 1)):])  # before it, it is no daemon yet
    killed = 0
    for call in calls:
        running = start("/dev/null", *inject(*call))
        killed += is_killed(running)
        running.kill()
        check_follower(tolvd, since)
    assert killed > 0.8 * len(calls) > 16 and recorded("shutdown") == []


def meet_outage(serial_ups, tolvd, *options):
    """A daemon whose mains fail, with strace beside it."""
    running = tolvd()
    trace(running.pid, *options)
    serial_ups.mains("fail")
    return running


def test_killed_when_the_mains_fail(serial_ups, tolvd):
    serial_settings(ac_fail_delay=60)
    record_events()
    serial_ups.freeze()

    def fail_mains(*options):
        """A daemon that meets the begin of an outage."""
        serial_ups.mains("restore")
        if os.path.exists(daemon.OUTAGE):
            os.remove(daemon.OUTAGE)
        return meet_outage(serial_ups, tolvd, *options)
    running = fail_mains("-o", LOG)
    running.wait_status(status=2)
    running.kill()
    for call, number in first_calls(logged_calls()):
        running = fail_mains(*inject(call, number))
        assert is_killed(running) or number > 1, call
        running.kill()
        check_follower(tolvd, kept_outage())
    assert recorded("shutdown") == []


def test_killed_before_it_raises_the_event_of_an_outage(serial_ups, tolvd):
    """That one is lost: to the next daemon the outage is an old one."""
    serial_settings(ac_fail_delay=60, countdown_on=0)
    record_events()
    serial_ups.freeze()
    assert is_killed(meet_outage(serial_ups, tolvd, *inject("clone")))
    follower = tolvd()
    follower.wait_log("the power failure goes on")
    os.kill(follower.pid, signal.SIGHUP)
    wait_event("settings")
    assert "outage" not in events()


# --- what it makes for an event ------------------------------------------------------------------


@pytest.fixture
def in_outage(serial_ups, tolvd):
    """A daemon in an outage, and two programs for each event that were called once."""
    serial_settings(ac_fail_delay=60, countdown_on=0)
    for name in ("10record", "20record"):
        record_events(name)
    serial_ups.freeze()
    serial_ups.mains("fail")
    running = tolvd()
    running.wait_status(status=2)
    wait_event("start", 2)
    wait_event("outage", 2)
    yield running
    # It is the same one that still watches the outage, and nothing is left of those that ended.
    at = running.status()["boot_milliseconds"]
    wait_until(lambda: running.status()["boot_milliseconds"] > at, what="another round")
    running.wait_status(status=2, pending="outage")
    wait_until(lambda: Children(running.pid) == [], what="no children")
    assert recorded("shutdown") == []


def make_runner(running):
    """The process that runs the programs of an event, standing still."""
    return stop_newborn(running.pid, lambda: os.kill(running.pid, signal.SIGHUP))[0]


def test_who_runs_an_events_programs_is_killed(in_outage):
    """The programs that he has begun run to their end, the others are lost; no other event is."""
    go_on(make_runner(in_outage))
    ran = 2
    wait_event("settings", ran)
    calls = first_calls(logged_calls())
    assert {"setsid", "getdents64", "clone", "wait4", "exit_group"} <= {name for name, _ in calls}
    for call, number in calls:
        runner = make_runner(in_outage)
        if number == 1:
            go_on_to_be_killed(runner, *inject(call))
        else:  # how often he looks at a program is not said
            go_on(runner, *inject(call, number))
        ran += len(re.findall(r"^clone\(.* = \d+$", logged(), re.M))
        wait_event("settings", ran)
    assert 4 <= ran < 2 * (len(calls) + 1), "killed before the first, between both, and after them"
    os.kill(in_outage.pid, signal.SIGHUP)
    wait_event("settings", ran + 2)
    assert events().count("settings") == ran + 2


def test_an_events_program_is_killed_before_it_begins(in_outage):
    """It is told of, and the next program runs."""
    def make_program():
        runner = make_runner(in_outage)
        return stop_newborn(runner, lambda: let_go_on(runner))[0]
    go_on(make_program())
    wait_event("settings", 2)
    calls = logged_calls()
    calls = first_calls(calls[:calls.index(("execve", 1)) + 1])
    assert {"setpgid", "close_range", "execve"} <= {name for name, _ in calls}
    for at, call in enumerate(calls):
        go_on_to_be_killed(make_program(), *inject(*call))
        in_outage.wait_log("event settings: 10record was ended by signal 9", count=at + 1)
        wait_event("settings", 3 + at)
    assert events().count("settings") == 2 + len(calls)
