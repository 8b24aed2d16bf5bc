"""The remote screen's texts, to the cell, for everything that a UPS may answer."""

import dataclasses
import fcntl
import os
import socket
import sys
import termios
import time

import pytest

import world
from notice import DATE_COLUMN, DATE_WIDTH, date_text, dates_between, wall_clock
from remote_painter import GEN_ERR, NA, Answer, Readings, Watch, check_no_data
from settings import Settings
from stopwatch import Stopwatch, check_time, seconds_of, seconds_of_pass

WARNING = b"System is About to Shut Down"
LOAD = ".1.3.6.1.4.1.935.1.1.1.4.2.3.0"


def waiting_keys(screen):
    """Number of bytes typed that the program has not read yet."""
    with open(f"/proc/{screen.pid}/fd/0", "rb") as terminal:
        count = bytearray(4)
        fcntl.ioctl(terminal, termios.FIONREAD, count)
        return int.from_bytes(count, sys.byteorder)


def quoted(text):
    return Answer("string", text)


def binary(text):
    return Answer("hex", text)


@pytest.fixture
def watch(status, agent, settings):
    """The remote screen with its first pass painted."""
    return Watch(status, agent, settings)


@pytest.fixture
def alarms(agent, settings, start):
    """The same of a UPS that was on battery for 125 seconds, low, before the screen began."""
    changes = {"output_status": 3, "battery_status": 3, "time_on_battery": 125}
    for name, value in changes.items():
        agent.set(name, value)
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    return Watch(screen, agent, settings, dataclasses.replace(Readings(), **changes))


# --- what the UPS reports ------------------------------------------------------------------------


def test_a_ups_at_rest_fills_every_cell_of_the_first_picture(watch):
    watch.check()
    assert watch.screen.cursor == (24, 79)
    assert watch.screen.cells(0, 56, 24) == " " * 24, "no identification text in the title"


def test_a_power_failure_is_followed_from_normal_to_low_battery_and_back(watch):
    watch.show(output_status=3, input_voltage=0, input_frequency=0, time_on_battery=125)
    assert watch.screen.cells(5, 25, 8) == "AC FAILS"
    assert watch.screen.cells(7, 25, 11) == "   125 Sec."
    watch.show(battery_status=3, capacity=18, time_on_battery=7200)
    assert watch.screen.cells(6, 25, 8) == "BAT. LOW"
    assert watch.screen.cells(7, 25, 11) == "  7200 Sec."
    watch.show(output_status=2, battery_status=2, input_voltage=2300, input_frequency=500,
               time_on_battery=0, capacity=19)
    assert watch.screen.cells(7, 25, 11) == "  7200 Sec.", "stays: nothing writes over it"
    watch.show("r")
    assert watch.screen.cells(7, 25, 11) == " " * 11


def test_alarms_blink_together_from_pass_to_pass(alarms):
    phases = []
    for _ in range(4):
        alarms.check()
        phases.append(alarms.flash())
        for row in (5, 6):
            assert alarms.screen.standout(row) == (set(range(25, 33)) if phases[-1] else set())
        assert alarms.screen.standout(7) == set()
        alarms.screen.press(" ")
    assert phases in ([True, False, True, False], [False, True, False, True])


def test_alarms_blink_without_a_key_too(alarms):
    before = alarms.flash()
    for _ in range(2):
        alarms.screen.wait_paint()
        alarms.check()
        assert alarms.flash() is not before
        before = not before


def test_the_remote_screen_never_shows_the_shutdown_warning(alarms):
    alarms.show(input_voltage=0)
    for _ in range(2):
        alarms.show()
        assert alarms.screen.cells(17, 4, 32) == " " * 32
        assert alarms.screen.standout(17) == set()
    assert WARNING not in alarms.screen.raw


def test_a_low_battery_on_utility_power_shows_the_time_on_battery(watch):
    watch.show(battery_status=3, time_on_battery=9)
    assert watch.screen.cells(5, 25, 8) == "Normal  "
    assert watch.screen.cells(7, 25, 11) == "     9 Sec."


