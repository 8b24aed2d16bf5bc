"""The daemon's files refused, storms, and a clock that is set: it protects all the same."""

import calendar
import contextlib
import os
import resource
import signal

import pytest

import queues
import tolvd as daemon
import world
from disks import read_only
from impostors import agent_at, answered_by
from local_painter import all_replies_with
from process import Children, OpenFiles
from storm import COUNT, Sender, looked_after, send_signals, udp_ports
from tolvd import (REPLIES, agent_settings, preloaded, recorded, serial_settings, trace,
                   wait_recorded)
from users import stay_root, storm
from waiting import LIMIT, wait_until

DAY = 86400  # seconds
# Only the calls that touch the state's files.
ON_STATE = [word for name in ("status.json", "outage", "shutdown") for ending in ("", ".new")
            for word in ("-P", f"{daemon.STATE}/{name}{ending}")]
ON_REPLIES = [word for path in REPLIES for word in ("-P", path, "-P", path + ".new")]


def check_calm(running):
    """No outage was seen so far and no UPS lost, not for a moment either, and nobody was told."""
    assert running.lines("the mains failed|does not answer|answers again|goes down") == []
    assert recorded() == []


# --- files, processes, disks ---------------------------------------------------------------


@pytest.mark.parametrize("calls, error", [("write", "EIO"), ("rename", "EIO"), ("openat", "EMFILE"),
                                          ("openat,rename,unlink", "EROFS")])
def test_files_that_are_refused_do_not_keep_the_system_up(serial_ups, tolvd, calls, error):
    serial_ups.freeze()
    serial_settings()
    running = tolvd(env=preloaded("short_waits"))
    files = OpenFiles(running.pid)
    tracer = trace(running.pid, *ON_STATE, "-e", f"inject={calls}:error={error}")
    running.wait_log("/run/wardenlink cannot be written: a daemon that follows will not know")
    serial_ups.mains("fail")
    wait_recorded("shutdown", "-h now")
    wait_until(lambda: "serial S03R0003" in serial_ups.log(), what="the order to the UPS")
    assert len(running.lines("cannot be written")) == 1 and not os.path.exists(daemon.OUTAGE)
    tracer.terminate()
    tracer.wait(LIMIT)
    running.wait_status(status=3)
    assert OpenFiles(running.pid) <= files + 1


@pytest.mark.parametrize("calls", ["write", "openat", "rename"])
def test_replies_that_a_disk_refuses_are_none_until_it_takes_them(serial_ups, tolvd, calls):
    serial_settings()
    running = tolvd(env=preloaded("short_waits"))
    wait_until(lambda: all(map(os.path.exists, REPLIES)), what="the replies")
    tracer = trace(running.pid, *ON_REPLIES, "-e", f"inject={calls}:error=EIO")
    serial_ups.load(44)
    running.wait_log("the UPS's replies cannot be written to /etc/wardenlink: screens show none")
    assert not os.path.exists(REPLIES[0]), "an old status is not to be taken for new"
    running.wait_status(load=44, status=0)
    tracer.terminate()
    tracer.wait(LIMIT)
    wait_until(lambda: all_replies_with(" 044 "), what="the replies")
    assert len(running.lines("cannot be written")) == 1
    check_calm(running)


def test_folders_that_nobody_may_write_do_not_keep_the_system_up(serial_ups, tolvd):
    """Nor can what stood there before be removed."""
    serial_settings()
    running = tolvd(env=preloaded("short_waits"))
    wait_until(lambda: all_replies_with(" 00000"), what="the replies")
    with read_only(world.FOLDER), read_only(daemon.STATE):
        running.wait_log("/run/wardenlink cannot be written: a daemon that follows will not know")
        serial_ups.freeze()
        serial_ups.mains("fail")
        running.wait_log("the UPS's replies cannot be written to /etc/wardenlink")
        wait_recorded("shutdown", "-h now")
        wait_until(lambda: "serial S03R0003" in serial_ups.log(), what="the order to the UPS")
        assert all_replies_with(" 00000") and not os.path.exists(daemon.OUTAGE)
    running.wait_status(status=3)


def test_a_log_on_a_full_disk_costs_its_lines_only(serial_ups, tolvd):
    serial_settings()
    running = tolvd(prefix=["sh", "-c", 'exec "$@" 2>/dev/full', "sh"])
    serial_ups.freeze()
    serial_ups.mains("fail")
    running.wait_status(status=2)
    assert running.log == []


def test_a_log_that_nobody_reads_costs_its_lines_only(serial_ups, tolvd):
    os.mkfifo("/run/log")
    log = os.open("/run/log", os.O_RDWR | os.O_NONBLOCK)
    with contextlib.suppress(BlockingIOError):
        while True:
            os.write(log, b"x" * 4096)
    serial_settings()
    running = tolvd(prefix=["sh", "-c", 'exec "$@" 2>/run/log', "sh"])
    serial_ups.load(44)
    running.wait_status(load=44)
    running.stop()
    os.close(log)
    os.remove("/run/log")


