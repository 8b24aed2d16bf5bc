"""The settings editor as a user sees it: the picture of each mode, where each letter puts the
cursor, what each key does to each value, how the editor ends."""

import os
import shutil
import signal
import subprocess
import termios

import pytest

import queues
import settings as files
import world
from config_painter import (ADDRESS, COMMUNITY, DEVICE, ITEMS, SCHEDULE, edit,  # noqa: F401
                            open_editor)
from fixtures import close_and_check
from process import OrdinaryUser
from settings import Settings
from waiting import LIMIT

ERROR_LINE = b"File /etc/wardenlink/power.ini Error!\n"

SNMP_PICTURE = """\
+-----------------------------------------------------------------------------+
|        [d] System Shutdown Delay Time When AC Power Failed:  5.0 Min.       |
|        [b] System Shutdown Delay Time When Battery Low    :  1.0 Min.       |
|        [u] UPS Turn Off Delay Time                        :  3.0 Min.       |
|                                                                             |
|        [o] Community Name   :  public                                       |
|        [p] Ip Address       :  192.0.2.10                                   |
|        [n] Shutdown Count Down Display: ON                                  |
|                                                                             |
|        [a] Turn off UPS after System Shutdown: YES                          |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|        [s] Save Configuration.                                              |
|        [q] Quit.                                                            |
+-----------------------------------------------------------------------------+
         Press the letters in brackets to select items.
         Press [+], [-], or [i], [m] to change values.
         Press [r] to redraw screen.
""".splitlines()

SERIAL_PICTURE = """\
+-----------------------------------------------------------------------------+
|        [d] System Shutdown Delay Time When AC Power Failed:  2.0 Hrs.       |
|        [b] System Shutdown Delay Time When Battery Low    : 10.0 Min.       |
|        [u] UPS Turn Off Delay Time                        :  0.5 Min.       |
|                                                             48.0            |
|                                /dev/ttyS0                                   |
|                                                                             |
|        [n] Shutdown Count Down Display: OFF                                 |
|                                                                             |
|        [a] Turn off UPS after System Shutdown: NO                           |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|        [s] Save Configuration.                                              |
|        [q] Quit.                                                            |
+-----------------------------------------------------------------------------+
         Press the letters in brackets to select items.
         Press [+], [-], or [i], [m] to change values.
         Press [r] to redraw screen.
""".splitlines()

HELP_PICTURES = {
    DEVICE: ("         Input the device name then press [Enter] to confirm.",
             "         Press [BKSP] to delete char, [Esc] to quit Edit Mode.", ""),
    SCHEDULE: ("         Press [+], [-], or [i], [m] to change values.",
               "         [r]-right, [l]-left, [u]-up, [d]-down to move cursor.",
               "         Press [Enter] to exit."),
    COMMUNITY: ("         Input the community name then press [Enter] to confirm.",
                "         Press [BKSP] to delete char, [Esc] to quit Edit Mode.", ""),
    ADDRESS: ("         Input the ip address then press [Enter] to confirm.",
              "         Press [BKSP] to delete char, [Esc] to quit Edit Mode.", ""),
}

SERIAL = {"comm_mode": 0}
# What each letter does in item selection: the cursor's place, and the mode it begins.
PLACES = {"d": (3, 63), "b": (4, 63), "u": (5, 63), "v": (6, 63)}
SWITCHES = {"a": ((11, 49), "turn_off_ups"), "n": ((9, 42), "countdown_on"),
            "l": ((10, 42), "schedule_on")}
ITEM_LETTERS = "+-imdbuvanlcoptsqr"

# Each value on its way up, one press a step; after the last comes the first again.
SHUTDOWN_DELAYS = (*range(1, 31), 40, 50, *range(60, 1441, 60))
LOW_DELAYS = tuple(range(1, 11))
OFF_DELAYS = tuple(tenths / 10 for tenths in (*range(2, 10), *range(10, 101, 10)))
RATINGS = tuple(float(volts) for volts in range(0, 97, 12))
CYCLES = {
    "d": ("ac_fail_delay", SHUTDOWN_DELAYS, 5),
    "b": ("batt_low_delay", LOW_DELAYS, 1),
    "u": ("ups_off_delay", OFF_DELAYS, 3.0),
    "v": ("battery_rating", RATINGS, 0.0),
}


