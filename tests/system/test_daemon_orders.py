"""Orders to the daemon by the message queues, and who may give them."""

import os
import subprocess
import sys

import pytest

import queues
import tolvd as daemon
import world
from process import Children, FewestOpenFiles, OrdinaryUser
from stopwatch import Stopwatch, check_time
from tolvd import (agent_settings, boot_now, leave_outage, record_events, recorded, serial_settings,
                   wait_recorded)
from waiting import LIMIT
from world import wait_until

CONTROL, COMMAND = "daemonControlQueue", "commandQueue"

# What an ordinary user runs: KEYS are those of both queues, WORD says what is tried.
USER = """
import ctypes, sys, time
libc = ctypes.CDLL(None, use_errno=True)
class Message(ctypes.Structure):
    _fields_ = [("type", ctypes.c_long), ("text", ctypes.c_char * 8)]
word, keys = sys.argv[1], [int(key) for key in sys.argv[2:]]
def make(key):
    until = time.monotonic() + 60
    while time.monotonic() < until:
        queue = libc.msgget(ctypes.c_int(key), 0o3666)
        if queue >= 0:
            return queue
    sys.exit("no queue could be made")
queues = [make(key) if word == "make" else libc.msgget(ctypes.c_int(key), 0) for key in keys]
sent = [libc.msgsnd(queue, ctypes.byref(Message(kind, text)), 3, 0o4000)
        for queue, kind, text in zip(queues, (5, 9), (b"100", b"dxx"))]
print(sent)
"""


def as_user(word, *names, wait=True):
    """Runs that as an ordinary user; "[0, 0]" says that both messages were taken."""
    user = OrdinaryUser()
    if user[0] != "setpriv":
        pytest.skip("this world knows no user but root")
    words = [*user, sys.executable, "-c", USER, word, *[str(queues.key(name)) for name in names]]
    process = subprocess.Popen(words, stdout=subprocess.PIPE, text=True)
    return process.communicate(timeout=LIMIT)[0].strip() if wait else process


def rights(name):
    found = queues.info(name)
    return found.uid, found.cuid, found.mode & 0o777


def requests(ups):
    return [line for line in ups.log() if line not in ("serial Q1", "serial F", "serial I")]


# --- what is ordered ----------------------------------------------------------------------


