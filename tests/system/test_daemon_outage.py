"""The daemon in a power failure, until the system would go down: delays, orders, words.

The shortest delay is a minute, and a few tests wait for it. In the others a daemon that was
killed has left an outage that is almost over.
"""

import os

import pytest

import queues
import tolvd as daemon
from tolvd import (agent_settings, boot_now, course, events, leave_outage, preloaded,
                   record_events, recorded, request_times, serial_settings, wait_event,
                   wait_recorded)
from world import wait_until

DELAY = 60
UPS = ".1.3.6.1.4.1.935.1.1.1."
DELAY_ORDER = f"set {UPS}5.2.10.0 integer 180"  # whether it is taken is seen first
SLEEP_ORDER = [DELAY_ORDER, DELAY_ORDER, f"set {UPS}5.2.11.0 integer 3",
               f"set {UPS}6.2.3.0 integer 2"]
ROUND = {"serial": 1, "snmp": 2}
LAST_WORDS = "UPS: the system is being shut down NOW (power failure)."


BUSY = 30  # seconds by which a busy machine may hold up anything


class Delay:
    """Measures a delay from the moment at which it is made."""

    def __init__(self):
        self.began = boot_now()

    def passed(self, now=None):
        return (now or boot_now()) - self.began

    def check(self, ended, lowest, highest):
        """The delay ended at this moment: never too soon, and late by a busy machine alone."""
        passed = self.passed(ended)
        assert lowest <= passed <= highest + BUSY, f"{passed:.2f} s"


# The disks are flushed for ten seconds, and a UPS that cannot be told is tried for fifteen.
UNHEARD_ORDER = 25 + BUSY


def sets(agent):
    return [line for line in agent.log() if line.startswith("set ")]


# --- a whole minute -----------------------------------------------------------------------


