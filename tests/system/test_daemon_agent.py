"""The daemon and a UPS behind an agent: what it asks and when, what it keeps, what it says."""

import os
import socket

import queues
import world
from stopwatch import check_time, seconds_of
from tolvd import (agent_settings, boot_now, course, kept_outage, preloaded, read_status,
                   record_events, recorded, request_times, serial_settings, wait_event,
                   wait_recorded)
from waiting import LIMIT
from world import wait_until

DELAY = 60  # seconds, the shortest of the settings
PREFIX = ".1.3.6.1.4.1.935.1.1.1."
INPUT_VOLTAGE = f"get {PREFIX}3.2.1.0"
OUTPUT_STATUS = f"get {PREFIX}4.1.1.0"
BATTERY_STATUS = f"get {PREFIX}2.1.1.0"
LOAD = f"get {PREFIX}4.2.3.0"
LOST = "the UPS does not answer$"
UNHEARD = r"^agent, (first question|object \S+3\.2\.1\.0): no answer$"


def switch_trace_on():
    with open(world.FOLDER + "/powerd.dbg", "w", encoding="ascii") as target:
        target.write("debug\n")


# --- words --------------------------------------------------------------------------------


def test_only_an_agent_lets_a_failure_be_a_calibration(agent, tolvd):
    agent_settings()
    agent.freeze()
    agent.mains("fail")
    told = tolvd().wait_log("^the mains failed: ")
    assert told.priority == 1
    assert told.text.endswith(", or calibrates it (for that stop the daemon or use --dry-run first)")


