"""The weekly schedule as the daemon carries it out, at the coming full minute."""

import calendar
import datetime
import os
import time

import pytest

import tolvd as daemon
import world
from tolvd import (agent_settings, preloaded, record_events, recorded, serial_settings,
                   wait_recorded)
from waiting import wait_until

UPS = ".1.3.6.1.4.1.935.1.1.1."
NO_EVENT = -1
LAST_WORDS = "UPS: the system is being shut down NOW (scheduled). The UPS will turn off."


def coming_minute(ahead=0):
    """A full minute that is at least half a minute away, and so many minutes after it."""
    soon = datetime.datetime.now() + datetime.timedelta(seconds=90)
    return soon.replace(second=0, microsecond=0) + datetime.timedelta(minutes=ahead)


def schedule_of(shutdown, start=None):
    """Seven days that hold these two moments and nothing else."""
    days = [[NO_EVENT] * 4 for _ in range(7)]
    if start is not None:
        days[start.isoweekday() % 7][:2] = start.hour, start.minute
    days[shutdown.isoweekday() % 7][2:] = shutdown.hour, shutdown.minute
    return days


def wait_shutdown(running, at):
    """Waits for the shutdown and looks when it came."""
    wait_recorded("shutdown", "-h now", timeout=200)
    decided = running.wait_log("the system goes down now, by the schedule")
    wall_offset = time.time() - daemon.boot_now()
    assert -0.1 <= decided.at + wall_offset - at.timestamp() < 30


def test_the_schedule_shuts_down_and_says_when_the_ups_comes_back(serial_ups, tolvd):
    record_events()
    at = coming_minute()
    serial_settings(schedule_on=1, schedule=schedule_of(at, at + datetime.timedelta(minutes=20)),
                    ac_fail_delay=5)
    running = tolvd()
    daemon.wait_event("start")
    status = running.wait_status(pending="schedule", scheduled_at=int(at.timestamp()), status=0)
    assert at.timestamp() - time.time() - 1 <= status["shutdown_in"] <= 90
    wait_shutdown(running, at)
    # Off three minutes later, and on again 20 minutes after the shutdown.
    assert [line for line in serial_ups.log() if line.startswith("serial S")] == [
        "serial S03R0017"]
    wait_recorded("wall", LAST_WORDS)
    words = [record.words for record in recorded("wall")]
    assert words[0].startswith("UPS: the system will be shut down in ")
    assert words[0].endswith(" (scheduled).")
    assert words[-2:] == [
        "UPS: the system will be shut down in 10 seconds (scheduled).", LAST_WORDS]
    daemon.wait_event("shutdown")
    assert daemon.course() == ["start", "shutdown"]


def test_a_ups_without_a_coming_start_stays_off(serial_ups, tolvd):
    at = coming_minute()
    serial_settings(schedule_on=1, schedule=schedule_of(at), ups_off_delay=0.5)
    running = tolvd()
    wait_shutdown(running, at)
    assert [line for line in serial_ups.log() if line.startswith("serial S")] == [
        "serial S.5R0000"]


def test_an_agents_ups_without_a_coming_start_is_turned_off(agent, tolvd):
    at = coming_minute()
    agent_settings(schedule_on=1, schedule=schedule_of(at))
    running = tolvd()
    wait_shutdown(running, at)
    assert [line for line in agent.log() if line.startswith("set ")] == [
        *[f"set {UPS}5.2.10.0 integer 180"] * 2, f"set {UPS}6.2.1.0 integer 2"]


def test_a_schedule_that_is_switched_off_takes_effect_at_once(serial_ups, tolvd):
    at = coming_minute(ahead=1)
    serial_settings(schedule_on=1, schedule=schedule_of(at), ac_fail_delay=10)
    running = tolvd()
    running.wait_status(pending="schedule", scheduled_at=int(at.timestamp()))
    later = at + datetime.timedelta(minutes=3)
    serial_settings(schedule_on=1, schedule=schedule_of(later), ac_fail_delay=10)
    running.reload()
    running.wait_status(pending="schedule", scheduled_at=int(later.timestamp()))
    serial_settings(schedule_on=0, schedule=schedule_of(later))
    running.reload()
    running.wait_status(pending="none", scheduled_at=None, shutdown_in=None)
    wait_recorded("wall", "UPS: the shutdown is called off (scheduled).")
    assert recorded("shutdown") == []


def test_half_a_settings_file_leaves_the_schedule_that_was_read_last(serial_ups, tolvd):
    at = coming_minute(ahead=20)
    serial_settings()
    running = tolvd()
    serial_settings(schedule_on=1, schedule=schedule_of(at))
    running.reload()
    running.wait_status(pending="schedule", scheduled_at=int(at.timestamp()))
    os.truncate(f"{world.FOLDER}/power.ini", 120)  # the schedule stands behind that
    running.reload()
    read = daemon.boot_now() * 1000
    wait_until(lambda: running.status()["boot_milliseconds"] > read, what="a status after that")
    assert running.status()["scheduled_at"] == int(at.timestamp())


def test_the_schedule_counts_without_a_ups_too(tolvd):
    """Nobody is told to turn off then."""
    at = coming_minute(ahead=2)
    daemon.Settings(comm_mode=1, snmp_ip="127.0.0.1", schedule_on=1,
                    schedule=schedule_of(at)).write()
    running = tolvd(ready=False)
    assert running.wait_status(pending="schedule")["scheduled_at"] == int(at.timestamp())
    running.wait_log("NOTHING is protected")


# Clocks leave out the hour after two in the one night, and show it twice in the other one: universal
# time when the daemon starts, and the minutes from there until clocks show ten past three.
@pytest.mark.parametrize("now, minutes", [((2037, 3, 29, 0, 50, 0), 20),
                                          ((2037, 10, 25, 0, 50, 0), 80)])
def test_a_night_of_change_ends_at_the_time_that_clocks_show(serial_ups, tolvd, now, minutes):
    serial_settings(schedule_on=1, schedule=[[NO_EVENT, NO_EVENT, 3, 10]] + [[NO_EVENT] * 4] * 6,
                    ac_fail_delay=5)
    ahead = calendar.timegm(now) - int(time.time())
    daemon.set_clocks_ahead(ahead)
    running = tolvd(env={**preloaded("clock_ahead"), "TZ": "CET-1CEST,M3.5.0,M10.5.0/3"})
    running.wait_status(pending="schedule", scheduled_at=calendar.timegm(now) + minutes * 60)
    daemon.set_clocks_ahead(ahead + (minutes - 2) * 60)
    wait_until(lambda: (running.status().get("shutdown_in") or 7200) <= 120, what="the last minutes")
    assert recorded("shutdown") == []
    daemon.set_clocks_ahead(ahead + minutes * 60)
    running.wait_log("the system goes down now, by the schedule")
    wait_recorded("shutdown", "-h now")
