"""The daemon, the processes that it makes for an event, and the one that shuts down, each killed at
its system calls: what is left is whole, and the outage is watched, if need be by the next daemon.

Some calls in each run of the tests; WARDENLINK_KILLS=1 takes every one.
"""

import fcntl
import itertools
import json
import os
import re
import signal

import pytest

import tolvd as daemon
import world
from process import Children
from tolvd import (REPLIES, events, kept_outage, leave_outage, preloaded, read_status,
                   record_events, recorded, serial_settings, trace, wait_event, wait_recorded)
from waiting import LIMIT, wait_until

LOG = "/run/calls"
EVERY = "WARDENLINK_KILLS" in os.environ
WRITES = ("openat", "fchmod", "write", "close", "rename")  # a file, under its scratch name first


# --- one daemon after the other ---------------------------------------------------------------


def is_unlocked():
    """Whether another daemon may begin."""
    try:
        with open(daemon.LOCK, "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        return False
    except FileNotFoundError:
        pass  # there was none before
    return True


def wait_unlocked():
    """Who was made by a daemon that has ended may hold its lock still, until he has closed it."""
    wait_until(is_unlocked, what="the lock of the daemon before")


@pytest.fixture(name="tolvd")
def tolvd_after_another(tolvd):
    def Start(*options, **how):
        wait_unlocked()
        return tolvd(*options, **how)
    return Start


def start_traced(*options):
    """A daemon that strace goes with from its first call on."""
    wait_unlocked()
    return daemon.Tolvd(prefix=["strace", "-D", "-qq", "-o", *options])


# --- who is killed, and where ----------------------------------------------------------------


def first_calls(calls):
    """The first one of each name."""
    return calls if EVERY else list({call[0]: call for call in reversed(calls)}.values())


def inject(call, number=1):
    """What strace is told to kill at the call of that name and number."""
    return "-e", f"inject={call}:signal=KILL:when={number}"


def at_file(path, call, number=1):
    """The same for the calls on one file of the daemon's."""
    return "-P", path + (".new" if call in WRITES else ""), *inject(call, number)


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
    """The processes that pid makes then, oldest first, each standing still at its first call."""
    tracer = trace(pid, "-f", "-o", LOG, "-e", "inject=set_robust_list:signal=STOP")
    cause()

    def Find():
        stopped = map(int, re.findall(r"^(\d+) +--- stopped by SIGSTOP", logged(), re.M))
        found = [child for child in stopped if child != pid]
        return sorted(found) if len(found) == count else None
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
    running = start_traced(LOG)
    running.wait_status(status=2)
    running.kill()
    calls = logged_calls()
    calls = first_calls(calls[calls.index(("umask", 1)):])  # before it, it is no daemon yet
    killed = set()
    for call in calls:
        running = start_traced("/dev/null", *inject(*call))
        if is_killed(running):
            killed.add(call[0])
        running.kill()
        check_follower(tolvd, since)
    check_killed(killed, calls, {"umask", "flock", "chdir", "signalfd4", "msgget", "clone",
                                 "socketpair", "openat", "read", "poll", "write", "close",
                                 "rename"})


def check_killed(killed, calls, certain):
    """Not all that were seen once come again: a daemon that was held up for some seconds does other
    things besides. These names do, before the two seconds are over."""
    print(f"{len(killed)} of {len(dict(calls))} names: {sorted(killed)}")
    assert certain <= killed, certain - killed
    assert recorded("shutdown") == []


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
    # Those that write are a matter of its state files.
    calls = [call for call in first_calls(logged_calls()) if EVERY or call[0] not in WRITES]
    killed = set()
    for call in calls:
        running = fail_mains(*inject(*call))
        if is_killed(running):
            killed.add(call[0])
        running.kill()
        check_follower(tolvd, kept_outage())
    check_killed(killed, calls, {"poll", "read", "ioctl", "newfstatat", "msgctl", "msgsnd", "clone"})


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
        if number == 1 and call != "clock_nanosleep":
            go_on_to_be_killed(runner, *inject(call))
        else:  # how often he looks at a program, and whether again, is not said
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


# --- its state files -----------------------------------------------------------------------------


def end_by_kill(running):
    assert running.wait_end() == -signal.SIGKILL


def check_scratch(path, call):
    """What is left says where the kill was."""
    assert os.path.exists(path + ".new") == (call in WRITES[1:]), call


@pytest.mark.parametrize("path", [daemon.STATUS, daemon.OUTAGE])
def test_killed_while_it_writes_status_and_outage(serial_ups, tolvd, path):
    serial_ups.freeze()
    serial_settings(ac_fail_delay=5)
    for call in WRITES:
        running = tolvd()
        trace(running.pid, *at_file(path, call))
        serial_ups.mains("fail")
        end_by_kill(running)
        check_scratch(path, call)
        with open(daemon.STATUS, encoding="ascii") as source:
            assert json.load(source)["pid"] == running.pid
        assert kept_outage() is None or path == daemon.STATUS
        check_follower(tolvd, kept_outage())
        os.remove(daemon.OUTAGE)
        serial_ups.mains("restore")
    assert recorded("shutdown") == []


@pytest.mark.parametrize("call, is_kept", [("unlink", True), ("clone", False)])
def test_killed_at_the_end_of_an_outage(serial_ups, tolvd, call, is_kept):
    """Before and after its file is gone: the next daemon, too, finds that it is over."""
    serial_ups.freeze()
    serial_settings(ac_fail_delay=1440, countdown_on=0)
    serial_ups.mains("fail")
    leave_outage(5)  # by the time of all daemons: each one leaps on its own
    since = kept_outage()
    running = tolvd(env=preloaded("short_waits"))
    running.wait_status(status=2, mains="failed")
    trace(running.pid, *(at_file(daemon.OUTAGE, call) if is_kept else inject(call)))
    serial_ups.mains("restore")
    end_by_kill(running)
    assert kept_outage() == (since if is_kept else None)
    follower = tolvd(env=preloaded("short_waits"))
    follower.wait_status(status=0, mains="good", pending="none")
    assert kept_outage() is None
    follower.stop()
    assert len(follower.lines("the mains are back: the power failure is over")) == is_kept
    assert os.listdir(daemon.STATE) == ["tolvd.lock"] and recorded("shutdown") == []


def make_deed(serial_ups, tolvd):
    """The process that shuts the system down, standing still; its daemon is killed."""
    for path in (daemon.LAST_DEED, daemon.RECORDED):
        if os.path.exists(path):
            os.remove(path)
    serial_settings(ac_fail_delay=5, countdown_on=0, turn_off_ups=0)
    leave_outage(120)
    running = tolvd()
    running.wait_status(status=2, pending="outage")

    def order_settings():
        serial_settings(ac_fail_delay=1, countdown_on=0, turn_off_ups=0)
        os.kill(running.pid, signal.SIGHUP)
    runner, deed = stop_newborn(running.pid, order_settings, 2)
    running.wait_log("the system goes down now")
    os.kill(runner, signal.SIGCONT)
    running.kill()
    return deed


@pytest.mark.parametrize("number", [1, 2])
def test_killed_while_it_marks_the_shutdown(serial_ups, tolvd, number):
    """As begun, and as done: the next daemon begins it again."""
    serial_ups.freeze()
    serial_ups.mains("fail")
    for call in WRITES if EVERY else ("openat", "write", "rename"):
        go_on_to_be_killed(make_deed(serial_ups, tolvd), *at_file(daemon.LAST_DEED, call, number))
        check_scratch(daemon.LAST_DEED, call)
        if number == 1:
            assert not os.path.exists(daemon.LAST_DEED)
        else:
            with open(daemon.LAST_DEED, encoding="ascii") as source:
                assert re.fullmatch(r"\d+ \d+\n", source.read())
        assert len(recorded("shutdown")) == number - 1
        follower = tolvd()
        wait_recorded("shutdown", "-h now")
        wait_until(daemon.last_deed_done, what="its end")
        assert len(recorded("shutdown")) == number
        follower.stop()
        assert sorted(os.listdir(daemon.STATE)) == ["outage", "shutdown", "tolvd.lock"]


# --- its replies, and its stop -------------------------------------------------------------------


def contents(path):
    """None where there is no file."""
    if not os.path.exists(path):
        return None
    with open(path, "rb") as source:
        return source.read()


def wait_replies(replies=None):
    """The replies' files, once all are there, or are these, and no scratch file beside them."""
    def Find():
        found = list(map(contents, REPLIES))
        is_clear = not any(os.path.exists(path + ".new") for path in REPLIES)
        return found if None not in found and is_clear and replies in (None, found) else None
    return wait_until(Find, what="the replies")


def test_killed_while_it_keeps_a_reply(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    running = tolvd()
    whole = wait_replies()
    running.stop()
    for path, call in itertools.product(REPLIES, WRITES):
        serial_ups.load(35)
        old = None
        if path == REPLIES[0]:  # which alone changes
            running = tolvd()
            old = wait_replies()[0]
            trace(running.pid, *at_file(path, call))
            serial_ups.load(44)
        else:
            running = start_traced("/dev/null", *at_file(path, call))
        end_by_kill(running)
        check_scratch(path, call)
        assert contents(path) == old
        assert all(contents(other) in (None, reply) for other, reply in zip(REPLIES, whole))
        serial_ups.load(35)
        follower = tolvd()
        wait_replies(whole)
        follower.stop()
        assert not any(name.endswith(".new") for name in os.listdir(world.FOLDER))


def test_killed_at_its_stop_in_an_outage(serial_ups, tolvd):
    serial_settings(ac_fail_delay=60)
    serial_ups.freeze()
    serial_ups.mains("fail")
    kills = [*((path, "unlink") for path in REPLIES), *((daemon.OUTAGE, call) for call in WRITES),
             (daemon.STATUS, "unlink")]
    for path, call in kills:
        leave_outage(30)
        since = kept_outage()
        running = tolvd()
        running.wait_status(status=2)
        whole = wait_replies()
        trace(running.pid, *at_file(path, call))
        running.process.terminate()
        end_by_kill(running)
        check_scratch(path, call)
        assert os.path.exists(path) and read_status()["pid"] == running.pid
        assert kept_outage() == since
        assert all(contents(other) in (None, reply) for other, reply in zip(REPLIES, whole))
        check_follower(tolvd, since)
        assert not any(map(os.path.exists, REPLIES))
