"""The local screen of a UPS on the serial port: its states to the cell, keys and rhythm."""

import dataclasses
import signal

import pytest

import queues
import world
from local_painter import WARNING, Files
from local_watch import DRIVER, BAR_ROWS, bar, open_watch, watch  # noqa: F401
from settings import Settings
from stopwatch import check_time, seconds_of_pass

ALL_BITS = {"ac_power": "10000000", "battery_status": "01000000", "boost": "00100000",
            "functioning": "00010000", "self_test": "00000100"}


def left_marks(watch, row):
    """The columns of the left panel's row that stand in reverse."""
    return {column for column in watch.screen.standout(row) if column < 39}


# --- the UPS's states ------------------------------------------------------------------------


def test_a_ups_at_rest_fills_every_cell_of_the_first_picture(watch):
    watch.check()
    screen = watch.screen
    assert screen.row(3)[:39] == "|  UPS Type          : On Line        |"
    assert screen.cells(4, 3, 30) == "UPS Rating Voltage: 230.0 Volt"
    assert screen.cells(5, 3, 29) == "UPS Rating Current:   5   Amp"
    assert screen.cells(6, 3, 28) == "UPS Line Frequency:  50.0 Hz"
    assert screen.cells(9, 26, 8) == "Normal  "
    assert screen.cells(13, 3, 26) == "   UPS Temperature: 25.0 C"
    assert screen.cells(14, 23, 11) == "Stop       "
    assert screen.cells(0, 42, 37) == "WATCHMAN       WM1500     R12.3      "
    assert screen.cells(23, 41, 37) == "Type 'r' to Redraw, Type 'q' to Quit."
    assert screen.cells(15, 62, 4) == " 63%"
    assert [bar(watch, name) for name in BAR_ROWS] == [26, 25, 12, 16, 13]


def test_power_fails_the_battery_runs_low_and_power_returns(watch):
    watch.show(present=True, bits="10000000", input="000.0", frequency="00.0", battery="1.95")
    assert watch.screen.cells(9, 26, 8) == "AC FAILS"
    assert watch.screen.cells(15, 4, 32) == WARNING
    watch.show(present=True, bits="11000000", battery="1.76")
    assert watch.screen.cells(10, 23, 8) == "BAT. LOW"
    watch.show(present=True, bits="01000000", input="230.0", frequency="50.0")
    assert watch.screen.cells(15, 4, 32) == WARNING
    watch.show(present=True, bits="00000000")
    assert watch.screen.cells(15, 4, 32) == " " * 32


def test_each_alarm_alone_stands_in_its_row_only(watch):
    texts = {"ac_power": (9, 26, "AC FAILS"), "battery_status": (10, 23, "BAT. LOW"),
             "functioning": (11, 23, "FAILED"), "boost": (12, 23, "ON "),
             "self_test": (14, 23, "In Progress")}
    for name, (row, column, text) in texts.items():
        phases = []
        for _ in range(2):
            watch.show(bits=ALL_BITS[name])
            assert watch.screen.cells(row, column, len(text)) == text
            assert [other for other in (9, 10, 11, 12, 14) if left_marks(watch, other)
                    and other != row] == []
            phases.append(left_marks(watch, row))
        alarm = set(range(column, column + len(text)))
        assert phases in ([alarm, set()], [set(), alarm]), name
        watch.show(bits="00000000")


def test_all_alarms_blink_together_from_pass_to_pass_beginning_in_reverse(open_watch):
    watch = open_watch(files=Files(bits="11111111"))
    phases = [watch.flash()]
    watch.check()
    for _ in range(4):
        watch.show(present=True)
        phases.append(watch.flash())
        spans = {9: (26, 34), 10: (23, 31), 11: (23, 29), 12: (23, 26), 14: (23, 34),
                 15: (4, 36)}
        for row, span in spans.items():
            assert left_marks(watch, row) == (set(range(*span)) if phases[-1] else set())
        assert watch.screen.standout(3) == set(), "the type of a UPS is no alarm"
    assert phases == [True, False, True, False, True]


def test_alarms_blink_without_a_key_too(open_watch):
    watch = open_watch(files=Files(bits="10000000"))
    for _ in range(2):
        before = watch.flash()
        watch.screen.wait_paint()
        watch.check()
        assert watch.flash() is not before


def test_without_a_daemon_no_shutdown_is_announced(watch):
    for bits in ("10000000", "01000000", "11000000"):
        watch.show(bits=bits)
        assert watch.screen.cells(15, 4, 32) == " " * 32
        assert watch.screen.standout(15) == set()
        watch.show(present=True)
        assert watch.screen.cells(15, 4, 32) == WARNING


def test_every_pass_takes_a_presence_message_also_without_an_alarm(watch):
    queues.drain("heartbeatQueue")
    for _ in range(3):
        queues.send("heartbeatQueue", 4, "here")
    for left in (2, 1, 0, 0):
        watch.screen.press(" ")
        assert queues.count("heartbeatQueue") == left


