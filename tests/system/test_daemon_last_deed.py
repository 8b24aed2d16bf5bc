"""The process that shuts the system down: watched, begun again, and left to do its work."""

import contextlib
import os
import signal

import pytest

import queues
import tolvd as daemon
import world
from tolvd import (agent_settings, boot_now, leave_done, leave_outage, preloaded, recorded,  # noqa
                   request_times, serial_settings, serial_ups, tolvd, wait_recorded)
from world import wait_until

DELAY = 60


def go_down(ups, tolvd, *options, **how):
    """A daemon whose shutdown is due in a few seconds."""
    serial_settings()
    ups.freeze()
    ups.mains("fail")
    leave_outage(DELAY - 4)
    running = tolvd(*options, **how)
    running.wait_log("the system goes down now")
    return running


def orders(ups):
    return [line for line in ups.log() if line.startswith("serial S")]


def test_it_is_begun_again_when_it_was_killed(serial_ups, tolvd):
    daemon.hold_last_deed()
    running = go_down(serial_ups, tolvd)
    deed = daemon.held_deed()
    serial_settings(com_port="/dev/no-such-line")  # nothing is read again now
    queues.send("daemonControlQueue", 5, "010")
    wait_until(lambda: queues.count("daemonControlQueue") == 0, what="the order taken")
    os.kill(deed, signal.SIGKILL)
    again = running.wait_log("the shutdown was cut off: it is begun again")
    assert again.priority == 0
    os.kill(daemon.held_deed(), signal.SIGCONT)
    call = wait_recorded("shutdown", "-h now")
    assert call.at < again.at + 60
    wait_until(daemon.last_deed_done, what="its end")
    assert orders(serial_ups) == ["serial S03R0003"]
    running.wait_status(status=3, pending="shutdown")
    running.stop()
    assert len(recorded("shutdown")) == 1 and not running.lines("settings were read again")


def test_no_signal_of_a_system_that_stops_ends_it(serial_ups, tolvd):
    daemon.hold_last_deed()
    running = go_down(serial_ups, tolvd)
    deed = daemon.held_deed()
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGPIPE,
                   signal.SIGCONT):
        os.kill(deed, number)
    wait_recorded("shutdown", "-h now")
    assert not running.lines("cut off")


def test_it_is_done_once_whatever_its_caller_ignores(serial_ups, tolvd):
    running = go_down(serial_ups, tolvd, prefix=["env", "--ignore-signal=CHLD"])
    wait_recorded("shutdown", "-h now")
    wait_until(daemon.last_deed_done, what="its end")
    at = running.status()["boot_milliseconds"]
    wait_until(lambda: running.status()["boot_milliseconds"] > at + 3000, what="three looks")
    running.stop()
    assert not running.lines("cut off") and len(recorded("shutdown")) == 1


def test_a_daemon_that_follows_waits_for_it(serial_ups, tolvd):
    daemon.hold_last_deed()
    first = go_down(serial_ups, tolvd)
    deed = daemon.held_deed()
    first.kill()
    second = tolvd(ready=False)
    second.wait_log(f"the system is already being shut down by process {deed}$")
    second.wait_status(status=3, pending="shutdown", source="serial", input_voltage=None)
    assert os.path.exists(daemon.OUTAGE)
    os.kill(deed, signal.SIGCONT)
    wait_recorded("shutdown", "-h now")
    assert not second.lines("no shutdown by") and len(recorded("shutdown")) == 1


def test_a_daemon_that_follows_watches_again_when_it_was_killed(serial_ups, tolvd):
    daemon.hold_last_deed()
    first = go_down(serial_ups, tolvd)
    deed = daemon.held_deed()
    first.kill()
    second = tolvd(ready=False)
    second.wait_log("the system is already being shut down")
    os.kill(deed, signal.SIGKILL)
    second.wait_log("the shutdown that an earlier daemon began is over, and the system up")
    # The outage is due already: what was cut off is done now.
    second.wait_log("the system goes down now, by the power failure")
    os.kill(daemon.held_deed(), signal.SIGCONT)
    wait_recorded("shutdown", "-h now")
    assert len(recorded("shutdown")) == 1


def test_a_daemon_that_follows_a_shutdown_begins_no_other(serial_ups, tolvd):
    first = go_down(serial_ups, tolvd)
    wait_recorded("shutdown", "-h now")
    wait_until(daemon.last_deed_done, what="its end")
    first.stop()
    second = tolvd(ready=False)
    told = second.wait_log("the system was told to go down [0-9]+ seconds ago: nothing is begun")
    assert told.priority == 1
    second.wait_status(ups="heard", status=3, pending="shutdown", shutdown_in=0)
    queues.send("commandQueue", 9, "e")  # none is taken now
    asked = len(request_times(serial_ups, "serial Q1"))
    wait_until(lambda: len(request_times(serial_ups, "serial Q1")) > asked + 8, what="rounds")
    assert len(recorded("shutdown")) == 1 and os.path.exists(daemon.OUTAGE)
    assert queues.count("commandQueue") == 1 and "serial C" not in serial_ups.log()
    second.stop()


