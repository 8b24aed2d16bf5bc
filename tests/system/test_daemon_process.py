"""The daemon as a process: detached, alone, telling systemd, small, and with full disks."""

import os
import signal
import socket
import subprocess

import pytest

import queues
import tolvd as daemon
import world
from disks import small_disk
from process import Children, FewestOpenFiles, FilesOf
from stopwatch import check_time, seconds_of
from storm import fill
from tolvd import (agent_settings, events, leave_outage, record_events, recorded,
                   serial_settings, wait_recorded)
from waiting import LIMIT
from world import wait_until


# --- detached -----------------------------------------------------------------------------


@pytest.mark.parametrize("words", [None, [" " * 12], []], ids=["start", "blanks", "nothing"])
def test_it_detaches(placed, serial_ups, words):
    serial_settings()
    if words is None:
        assert world.run("start").returncode == 0
    else:
        assert subprocess.run([world.DAEMON, *words], timeout=LIMIT, check=False).returncode == 0
    pid = placed.wait_running()
    with open(f"/proc/{pid}/stat", encoding="ascii") as source:
        fields = source.read().rsplit(")", 1)[1].split()
    session, terminal = int(fields[3]), int(fields[4])
    assert session == pid and terminal == 0
    assert os.readlink(f"/proc/{pid}/cwd") == "/"
    assert [os.readlink(f"/proc/{pid}/fd/{fd}") for fd in range(3)] == ["/dev/null"] * 3
    # A second one gives way, whichever way it is started.
    world.run("start")
    assert subprocess.run([world.DAEMON], capture_output=True, check=False).returncode == 1
    # The front-end took presence that it saw.
    assert placed.wait_running() == pid and daemon.read_status()["status"] in (0, 1)
    assert world.run("stop").returncode == 0
    placed.wait_ended()
    assert not os.path.exists(daemon.STATUS)


def test_it_keeps_nothing_of_its_caller_open(serial_ups, tolvd):
    serial_settings()
    running = tolvd(prefix=["sh", "-c", 'exec "$0" "$@" 9</etc/wardenlink/power.ini'])
    assert "/etc/wardenlink/power.ini" not in FilesOf(running.pid).values()


# --- systemd ------------------------------------------------------------------------------


def test_systemd_is_told_that_it_is_ready_alive_and_stopping(serial_ups, tolvd):
    serial_settings()
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as told:
        told.bind("/run/notify")
        told.settimeout(LIMIT)
        running = tolvd(env={"NOTIFY_SOCKET": "/run/notify"})
        assert told.recv(1000) == b"READY=1"

        def HearFour():
            for _ in range(4):
                assert told.recv(1000) == b"WATCHDOG=1"
        check_time(lambda: seconds_of(HearFour), 0, 6)
        running.process.terminate()
        words = told.recv(1000)
        while words == b"WATCHDOG=1":
            words = told.recv(1000)
        assert words == b"STOPPING=1"
        assert running.wait_end() == 0
    os.remove("/run/notify")


def test_a_notify_socket_that_nobody_serves_is_no_fault(serial_ups, tolvd):
    serial_settings()
    running = tolvd(env={"NOTIFY_SOCKET": "/run/nobody"})
    assert running.wait_status(status=0)


def test_a_systemd_that_hears_nothing_does_not_hold_it_up(serial_ups, tolvd):
    serial_settings()
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as deaf:
        deaf.bind("/run/notify")
        fill("/run/notify")
        running = tolvd(env={"NOTIFY_SOCKET": "/run/notify"})
        serial_ups.load(44)
        running.wait_status(load=44)
        running.stop()
    os.remove("/run/notify")


# --- full disks ---------------------------------------------------------------------------


def test_a_full_disk_under_the_settings_costs_the_screen_its_values(serial_ups, tolvd):
    with small_disk(world.FOLDER) as disk:
        serial_settings()
        running = tolvd()
        wait_until(lambda: all(map(os.path.exists, daemon.REPLIES)), what="the replies")
        with daemon.standing_still(running.pid):
            disk.fill()
        serial_ups.load(44)
        running.wait_log("the UPS's replies cannot be written to /etc/wardenlink")
        assert not os.path.exists(daemon.REPLIES[0]), "an old status is not to be taken for new"
        running.wait_status(load=44, status=0)
        assert len(running.lines("cannot be written")) == 1
        disk.clear()
        wait_until(lambda: os.path.exists(daemon.REPLIES[0]), what="the status reply")
        running.stop()


@pytest.mark.parametrize("when", ["before the start", "before the outage"])
def test_a_full_disk_under_run_does_not_keep_the_system_up(serial_ups, tolvd, when):
    serial_ups.freeze()
    with small_disk(daemon.STATE) as disk:
        serial_settings(batt_low_delay=1)
        if when == "before the start":
            serial_ups.mains("fail")
            leave_outage(55)
            disk.fill()
            running = daemon.Tolvd()
            daemon.STARTED.append(running)
        else:
            running = tolvd()
            disk.fill()
        running.wait_log("/run/wardenlink cannot be written: a daemon that follows will not know")
        assert len(running.lines("cannot be written")) == 1
        if when == "before the outage":
            serial_ups.mains("fail")
            running.wait_log("the mains failed")
            disk.clear()
            wait_until(lambda: os.path.exists(daemon.OUTAGE), what="the outage kept after all")
            running.wait_status(status=2)
        else:
            wait_recorded("shutdown", "-h now", timeout=120)
            assert "serial S03R0003" in serial_ups.log()
        running.close()