def shown(screen):
    """Rows 2 to 24 without the blanks at their ends."""
    return [row.rstrip() for row in screen.lines()[2:]]


# --- the picture -----------------------------------------------------------------------


def test_the_snmp_screen_shows_this_picture(edit):
    screen = edit(Settings(snmp_ip="192.0.2.10")).screen
    assert shown(screen) == SNMP_PICTURE + [""]
    assert screen.row(0).rstrip() == (
        " (SNMP WardenLink for Linux) UPS Configuration Utility, Ver. 3.4")


def test_the_serial_screen_shows_this_picture(edit):
    screen = edit(Settings(ac_fail_delay=120, batt_low_delay=10, ups_off_delay=0.5,
                           battery_rating=48.0, com_port="/dev/ttyS0", countdown_on=0,
                           comm_mode=0, turn_off_ups=0)).screen
    assert shown(screen) == SERIAL_PICTURE + [""]


@pytest.mark.parametrize("mode, key, cursor, comm_mode", [
    (DEVICE, "c", (7, 43), 0), (COMMUNITY, "o", (7, 33), 1), (ADDRESS, "p", (8, 33), 1),
    (SCHEDULE, "t", (15, 20), 1)])
def test_each_other_mode_changes_the_help_lines_alone(edit, mode, key, cursor, comm_mode):
    chosen = Settings(ac_fail_delay=5, snmp_ip="192.0.2.10", schedule_on=1, comm_mode=comm_mode)
    editor = edit(chosen, quit_keys="" if mode == SCHEDULE else "\nqq")
    before = shown(editor.screen)
    editor.press(key, at=cursor, mode=mode)
    assert shown(editor.screen) == before[:19] + list(HELP_PICTURES[mode]) + [""]


def test_an_unknown_communication_mode_shows_neither_device_nor_agent(edit):
    editor = edit(Settings(comm_mode=2, battery_rating=24.0))
    assert shown(editor.screen)[4:7] == [
        "|" + " " * 61 + "24.0" + " " * 12 + "|"] + ["|" + " " * 77 + "|"] * 2


@pytest.mark.parametrize("minutes, text", [
    (60, "60.0 Min."), (61, " 1.0 Hrs."), (119, " 1.0 Hrs."), (120, " 2.0 Hrs."),
    (1440, "24.0 Hrs.")])
def test_a_delay_of_more_than_60_minutes_shows_whole_hours(edit, minutes, text):
    editor = edit(Settings(ac_fail_delay=minutes))
    assert editor.screen.cells(3, 62, 9) == text


# --- the letters -----------------------------------------------------------------------


@pytest.mark.parametrize("comm_mode", [0, 1, 2])
def test_each_letter_puts_the_cursor_at_its_place(edit, comm_mode):
    editor = edit(Settings(comm_mode=comm_mode, com_port="/dev/ttyUSB0"))
    for letter, place in PLACES.items():
        editor.press(letter, at=place)
    for letter, (place, field) in SWITCHES.items():
        now = getattr(editor.settings, field)
        editor.press(letter, at=place, **{field: 1 - now})
        editor.press("v", at=(6, 63))
        editor.press(letter, at=place, **{field: now})
    for letter, mode, place in (("c", DEVICE, (7, 45)), ("o", COMMUNITY, (7, 33)),
                                ("p", ADDRESS, (8, 33))):
        editor.press("b", at=(4, 63))
        if comm_mode == (1 if letter == "c" else 0):
            editor.press(letter)  # not in this communication mode
        else:
            editor.press(letter, at=place, mode=mode)
            editor.press("\n", at=(3, 63), mode=ITEMS)
    editor.press("n", at=(9, 42), countdown_on=0)
    editor.press("s", at=(18, 42))
    editor.quit()


def test_a_switch_of_neither_0_nor_1_stays(edit):
    editor = edit(Settings(turn_off_ups=7, countdown_on=-1, schedule_on=2))
    assert editor.screen.cells(11, 49, 3) == "   "
    for letter, (place, _) in SWITCHES.items():
        editor.press(letter, at=place)
    editor.asks()