def test_a_daemon_that_follows_a_shutdown_hears_the_ups_after_a_sleep(serial_ups, tolvd):
    daemon.set_clocks_ahead(0)
    serial_settings()
    leave_done(5)
    running = tolvd(env=preloaded("clock_ahead"))
    daemon.set_clocks_ahead(0, asleep=200)
    serial_ups.load(44)
    running.wait_status(load=44, pending="shutdown")


def test_a_system_that_stays_up_is_an_emergency(serial_ups, tolvd):
    daemon.set_clocks_ahead(0)
    daemon.hold_last_deed()
    running = go_down(serial_ups, tolvd, env=preloaded("clock_ahead"))
    deed = daemon.held_deed()
    os.kill(deed, signal.SIGCONT)
    wait_until(lambda: not os.path.exists(f"/proc/{deed}"), what="its end, and that it was seen")
    wait_recorded("shutdown", "-h now")
    for minutes in (10, 20):
        daemon.set_clocks_ahead(minutes * 60)
        told = running.wait_log(f"the system should be down: it was told to {minutes} minutes ago")
        assert told.priority == 0
    assert running.status()["status"] == 3 and len(recorded("shutdown")) == 1


def test_a_system_that_stays_up_after_a_trial_is_none(serial_ups, tolvd):
    daemon.set_clocks_ahead(0)
    daemon.hold_last_deed()
    running = go_down(serial_ups, tolvd, "--dry-run", env=preloaded("clock_ahead"))
    deed = daemon.held_deed()
    os.kill(deed, signal.SIGCONT)
    wait_until(lambda: not os.path.exists(f"/proc/{deed}"), what="its end, and that it was seen")
    end = (boot_now() + 601) * 1000
    daemon.set_clocks_ahead(602)
    wait_until(lambda: running.status()["boot_milliseconds"] > end, what="another look")
    running.stop()
    assert not running.lines("the system should be down")


def test_a_daemon_that_follows_begins_afresh_when_the_system_stays_up(serial_ups, tolvd):
    serial_settings()
    leave_done(590)
    running = tolvd()
    running.wait_status(status=3, pending="shutdown")
    assert running.wait_log("told to go down long ago, and is up: all begins afresh").priority == 1
    running.wait_status(status=0, mains="good", pending="none")
    assert not os.path.exists(daemon.LAST_DEED) and recorded("shutdown") == []
    serial_ups.mains("fail")
    running.wait_log("the mains failed")


def test_a_daemon_starts_afresh_long_after_a_shutdown_that_did_not_work(serial_ups, tolvd):
    serial_settings()
    leave_outage(700)
    leave_done(601)
    serial_ups.serial("silent on")
    running = tolvd(ready=False)
    running.wait_log("told to go down long ago, and is up: all begins afresh")
    running.wait_status(ups="lost", status=1, pending="none")
    assert not os.path.exists(daemon.LAST_DEED) and not os.path.exists(daemon.OUTAGE)
    assert recorded("shutdown") == []


@pytest.mark.parametrize("mark", ["", "1 1\n", "999999 -1\n", "-1 -1\n", "999999 0\n", "x",
                                  "STRANGER 1\n"])
def test_a_mark_that_names_no_such_process_is_none(serial_ups, tolvd, mark):
    serial_settings()
    os.makedirs(daemon.STATE, mode=0o755, exist_ok=True)
    with open(daemon.LAST_DEED, "w", encoding="ascii") as target:
        target.write(mark.replace("STRANGER", str(serial_ups.process.pid)))
    tolvd().wait_status(status=0, mains="good")
    os.remove(daemon.LAST_DEED)


def test_a_finished_shutdown_of_another_boot_is_none(serial_ups, tolvd, monkeypatch):
    serial_settings()
    monkeypatch.setattr(daemon, "boot_id", lambda: "00000000-0000-0000-0000-000000000000")
    leave_done(5)
    assert tolvd().wait_status(status=0)["pending"] == "none"
    os.remove(daemon.LAST_DEED)


def test_a_mark_that_cannot_be_written_is_tried_again(serial_ups, tolvd):
    daemon.hold_last_deed()
    os.makedirs(daemon.LAST_DEED + ".new")
    running = go_down(serial_ups, tolvd)
    failed = running.wait_log(daemon.LAST_DEED + " cannot be written")
    assert failed.priority == 3
    deed = daemon.held_deed()
    os.rmdir(daemon.LAST_DEED + ".new")
    os.kill(deed, signal.SIGCONT)
    wait_until(lambda: os.path.exists(daemon.LAST_DEED), what="its mark")
    wait_recorded("shutdown", "-h now")


