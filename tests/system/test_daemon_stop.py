"""The daemon ends within three seconds, whatever it is at."""

import os

import pytest

import tolvd as daemon
import world
from stopwatch import Stopwatch
from tolvd import (agent_settings, leave_outage, put_program, recorded, serial_settings,
                   wait_recorded)


def at_rest(_, tolvd):
    serial_settings()
    return tolvd()


def in_an_outage(ups, tolvd):
    running = at_rest(ups, tolvd)
    ups.mains("fail")
    running.wait_status(status=2)
    return running


def with_a_silent_line(ups, tolvd):
    running = at_rest(ups, tolvd)
    ups.serial("silent on")
    ups.clear_log()
    world.wait_until(lambda: "serial Q1" in ups.log(), what="a question without an answer")
    return running


def with_a_line_that_vanished(ups, tolvd):
    running = at_rest(ups, tolvd)
    ups.serial("vanish")
    running.wait_log("cannot be opened")
    return running


def with_event_programs_at_work(_, tolvd):
    put_program(daemon.EVENT_FOLDER + "/slow", ': >"/run/running-$1"\nexec sleep 20\n')
    serial_settings()
    running = tolvd()
    world.wait_until(lambda: os.path.exists("/run/running-start"), what="the event's program")
    return running


def with_a_shutdown_under_way(ups, tolvd):
    put_program(daemon.EVENT_FOLDER + "/slow", "[ $1 != shutdown ] || exec sleep 20\n")
    serial_settings()
    ups.mains("fail")
    leave_outage(57)
    running = tolvd()
    running.wait_log("the system goes down now")
    return running


LINE_SITUATIONS = [at_rest, in_an_outage, with_a_silent_line, with_a_line_that_vanished,
                   with_event_programs_at_work, with_a_shutdown_under_way]


def stop_by_order(running):
    watch = Stopwatch()
    assert world.run("stop").returncode == 0
    running.process.wait(20)
    assert watch.below(10), watch.passed()
    assert running.wait_end() == 0


def check_end(running):
    assert running.lines("^ended$")
    assert not any(os.path.exists(path) for path in (*daemon.REPLIES, daemon.STATUS))


@pytest.mark.parametrize("situation", LINE_SITUATIONS)
def test_a_signal_ends_it(serial_ups, tolvd, situation):
    running = situation(serial_ups, tolvd)
    running.stop()
    check_end(running)


@pytest.mark.parametrize("situation", LINE_SITUATIONS)
def test_the_stop_command_ends_it(serial_ups, tolvd, situation):
    running = situation(serial_ups, tolvd)
    stop_by_order(running)
    check_end(running)


def test_an_agent_that_is_silent_does_not_hold_up_the_end(agent, tolvd):
    agent_settings()
    agent.silent()
    for stop in (stop_by_order, daemon.Tolvd.stop):
        agent.clear_log()
        running = tolvd(ready=False)
        world.wait_until(agent.log, what="a question without an answer")
        stop(running)
        check_end(running)


def test_an_agent_that_is_silent_does_not_hold_up_its_presence(agent, tolvd):
    agent_settings()
    agent.silent()
    tolvd(ready=False)
    world.wait_until(agent.log, what="a question without an answer")
    daemon.queues.drain("heartbeatQueue")
    watch = Stopwatch()
    world.wait_until(lambda: daemon.queues.count("heartbeatQueue") >= 4, what="presence")
    assert watch.below(15)


def test_the_end_of_the_daemon_does_not_stop_a_shutdown_that_has_begun(serial_ups, tolvd):
    running = with_a_shutdown_under_way(serial_ups, tolvd)
    stop_by_order(running)
    assert recorded("shutdown") == []
    # Another daemon finds it and neither begins a second one nor touches the UPS.
    asked = len([line for line in serial_ups.log() if line == "serial Q1"])
    another = tolvd(ready=False)
    assert another.lines("the system is already being shut down by process")
    assert another.status()["status"] == 3
    wait_recorded("shutdown", "-h now", timeout=120)
    assert [line for line in serial_ups.log() if line.startswith("serial S")] == [
        "serial S03R0003"]
    assert len([line for line in serial_ups.log() if line == "serial Q1"]) == asked
    another.stop()
    assert len(recorded("shutdown")) == 1