def test_other_alarms_announce_no_shutdown(watch):
    watch.show(present=True, bits="00111111")
    assert watch.screen.cells(15, 4, 32) == " " * 32


def test_only_a_1_sets_a_status_bit(watch):
    watch.show(bits="2x-IlO\x7f7")
    watch.show(bits="00000011")
    for row, column in ((9, 26), (10, 23), (11, 23)):
        assert watch.screen.cells(row, column, 6) == "Normal"
    assert watch.screen.cells(12, 23, 3) == "OFF"


def test_a_terminal_of_24_rows_shows_the_same(open_watch):
    watch = open_watch(files=Files(bits="11111111"), rows=24)
    watch.check()
    watch.show("r", present=True)
    assert watch.screen.cells(23, 41, 37) == "Type 'r' to Redraw, Type 'q' to Quit."


# --- the battery's level ---------------------------------------------------------------------


def test_the_battery_of_a_standby_ups_is_measured_by_its_rating(open_watch):
    watch = open_watch(files=Files(bits="00001001", battery="13.6", rtg=b"#220.0 005 12.00 50.0\r"))
    watch.check()
    assert watch.screen.cells(3, 23, 7) == "Standby"
    assert watch.screen.cells(15, 62, 4) == "100%"
    assert bar(watch, "battery") == 26
    for voltage, shown, length in (("10.5", "  0", 1), ("09.0", "  0", 1), ("11.9", " 49", 13),
                                   ("12.0", " 53", 14), ("13.3", " 99", 25)):
        watch.show(battery=voltage)
        assert watch.screen.cells(15, 62, 3) == shown
        watch.show("r")
        assert bar(watch, "battery") == length
    watch.show(rtg=b"#220.0 005 024.0 50.0\r", battery="24.0")
    assert watch.screen.cells(15, 62, 3) == " 53"


def test_an_on_line_ups_reports_one_cell_whatever_the_rating(watch):
    for voltage, shown in (("2.05", " 63"), ("1.75", "  0"), ("2.22", " 99"), ("2.23", "100"),
                           ("13.6", "100"), ("0.00", "  0"), (".999", "  0")):
        watch.show(battery=voltage, rtg=b"#230.0 005 048.0 50.0\r")
        assert watch.screen.cells(15, 62, 3) == shown


def test_the_rating_of_the_settings_serves_until_the_ups_tells_its_own(open_watch):
    watch = open_watch(Settings(comm_mode=0, battery_rating=48.0),
                       Files(bits="00001000", battery="48.0", rtg=None))
    watch.check()
    assert watch.screen.cells(15, 62, 3) == " 53"
    watch.show(rtg=b"#220.0 005 096.0 50.0\r")
    assert watch.screen.cells(15, 62, 3) == "  0"
    watch.show(rtg=None)
    assert watch.screen.cells(15, 62, 3) == "  0", "the rating once told is kept"
    watch.change(Settings(comm_mode=0, battery_rating=36.0))
    watch.show(battery="40.0")
    assert watch.screen.cells(15, 62, 3) == "100"


@pytest.mark.parametrize("rating", [0.0, 9.0])
def test_a_standby_ups_without_a_usable_rating_shows_no_level(open_watch, rating):
    watch = open_watch(Settings(comm_mode=0, battery_rating=rating),
                       Files(bits="00001000", battery="12.0", rtg=None))
    watch.check()
    assert watch.screen.cells(15, 62, 4) == "N/A "
    assert bar(watch, "battery") == 0
    for unusable in (b"#220.0 005 000.0 50.0\r", b"#220.0 005 00000 50.0\r"):
        watch.show(rtg=unusable)
        assert watch.screen.cells(15, 62, 4) == "N/A "
        assert bar(watch, "battery") == 0
    watch.show(rtg=b"#220.0 005 012.0 50.0\r")
    assert watch.screen.cells(15, 62, 4) == " 53%"


def test_a_ups_that_turns_from_on_line_to_standby_keeps_the_rating_of_a_cell(watch):
    watch.show(rtg=None)
    watch.show(bits="00001000", battery="2.05")
    assert watch.screen.cells(15, 62, 3) == " 63"


# --- scales and bars -------------------------------------------------------------------------


LOW, HIGH = " 70   80   90  100", "180  190  200  210"
VOLTAGES = (
    ("230.0", HIGH, 26), ("134.9", LOW, 33), ("135.0", LOW, 0), ("135.9", LOW, 0),
    ("136.0", HIGH, 0), ("178.9", HIGH, 0), ("179.0", HIGH, 1), ("180.0", HIGH, 1),
    ("182.0", HIGH, 2), ("246.0", HIGH, 34), ("252.0", HIGH, 37), ("300.0", HIGH, 37),
    ("999.9", HIGH, 37), ("115.5", LOW, 23), ("070.0", LOW, 1), ("069.0", LOW, 1),
    ("068.0", LOW, 0), ("000.0", LOW, 0), ("0070.", LOW, 1), (".0700", LOW, 0),
    ("00230", LOW, 0), ("-70.0", LOW, 0), ("23.00", LOW, 0), ("1.2.3", LOW, 0), ("abcde", LOW, 0),
)