def test_a_disk_under_run_that_stays_full_does_not_keep_the_system_up(serial_ups, tolvd):
    serial_ups.freeze()
    with small_disk(daemon.STATE) as disk:
        serial_settings()
        running = tolvd()
        disk.fill()
        running.wait_log("/run/wardenlink cannot be written")
        began = daemon.boot_now()
        serial_ups.mains("fail")
        decided = running.wait_log("the system goes down now", timeout=120)
        assert 60 <= decided.at - began < 60 + LIMIT
        wait_recorded("shutdown", "-h now", timeout=120)
        assert "serial S03R0003" in serial_ups.log()
        assert not os.path.exists(daemon.OUTAGE)
        running.close()


def test_a_full_disk_under_the_settings_does_not_keep_the_system_up(serial_ups, tolvd):
    serial_ups.freeze()
    with small_disk(world.FOLDER) as disk:
        serial_settings()
        serial_ups.mains("fail")
        leave_outage(50)
        running = tolvd()
        with daemon.standing_still(running.pid):
            disk.fill()
        serial_ups.load(44)
        running.wait_log("the UPS's replies cannot be written to /etc/wardenlink")
        wait_recorded("shutdown", "-h now", timeout=120)
        assert "serial S03R0003" in serial_ups.log()
        running.close()


def test_a_daemon_without_a_folder_for_its_state_protects_all_the_same(serial_ups, tolvd):
    serial_settings()
    with open(daemon.STATE, "w", encoding="ascii"):
        pass
    try:
        running = daemon.Tolvd()
        daemon.STARTED.append(running)
        running.wait_log("another daemon would not be noticed")
        wait_until(lambda: os.path.exists(daemon.REPLIES[0]), what="a reading")
        serial_ups.mains("fail")
        running.wait_log("the mains failed")
        running.close()
    finally:
        os.remove(daemon.STATE)


# --- what it leaves ------------------------------------------------------------------------


def test_an_outage_that_comes_and_goes_leaves_nothing_behind(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    wait_until(lambda: os.path.exists(daemon.REPLIES[2]), what="the replies")
    sizes = []
    for count in range(1, 4):
        serial_ups.mains("fail")
        running.wait_status(status=2)
        serial_ups.recover()
        running.wait_log("the mains are back", timeout=120, count=count)
        wait_until(lambda count=count: events().count("mains-back") == count, what="the event")
        running.wait_status(status=0)
        wait_until(lambda: not Children(running.pid), what="the end of all that it started")
        sizes.append((FewestOpenFiles(running.pid), daemon.memory_of(running)))
    assert sizes[1][0] >= sizes[2][0]
    assert sizes[2][1] <= sizes[1][1] + 64


def test_a_lost_agent_costs_no_descriptors(agent, tolvd):
    agent_settings()
    running = tolvd()
    running.only_child()
    files = FewestOpenFiles(running.pid)
    for number in (signal.SIGKILL, signal.SIGTERM, signal.SIGHUP):
        worker = running.only_child()
        os.kill(worker, number)
        wait_until(lambda worker=worker: running.only_child() != worker, what="another worker")
        running.wait_status(ups="heard")
    wait_until(lambda: FewestOpenFiles(running.pid) <= files, what="no more files than before")
    assert recorded() == []


def test_a_worker_that_hangs_is_replaced_after_a_minute(agent, tolvd):
    daemon.set_clocks_ahead(0)
    agent_settings()
    running = tolvd(env=daemon.preloaded("clock_ahead"))
    worker = running.only_child()
    os.kill(worker, signal.SIGSTOP)
    daemon.set_clocks_ahead(61)
    wait_until(lambda: running.only_child() != worker, what="another worker")
    agent.load(44)
    running.wait_status(load=44, status=0)


def test_the_worker_ends_with_a_daemon_that_is_killed(agent, tolvd):
    agent_settings()
    running = tolvd()
    worker = running.only_child()
    running.kill()
    wait_until(lambda: not os.path.exists(f"/proc/{worker}"), what="the worker's end")


def test_settings_in_a_folder_made_anew_keep_the_queues(serial_ups, tolvd):
    """The queues' keys hang on the folder: the daemon follows when it is another one."""
    serial_settings()
    running = tolvd()
    old = queues.key("daemonControlQueue")
    os.rename(world.FOLDER, world.FOLDER + ".old")
    os.mkdir(world.FOLDER, 0o755)
    try:
        assert queues.key("daemonControlQueue") != old
        serial_settings()
        wait_until(lambda: queues.exists("daemonControlQueue"), what="the new queue")
        running.reload()
        running.wait_status(status=0)
        running.stop()
    finally:
        daemon.shutil.rmtree(world.FOLDER + ".old")
