"""What a save of the settings editor does: both files byte for byte, the notices on both
queues, the re-reading that follows."""

import os

import pytest

import queues
import settings as files
from config_painter import (COMMUNITY, DEVICE, ITEMS, SCHEDULE, edit,  # noqa: F401
                            file_bytes, files_hold, single)
from settings import Settings
from tolvd import serial_settings
from waiting import wait_until

NOTICE = (5, b"010")  # three bytes, no terminator
BOTH_QUEUES = ("daemonControlQueue", "screenControlQueue")
SCHEDULE_TABLE = [[7, 30, 18, 0], [-1, -1, 23, 59], [0, 0, -1, -1], [-1] * 4,
                  [12, -1, -1, 5], [99, 88, -77, -66], [2147483647, -2147483648, 1, 2]]


def check_files(settings):
    wrong = files_hold(settings)
    assert not wrong, "\n".join(wrong)


def take_notices():
    return {name: queues.drain(name) for name in BOTH_QUEUES}


def enter(editor, letter, text, field):
    """Replaces an agent text from its first character on."""
    editor.screen.press(letter + text + "\n")
    editor.expect(at=(3, 63), **{field: text})


# --- the files -----------------------------------------------------------------------------


def test_a_save_writes_both_files_byte_for_byte(edit):
    editor = edit(Settings(reserved=0x01020304, schedule=SCHEDULE_TABLE, battery_rating=24.0))
    editor.press("+", ac_fail_delay=6)
    editor.press("b++", at=(4, 63), batt_low_delay=3)
    editor.press("u+", at=(5, 63), ups_off_delay=4.0)
    editor.press("v+", at=(6, 63), battery_rating=36.0)
    editor.press("a", at=(11, 49), turn_off_ups=0)
    editor.press("n", at=(9, 42), countdown_on=0)
    editor.press("l", at=(10, 42), schedule_on=1)
    editor.press("s", at=(18, 42))
    check_files(editor.settings)
    assert sorted(os.listdir("/etc/wardenlink")) == ["power.ini", "wardenlink.cfg"]


@pytest.mark.parametrize("letters, shown, kept", [
    ("-" * 3, 0.9, single(single(1.0) - single(0.1))),
    ("-" * 10, 0.2, None), ("-" * 11, 10.0, 10.0), ("+" * 8, 0.2, single(0.2))])
def test_a_saved_turn_off_delay_has_one_decimal_in_the_text(edit, letters, shown, kept):
    if kept is None:  # what is left of 1.0 after eight steps
        kept = 1.0
        for _ in range(8):
            kept = single(kept - single(0.1))
    editor = edit()
    editor.press("u" + letters, at=(5, 63), ups_off_delay=shown)
    editor.press("s", at=(18, 63))
    assert files.read().ups_off_delay == kept
    assert files.read_text()["ups_off_delay"] == f"{shown:.1f}"


@pytest.mark.parametrize("keys, values", [
    ("d" + "+" * 29, {"ac_fail_delay": 120}), ("b-", {"batt_low_delay": 5}),
    ("a", {"turn_off_ups": 0}), ("aa", {}), ("n", {"countdown_on": 0}),
    ("l", {"schedule_on": 1}), ("", {})])
def test_a_save_changes_the_fields_that_were_changed_alone(edit, keys, values):
    editor = edit(Settings(reserved=-5, schedule=SCHEDULE_TABLE))
    editor.screen.press(keys + "s")
    assert editor.screen.cells(18, 35, 17) == "(Save Completed!)"
    for field, value in values.items():
        setattr(editor.settings, field, value)
    check_files(editor.settings)


def test_a_saved_device_name_is_extended_on_disk(edit):
    editor = edit(Settings(comm_mode=0))
    editor.press("c", at=(7, 43), mode=DEVICE)
    editor.press("7\n", at=(3, 63), mode=ITEMS, com_port="/dev/ttyS17")
    editor.press("s", at=(18, 63))
    check_files(editor.settings)


def test_the_bytes_behind_a_shorter_text_stay_in_the_record(edit):
    editor = edit(Settings(snmp_community="abcdefgh"))
    enter(editor, "o", "xy", "snmp_community")
    editor.press("s", at=(18, 63))
    assert file_bytes("power.ini")[72:102] == b"xy\0defgh".ljust(30, b"\0")
    assert files.read_text()["snmp_community"] == "xy"


def test_a_file_that_was_removed_is_written_again(edit):
    editor = edit()
    os.remove("/etc/wardenlink/power.ini")
    os.remove("/etc/wardenlink/wardenlink.cfg")
    editor.press("s", at=(18, 63))
    check_files(editor.settings)


def test_a_second_save_takes_the_later_values(edit):
    editor = edit()
    editor.screen.press("s" + "dbdb" + "+")
    editor.expect(at=(4, 63), batt_low_delay=2)
    editor.press("s", at=(18, 63))
    check_files(editor.settings)


# --- agent texts that a save mends -----------------------------------------------------------