def test_each_battery_status_has_its_text_and_others_leave_the_last_one(watch):
    watch.show(battery_status=1)
    assert watch.screen.cells(6, 25, 12) == NA
    for silent_code in (4, 0, -1):
        watch.show(battery_status=silent_code)
        assert watch.screen.cells(6, 25, 12) == NA
    watch.show(battery_status=3)
    watch.show(battery_status=2)
    assert watch.screen.cells(6, 25, 12) == "Normal      "
    watch.show(battery_status=99)
    assert watch.screen.cells(6, 25, 12) == "Normal      "


def test_a_battery_status_never_known_stays_blank(agent, settings, start):
    agent.set("battery_status", 4)
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    Watch(screen, agent, settings, Readings(battery_status=4)).check()
    assert screen.cells(6, 19, 19) == " " * 19


def test_only_output_status_3_means_on_battery(watch):
    for code in (1, 4, 5, 0, -3, 33):
        watch.show(output_status=code, time_on_battery=50)
        assert watch.screen.cells(5, 25, 8) == "Normal  "
        assert watch.screen.cells(7, 25, 11) == " " * 11


# --- objects that do not answer ------------------------------------------------------------------


def test_readings_that_the_agent_lacks_show_their_placeholder(watch):
    for name, row, column in (("output_voltage", 7, 63), ("load", 11, 62), ("capacity", 15, 62),
                              ("input_frequency", 19, 64)):
        before = getattr(watch.readings, name)
        watch.show(**{name: None})
        assert watch.screen.cells(row, column, 12) == NA
        watch.set(**{name: before})
    watch.show()


def test_states_that_the_agent_lacks_leave_the_rest_painted(watch):
    watch.show(output_status=None)
    watch.show(output_status=2, battery_status=None)
    assert watch.screen.cells(6, 25, 12) == "Normal      "
    watch.show(battery_status=1)
    watch.show(battery_status=None)
    assert watch.screen.cells(6, 25, 12) == NA


def test_an_unanswered_time_on_battery_is_reported_on_row_10(watch):
    watch.show(output_status=3, time_on_battery=None)
    assert watch.screen.cells(10, 25, 12) == NA
    assert watch.screen.cells(7, 25, 13) == " " * 13
    watch.show(time_on_battery=61)
    assert watch.screen.cells(7, 25, 11) == "    61 Sec."
    assert watch.screen.cells(10, 25, 12) == NA, "stays: nothing writes over it"
    watch.show(output_status=2, battery_status=3, time_on_battery=None)
    watch.show("r")
    assert watch.screen.cells(7, 25, 11) == " " * 11
    assert watch.screen.cells(10, 25, 12) == NA


def test_an_unanswered_second_output_value_counts_as_no_output(watch):
    watch.show(output_frequency=None)
    assert watch.screen.cells(7, 63, 5) == "0.0  "
    assert watch.screen.standout(8) == set()


def test_neither_output_value_answering_shows_no_output(watch):
    watch.show(output_voltage=None, output_frequency=None)
    assert watch.screen.cells(7, 63, 12) == "0.0         "


def test_one_silent_object_holds_up_the_pass_but_not_the_other_values(watch):
    watch.agent.silent(True, "load")
    watch.readings = dataclasses.replace(watch.readings, load=None)
    watch.agent.clear_log()
    took = Stopwatch()
    watch.show(capacity=64, input_frequency=485)
    # Five requests a second apart, and the pause of every pass.
    assert took.passed() > 7.95
    assert watch.agent.log().count(f"get {LOAD}") == 5
    assert watch.screen.cells(11, 62, 12) == NA


def test_an_answer_to_another_request_is_no_answer(watch):
    watch.agent.other_id(True, "capacity")
    watch.readings = dataclasses.replace(watch.readings, capacity=None)
    watch.show(load=40)
    assert watch.screen.cells(15, 62, 12) == NA


def test_a_late_answer_is_shown_all_the_same(watch):
    watch.agent.delay(700, "load")
    watch.show(load=77)
    assert watch.screen.cells(11, 62, 3) == " 77"


