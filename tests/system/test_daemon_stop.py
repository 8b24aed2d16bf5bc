"""The daemon ends within three seconds, whatever it is at."""

import contextlib
import os
import signal
import subprocess

import pytest

import tolvd as daemon
import world
from stopwatch import Stopwatch, check_time
from tolvd import (agent_settings, leave_outage, put_program, recorded, serial_settings,
                   wait_recorded)
from waiting import LIMIT


SLEEP_DELAY = ".1.3.6.1.4.1.935.1.1.1.5.2.10.0"


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
    daemon.hold_last_deed()
    serial_settings()
    ups.mains("fail")
    leave_outage(57)
    running = tolvd()
    running.wait_log("the system goes down now")
    return running


@contextlib.contextmanager
def hung_wall():
    """A wall that never ends, as with a terminal that takes nothing."""
    hung = put_program("/run/hung-wall", ": >/run/wall-hangs\nexec sleep 1000\n")
    subprocess.run(["mount", "--bind", hung, "/usr/bin/wall"], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "--lazy", "/usr/bin/wall"], check=True)
        os.remove("/run/wall-hangs")


def with_a_wall_that_hangs(ups, tolvd):
    with hung_wall():
        running = in_an_outage(ups, tolvd)
        world.wait_until(lambda: os.path.exists("/run/wall-hangs"), what="a word to users")
    return running


def with_a_reload_under_way(ups, tolvd):
    running = at_rest(ups, tolvd)
    serial_settings(com_port="/dev/no-such-line")
    for _ in range(20):
        daemon.queues.send("daemonControlQueue", 5, "010")
    return running


LINE_SITUATIONS = [at_rest, in_an_outage, with_a_silent_line, with_a_line_that_vanished,
                   with_event_programs_at_work, with_a_shutdown_under_way,
                   with_a_wall_that_hangs, with_a_reload_under_way]


def with_a_silent_agent(agent, tolvd):
    agent_settings()
    agent.silent()
    agent.clear_log()
    running = tolvd(ready=False)
    world.wait_until(agent.log, what="a question without an answer")
    return running


def with_a_slow_agent(agent, tolvd):
    agent_settings()
    running = tolvd()
    agent.delay(1500)
    agent.clear_log()
    world.wait_until(agent.log, what="a question whose answer is under way")
    return running


def with_an_agent_in_an_outage(agent, tolvd):
    agent_settings()
    running = tolvd()
    agent.mains("fail")
    running.wait_status(status=2)
    return running


def with_an_agent_that_is_told_to_turn_off(agent, tolvd):
    agent_settings()
    agent.freeze()
    agent.mains("fail")
    leave_outage(57)
    agent.silent(name=SLEEP_DELAY)
    running = tolvd()
    running.wait_status(pending="shutdown")
    world.wait_until(lambda: any(SLEEP_DELAY in line for line in agent.log()),
                     what="an order without an answer")
    return running


AGENT_SITUATIONS = [with_a_silent_agent, with_a_slow_agent, with_an_agent_in_an_outage,
                    with_an_agent_that_is_told_to_turn_off]


def stop_by_signal(running):
    running.stop()


def stop_by_order(running):
    watch = Stopwatch()
    assert world.run("stop").returncode == 0
    running.process.wait(LIMIT)
    assert watch.below(45), watch.passed()
    assert running.wait_end() == 0


def check_end(running):
    running.wait_log("^ended$")
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


@pytest.mark.parametrize("stop", [stop_by_signal, stop_by_order])
@pytest.mark.parametrize("situation", AGENT_SITUATIONS)
def test_an_agent_does_not_hold_up_the_end(agent, tolvd, situation, stop):
    running = situation(agent, tolvd)
    stop(running)
    check_end(running)
    if situation is with_an_agent_that_is_told_to_turn_off:
        wait_recorded("shutdown", "-h now", timeout=120)


def send_order(running):
    daemon.queues.send("daemonControlQueue", 5, "100")


def send_signal(running):
    running.process.terminate()


@pytest.mark.parametrize("send", [send_order, send_signal])
@pytest.mark.parametrize("situation", [in_an_outage, with_a_silent_line, with_a_silent_agent,
                                       with_an_agent_that_is_told_to_turn_off])
def test_it_ends_within_three_seconds(request, tolvd, situation, send):
    kind = "agent" if "agent" in situation.__name__ else "serial_ups"
    ups = request.getfixturevalue(kind)

    def Measure():
        ups.reset()
        running = situation(ups, tolvd)
        took = Stopwatch()
        send(running)
        assert running.wait_end() == 0
        passed = took.passed()
        daemon.end_last_deed()
        daemon.empty_the_world()
        return passed
    check_time(Measure, 0, 3)


def test_an_agent_that_is_silent_does_not_hold_up_its_presence(agent, tolvd):
    agent_settings()
    agent.silent()
    tolvd(ready=False)
    world.wait_until(agent.log, what="a question without an answer")
    daemon.queues.drain("heartbeatQueue")
    watch = Stopwatch()
    world.wait_until(lambda: daemon.queues.count("heartbeatQueue") >= 4, what="presence")
    assert watch.below(40)


def test_the_end_of_the_daemon_does_not_stop_a_shutdown_that_has_begun(serial_ups, tolvd):
    running = with_a_shutdown_under_way(serial_ups, tolvd)
    deed = daemon.held_deed()
    stop_by_order(running)
    assert recorded("shutdown") == []
    # Another daemon finds it and neither begins a second one nor touches the UPS.
    asked = serial_ups.log().count("serial Q1")
    another = tolvd(ready=False)
    another.wait_log(f"the system is already being shut down by process {deed}$")
    began = another.wait_status(status=3)["boot_milliseconds"]
    world.wait_until(lambda: another.status()["boot_milliseconds"] > began + 3000, what="rounds")
    assert serial_ups.log().count("serial Q1") == asked
    os.kill(deed, signal.SIGCONT)
    wait_recorded("shutdown", "-h now", timeout=120)
    assert [line for line in serial_ups.log() if line.startswith("serial S")] == [
        "serial S03R0003"]
    another.stop()
    assert len(recorded("shutdown")) == 1