def test_a_ups_on_a_line_says_for_itself_that_it_tests(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    told = tolvd().wait_log("^the mains failed: ")
    assert told.text == "the mains failed: the UPS runs on its battery"


def test_the_trace_shows_an_agent_that_was_never_heard(agent, tolvd):
    agent_settings()
    agent.silent()
    switch_trace_on()
    running = tolvd(ready=False)
    shown = running.wait_log("^agent, first question: no answer$", timeout=120, count=2)
    assert shown.priority == 7


# --- rounds -------------------------------------------------------------------------------


def test_a_round_comes_every_two_seconds(agent, tolvd):
    agent_settings()

    def Measure():
        agent.clear_log()
        began = boot_now()
        running = tolvd(ready=False)
        def Rounds():
            return request_times(agent, OUTPUT_STATUS)
        wait_until(lambda: len(Rounds()) >= 4, what="four rounds")
        running.stop()
        return Rounds()[3] - began
    check_time(Measure, 6, 7.5)


def test_the_input_voltage_is_asked_first_in_every_round(agent, tolvd):
    agent_settings()
    tolvd()
    agent.clear_log()
    wait_until(lambda: agent.log().count(INPUT_VOLTAGE) >= 4, what="four rounds")
    log = agent.log()
    rounds = [at for at, line in enumerate(log) if line == INPUT_VOLTAGE]
    for begin, end in zip(rounds, rounds[1:]):
        assert log[begin + 1:begin + 3] == [OUTPUT_STATUS, BATTERY_STATUS]
        assert len(set(log[begin:end])) == end - begin, "every object once"


def test_without_the_input_voltage_nothing_else_is_asked(agent, tolvd):
    agent_settings()
    running = tolvd()
    agent.silent(name="input_voltage")
    running.wait_log("the UPS does not answer$", timeout=120)
    agent.clear_log()
    wait_until(lambda: agent.log().count(INPUT_VOLTAGE) >= 8, what="more than a round's questions")
    assert set(agent.log()) == {INPUT_VOLTAGE}
    running.wait_status(ups="lost", mains="unknown", status=1)
    agent.silent(False, name="input_voltage")
    running.wait_log("the UPS answers again")


def test_without_the_outputs_state_the_ups_is_lost(agent, tolvd):
    """However its other values go on: nobody would learn of an outage."""
    agent_settings()
    running = tolvd(env=preloaded("short_waits"))
    name = "output_status"
    for spoil, mend in ((lambda: agent.missing(name), lambda: agent.missing(name, False)),
                        (lambda: agent.error(name, "genErr"), lambda: agent.error(name, "off")),
                        (lambda: agent.set(name, "on line"), lambda: agent.unset(name)),
                        (lambda: agent.set(name, 0), lambda: agent.unset(name))):
        spoil()
        running.wait_status(timeout=120, ups="lost", mains="unknown", status=1)
        mend()
        running.wait_status(timeout=120, ups="heard", mains="good", status=0)


def test_two_rounds_in_a_row_without_an_answer_lose_the_ups(agent, tolvd):
    agent_settings()
    switch_trace_on()
    running = tolvd()

    def IsLostByOne(load):
        """A machine that stands still for some seconds may make two of one: it has more tries."""
        losses, unheard = len(running.lines(LOST)), len(running.lines(UNHEARD))
        agent.silent()
        running.wait_log(UNHEARD, timeout=120, count=unheard + 1)
        agent.silent(False)
        agent.load(load)
        running.wait_status(load=load, ups="heard")
        return len(running.lines(LOST)) > losses
    assert not all(map(IsLostByOne, (47, 48, 49))), "one round is not enough"
    losses, heard = len(running.lines(LOST)), len(running.lines(UNHEARD))
    agent.silent()
    lost = running.wait_log(LOST, timeout=120, count=losses + 1)
    before = [line for line in running.log[:running.log.index(lost)] if line in
              running.lines(UNHEARD)]
    assert len(before) == heard + 2


def test_a_value_that_stays_silent_is_left_out_of_the_next_rounds(agent, tolvd):
    agent_settings()
    agent.silent(name="load")
    tolvd()

    def Behind():
        """What was asked from the silent value on."""
        log = agent.log()
        return log[log.index(LOAD):] if LOAD in log else []
    wait_until(lambda: Behind().count(INPUT_VOLTAGE) >= 3, what="three more rounds")
    log = Behind()
    assert LOAD not in log[log.index(INPUT_VOLTAGE):]


def test_the_values_stand_in_the_status(agent, tolvd):
    agent_settings()
    agent.set("ident_1", "ACME")
    agent.set("ident_2", "900")
    agent.freeze()
    agent.load(41)
    agent.battery(77)
    agent.input(2284)
    agent.frequency(498)
    agent.set("time_on_battery", 13)
    agent.set("output_voltage", 2297)
    status = tolvd().wait_status(battery_charge=77)
    assert status.items() >= {
        "source": "snmp", "device": world.agent_address(), "ups": "heard", "mains": "good",
        "battery": "normal", "model": "ACME 900", "input_voltage": 228.4,
        "output_voltage": 229.7, "load": 41, "input_frequency": 49.8, "time_on_battery": 13, "status": 0, "temperature": None,
        "battery_voltage": None, "testing": None, "pending": "none"}.items()
    agent.set("output_frequency", 0)
    wait_until(lambda: read_status()["output_voltage"] == 0, what="an output that is off")
    agent.error("load", "genErr")
    wait_until(lambda: read_status()["load"] is None, what="a value that is not told")
    assert read_status()["status"] == 0


# --- outages ------------------------------------------------------------------------------


def test_a_low_battery_shuts_the_system_down_sooner(agent, tolvd):
    record_events()
    agent_settings(ac_fail_delay=5)
    running = tolvd()
    wait_event("start")
    agent.freeze()
    agent.mains("fail")
    assert running.wait_status(status=2)["shutdown_in"] > 200
    wait_event("outage")
    began = boot_now()
    agent.battery("low")
    assert running.wait_status(status=3, battery="low")["shutdown_in"] <= DELAY
    wait_recorded("shutdown", "-h now", timeout=200)
    passed = running.wait_log("the system goes down now, by the power failure").at - began
    assert DELAY <= passed < DELAY + LIMIT
    wait_event("battery-low")
    wait_event("shutdown")
    assert course() == ["start", "outage", "battery-low", "shutdown"]


def test_mains_that_are_back_in_time_call_the_shutdown_off(agent, tolvd):
    record_events()
    agent_settings()
    running = tolvd()
    wait_event("start")
    agent.freeze()
    agent.mains("fail")
    running.wait_status(status=2, pending="outage")
    wait_event("outage")
    began = boot_now()
    agent.mains("restore")
    over = running.wait_log("the mains are back", timeout=120)
    assert 10 <= over.at - began < 10 + LIMIT
    running.wait_status(status=0, pending="none", shutdown_in=None)
    wait_recorded("wall", "UPS: the shutdown is called off (power failure).")
    wait_event("mains-back")
    assert course() == ["start", "outage", "mains-back"] and recorded("shutdown") == []


def test_a_daemon_that_was_killed_goes_on_counting(agent, tolvd):
    agent_settings()
    first = tolvd()
    agent.freeze()
    began = boot_now()
    agent.mains("fail")
    wait_until(lambda: (first.status()["shutdown_in"] or DELAY) < DELAY - 5,
               what="five seconds of it")
    since = int(kept_outage()) / 1000
    first.kill()
    second = tolvd()
    second.wait_log("the power failure goes on")
    status = second.wait_status(status=2)
    counted_from = status["boot_milliseconds"] / 1000 + status["shutdown_in"] - DELAY
    assert abs(counted_from - since) < 2, "not from its own begin"
    wait_recorded("shutdown", "-h now", timeout=200)
    assert second.wait_log("the system goes down now").at - began >= DELAY
    assert any("6.2.3.0" in line for line in agent.log() if line.startswith("set "))


# --- silence ------------------------------------------------------------------------------


def start_silent(agent, tolvd, **how):
    agent_settings()
    agent.silent()
    running = tolvd(ready=False, **how)
    wait_until(agent.log, what="a question without an answer")
    return running


def test_silence_does_not_hold_up_the_watchdog(agent, tolvd):
    path = "/run/notify"
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as told:
        told.bind(path)
        told.settimeout(LIMIT)
        start_silent(agent, tolvd, env={"NOTIFY_SOCKET": path})
        assert told.recv(1000) == b"READY=1"

        def HearSix():
            for _ in range(6):
                assert told.recv(1000) == b"WATCHDOG=1"
        check_time(lambda: seconds_of(HearSix), 0, 8)
    os.remove(path)


def test_silence_does_not_hold_up_presence(agent, tolvd):
    start_silent(agent, tolvd)

    def SeeSix():
        queues.drain("heartbeatQueue")
        wait_until(lambda: queues.count("heartbeatQueue") >= 6, what="presence")
    check_time(lambda: seconds_of(SeeSix), 0, 8)


def test_silence_does_not_hold_up_an_order(agent, tolvd):
    running = start_silent(agent, tolvd)
    check_time(lambda: seconds_of(running.reload), 0, 2)
    agent_settings(snmp_ip="192.0.2.11")
    check_time(lambda: seconds_of(running.reload), 0, 2)
    assert running.wait_status(device="192.0.2.11")
