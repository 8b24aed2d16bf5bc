"""What the local screen shows of the settings, and how it starts with and without them."""

import dataclasses
import os
import time

import pytest

import queues
import world
from local_painter import NO_EVENT, WARNING, Files
from local_watch import DRIVER, open_watch, watch  # noqa: F401
from notice import wall_clock
from settings import Settings


def week_of(*moments, columns):
    """A schedule with an event at each moment (seconds): its hour and minute at columns."""
    schedule = [[-1] * 4 for _ in range(7)]
    for moment, column in zip(moments, columns):
        then = time.localtime(moment)
        schedule[(then.tm_wday + 1) % 7][column:column + 2] = [then.tm_hour, then.tm_min]
    return schedule


def in_one_minute(look):
    """Has a look; another one when it failed and the minute of the clock ended meanwhile, or had
    just begun: the screen's pass may be of the minute before."""
    while True:
        began = wall_clock()
        try:
            return look()
        except AssertionError:
            if wall_clock() // 60 == began // 60 and began % 60 > 10:
                raise


# --- what the settings say -------------------------------------------------------------------


def test_a_long_port_is_cut_and_its_blanks_reach_the_frame(watch):
    assert watch.screen.cells(8, 26, 14) == "/dev/ttyS1   |"
    for port, shown in (("/dev/ttyUSB01", "/dev/ttyUSB0 |"),
                        ("/dev/tty-of-29-characters-xx9", "/dev/tty-of- |"),
                        ("/dev/ttyUSB1", "/dev/ttyUSB1 |"), ("x", "x" + " " * 12 + "|")):
        watch.change(Settings(comm_mode=0, com_port=port))
        watch.show()
        assert watch.screen.cells(8, 26, 14) == shown


def test_the_shutdown_delay_is_written_in_three_ways(watch):
    for minutes, shown in ((5, " 5.0"), (60, "60.0"), (61, " 61 "), (120, " 120"), (999, " 999"),
                           (1000, "1000"), (1440, "1440"), (9999, "9999"), (10000, "9999"),
                           (1, " 1.0"), (0, " 0.0"), (-5, "-5.0"), (-1440, "-1440.0n.")):
        watch.change(Settings(comm_mode=0, ac_fail_delay=minutes))
        watch.show()
        assert watch.screen.cells(20, 26, len(shown)) == shown


def test_the_turn_off_delay_has_one_decimal(watch):
    for minutes, shown in ((0.2, " 0.2 Min."), (0.5, " 0.5 Min."), (3.0, " 3.0 Min."),
                           (10.0, "10.0 Min."), (100.0, "100. Min.")):
        watch.change(Settings(comm_mode=0, ups_off_delay=minutes))
        watch.show()
        assert watch.screen.cells(21, 26, 9) == shown


def test_the_two_switches_show_on_and_off_and_keep_it_for_other_values(watch):
    for countdown, schedule, shown in ((1, 0, ("ON ", "OFF")), (0, 1, ("OFF", "ON ")),
                                       (7, -1, ("OFF", "ON ")), (1, 2, ("ON ", "ON "))):
        watch.change(Settings(comm_mode=0, countdown_on=countdown, schedule_on=schedule))
        watch.show()
        assert (watch.screen.cells(16, 24, 3), watch.screen.cells(17, 24, 3)) == shown


def test_switches_that_never_had_a_known_value_stay_blank(open_watch):
    watch = open_watch(Settings(comm_mode=0, countdown_on=2, schedule_on=9, ac_fail_delay=10000))
    watch.check()
    assert watch.screen.cells(16, 24, 10) == watch.screen.cells(17, 24, 10) == " " * 10
    assert watch.screen.cells(20, 26, 5) == " " * 5


def test_the_next_shutdown_and_power_on_are_shown(open_watch):
    now = wall_clock()
    schedule = week_of(now + 3 * 3600, now + 30 * 3600, columns=(2, 0))
    watch = open_watch(Settings(comm_mode=0, schedule_on=1, schedule=schedule))
    watch.check()
    then = time.localtime(now + 3 * 3600)
    assert watch.screen.cells(18, 24, 10) == time.strftime("%a. %H:%M", then)
    then = time.localtime(now + 30 * 3600)
    assert watch.screen.cells(19, 24, 10) == time.strftime("%a. %H:%M", then)
    watch.show(present=True)
    assert watch.screen.cells(15, 4, 32) == " " * 32, "three hours are far"


@pytest.mark.parametrize("changes, shown", [
    ({"schedule_on": 0}, (False, False)), ({"turn_off_ups": 0}, (True, False)),
    ({"turn_off_ups": 2}, (True, False)), ({"schedule_on": 2}, (False, False)), ({}, (True, True))])