def test_upper_case_letters_and_all_other_bytes_are_ignored(edit):
    editor = edit()
    # Not those that the terminal takes for itself: to stop the program or its output.
    others = [byte for byte in range(1, 256)
              if chr(byte) not in ITEM_LETTERS and byte not in (3, 17, 19, 26, 28)]
    for at in range(0, len(others), 40):
        editor.press(bytes(others[at:at + 40]))
    editor.quit()


def test_r_repaints_what_something_else_wrote_over(edit):
    editor = edit()
    with open(os.readlink(f"/proc/{editor.screen.pid}/fd/0"), "wb", buffering=0) as terminal:
        terminal.write(b"\x1b[5;1H*** a message of the kernel ***\x1b[19;40H*****")
    editor.screen.wait_text(4, 0, "*** a message")
    editor.screen.press("b")
    assert editor.screen.cells(18, 39, 5) == "*****"
    editor.press("r", at=(4, 63))
    editor.quit()


# --- the values ------------------------------------------------------------------------


def check_cycle(edit, letter, keys, values, settings):
    """One press at a time through all values and on, past the end."""
    field, _, start = CYCLES[letter]
    editor = edit(settings)
    editor.press(letter, at=PLACES[letter])
    at = values.index(start)
    for step in range(1, len(values) + 2):
        editor.press(keys[step % 2], **{field: values[(at + step) % len(values)]})


@pytest.mark.parametrize("letter", CYCLES)
def test_plus_and_i_take_each_value_up_and_round(edit, letter):
    check_cycle(edit, letter, "+i", CYCLES[letter][1], Settings(ac_fail_delay=1440, **SERIAL)
                if letter == "b" else Settings(**SERIAL))


@pytest.mark.parametrize("letter", CYCLES)
def test_minus_and_m_take_each_value_down_and_round(edit, letter):
    check_cycle(edit, letter, "-m", CYCLES[letter][1][::-1], Settings(ac_fail_delay=10, **SERIAL)
                if letter == "b" else Settings(**SERIAL))


def test_the_two_delays_hold_each_other(edit):
    editor = edit(Settings(ac_fail_delay=4, batt_low_delay=3))
    editor.press("-", ac_fail_delay=3)
    editor.press("-", ac_fail_delay=1440)
    editor.press("+", ac_fail_delay=3)
    editor.press("b", at=(4, 63))
    editor.press("+", batt_low_delay=1)
    editor.press("-", batt_low_delay=3)


def test_a_low_delay_above_the_shutdown_delay_wraps_to_1(edit):
    editor = edit(Settings(ac_fail_delay=5, batt_low_delay=10))
    editor.press("b", at=(4, 63))
    editor.press("+", batt_low_delay=1)


def test_a_rating_changes_unseen_behind_an_agent(edit):
    editor = edit(Settings())
    editor.press("v", at=(6, 63))
    editor.press("++", battery_rating=24.0)
    editor.press("s", at=(18, 63))
    assert files.read().battery_rating == 24.0


def test_many_keys_typed_at_once_are_all_taken(edit):
    editor = edit()
    editor.press("+" * 25, ac_fail_delay=30)
    editor.press("+" * 4 + "b" + "u" + "-" * 9, at=(5, 63), ac_fail_delay=120,
                 ups_off_delay=0.3)


def test_values_outside_every_range_are_shown_and_changed(edit):
    editor = edit(Settings(ac_fail_delay=-32768, batt_low_delay=32767, ups_off_delay=2147483520.0,
                           battery_rating=1000.0, com_port="c" * 29, schedule_on=-32768,
                           countdown_on=32767, comm_mode=0, turn_off_ups=-2147483648,
                           schedule=[[-2147483648, 2147483647] * 2] * 7))
    editor.press("+", ac_fail_delay=-32767)
    editor.press("-", ac_fail_delay=1440)
    editor.press("b+", at=(4, 63), batt_low_delay=1)
    editor.press("u+", at=(5, 63), ups_off_delay=0.2)
    editor.press("v+", at=(6, 63), battery_rating=0.0)
    editor.press("c", at=(7, 62), mode=DEVICE)
    editor.press("x")
    editor.press("\n", at=(3, 63), mode=ITEMS)
    editor.press("anlt", at=(15, 42))


