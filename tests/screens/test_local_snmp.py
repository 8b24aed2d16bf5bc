"""The local screen of a UPS behind an SNMP agent: its panels and its warning."""

import time

import pytest

import queues
import world
from notice import wall_clock
from process import OpenFiles
from remote_painter import GEN_ERR, NO_DATA_PROMPT
from settings import Settings
from snmp_painter import WARNING, announce, open_local, tell
from stopwatch import check_time, seconds_of_pass

WARNING_CELLS = set(range(4, 36))


@pytest.fixture
def local(agent, settings, start):
    """The local screen with its SNMP panels painted."""
    return open_local(start, agent, settings)


# --- the panels ----------------------------------------------------------------------------------


def test_a_ups_at_rest_fills_every_cell(local):
    local.check()
    assert local.screen.cursor == (24, 79)
    assert local.screen.cells(17, 4, 32) == " " * 32
    assert local.screen.cells(0, 56, 24) == " " * 24, "no identification text in the title"


def test_a_power_failure_is_followed_and_announced(local):
    local.show(input_voltage=0, input_frequency=0, output_status=3, time_on_battery=125)
    assert local.screen.cells(17, 4, 32) == WARNING
    local.show(battery_status=3, capacity=18)
    local.show(input_voltage=2300, input_frequency=500, output_status=2, battery_status=2)
    assert local.screen.cells(17, 4, 32) == " " * 32
    assert local.screen.standout(17) == set()


@pytest.mark.parametrize("reading", [{"input_voltage": 0}, {"battery_status": 3},
                                     {"input_voltage": GEN_ERR}])
def test_the_warning_blinks_from_pass_to_pass(local, reading):
    local.set(**reading)
    phases = []
    for _ in range(3):
        local.show()
        assert local.screen.cells(17, 4, 32) == WARNING
        phases.append(local.screen.standout(17))
    assert phases in ([WARNING_CELLS, set(), WARNING_CELLS], [set(), WARNING_CELLS, set()])


def test_a_ups_on_battery_alone_is_no_reason_to_warn(local):
    local.show(output_status=3, input_voltage=9)
    assert local.screen.cells(17, 4, 32) == " " * 32
    local.show(input_voltage=-1, battery_status=1)
    assert local.screen.cells(17, 4, 32) == " " * 32


def schedule_in(minutes):
    """A weekly schedule with one shutdown that far ahead."""
    schedule = [[-1] * 4 for _ in range(7)]
    due = time.localtime(wall_clock() + minutes * 60)
    schedule[(due.tm_wday + 1) % 7][2:] = [due.tm_hour, due.tm_min]
    return schedule


@pytest.mark.parametrize("minutes, schedule_on, warned",
                         [(40, 1, True), (80, 1, False), (40, 0, False)])
def test_a_scheduled_shutdown_within_the_delay_is_announced(agent, start, minutes, schedule_on,
                                                            warned):
    chosen = Settings(snmp_ip=world.agent_address(), schedule=schedule_in(minutes),
                      schedule_on=schedule_on, ac_fail_delay=60).write()
    local = open_local(start, agent, chosen)
    local.painter.shutdown_near = warned
    local.check()
    assert (local.screen.cells(17, 4, 32) == WARNING) is warned


def test_a_schedule_set_while_the_screen_runs_is_announced(local):
    local.take_settings(Settings(snmp_ip=world.agent_address(), schedule=schedule_in(40),
                                 schedule_on=1, ac_fail_delay=60))
    tell("010")
    local.painter.shutdown_near = True
    local.show()
    assert local.screen.cells(17, 4, 32) == WARNING
    local.take_settings(Settings(snmp_ip=world.agent_address(), schedule=schedule_in(40)))
    tell("010")
    local.painter.shutdown_near = False
    local.show()
    assert local.screen.cells(17, 4, 32) == " " * 32


def test_a_time_on_battery_without_an_answer_is_reported_on_row_10(local):
    local.show(output_status=3, time_on_battery=None)
    assert local.screen.cells(10, 25, 3) == "N/A"