@pytest.mark.parametrize("typed", ["x192.0.2.10", "agent", ".1", "-1", "\b"])
def test_an_address_without_a_digit_first_becomes_the_local_one(edit, typed):
    editor = edit(Settings(snmp_ip="192.0.2.10"))
    editor.screen.press("p" + ("z" if typed == "\b" else "") + typed + "\n")
    editor.expect(snmp_ip=typed.strip("\b"))
    editor.press("s", at=(18, 63), snmp_ip="127.0.0.1")
    assert files.read().snmp_ip == files.read_text()["snmp_ip"] == "127.0.0.1"


@pytest.mark.parametrize("typed, kept", [
    ("123.123.123.123", "123.123.123.123"), ("123.123.123.1234", "123.123.123.123"),
    ("1" * 29, "1" * 15), ("7agent", "7agent"), ("0", "0")])
def test_an_address_keeps_its_first_15_characters(edit, typed, kept):
    editor = edit()
    enter(editor, "p", typed, "snmp_ip")
    editor.press("s", at=(18, 63), snmp_ip=kept)
    assert files.read().snmp_ip == files.read_text()["snmp_ip"] == kept


@pytest.mark.parametrize("typed, kept", [
    ("exactly8", "exactly8"), ("ninechars", "ninechar"), ("twelve-chars", "twelve-c"),
    ("c" * 29, "c" * 8), ("p", "p")])
def test_a_community_name_keeps_its_first_8_characters(edit, typed, kept):
    editor = edit()
    enter(editor, "o", typed, "snmp_community")
    editor.press("s", at=(18, 63), snmp_community=kept)
    assert files.read().snmp_community == files.read_text()["snmp_community"] == kept


def test_long_texts_in_the_files_are_cut_by_a_save_without_a_change(edit):
    editor = edit(Settings(snmp_ip="1" * 20, snmp_community="c" * 20, com_port="d" * 29))
    editor.press("s", at=(18, 63), snmp_ip="1" * 15, snmp_community="c" * 8)
    assert files.read_text()["com_port"] == "d" * 29


def test_a_serial_save_mends_the_unseen_agent_texts_too(edit):
    editor = edit(Settings(comm_mode=0, snmp_ip="name", snmp_community="123456789"))
    editor.press("s", at=(18, 63), snmp_ip="127.0.0.1", snmp_community="12345678")
    assert files.read_text()["snmp_ip"] == "127.0.0.1"
    assert files.read_text()["snmp_community"] == "12345678"


# --- the notices -----------------------------------------------------------------------------


def test_each_save_tells_the_daemon_and_the_status_screen(edit):
    editor = edit()
    editor.press("s", at=(18, 63))
    assert take_notices() == {name: [NOTICE] for name in BOTH_QUEUES}
    editor.press("ss")
    assert take_notices() == {name: [NOTICE] * 2 for name in BOTH_QUEUES}
    assert [queues.count(name) for name in ("dataQueue", "heartbeatQueue", "commandQueue")] == [0] * 3


def test_nobody_is_told_without_a_save(edit):
    editor = edit()
    editor.press("+", ac_fail_delay=6)
    editor.press("anlu", at=(5, 63), turn_off_ups=0, countdown_on=0, schedule_on=1)
    editor.press("ox\x1bpy\n", at=(3, 63), snmp_ip="y")
    editor.asks()
    editor.quit()
    assert take_notices() == {name: [] for name in BOTH_QUEUES}


def test_any_key_of_the_item_selection_makes_both_queues(edit):
    editor = edit()
    editor.press("d")
    assert all(queues.exists(name) for name in BOTH_QUEUES)
    assert not queues.exists("commandQueue")


def test_queues_that_somebody_removed_are_made_again(edit):
    editor = edit()
    editor.press("d")
    for name in BOTH_QUEUES:
        queues.remove(name)
    editor.press("s", at=(18, 63))
    assert take_notices() == {name: [NOTICE] for name in BOTH_QUEUES}


def test_a_full_queue_loses_its_notice_and_holds_nothing_up(edit):
    editor = edit()
    with pytest.raises(OSError):
        while True:
            queues.send("daemonControlQueue", 5, "9" * 4096)
    while queues.info("daemonControlQueue").bytes < queues.info("daemonControlQueue").most_bytes:
        queues.send("daemonControlQueue", 5, "9")
    full = queues.count("daemonControlQueue")
    editor.press("s", at=(18, 63))
    assert queues.count("daemonControlQueue") == full
    assert queues.drain("screenControlQueue") == [NOTICE]
    check_files(editor.settings)


def test_a_running_daemon_counts_by_the_saved_settings(edit, serial_ups, tolvd):
    editor = edit(serial_settings(ac_fail_delay=5))
    running = tolvd()
    serial_ups.freeze()
    serial_ups.mains("fail")
    assert running.wait_status(pending="outage")["shutdown_in"] <= 300
    editor.press("+", ac_fail_delay=6)
    editor.press("s", at=(18, 63))
    wait_until(lambda: running.status()["shutdown_in"] > 300, what="a minute more")