def test_without_room_for_a_process_the_daemon_itself_shuts_down(serial_ups, tolvd):
    serial_ups.freeze()
    serial_settings()
    running = tolvd(env=preloaded("short_waits"))
    tracer = trace(running.pid, "-b", "execve", "-e",
                   "inject=clone,clone3,fork,vfork:error=EAGAIN")
    serial_ups.mains("fail")
    wait_recorded("shutdown", "-h now", timeout=120)
    assert "serial S03R0003" in serial_ups.log()
    tracer.wait(LIMIT)
    assert running.wait_end() == 0, "the program took its place"
    assert len(running.lines("the shutdown cannot be begun: ")) == 3


def test_a_disk_that_hangs_is_waited_for_ten_seconds(serial_ups, tolvd):
    serial_ups.freeze()
    serial_settings()
    serial_ups.mains("fail")
    daemon.hold_last_deed()
    daemon.leave_outage(56)
    tolvd()
    deed = daemon.held_deed()
    tracer = trace(deed, "-f", "-e", "inject=sync:delay_enter=100000000")
    began = daemon.boot_now()
    os.kill(deed, signal.SIGCONT)
    assert 9.9 < wait_recorded("shutdown", "-h now", timeout=120).at - began < 50
    tracer.terminate()
    tracer.wait(LIMIT)


# --- storms --------------------------------------------------------------------------------


def test_signals_that_come_while_one_waits_are_one_order(serial_ups, tolvd):
    again, others = "settings were read again", [signal.SIGPIPE, signal.SIGXFSZ]
    serial_settings()
    running = tolvd()
    with daemon.standing_still(running.pid):
        send_signals(running.pid, [signal.SIGHUP, *others])
    running.wait_log(again)
    running.reload()
    serial_ups.load(44)
    running.wait_status(status=0, load=44)
    assert len(running.lines(again)) == 2, "one by the signals, one by the order behind them"
    # While it reads its settings others come: those are orders anew, as many as it gets to.
    send_signals(running.pid, [signal.SIGHUP, signal.SIGCONT, *others])
    running.wait_log(again, count=3)
    serial_ups.load(45)
    running.wait_status(status=0, load=45)
    print(len(running.lines(again)) - 2, "orders of signals that came one by one")
    assert recorded() == [] and not running.lines("the mains failed|goes down")


# Every queue's own types of messages; of orders and commands such as are obeyed.
MESSAGES = [("dataQueue", 1, b"x"), ("dataQueue", 2, b"x"), ("dataQueue", 3, b"x"),
            ("heartbeatQueue", 4, b"alive"), ("daemonControlQueue", 5, b"010"),
            ("screenControlQueue", 5, b"010"), ("commandQueue", 9, b"e")]


def test_a_storm_of_roots_messages_on_every_queue_is_no_outage(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    with contextlib.ExitStack() as storms:
        for name, kind, text in MESSAGES:
            storms.enter_context(storm(name, kind, 1, text, stay_root))
        serial_ups.clear_log()
        serial_ups.load(44)
        wait_until(lambda: serial_ups.log().count("serial Q1") >= 5, what="five rounds")
        wait_until(lambda: serial_ups.log().count("serial C") >= 3, what="three commands")
        wait_until(lambda: len(running.lines("settings were read again")) >= 48,
                   what="the orders of three seconds")
        running.wait_status(load=44, mains="good", battery="normal", pending="none")
    queues.drain("heartbeatQueue")
    wait_until(lambda: queues.receive("heartbeatQueue") == (4, b"alive"), what="its presence")
    running.wait_status(status=0)
    assert recorded() == [] and not running.lines("the mains failed|goes down")


@pytest.mark.parametrize("place", ["another", "the agent's"])
def test_a_storm_of_datagrams_is_no_outage(agent, tolvd, place):
    address = world.agent_address() if place == "the agent's" else "192.0.2.11"
    agent_settings()
    running = tolvd()
    worker = wait_until(lambda: [pid for pid in Children(running.pid) if udp_ports(pid)],
                        what="the process that asks")[0]
    sender = Sender(worker, address)
    with looked_after(lambda: sender.sent):
        sender.send(COUNT)
    agent.load(44)
    running.wait_status(status=0, load=44, mains="good")
    assert recorded() == [] and not running.lines("the mains failed|goes down")


# --- answers of others ---------------------------------------------------------------------


def test_the_first_answer_with_the_number_of_the_request_counts(tolvd):
    """From whatever address: who is on the path can make an outage up."""
    agent_settings(ac_fail_delay=1440)
    with agent_at("127.0.0.2") as liar, agent_at("192.0.2.11") as truth, \
            answered_by(liar, truth):
        running = tolvd(env=preloaded("short_waits"))
        liar.freeze()
        liar.load(71)
        liar.mains("fail")
        running.wait_status(status=2, mains="failed", load=71)
        liar.other_id()  # is believed no more
        truth.load(44)
        running.wait_log("the mains are back: the power failure is over")
        running.wait_status(status=0, mains="good", load=44)


def test_answers_with_another_number_change_nothing(tolvd):
    agent_settings()
    with agent_at("127.0.0.2") as liar, agent_at("192.0.2.11") as truth, \
            answered_by(liar, truth) as handed:
        liar.other_id()
        liar.freeze()
        liar.load(71)
        liar.battery("low")
        liar.mains("fail")
        running = tolvd(env=preloaded("short_waits"))
        truth.load(44)
        running.wait_status(load=44)
        count = len(handed)
        wait_until(lambda: len(handed) > count + 300, what="thirty more rounds")
        running.wait_status(status=0, mains="good", battery="normal", load=44)
        check_calm(running)


# --- no more descriptors -------------------------------------------------------------------


def refuse_descriptors(pid):
    """From now on a process gets none any more; those that it has stay. The limit before."""
    before = resource.prlimit(pid, resource.RLIMIT_NOFILE)
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (3, before[1]))
    return before