# --- the schedule ----------------------------------------------------------------------


def test_t_with_the_schedule_off_asks_to_turn_it_on(edit):
    editor = edit()
    editor.press("u", at=(5, 63))
    editor.press("t", at=(15, 63))
    assert editor.screen.cells(12, 37, 34) == "(Turn Schedule Function ON first!)"
    assert editor.screen.standout(12) == set(range(37, 71))
    editor.press("+")  # nothing to change in this row
    editor.press("l", at=(10, 42), schedule_on=1)
    editor.press("l", schedule_on=0)
    editor.press("t", at=(15, 42))
    editor.press("d", at=(3, 63))


@pytest.mark.parametrize("turn_off_ups, row", [(1, 15), (0, 16), (7, 15)])
def test_the_schedule_mode_takes_no_key(edit, turn_off_ups, row):
    editor = edit(Settings(schedule_on=1, turn_off_ups=turn_off_ups), quit_keys="")
    before = [files.read(), files.read_text()]
    editor.press("t", at=(row, 20), mode=SCHEDULE)
    for keys in ("q", "q", "s", "r", "+", "i", "u", "\n", "\r", "\x1b", "\x1b[A", "\x1b[C", "Q"):
        editor.press(keys)
    assert [files.read(), files.read_text()] == before
    assert queues.count("daemonControlQueue") == queues.count("screenControlQueue") == 0
    assert editor.screen.alive()


# --- its end ---------------------------------------------------------------------------


def test_q_without_a_change_quits_at_once(edit):
    edit().quit()
    editor = edit()
    editor.press("dbuvr", at=(6, 63))
    editor.quit()


@pytest.mark.parametrize("keys, at", [
    ("+", (3, 63)), ("t-", (15, 63)), ("a", (11, 49)), ("vi", (6, 63)), ("nn", (9, 42)),
    ("sm", (18, 63))])
def test_q_after_a_change_asks_and_the_second_quits_without_writing(edit, keys, at):
    editor = edit()
    editor.screen.press(keys)
    before = [files.read(), files.read_text()]
    editor.screen.press("q")
    text = "(Press [q] again to quit without saving!)"
    assert editor.screen.cells(19, 19, len(text)) == text
    assert editor.screen.standout(19) == set(range(19, 19 + len(text)))
    assert editor.screen.cells(18, 35, 20) == " " * 20
    editor.quit()
    assert [files.read(), files.read_text()] == before


def test_a_letter_between_takes_the_question_away_but_not_the_leave(edit):
    editor = edit()
    editor.press("+", ac_fail_delay=6)
    editor.asks()
    editor.press("b", at=(4, 63))
    editor.quit()


def test_a_change_after_the_question_brings_it_again(edit):
    editor = edit()
    editor.press("+", ac_fail_delay=6)
    editor.asks()
    editor.press("+")  # nothing to change in this row
    editor.press("q")
    editor.quit()


def test_the_terminal_is_as_it_was_after_the_end(edit):
    editor = open_editor(Settings().write(), command=[f"{world.bin('wardenlink')} config"],
                         shell=True)
    editor.screen.wait_key()
    inside = editor.screen.termios()
    editor.screen.send("q")
    editor.screen.wait_prompt()
    after = editor.screen.termios()
    assert inside[3] != after[3]
    editor.screen.send("stty -a; echo status $?\n")
    editor.screen.wait_raw(b"status 0")
    assert b" icanon" in editor.screen.raw and b" echo " in editor.screen.raw
    close_and_check(editor.screen, "")