def test_the_schedule_is_shown_only_as_far_as_it_is_in_force(open_watch, changes, shown):
    now = wall_clock()
    schedule = week_of(now + 50 * 3600, now + 75 * 3600, columns=(2, 0))
    watch = open_watch(Settings(comm_mode=0, **{"schedule_on": 1, "schedule": schedule, **changes}))
    watch.check()
    for row, is_shown in zip((18, 19), shown):
        assert (watch.screen.cells(row, 24, 10) != NO_EVENT) is is_shown


def test_a_schedule_without_a_power_on_or_without_a_shutdown(open_watch):
    now = wall_clock()
    watch = open_watch(Settings(comm_mode=0, schedule_on=1,
                                schedule=week_of(now + 20 * 3600, columns=(2,))))
    watch.check()
    assert watch.screen.cells(19, 24, 10) == NO_EVENT
    watch.change(Settings(comm_mode=0, schedule_on=1,
                          schedule=week_of(now + 20 * 3600, columns=(0,))))
    watch.show()
    assert watch.screen.cells(18, 24, 10) == NO_EVENT


def test_a_near_shutdown_is_announced_while_a_daemon_runs(open_watch):
    now = wall_clock()
    soon = Settings(comm_mode=0, schedule_on=1, ac_fail_delay=60,
                    schedule=week_of(now + 20 * 60, columns=(2,)))
    watch = open_watch(soon)
    watch.check()
    assert watch.screen.cells(15, 4, 32) == " " * 32, "no daemon, no warning"
    phases = []
    for _ in range(3):
        watch.show(present=True)
        assert watch.screen.cells(15, 4, 32) == WARNING
        assert watch.screen.standout(15) in (set(), set(range(4, 36)))
        phases.append(bool(watch.screen.standout(15)))
    assert phases in ([True, False, True], [False, True, False])
    watch.show()
    assert watch.screen.cells(15, 4, 32) == " " * 32
    watch.change(dataclasses.replace(soon, schedule_on=0))
    watch.show(present=True)
    assert watch.screen.cells(15, 4, 32) == " " * 32, "no longer in force"


def test_a_shutdown_is_near_from_the_shutdown_delay_on(watch):
    def Look():
        now = wall_clock()
        for minutes, shown in ((45, WARNING), (46, " " * 32)):
            watch.change(Settings(comm_mode=0, schedule_on=1, ac_fail_delay=45,
                                  schedule=week_of(now + minutes * 60, columns=(2,))))
            watch.show(present=True)
            assert watch.screen.cells(15, 4, 32) == shown
    in_one_minute(Look)


# --- starting --------------------------------------------------------------------------------


@pytest.mark.parametrize("left", [None, "power.ini"])
def test_without_both_settings_files_the_screen_never_opens(start, left):
    Files(q1=None, rtg=None, mdl=None).write()
    Settings(comm_mode=0).write()
    for name in {"power.ini", "wardenlink.cfg"} - {left}:
        os.remove(os.path.join(world.FOLDER, name))
    queues.remove("screenControlQueue")
    screen = start([world.bin(DRIVER)])
    assert screen.wait_exit() == 1
    assert screen.raw == b"/etc/wardenlink/power.ini not found!\r\n"
    assert sorted(os.listdir(world.FOLDER)) == ([left] if left else [])
    assert not queues.exists("screenControlQueue")


def test_an_empty_power_ini_invents_no_shutdown(start):
    settings = Settings(comm_mode=0, schedule_on=1)
    settings.write()
    with open("/etc/wardenlink/power.ini", "wb"):
        pass  # what a power failure may leave of a file written in place
    Files().write()
    screen = start([world.bin(DRIVER)])
    screen.wait_key()
    assert [screen.cells(row, 24, len(NO_EVENT)) for row in (18, 19)] == [NO_EVENT] * 2


def test_messages_from_before_the_start_are_thrown_away(start):
    Settings(comm_mode=0).write()
    for name, kind in (("dataQueue", 1), ("heartbeatQueue", 4), ("daemonControlQueue", 5),
                       ("screenControlQueue", 5), ("commandQueue", 9)):
        for _ in range(3):
            queues.send(name, kind, "001")
    screen = start([world.bin(DRIVER)])
    screen.wait_key()
    for name in ("dataQueue", "heartbeatQueue", "daemonControlQueue", "screenControlQueue"):
        assert queues.count(name) == 0, name
    assert queues.count("commandQueue") == 3, "that queue is the daemon's alone"