def test_commands_reach_a_ups_on_a_line(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    serial_ups.clear_log()
    expected = []
    for command, request in (("a", "T"), ("b", "TL"), ("c10", "T10"), ("f", "CT"), ("d", "S.2"),
                             ("e", "C")):
        queues.send(COMMAND, 9, command)
        expected.append("serial " + request)
        wait_until(lambda: requests(serial_ups) == expected, what=request)
        running.wait_log(f'command "{command}": the UPS was told {request}$')
    # With a zero byte behind it, as the command center sends.
    queues.send(COMMAND, 9, b"c07\0")
    wait_until(lambda: requests(serial_ups) == expected + ["serial T07"], what="T07")
    assert running.wait_status(ups="heard")


@pytest.mark.parametrize("command", ["c", "c1", "c123", "cxx", "g", "aa", "A", "T", "S.2", "",
                                     "\x1b[2J\n", "d" * 100, "d" * 500, "c1\0" "0"])
def test_what_is_no_command_is_dropped(serial_ups, tolvd, command):
    serial_settings()
    running = tolvd()
    serial_ups.clear_log()
    queues.send(COMMAND, 9, command)
    running.wait_log("command .* is dropped: it is none")
    assert requests(serial_ups) == []


def test_an_agents_ups_takes_no_commands(agent, tolvd):
    agent_settings()
    running = tolvd()
    queues.send(COMMAND, 9, "d")
    running.wait_log('command "d" is dropped: there is no UPS on a serial line')
    assert not [line for line in agent.log() if line.startswith("set ")]


def test_orders_that_waited_before_the_start_are_dropped(serial_ups, tolvd):
    serial_settings()
    for _ in range(3):
        queues.send(CONTROL, 5, "100")
        queues.send(COMMAND, 9, "d")
    running = tolvd()
    running.wait_status(status=0)
    running.reload()
    assert requests(serial_ups) == ["line opened"]
    assert running.process.poll() is None


def test_orders_too_late_for_the_daemon_before_are_dropped(serial_ups, tolvd):
    serial_settings()
    tolvd().stop()
    assert rights(CONTROL) == rights(COMMAND) == (0, 0, 0o600), "not dropped for their rights"
    serial_ups.clear_log()
    for _ in range(3):
        queues.send(CONTROL, 5, "100")
        queues.send(COMMAND, 9, "d")
    running = tolvd()
    running.reload()
    assert not running.lines("^command ") and requests(serial_ups) == ["line opened"]
    assert running.process.poll() is None


def test_control_texts_that_say_nothing_are_passed_over(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    for kind, text in ((5, "000"), (5, ""), (5, "x"), (4, "100"), (5, "\x7f" * 500)):
        queues.send(CONTROL, kind, text)
    running.reload()
    assert running.process.poll() is None


# --- settings read again ------------------------------------------------------------------


def test_settings_saved_in_the_editor_are_due_at_once_when_past(serial_ups, tolvd, start):
    serial_settings(ac_fail_delay=5)
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(90)
    running = tolvd()
    assert 190 < running.wait_status(status=2)["shutdown_in"] <= 210
    editor = start([world.bin("wardenlink"), "config"], quit_keys="qq")
    editor.wait_key()
    for key in "d----s":
        editor.press(key)
    running.wait_log("the settings were read again")
    wait_recorded("shutdown", "-h now")


def test_a_longer_delay_counts_from_the_old_begin(serial_ups, tolvd):
    serial_settings(ac_fail_delay=2)
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(50)
    running = tolvd()
    assert 55 < running.wait_status(status=2)["shutdown_in"] <= 70
    serial_settings(ac_fail_delay=10)
    running.reload()
    left = wait_until(lambda: running.status()["shutdown_in"] > 70 and
                      running.status()["shutdown_in"], what="the new delay")
    assert 520 < left <= 550
    assert recorded("shutdown") == []


@pytest.mark.parametrize("missing", [["wardenlink.cfg", "power.ini"], ["wardenlink.cfg"]], ids=len)
def test_settings_that_cannot_be_read_leave_the_old_ones(serial_ups, tolvd, missing):
    serial_settings()
    running = tolvd()
    serial_settings(com_port="/dev/other")
    for name in missing:
        os.remove(f"{world.FOLDER}/{name}")
    queues.send(CONTROL, 5, "010")
    told = running.wait_log("the settings cannot be read: the old ones stay")
    wait_until(lambda: running.status()["boot_milliseconds"] > 1000 * told.at, what="a new status")
    assert running.status()["device"] == world.DEVICE


def test_another_way_to_the_ups_is_taken_at_once(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    wait_until(lambda: all(map(os.path.exists, daemon.REPLIES)), what="the replies")
    agent = world.Agent(control="/run/other.sock")
    try:
        agent_settings()
        running.reload()
        running.wait_status(source="snmp", device=world.agent_address(), ups="heard", status=0)
        assert not any(map(os.path.exists, daemon.REPLIES))
        wait_until(lambda: "line closed" in serial_ups.log(), what="the line's release")
        serial_settings()
        running.reload()
        running.wait_status(source="serial", ups="heard", status=0)
        wait_until(lambda: all(map(os.path.exists, daemon.REPLIES)), what="the replies")
        agent_settings(snmp_ip="127.0.0.1")
        running.reload()
        running.wait_status(source="none", ups="none", status=1)
        assert running.lines("NOTHING is protected")
        assert not any(map(os.path.exists, daemon.REPLIES))
    finally:
        agent.stop()
    wait_until(lambda: daemon.events().count("settings") == 3, what="the events")


def test_many_reloads_cost_nothing_that_stays(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()

    def Reload(times):
        for _ in range(times):
            wait_until(lambda: queues.count(CONTROL) < 16, what="room for an order")
            queues.send(CONTROL, 5, "010")
        wait_until(lambda: queues.count(CONTROL) == 0, what="the orders' end")
        running.reload()
    Reload(20)
    files = FewestOpenFiles(running.pid)
    Reload(200)
    wait_until(lambda: FewestOpenFiles(running.pid) <= files, what="no leak")
    assert len(Children(running.pid)) < 20
    assert running.wait_status(status=0)


# --- who may order ------------------------------------------------------------------------


def test_the_order_queues_are_roots_alone(serial_ups, tolvd):
    serial_settings()
    for name in (CONTROL, COMMAND):
        queues.open(name)
        assert rights(name) == (0, 0, 0o666)
    running = tolvd()
    assert rights(CONTROL) == rights(COMMAND) == (0, 0, 0o600)
    assert as_user("send", CONTROL, COMMAND) == "[-1, -1]"
    serial_ups.clear_log()
    running.reload()
    assert requests(serial_ups) == [] and running.process.poll() is None


def test_queues_made_anew_are_narrowed_and_what_came_before_is_dropped(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    serial_ups.clear_log()
    for name, kind, text in ((CONTROL, 5, "100"), (COMMAND, 9, "d")):
        with daemon.standing_still(running.pid):
            queues.remove(name)
            queues.send(name, kind, text)
        watch = Stopwatch()
        wait_until(lambda name=name: rights(name) == (0, 0, 0o600), what="narrow rights")
        assert watch.below(40)
    running.reload()
    assert requests(serial_ups) == [] and running.process.poll() is None


def test_queues_of_another_user_are_removed_at_the_start(serial_ups, tolvd):
    serial_settings()
    assert as_user("make", CONTROL, COMMAND) == "[0, 0]"
    assert rights(CONTROL)[0] == 65534
    running = tolvd()
    assert rights(CONTROL) == rights(COMMAND) == (0, 0, 0o600)
    serial_ups.clear_log()
    running.reload()
    assert requests(serial_ups) == [] and running.process.poll() is None


@pytest.mark.parametrize("name", [CONTROL, COMMAND])
def test_a_queue_of_another_user_is_removed_while_the_daemon_runs(serial_ups, tolvd, name):
    serial_settings()
    running = tolvd()
    serial_ups.clear_log()
    user = as_user("make", name, wait=False)

    def HasMadeIt():
        if queues.exists(name) and queues.info(name).cuid == 0:
            queues.remove(name)
        return user.poll() is not None
    wait_until(HasMadeIt, what="the user's queue")
    # The daemon may have removed it before the user had sent anything.
    assert user.communicate(timeout=LIMIT)[0].strip() in ("[0]", "[-1]")
    wait_until(lambda: queues.exists(name) and rights(name) == (0, 0, 0o600), what="its own queue")
    running.reload()
    assert requests(serial_ups) == [] and running.process.poll() is None


def test_another_folder_of_settings_has_queues_of_its_own(serial_ups, tolvd):
    """A folder that was restored, or mounted over the old one, gives the queues other keys."""
    serial_settings()
    running = tolvd()
    before = queues.key(CONTROL)
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/etc/wardenlink"], check=True)
    try:
        assert queues.key(CONTROL) != before
        wait_until(lambda: queues.exists(CONTROL) and rights(CONTROL) == (0, 0, 0o600),
                   what="queues of the new folder")
        wait_until(lambda: queues.exists("heartbeatQueue") and queues.count("heartbeatQueue") > 0,
                   what="presence on a queue of the new folder")
        queues.send(CONTROL, 5, "100")
        assert running.process.wait(LIMIT) == 0
    finally:
        subprocess.run(["umount", "/etc/wardenlink"], check=True)


def test_presence_is_shown_every_second(serial_ups, tolvd):
    serial_settings()
    tolvd()

    def GatherFive():
        took = Stopwatch()
        queues.drain("heartbeatQueue")
        wait_until(lambda: queues.count("heartbeatQueue") >= 5, what="presence")
        return took.passed()

    check_time(GatherFive, 3, 7)
    assert {kind for kind, _ in queues.drain("heartbeatQueue")} == {4}
    assert rights("heartbeatQueue") == (0, 0, 0o666), "everybody's screen reads it"


# --- settings that take the UPS away --------------------------------------------------------


@pytest.mark.parametrize("changes, damaged", [({"comm_mode": 192, "schedule_on": 1}, True),
                                              ({"comm_mode": 1, "snmp_ip": "127.0.0.1"}, False)])
def test_settings_without_a_ups_are_told_to_everybody(serial_ups, tolvd, changes, damaged):
    record_events()
    serial_settings()
    running = tolvd()
    serial_settings(**changes, countdown_on=0)
    running.reload()
    running.wait_status(ups="none", source="none", status=1, scheduled_at=None)
    assert running.wait_log("took the UPS away: NOTHING is protected").priority == 1
    alerts = running.lines("settings are damaged, their communication mode being 192")
    assert [line.priority for line in alerts] == ([1] if damaged else [])
    wait_recorded("event", "ups-lost")
    wait_recorded("wall", "UPS: the settings name no UPS any more: this system is NOT protected.")
    serial_settings()
    running.reload()
    running.wait_ready()


def test_without_the_countdown_nobody_is_told_of_them(serial_ups, tolvd):
    serial_settings(countdown_on=0)
    running = tolvd()
    for _ in range(2):  # the second time with the countdown
        began = boot_now()
        agent_settings(snmp_ip="127.0.0.1")
        running.reload()
        serial_settings()
        running.reload()
    assert len(running.lines("took the UPS away")) == 2
    # The recorder's clock shows hundredths.
    assert wait_recorded("wall").at > began - 0.1 and len(recorded("wall")) == 1


def test_another_ups_is_unknown_until_it_is_heard(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    serial_settings(com_port="/run/no-such-line")
    running.reload()
    running.wait_status(ups="starting", mains="unknown", battery="unknown", status=1)
    running.wait_status(ups="lost")
    serial_ups.serial("silent on")
    serial_settings()
    running.reload()
    running.wait_status(ups="starting", mains="unknown", status=1)
    serial_ups.serial("silent off")
    running.wait_ready(mains="good", status=0)
    assert running.lines("took the UPS away") == [] and recorded("wall") == []


def test_a_presence_queue_filled_with_two_long_messages_is_emptied(serial_ups, tolvd):
    """There is room for five by their number, but none left by their length."""
    serial_settings()
    running = tolvd()
    wait_until(lambda: queues.count("heartbeatQueue") >= 1, what="the presence")
    queues.fill("heartbeatQueue", 7)
    wait_until(lambda: queues.info("heartbeatQueue").last_sender == running.pid,
               what="the presence again")