def test_the_end_leaves_the_alternate_screen_and_the_raw_mode(edit):
    """No shell mends anything here; a terminal with two screens goes back to its first."""
    editor = edit(term="Eterm")
    assert b"\x1b[?47h" in editor.screen.raw
    editor.press("+", ac_fail_delay=6)
    editor.asks()
    assert b"\x1b[?47l" not in editor.screen.raw
    assert not editor.screen.termios()[3] & (termios.ICANON | termios.ECHO)
    editor.quit()
    assert editor.screen.raw.count(b"\x1b[?47l") == 1
    assert editor.screen.termios()[3] & termios.ICANON
    assert editor.screen.termios()[3] & termios.ECHO


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGHUP, signal.SIGTERM, signal.SIGQUIT])
def test_a_signal_leaves_the_editor_running(edit, number):
    editor = edit()
    for _ in range(3):
        editor.screen.signal(number)
    editor.press("+", ac_fail_delay=6)
    editor.asks()
    editor.quit()


def test_passes_without_a_key_change_nothing(edit):
    editor = edit()
    editor.press("b+", at=(4, 63), batt_low_delay=2)
    editor.screen.clear_raw()
    editor.screen.wait_paint()
    editor.screen.wait_paint()
    editor.check()
    editor.asks()


# --- the size of the terminal --------------------------------------------------------------


def test_24_rows_show_the_whole_picture(edit):
    editor = edit(rows=24)
    assert shown(editor.screen) == shown(edit().screen)[:22]
    editor.press("+", ac_fail_delay=6)
    editor.press("o", at=(7, 33), mode=COMMUNITY)
    editor.screen.press("z")
    editor.expect(at=(7, 34), snmp_community="z")
    editor.press("\n", at=(3, 63), mode=ITEMS)
    editor.asks()


def test_a_larger_terminal_shows_the_same_picture_in_its_corner(edit):
    editor = edit(rows=40, cols=120)
    editor.press("s", at=(18, 63))


@pytest.mark.parametrize("rows, cols", [(20, 10), (10, 20)])
def test_a_terminal_made_small_and_large_again_recovers(edit, rows, cols):
    editor = edit()
    editor.press("+", ac_fail_delay=6)
    for size in ((rows, cols), (25, 80)):
        editor.screen.resize(*size)
        editor.screen.wait_paint()
    editor.screen.wait_for(lambda: not editor.painter.differences(editor.screen),
                           what="the picture")
    editor.press("b", at=(4, 63))
    editor.press("s", at=(18, 63))


def test_keys_typed_on_a_small_terminal_act_too(edit):
    editor = edit()
    editor.screen.resize(20, 10)
    editor.screen.wait_paint()
    editor.screen.press("++bon")
    editor.screen.press("x\n")
    editor.screen.resize(25, 80)
    editor.screen.wait_paint()
    assert editor.screen.alive()
    editor.screen.press("s")
    assert files.read().ac_fail_delay == 7
    assert editor.screen.cells(18, 35, 17) == "(Save Completed!)"


# --- what keeps it from starting -----------------------------------------------------------


def test_an_ordinary_user_is_refused(everyones):
    Settings().write()
    result = subprocess.run(OrdinaryUser() + [everyones, "config"], capture_output=True, check=False,
                            stdin=subprocess.DEVNULL, timeout=LIMIT)
    assert result.stderr == (b"\nSorry. You must login as super-user to run this program "
                             b"(User ID: 65534)!!\n")
    assert result.stdout == b"" and result.returncode == 1


def test_missing_settings_are_created_with_the_defaults():
    editor = open_editor(Settings())
    editor.screen.wait_key()
    editor.check()
    assert files.read() == Settings()
    assert files.read_text()["snmp_community"] == "public"
    close_and_check(editor.screen)


def check_refusal():
    """The one line, on standard output, and no screen."""
    screen = open_editor(Settings()).screen
    assert screen.wait_exit() == 1
    assert screen.raw == ERROR_LINE.replace(b"\n", b"\r\n")
    close_and_check(screen)


def test_settings_neither_readable_nor_writable_are_an_error_before_the_screen():
    os.mkdir("/etc/wardenlink/power.ini")
    check_refusal()
    assert os.listdir("/etc/wardenlink") == ["power.ini"]


def test_settings_without_a_folder_are_an_error_before_the_screen():
    shutil.rmtree("/etc/wardenlink")
    try:
        check_refusal()
        assert not os.path.exists("/etc/wardenlink")
    finally:
        os.mkdir("/etc/wardenlink", 0o755)