def test_an_outage_on_a_serial_line_shuts_the_system_down(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    wait_event("start")
    serial_ups.freeze()
    delay = Delay()
    serial_ups.mains("fail")
    outage = running.wait_status(status=2, pending="outage", mains="failed")
    assert DELAY - delay.passed() - 1 <= outage["shutdown_in"] <= DELAY
    call = wait_recorded("shutdown", timeout=200)
    decided = running.wait_log("the system goes down now, by the power failure")
    delay.check(decided.at, DELAY, DELAY + ROUND["serial"])
    assert call.words == "-h now"
    running.wait_status(status=3, pending="shutdown", shutdown_in=0)
    # What the UPS was told came first, and once.
    told = running.wait_log("the UPS was told S03R0003")
    called = running.wait_log("running /sbin/shutdown")
    assert running.log.index(decided) < running.log.index(told) < running.log.index(called)
    wait_until(lambda: "serial S03R0003" in serial_ups.log(), what="the order at the UPS")
    assert orders(serial_ups) == ["serial S03R0003"]
    assert serial_ups.state()["pending"] != "none"
    wait_recorded("wall", LAST_WORDS + " The UPS will turn off.")
    words = [record.words for record in recorded("wall")]
    assert words == ["UPS: the system will be shut down in 1 minute (power failure).",
                     "UPS: the system will be shut down in 30 seconds (power failure).",
                     "UPS: the system will be shut down in 10 seconds (power failure).",
                     LAST_WORDS + " The UPS will turn off."]
    wait_event("shutdown")
    assert course() == ["start", "outage", "shutdown"]
    running.stop()
    assert len(recorded("shutdown")) == 1 and recorded("poweroff") == []


def test_an_outage_behind_an_agent_shuts_the_system_down(agent, tolvd):
    record_events()
    agent_settings(countdown_on=0)
    running = tolvd()
    wait_event("start")
    agent.freeze()
    delay = Delay()
    agent.mains("fail")
    running.wait_status(status=2, pending="outage", mains="failed")
    call = wait_recorded("shutdown", timeout=200)
    decided = running.wait_log("the system goes down now, by the power failure")
    delay.check(decided.at, DELAY, DELAY + ROUND["snmp"])
    assert call.words == "-h now"
    assert sets(agent) == SLEEP_ORDER
    assert request_times(agent, SLEEP_ORDER[-1])[0] <= call.at + 0.1
    assert recorded("wall") == [], "the countdown is switched off"
    wait_event("shutdown")
    assert course() == ["start", "outage", "shutdown"]


def test_a_low_battery_shuts_the_system_down_sooner(serial_ups, tolvd):
    record_events()
    serial_settings(ac_fail_delay=5)
    running = tolvd()
    wait_event("start")
    serial_ups.freeze()
    failure = Delay()
    serial_ups.mains("fail")
    assert running.wait_status(status=2)["shutdown_in"] >= 299 - failure.passed()
    wait_event("outage")
    delay = Delay()
    serial_ups.battery("low")
    assert running.wait_status(status=3, battery="low")["shutdown_in"] <= 60
    # A battery that recovers does not move what is due.
    serial_ups.battery("full")
    running.wait_status(status=3, battery="normal", pending="outage")
    wait_recorded("shutdown", timeout=200)
    decided = running.wait_log("the system goes down now")
    delay.check(decided.at, DELAY, DELAY + ROUND["serial"])
    wait_event("battery-low")
    wait_event("shutdown")
    assert course() == ["start", "outage", "battery-low", "shutdown"]


def test_a_daemon_that_was_killed_goes_on_counting(serial_ups, tolvd):
    record_events()
    serial_settings()
    first = tolvd()
    serial_ups.freeze()
    delay = Delay()
    serial_ups.mains("fail")
    first.wait_status(status=2)
    first.kill()
    assert os.path.exists(daemon.OUTAGE)
    second = tolvd()
    assert second.wait_log("the power failure goes on")
    assert second.status()["status"] == 2
    second.stop()
    third = tolvd()
    third.wait_status(status=2)
    wait_recorded("shutdown", timeout=200)
    delay.check(third.wait_log("the system goes down now").at, DELAY, DELAY + ROUND["serial"])
    assert events().count("outage") == 1


# --- called off, or not -------------------------------------------------------------------


def test_mains_that_are_back_for_ten_seconds_call_the_shutdown_off(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    wait_event("start")
    serial_ups.freeze()
    serial_ups.mains("fail")
    running.wait_status(status=2)
    wait_event("outage")
    serial_ups.mains("restore")
    running.wait_status(mains="good", status=2)
    # A break begins the ten seconds anew.
    serial_ups.mains("fail")
    running.wait_status(mains="failed")
    delay = Delay()
    serial_ups.mains("restore")
    over = running.wait_log("the mains are back", timeout=120)
    delay.check(over.at, 10, 10 + 2 * ROUND["serial"])
    running.wait_status(status=0, pending="none", shutdown_in=None, outage_seconds=None)
    wait_recorded("wall", "UPS: the shutdown is called off (power failure).")
    wait_event("mains-back")
    assert not os.path.exists(daemon.OUTAGE)
    assert course() == ["start", "outage", "mains-back"]
    assert recorded("shutdown") == []


def test_mains_back_for_less_than_ten_seconds_do_not_stop_the_shutdown(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(DELAY - 7)
    running = tolvd()
    running.wait_log("the power failure goes on")
    serial_ups.mains("restore")
    running.wait_status(mains="good")
    wait_recorded("shutdown", "-h now")
    assert request_times(serial_ups, "serial S03R0003")


def test_a_kept_outage_that_is_over_shuts_nothing_down(serial_ups, tolvd):
    serial_settings()
    leave_outage(DELAY + 30)
    running = tolvd()
    running.wait_log("the mains are back", timeout=120)
    assert recorded("shutdown") == [] and not os.path.exists(daemon.OUTAGE)


@pytest.mark.parametrize("unwatched", [60, 600])
def test_silence_confirms_only_an_outage_that_was_watched_not_long_ago(serial_ups, tolvd,
                                                                       unwatched):
    serial_settings()
    serial_ups.serial("silent on")
    leave_outage(DELAY + 660, unwatched)
    running = tolvd(ready=False)
    running.wait_status(ups="lost", timeout=120)
    if unwatched < 300:
        wait_recorded("shutdown", "-h now")
        return
    running.wait_log("the UPS does not answer$")
    assert running.wait_status(ups="lost", pending="outage")["status"] == 2
    serial_ups.serial("silent off")
    running.wait_log("the mains are back", timeout=120)
    assert recorded("shutdown") == []


def last_look():
    """The moment of the last look as it is kept, in seconds."""
    with open(daemon.OUTAGE, encoding="ascii") as source:
        return int(source.read().split()[3]) / 1000


def test_the_moment_of_the_last_look_is_kept_at_the_end(serial_ups, tolvd):
    serial_settings(ac_fail_delay=30)
    serial_ups.freeze()
    serial_ups.mains("fail")
    running = tolvd()
    running.wait_log("the mains failed")
    kept = last_look()
    wait_until(lambda: running.status()["outage_seconds"] >= 3, what="three seconds")
    assert last_look() == kept, "it is written once a minute"
    running.stop()
    assert last_look() >= kept + 2


def test_the_moment_of_the_last_look_is_noted_in_a_long_outage(serial_ups, tolvd):
    serial_settings(ac_fail_delay=1440)
    serial_ups.freeze()
    serial_ups.mains("fail")
    running = tolvd(env=preloaded("short_waits"))
    running.wait_status(status=2)
    wait_until(lambda: running.status()["outage_seconds"] > 240, what="four minutes")
    with daemon.standing_still(running.pid):
        assert running.status()["boot_milliseconds"] / 1000 - last_look() < 120


def test_an_outage_of_another_boot_is_none(serial_ups, tolvd):
    serial_settings()
    leave_outage(DELAY + 30)
    with open(daemon.OUTAGE, encoding="ascii") as source:
        text = source.read()
    with open(daemon.OUTAGE, "w", encoding="ascii") as target:
        target.write("0" + text[1:] if text[0] != "0" else "1" + text[1:])
    running = tolvd()
    assert running.wait_status(status=0)["pending"] == "none"
    assert running.lines("power failure") == []


def test_a_machine_that_slept_believes_no_word_of_before(serial_ups, tolvd):
    """It slept longer than the delay, and the mains came back meanwhile."""
    daemon.set_clocks_ahead(0)
    serial_settings(ac_fail_delay=3)
    serial_ups.freeze()
    serial_ups.mains("fail")
    running = tolvd(env=preloaded("clock_ahead"))
    running.wait_status(status=2)
    serial_ups.serial("silent on")
    serial_ups.clear_log()
    wait_until(lambda: "serial Q1" in serial_ups.log(), what="a question under way")
    with daemon.standing_still(running.pid):
        serial_ups.serial(r"send (000.0 230.0 230.0 035 00.0 12.6 25.0 10000000\r")
        serial_ups.serial("silent off")
        serial_ups.mains("restore")
        daemon.set_clocks_ahead(0, asleep=200)
    running.wait_log("the mains are back", timeout=120)
    assert recorded("shutdown") == []


# --- silence ------------------------------------------------------------------------------


def test_an_agent_lost_in_an_outage_does_not_stop_its_delays(agent, tolvd):
    record_events()
    agent_settings()
    agent.freeze()
    agent.mains("fail")
    leave_outage(DELAY - 40)
    running = tolvd()
    running.wait_log("the power failure goes on")
    wait_event("start")
    agent.silent()
    running.wait_log("the UPS does not answer: the delays of the power failure go on", timeout=120)
    assert running.wait_status(ups="lost")["status"] == 2
    decided = running.wait_log("the system goes down now", timeout=120)
    # The agent that cannot be told holds it up by 15 s at the most.
    call = wait_recorded("shutdown", "-h now", timeout=120)
    assert call.at - decided.at < UNHEARD_ORDER
    wait_event("ups-lost")
    wait_event("shutdown")
    assert events() == ["start", "ups-lost", "shutdown"]


def test_a_silent_ups_with_good_mains_is_a_warning_only(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    wait_event("start")
    delay = Delay()
    serial_ups.serial("silent on")
    lost = running.wait_log("the UPS does not answer$", timeout=120)
    delay.check(lost.at, 3, 7)
    assert lost.priority == 4
    running.wait_status(ups="lost", mains="unknown", status=1, pending="none", input_voltage=None)
    wait_event("ups-lost")
    serial_ups.serial("silent off")
    running.wait_log("the UPS answers again")
    running.wait_status(ups="heard", mains="good", status=0)
    wait_until(lambda: events() == ["start", "ups-lost", "ups-back"], what="the events")
    assert recorded("shutdown") == [] and recorded("wall") == []


def test_a_low_battery_with_good_mains_is_a_warning_only(serial_ups, tolvd):
    record_events()
    serial_settings()
    serial_ups.freeze()
    running = tolvd()
    serial_ups.battery("low")
    running.wait_log("the battery is low although the mains are good")
    running.wait_status(battery="low", mains="good", status=3, pending="none")
    wait_event("start")
    assert recorded("shutdown") == [] and course() == ["start"]


# --- orders to the UPS and to the system --------------------------------------------------


SOON = 4  # seconds


def go_down(ups, tolvd, *options, **changes):
    """A daemon whose shutdown is due soon."""
    serial_settings(**changes)
    ups.freeze()
    ups.mains("fail")
    leave_outage(DELAY - SOON)
    return tolvd(*options)


def orders(ups):
    return [line for line in ups.log() if line.startswith("serial S")]


@pytest.mark.parametrize("delay, order", [(0.2, "S.2R0003"), (0.9, "S.9R0003"),
                                          (1.0, "S01R0003"), (10.0, "S10R0003")])
def test_the_ups_is_told_its_own_delay(serial_ups, tolvd, delay, order):
    go_down(serial_ups, tolvd, ups_off_delay=delay)
    wait_recorded("shutdown", "-h now")
    assert orders(serial_ups) == ["serial " + order]


def test_a_ups_that_is_to_stay_on_is_told_nothing(serial_ups, tolvd):
    go_down(serial_ups, tolvd, turn_off_ups=0)
    wait_recorded("shutdown", "-h now")
    assert orders(serial_ups) == []
    wait_recorded("wall", LAST_WORDS)


@pytest.mark.parametrize("kind", ["serial", "snmp"])
def test_a_dry_run_only_says_what_it_would_do(request, tolvd, kind):
    ups = request.getfixturevalue("serial_ups" if kind == "serial" else "agent")
    record_events()
    if kind == "snmp":
        agent_settings()
        ups.freeze()
        ups.mains("fail")
        leave_outage(DELAY - 6)
        running = tolvd("--dry-run")
    else:
        running = go_down(ups, tolvd, "--dry-run")
    assert running.status()["dry_run"] is True
    would = running.wait_log("dry run: would tell the ", timeout=120)
    assert ("S03R0003" if kind == "serial" else "off in 3.0 minutes, back after 3") in would.text
    running.wait_log("dry run: would run /sbin/shutdown -h now", timeout=120)
    running.wait_status(status=3)
    running.stop()
    assert recorded("shutdown") == [] and recorded("poweroff") == []
    assert not [line for line in ups.log() if line.startswith(("set ", "serial S"))]
    wait_event("shutdown")


def break_program(path, how):
    with open(path, "a", encoding="ascii") as target:
        target.write("exit 1\n" if how == "fails" else "")
    if how == "missing":
        os.remove(path)
    if how == "not executable":
        os.chmod(path, 0o644)


@pytest.fixture
def whole_programs():
    """Puts the recorders back."""
    names = ("/usr/sbin/shutdown", "/usr/sbin/poweroff")
    kept = {}
    for name in names:
        with open(name, "rb") as source:
            kept[name] = source.read()
    yield
    for name, data in kept.items():
        with open(name, "wb") as target:
            target.write(data)
        os.chmod(name, 0o755)


@pytest.mark.parametrize("how", ["fails", "missing", "not executable"])
def test_a_shutdown_that_fails_is_followed_by_poweroff(serial_ups, tolvd, whole_programs, how):
    break_program("/sbin/shutdown", how)
    delay = Delay()
    running = go_down(serial_ups, tolvd)
    failed = running.wait_log("/sbin/shutdown failed: the system does not go down", timeout=120)
    assert failed.priority == 0
    call = wait_recorded("poweroff", "", timeout=120)
    assert delay.passed(call.at) >= SOON + 9.9 and call.at - failed.at < 14 + BUSY
    assert orders(serial_ups) == ["serial S03R0003"]


def test_a_shutdown_that_hangs_is_given_up_before_the_ups_goes_off(serial_ups, tolvd,
                                                                   whole_programs):
    with open("/sbin/shutdown", "a", encoding="ascii") as target:
        target.write("exec sleep 1000\n")
    delay = Delay()
    running = go_down(serial_ups, tolvd, ups_off_delay=0.7)
    hangs = running.wait_log("/sbin/shutdown hangs: the system does not go down", timeout=120)
    assert hangs.priority == 0
    call = wait_recorded("shutdown", "-h now")
    assert delay.passed(hangs.at) >= SOON + 13.9, "a third of 42 seconds"
    assert hangs.at - call.at < 14 + BUSY
    assert wait_recorded("poweroff", "").at - hangs.at < BUSY


def test_what_fails_is_tried_in_turn_until_one_works(serial_ups, tolvd, whole_programs):
    break_program("/sbin/shutdown", "fails")
    break_program("/sbin/poweroff", "fails")
    running = go_down(serial_ups, tolvd)
    wait_until(lambda: len(recorded("shutdown")) == 2, 120, "the second try")
    assert [record.name for record in recorded() if record.name in ("shutdown", "poweroff")] == [
        "shutdown", "poweroff", "shutdown"]
    # The next one works.
    with open("/sbin/poweroff", encoding="ascii") as source:
        whole = source.read().removesuffix("exit 1\n")
    with open("/sbin/poweroff", "w", encoding="ascii") as target:
        target.write(whole)
    running.wait_log("running /sbin/poweroff", timeout=120, count=2)
    wait_until(daemon.last_deed_done, what="the end of the last deed")
    assert len(recorded("poweroff")) == 2 and len(recorded("shutdown")) == 2


def test_the_event_of_a_shutdown_is_waited_for_five_seconds_at_most(serial_ups, tolvd):
    daemon.put_program(daemon.EVENT_FOLDER + "/10slow", "[ $1 != shutdown ] || exec sleep 25\n")
    delay = Delay()
    running = go_down(serial_ups, tolvd)
    left = running.wait_log("programs of the event shutdown are not waited for any longer")
    decided = running.wait_log("the system goes down now")
    assert delay.passed(left.at) >= SOON + 4.9 and left.at - decided.at < 24
    wait_recorded("shutdown", "-h now")
    queues.send("daemonControlQueue", 5, "100")
    assert running.wait_end() == 0


def test_a_line_that_vanished_does_not_keep_the_system_up(serial_ups, tolvd):
    running = go_down(serial_ups, tolvd)
    serial_ups.serial("vanish")
    running.wait_log("the system goes down now")
    told = running.wait_log("the UPS could not be told to turn off", timeout=120)
    call = wait_recorded("shutdown", "-h now", timeout=120)
    assert call.at - running.lines("the system goes down now")[0].at < UNHEARD_ORDER
    assert told.priority == 1


def test_a_line_that_comes_back_in_time_is_told(serial_ups, tolvd):
    running = go_down(serial_ups, tolvd)
    serial_ups.serial("vanish")
    running.wait_log("the system goes down now")
    serial_ups.serial("return")
    wait_recorded("shutdown", "-h now", timeout=120)
    assert orders(serial_ups) == ["serial S03R0003"]