@pytest.mark.parametrize("fail_delay, off_delay, shown",
                         [(5, 0.2, (" 5.0", " 0.2")), (60, 10.0, ("60.0", "10.0")),
                          (61, 1.0, (" 61 ", " 1.0")), (1440, 3.0, ("1440", " 3.0"))])
def test_the_delays_are_shown_as_the_serial_display_shows_them(agent, start, fail_delay,
                                                               off_delay, shown):
    chosen = Settings(snmp_ip=world.agent_address(), ac_fail_delay=fail_delay,
                      ups_off_delay=off_delay).write()
    local = open_local(start, agent, chosen)
    local.check()
    assert (local.screen.cells(8, 26, 4), local.screen.cells(9, 26, 4)) == shown


def test_a_pass_takes_the_pause_and_the_wait_for_a_key(local):
    check_time(lambda: seconds_of_pass(local.screen), 6.25, 7.2)
    local.check()


def test_keys_without_a_meaning_change_nothing(local):
    for key in ("c", "i", "M"):
        local.show(key)
    local.screen.clear_raw()
    local.screen.press("Q")
    local.check()
    assert b"\x1b[J" not in local.screen.raw and b"\x1b[2J" not in local.screen.raw


@pytest.mark.parametrize("key, message", [("r", None), (" ", "001")])
def test_a_redraw_cleans_up_what_another_program_wrote(local, key, message):
    local.screen.broadcast(13, 29, "Broadcast message from root")
    local.screen.press(" ")
    assert local.screen.cells(13, 29, 9) == "Broadcast"
    if message:
        tell(message)
        local.painter.clear()
    local.show(key)


@pytest.mark.parametrize("message", ["100", "000", "0", "abc"])
def test_other_control_messages_are_taken_and_change_nothing(local, message):
    tell(message)
    local.show()
    assert queues.count("screenControlQueue") == 0


def test_q_ends_the_screen(local):
    local.screen.send("q")
    assert local.screen.wait_exit() == 0


# --- the daemon ----------------------------------------------------------------------------------


def test_without_a_daemon_the_panels_hold_no_data(agent, settings, start):
    local = open_local(start, agent, settings, present=False)
    local.check()
    assert local.screen.cells(23, 41, 37) == NO_DATA_PROMPT
    assert local.screen.cells(17, 4, 32) == " " * 32
    local.show(input_voltage=0)
    assert local.screen.cells(17, 4, 32) == " " * 32, "nobody will shut the system down"


def test_a_presence_message_counts_for_one_pass(local):
    queues.drain("heartbeatQueue")
    local.lost = True
    local.show()
    for kind in (1, 5):
        queues.send("heartbeatQueue", kind, "alive")
    local.show()
    announce(2)
    local.lost = False
    local.show()
    local.show()
    local.lost = True
    local.show()


def test_a_running_daemon_keeps_the_panels_alive(agent, settings, tolvd, start):
    running = tolvd()
    local = open_local(start, agent, settings, present=False)
    local.lost = False
    for _ in range(3):
        local.check()
        local.screen.wait_paint()
    running.stop()
    queues.drain("heartbeatQueue")
    local.lost = True
    local.show()


# --- the agent -----------------------------------------------------------------------------------


def test_an_agent_that_falls_silent_and_comes_back_is_followed(local):
    local.set(input_voltage=0)
    local.show()
    local.silence()
    local.show()
    assert local.screen.cells(17, 4, 32) == " " * 32
    local.set(input_voltage=2300)
    local.silence(False)
    local.show()


def test_an_agent_that_was_never_there_is_found_later(agent, settings, start):
    agent.missing("input_voltage")
    local = open_local(start, agent, settings)
    local.lost = True
    local.check()
    files = OpenFiles(local.screen.pid)
    local.screen.press("x" * 20)  # each pass opens a session anew
    local.check()
    assert OpenFiles(local.screen.pid) == files
    agent.missing("input_voltage", False)
    local.lost = False
    local.show()


def test_a_loopback_address_is_never_asked(agent, start):
    local = open_local(start, agent, Settings(snmp_ip="127.0.0.1").write())
    local.lost = True
    for key in (" ", "r", "m", "b"):
        local.show(key)
    assert local.screen.cells(3, 23, 9) == "127.0.0.1"
    assert agent.log() == []