def test_a_daemon_without_descriptors_goes_on_with_those_that_it_has(serial_ups, tolvd):
    """It says what cannot be written or opened then. Nobody shuts down."""
    serial_settings()
    running = tolvd()
    files = OpenFiles(running.pid)
    before = refuse_descriptors(running.pid)
    serial_ups.load(44)
    assert running.wait_log("/run/wardenlink cannot be written: ").priority == 3
    running.wait_log("the UPS's replies cannot be written to /etc/wardenlink: screens show none")
    assert not os.path.exists(REPLIES[0]) and running.status()["load"] != 44
    serial_settings(com_port="/dev/none")
    queues.send("daemonControlQueue", 5, "010")
    running.wait_log("the settings cannot be read: the old ones stay")
    asked = serial_ups.log().count("serial Q1")
    wait_until(lambda: daemon.boot_now() * 1000 > running.status()["boot_milliseconds"] + 10000,
               what="a status that is too old")
    told = daemon.ask("--status")
    assert (told.returncode, told.stdout) == (1, "no daemon is running\n")
    assert serial_ups.log().count("serial Q1") > asked, "it still asks"
    serial_ups.serial("vanish")
    serial_ups.serial("return")
    running.wait_log("the line .* cannot be opened: Too many open files")
    running.wait_log("the UPS does not answer$")
    resource.prlimit(running.pid, resource.RLIMIT_NOFILE, before)
    serial_settings()
    running.reload()
    running.wait_log("the line .* is open", count=2)
    running.wait_status(status=0, load=44)
    wait_until(lambda: all(map(os.path.exists, REPLIES)), what="the replies")
    assert OpenFiles(running.pid) <= files + 1
    assert recorded() == [] and not running.lines("the mains failed|goes down")


@pytest.mark.parametrize("whose", ["the daemon's", "the worker's"])
def test_without_descriptors_an_agent_is_lost_and_found_again(agent, tolvd, whose):
    agent_settings()
    # A daemon that leaps over its waits would soon replace a worker that waits for an answer.
    running = tolvd(env=preloaded("short_waits") if whose == "the daemon's" else None)
    worker = running.only_child()
    limited = running.pid if whose == "the daemon's" else worker
    before = refuse_descriptors(limited)
    if whose == "the daemon's":
        os.kill(worker, signal.SIGKILL)  # for another one it needs a socket
    else:
        agent.silent()  # its next session needs another one
        wait_until(lambda: not udp_ports(worker), 120, what="the session's end")
        agent.silent(False)
    running.wait_log("the UPS does not answer$", timeout=120)
    if limited == worker:
        running.wait_status(ups="lost", mains="unknown", status=1)
    resource.prlimit(limited, resource.RLIMIT_NOFILE, before)
    agent.load(44)
    running.wait_status(ups="heard", status=0, load=44)
    assert recorded() == [] and not running.lines("the mains failed|goes down")


# --- the clock -----------------------------------------------------------------------------


def test_a_clock_that_is_set_moves_no_delay_and_misses_no_outage(serial_ups, tolvd, weather):
    """From 1970 to 2040 and back, first at rest, then in a power failure. An hour of a daemon that
    leaps over its waits takes some seconds: until all clocks are set it has a day."""
    schedule = {"schedule_on": 1, "schedule": [[-1, -1, 12, 0]] + [[-1] * 4] * 6}
    serial_settings(ac_fail_delay=1440, **schedule)
    running = tolvd(env=preloaded("short_waits"))
    serial_ups.freeze()
    moments = [calendar.timegm((year, 3, 7, 3, 14, 8)) for year in (2040, 1970, 2039, 2001)]

    def set_clock(moment):
        weather.set_clock(moment, running.status()["time"])
        return wait_until(lambda: abs(running.status().get("time", 0) - moment) < 300 * DAY and
                          running.status(), what="the new time")

    for moment in moments:
        assert set_clock(moment)["status"] == 0
    serial_ups.mains("fail")
    left = [running.wait_status(status=2)["shutdown_in"]]
    for moment in moments:
        left.append(set_clock(moment)["shutdown_in"])
    assert 0 < left[-1] and left[0] <= DAY and left == sorted(left, reverse=True), left
    serial_settings(ac_fail_delay=60, **schedule)
    running.reload()
    wait_recorded("shutdown", "-h now")
    running.wait_status(status=3)