def test_an_error_answer_counts_as_an_empty_text(watch):
    watch.show(input_voltage=GEN_ERR, output_voltage=GEN_ERR)
    assert watch.screen.cells(3, 62, 6) == "0.0   "
    watch.show(load=GEN_ERR, capacity=GEN_ERR, input_frequency=GEN_ERR)
    assert watch.screen.cells(15, 62, 3) == "  0"
    watch.show(output_frequency=GEN_ERR, battery_status=GEN_ERR)
    watch.show(output_status=GEN_ERR)
    watch.show(output_status=3, time_on_battery=GEN_ERR)
    assert watch.screen.cells(7, 25, 11) == "     0 Sec."


def test_other_error_answers_but_the_missing_name_count_as_answered(watch):
    for status in ("tooBig", "badValue", "readOnly"):
        watch.show(load=Answer("error", status))
        assert watch.screen.cells(11, 62, 3) == "  0"
    watch.agent.error("load", "noSuchName")
    watch.readings = dataclasses.replace(watch.readings, load=None)
    watch.screen.press(" ")
    watch.check()


# --- values that nobody expects ------------------------------------------------------------------


def test_texts_where_numbers_are_expected_read_as_nothing(watch):
    watch.show(input_voltage=quoted("2300"), output_voltage=quoted("2300"), load=quoted("35"),
               capacity=quoted("100"), input_frequency=quoted("50.0"))
    assert watch.screen.cells(3, 62, 6) == "0.0   "
    watch.show(input_voltage=quoted('"2300"'), output_frequency=quoted("500"),
               output_status=quoted("3"), battery_status=quoted("3"))
    watch.show(output_status=3, time_on_battery=quoted("125"), load=quoted(""))


def test_binary_and_over_long_values_stay_within_their_places(watch):
    long_text = "9" * 1020
    watch.show(input_voltage=binary("00ff1b5b324a"), output_voltage=quoted(long_text),
               load=binary("ff" * 700), capacity=quoted('"' * 400),
               input_frequency=binary("80" * 1300))
    watch.show(output_status=binary("1b63"), battery_status=quoted(long_text),
               output_frequency=binary("00"))
    watch.show(input_voltage=2300, output_voltage=2300, load=35, capacity=100,
               input_frequency=500, output_status=2, battery_status=2, output_frequency=500)


def test_other_number_types_read_as_their_number(watch):
    watch.show(input_voltage=Answer("gauge", "1150", 1150), load=Answer("counter", "61", 61),
               capacity=Answer("gauge", "88", 88), output_status=Answer("counter", "3", 3),
               time_on_battery=Answer("gauge", "4000000", 4000000))
    assert watch.screen.cells(7, 25, 12) == "4000000 Sec."


def test_numbers_too_long_for_their_field_are_shown_whole(watch):
    watch.show(input_voltage=2147483647, output_voltage=100000, load=12345, capacity=100000,
               input_frequency=12345, output_status=3, time_on_battery=2147483647)
    assert watch.screen.cells(3, 62, 11) == "214748364.7"
    assert watch.screen.cells(7, 25, 15) == "2147483647 Sec."
    watch.show(input_voltage=2300, output_voltage=2300, load=35, capacity=100,
               input_frequency=500)


def test_numbers_below_zero_have_no_bar(watch):
    watch.show(input_voltage=-5, output_voltage=-2300, load=-5, capacity=-1, input_frequency=-1)
    for row in (4, 8, 12, 16, 20):
        assert watch.screen.standout(row) == set()
    watch.show(input_voltage=-2147483648, load=-2147483648, capacity=-2147483648,
               output_status=3, time_on_battery=-1)


# --- what the settings say -----------------------------------------------------------------------


@pytest.mark.parametrize("fail_delay, off_delay", [(1440, 10.0), (60, 0.5), (1, 4.0)])
def test_the_two_delays_are_shown_as_plain_numbers(agent, start, fail_delay, off_delay):
    chosen = Settings(snmp_ip=world.agent_address(), ac_fail_delay=fail_delay,
                      ups_off_delay=off_delay).write()
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    Watch(screen, agent, chosen).check()