def holders(device):
    """The processes that have this device open, or had before it vanished."""
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError):
            found += [pid for fd in os.listdir(f"/proc/{pid}/fd")
                      if os.readlink(f"/proc/{pid}/fd/{fd}").startswith(device)]
    return found


def test_nobody_holds_a_line_that_vanished(serial_ups, tolvd):
    """Else an adapter that is plugged in again comes back under another name."""
    daemon.hold_last_deed()
    device = os.path.realpath(world.DEVICE)
    running = go_down(serial_ups, tolvd)
    deed = daemon.held_deed()
    assert holders(device)
    serial_ups.serial("vanish")
    os.kill(deed, signal.SIGCONT)
    wait_until(lambda: not holders(device), what="the line's end")
    assert not running.lines("could not be told")
    serial_ups.serial("return")
    wait_recorded("shutdown", "-h now")
    assert orders(serial_ups) == ["serial S03R0003"]


def test_a_dry_run_leaves_no_mark(serial_ups, tolvd):
    running = go_down(serial_ups, tolvd, "--dry-run")
    running.wait_log("dry run: would tell the UPS S03R0003")
    assert not os.path.exists(daemon.LAST_DEED)
    running.stop()
    tolvd().wait_status(ups="heard", mains="failed")


def test_a_dry_run_sends_no_command_that_turns_the_ups_off(serial_ups, tolvd):
    serial_settings()
    running = tolvd("--dry-run")
    queues.send("commandQueue", 9, "d")
    running.wait_log('dry run: command "d" would tell the UPS S.2')
    queues.send("commandQueue", 9, "a")
    running.wait_log('command "a": the UPS was told T')
    assert orders(serial_ups) == []


def order_unanswered(agent, tolvd):
    """A shutdown whose agent hears, but is not heard; whether it was told to sleep."""
    daemon.empty_the_world()
    agent.reset()
    agent_settings()
    agent.freeze()
    agent.mains("fail")
    leave_outage(DELAY - 20)
    running = tolvd()
    running.wait_status(status=2)
    agent.delay(20000)
    decided = running.wait_log("the system goes down now", timeout=120)
    call = wait_recorded("shutdown", "-h now", timeout=120)
    assert call.at - decided.at < 60
    alert = running.wait_log("failed to issue UPS sleep command|could not be told to turn off")
    assert alert.priority == 1
    running.stop()
    return any("6.2.3.0 integer 2" in line for line in agent.log())


def test_an_agent_whose_answers_are_lost_is_told(agent, tolvd):
    """The order is sent three seconds before it is given up: a busy machine has several tries."""
    assert any(order_unanswered(agent, tolvd) for _ in range(3)), "the order to sleep"


def refused(agent, tolvd, name):
    """A shutdown whose agent refuses to write an object; the daemon."""
    daemon.empty_the_world()
    agent.reset()
    agent_settings()
    agent.freeze()
    agent.mains("fail")
    agent.error(name, "genErr")
    leave_outage(DELAY - 6)
    running = tolvd()
    decided = running.wait_log("the system goes down now", timeout=120)
    assert wait_recorded("shutdown", "-h now", timeout=120).at - decided.at < 60
    return running


def stays_on(agent, tolvd):
    """Whether a UPS that keeps its own short delay was left on."""
    agent.clear_log()
    running = refused(agent, tolvd, "off_delay")
    alert = running.wait_log("^telling the UPS: failed|could not be told")
    running.stop()
    writes = [line for line in agent.log() if line.startswith("set ")]
    return alert.priority == 1 and "is too short: the UPS stays on" in alert.text and \
        writes and not [line for line in writes if ".6.2." in line]


def test_an_agent_that_refuses_the_delay_is_not_told_to_turn_off(agent, tolvd):
    """The delay is set and asked for within two seconds: a busy machine has several tries."""
    assert any(stays_on(agent, tolvd) for _ in range(3))


def test_an_agent_that_refuses_the_order_is_an_alert(agent, tolvd):
    running = refused(agent, tolvd, "sleep")
    assert running.wait_log("failed to turn the UPS off: its agent refuses it").priority == 1


def test_a_hangup_reads_the_settings_again(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    serial_settings(ac_fail_delay=7)
    began = boot_now()
    running.process.send_signal(signal.SIGHUP)
    assert running.wait_log("the settings were read again").at >= began
    assert running.wait_status(ups="heard")
    assert running.process.poll() is None