# --- the message -------------------------------------------------------------------------------


def test_the_message_stays_until_another_item_is_chosen(edit):
    editor = edit()
    editor.press("s", at=(18, 63))
    assert editor.screen.cells(18, 35, 17) == "(Save Completed!)"
    assert editor.screen.standout(18) == set(range(35, 52))
    editor.press("+")
    editor.press("r")
    editor.press("b", at=(4, 63))
    assert editor.screen.cells(18, 35, 20) == " " * 20


@pytest.mark.parametrize("keys", ["s", "+s", "+qs", "oz\ns", "anls"])
def test_q_after_a_save_quits_at_once(edit, keys):
    editor = edit()
    editor.screen.press(keys)
    editor.quit()


# --- the passes after a save ---------------------------------------------------------------------


@pytest.mark.parametrize("at_once", [True, False])
def test_changes_on_the_passes_after_a_save_are_undone_by_re_reading(edit, at_once):
    # The save's own pass reads first; "d" is the second, three changes are the last ones.
    editor = edit()
    if at_once:
        editor.press("sd+++", at=(3, 63))
    else:
        editor.press("s", at=(18, 63))
        for key in "d+++":
            editor.press(key, at=(3, 63))
    editor.press("+", ac_fail_delay=6)
    editor.asks()


@pytest.mark.parametrize("letter, field", [("a", "turn_off_ups"), ("n", "countdown_on"),
                                           ("l", "schedule_on")])
def test_a_switch_stays_as_saved_for_four_keys(edit, letter, field):
    editor = edit()
    place = {"a": (11, 49), "n": (9, 42), "l": (10, 42)}[letter]
    editor.press("s" + letter * 4, at=place)
    editor.press(letter, **{field: 1 - getattr(editor.settings, field)})


def test_what_is_typed_on_the_passes_after_a_save_is_undone_too(edit):
    editor = edit(Settings(snmp_community="public"))
    editor.screen.press("so" + "abc")
    editor.expect(at=(7, 36), mode=COMMUNITY)
    # From here on nothing is read again: the next character cuts what the file held.
    editor.press("d", at=(7, 37), snmp_community="pubd")
    editor.press("\n", at=(3, 63), mode=ITEMS)
    editor.asks()


def test_five_passes_after_a_save_take_over_what_the_files_then_hold(edit):
    editor = edit()
    editor.press("s", at=(18, 63))  # the first of the five
    for minutes in (11, 12, 13, 14):
        other = Settings(ac_fail_delay=minutes, countdown_on=minutes % 2,
                         turn_off_ups=minutes % 2, snmp_community=f"name{minutes}").write()
        editor.press("d", at=(3, 63), ac_fail_delay=minutes, countdown_on=other.countdown_on,
                     turn_off_ups=other.turn_off_ups, snmp_community=other.snmp_community)
    Settings(ac_fail_delay=15).write()
    editor.press("d")
    editor.screen.wait_paint()
    editor.check()
    editor.press("+", ac_fail_delay=15)


@pytest.mark.parametrize("passes", [1, 2, 3, 4])
def test_another_save_begins_the_five_passes_anew(edit, passes):
    editor = edit()
    editor.press("s" + "d" * (passes - 1) + "s", at=(18, 63))
    editor.press("ddd", at=(3, 63))
    editor.press("+")  # the fifth pass of the second save: read over
    editor.press("+", ac_fail_delay=6)


def test_a_fraction_above_one_minute_is_lost_by_the_re_reading_of_a_save(edit):
    chosen = Settings(ups_off_delay=2.5, battery_rating=12.5, comm_mode=0).write()
    os.remove("/etc/wardenlink/wardenlink.cfg")  # the record alone keeps fractions
    editor = edit(chosen, written=True)
    check_files(chosen)
    editor.press("s", at=(18, 63), ups_off_delay=2.0, battery_rating=12.0)
    check_files(chosen)


def test_an_empty_device_name_moves_the_values_behind_it_to_other_fields(edit):
    editor = edit(Settings(comm_mode=0, com_port="x", snmp_ip="192.0.2.10", battery_rating=12.0))
    editor.press("c", at=(7, 34), mode=DEVICE)
    editor.press("\b\n", at=(3, 63), mode=ITEMS, com_port="")
    # Each value behind the empty brackets is taken for the field before its own.
    editor.press("s", at=(18, 63), com_port="1", turn_off_ups=0, schedule_on=1, countdown_on=0,
                 comm_mode=192, snmp_ip="public")
    assert files.read_text()["com_port"] == ""
    assert files.read().comm_mode == 0


def test_the_schedule_mode_re_reads_after_a_save_and_takes_no_key(edit):
    editor = edit(Settings(schedule_on=1), quit_keys="")
    editor.press("st", at=(15, 20), mode=SCHEDULE)
    Settings(schedule_on=1, ac_fail_delay=9).write()
    editor.press("q", ac_fail_delay=9)
    editor.press("+s\n")