def test_a_long_community_runs_on_over_the_right_panel(start):
    community = "a-community-name-of-twenty-9c"
    chosen = Settings(snmp_ip=world.agent_address(), snmp_community=community).write()
    agent = world.Agent(community=community)
    try:
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_key()
        watch = Watch(screen, agent, chosen)
        watch.check()
        assert screen.cells(4, 23, 29) == community
        watch.show()
    finally:
        assert agent.stop() == 0


def test_a_long_address_runs_on_over_the_frame(start):
    chosen = Settings(snmp_ip="127.0.0.1.an.address.29.chars").write()
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    check_no_data(screen, chosen)
    assert screen.cells(3, 23, 29) == chosen.snmp_ip


def test_the_status_bar_holds_a_long_host_name(agent, settings, start):
    own_name = os.uname().nodename
    command = [world.bin("wardenlink"), "status"]
    try:
        if os.environ["WARDENLINK_WORLD"] == "private":
            socket.sethostname("a-host-name-that-is-as-long-as-any-kernel-lets-it-be-64-letters.")
        screen = start(command)
        screen.wait_key()
        Watch(screen, agent, settings).check()
    finally:
        if os.uname().nodename != own_name:
            socket.sethostname(own_name)


@pytest.mark.parametrize("zone", ["UTC-14", "UTC+12"])
def test_the_date_line_is_local_time(settings, start, monkeypatch, zone):
    Settings(snmp_ip="127.0.0.1").write()
    monkeypatch.setenv("TZ", zone)
    time.tzset()
    try:
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_key()
        shown = screen.cells(1, DATE_COLUMN, DATE_WIDTH)
        assert shown in dates_between(wall_clock() - 60, wall_clock())
    finally:
        monkeypatch.undo()
        time.tzset()


def test_the_date_line_goes_on_with_the_clock(start):
    Settings().write()
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    first = screen.cells(1, DATE_COLUMN, DATE_WIDTH)
    world.wait_until(lambda: date_text(wall_clock()) != first, 90, "the next minute")
    second = date_text(wall_clock())
    screen.press(" ")
    shown = screen.cells(1, DATE_COLUMN, DATE_WIDTH)
    assert shown != first and shown in (second, date_text(wall_clock()))


# --- keys and rhythm -----------------------------------------------------------------------------


def test_an_idle_pass_takes_the_pause_and_the_wait_for_a_key(watch):
    # 3 s of pause, 1.3 s and 2.0 s of waiting for a key.
    check_time(lambda: seconds_of_pass(watch.screen), 6.25, 7.2)


def test_a_key_ends_the_wait_but_not_the_pause(watch):
    check_time(lambda: seconds_of(watch.show), 2.95, 3.9)
    took = Stopwatch()
    watch.screen.send(" ")
    watch.screen.wait_pause()
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0
    assert took.passed() > 2.95


def test_keys_without_a_meaning_change_nothing(watch):
    for key in ("m", "b", "R", "\r"):
        watch.screen.clear_raw()
        watch.show(key)
        assert b"\x1b[J" not in watch.screen.raw
    watch.show("Q")


def test_no_other_letter_ends_or_changes_the_screen_without_an_agent(settings, start):
    chosen = Settings().write()
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    keys = [chr(code) for code in range(1, 256) if chr(code) not in "qr\3\x11\x13\x1a\x1c"]
    screen.send("".join(keys) + "\x1b[A\x1bOP")
    screen.wait_for(lambda: waiting_keys(screen) == 0, what="every key being taken")
    screen.wait_paint()
    check_no_data(screen, chosen)
    screen.send("q")
    assert screen.wait_exit() == 0


def test_r_cleans_up_what_another_program_wrote_on_the_terminal(watch):
    watch.screen.broadcast(13, 29, "Broadcast message from root")
    watch.screen.press(" ")
    assert watch.screen.cells(13, 29, 9) == "Broadcast"
    watch.show("r")