@pytest.mark.parametrize("name, row", [("input", 5), ("output", 9)])
def test_a_voltage_chooses_its_scale_and_the_length_of_its_bar(watch, name, row):
    for text, scale, length in VOLTAGES:
        watch.show("r", **{name: text})
        assert watch.screen.cells(row, 42, len(scale)) == scale, text
        assert bar(watch, name) == length, text


def test_the_zeros_before_a_number_are_blanked(watch):
    watch.show(input="009.5", output="000.0", load="007", frequency="00.5")
    for row, column, text in ((3, 62, "  9.5"), (7, 63, "  0.0"), (11, 62, "  7"),
                              (19, 64, " 0.5"), (5, 23, "  5")):
        assert watch.screen.cells(row, column, len(text)) == text


def test_the_load_has_a_cell_for_every_four_percent_up_to_125(watch):
    for text, shown, length in (("000", "  0", 1), ("003", "  3", 1), ("004", "  4", 2),
                                ("100", "100", 26), ("124", "124", 32), ("130", "130", 32),
                                ("999", "999", 32), ("-05", "-05", 0), ("4.5", "4.5", 0),
                                ("0a5", "0a5", 0), ("N/A", "N/A", 0)):
        watch.show("r", load=text)
        assert watch.screen.cells(11, 62, 3) == shown
        assert bar(watch, "load") == length, text


def test_the_frequency_has_a_cell_for_every_four_hertz_up_to_105(watch):
    for text, length in (("00.0", 1), ("03.9", 1), ("04.0", 2), ("60.0", 16), ("99.9", 25),
                         ("105.", 27), ("900.", 27), (".500", 1), ("0050", 0), ("-5.0", 0)):
        watch.show("r", frequency=text)
        assert bar(watch, "frequency") == length, text


def test_a_longer_bar_is_wiped_by_the_next_pass_but_behind_the_rule(watch):
    watch.show(input="300.0", output="300.0", load="999", frequency="900.", battery="2.30")
    watch.show(input="184.0", output="N/A", load="004", frequency="04.0", battery="1.80")
    # The rule ends in column 75 and the frame stands in column 78.
    assert watch.screen.standout(4) == {43, 44, 45, 76, 77, 79}
    assert watch.screen.standout(8) == {76, 77, 79}
    assert bar(watch, "load") == 2 and bar(watch, "frequency") == 2
    assert bar(watch, "battery") == 3
    assert watch.screen.cells(4, 46, 30) == "--" + "|----" * 5 + "|--"
    watch.show("r")
    assert bar(watch, "input") == 3 and bar(watch, "output") == 0


# --- keys and rhythm -------------------------------------------------------------------------


def test_an_idle_pass_takes_3_3_seconds_and_reads_the_files_anew(watch):
    check_time(lambda: seconds_of_pass(watch.screen), 3.25, 4.2)
    watch.files = dataclasses.replace(watch.files, load="099", bits="00010000").write()
    watch.screen.wait_paint()
    watch.check()
    assert watch.screen.cells(11, 62, 3) == " 99"


def test_r_cleans_up_what_another_program_wrote_on_the_terminal(watch):
    watch.screen.broadcast(13, 29, "Broadcast message from root")
    watch.press()
    assert watch.screen.cells(13, 29, 9) == "Broadcast"
    watch.show("r")


def test_keys_without_a_meaning_change_nothing(watch):
    watch.screen.clear_raw()
    watch.screen.press("".join(chr(code) for code in range(1, 256)
                               if chr(code) not in "qr\3\x11\x13\x1a\x1c") + "\x1b[A\x1bOP")
    watch.check()
    assert watch.screen.alive()
    assert b"\x1b[J" not in watch.screen.raw and b"\x1b[2J" not in watch.screen.raw


def test_q_ends_the_screen_and_gives_the_terminal_back(watch, start):
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0
    shell = start("", shell=True)
    before = shell.termios()
    shell.send(f"{world.bin(DRIVER)}; echo ended $?\n")
    shell.wait_text(23, 41, "Type 'r'")
    shell.wait_key()
    assert shell.termios() != before
    shell.send("q")
    shell.wait_raw(b"ended 0")
    shell.wait_prompt()
    assert shell.termios() == before


def test_signals_end_nothing(watch):
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM) * 2:
        watch.screen.signal(number)
        watch.show()
    watch.screen.press("\3\x1c")
    watch.screen.wait_paint()
    assert watch.screen.alive()
    watch.show("r", load="011")
