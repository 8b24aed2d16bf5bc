"""docs/daemon-interface.md against the programs: both settings files, byte by byte.

The files are made and taken apart with the page's own tables (interface_page).
"""

import datetime
import os
import re
import stat
import time

import pytest

import interface_page as page
import world
from interface_page import (CFG, INI, PADDING, agent_settings, check_shown, open_screen, read,
                            serial_settings, write, write_settings)
from tolvd import ask


def test_the_pages_settings_are_whole():
    ends = [int(field["offset"]) + page.size_of(field["type"]) for field in page.FIELDS]
    assert [int(field["offset"]) for field in page.FIELDS] == [0, *ends[:-1]]
    assert ends[-1] == page.RECORD
    times = [int(time["offset"]) for time in page.TIMES]
    assert [*times, page.DAY_SIZE] == [0, *[at + page.size_of("int32") for at in times]]
    assert page.RECORD + len(page.DAYS) * page.DAY_SIZE == page.SIZE
    assert len(page.EXAMPLE) == page.number("wardenlink.cfg", r"these (\d+) bytes")
    assert page.build_text(page.defaults()) == page.EXAMPLE
    width = page.number("wardenlink.cfg", r"a label of (\d+) characters")
    assert {len(label) for label in page.labels()} == {width}


def test_new_settings_are_the_pages_defaults(start):
    open_screen(start, "wardenlink", "config")
    assert read(CFG).decode("ascii") == page.EXAMPLE
    assert len(read(INI)) == page.SIZE
    found = page.parse_record(read(INI))
    del found[""]
    assert found == page.defaults()
    for path in (INI, CFG):
        assert stat.S_IMODE(os.stat(path).st_mode) == int(page.row("Places", path=path)["mode"], 8)


def test_what_the_editor_saves_is_read_by_the_page(start):
    schedule = [{time["field"]: 100 * day + at for at, time in enumerate(page.TIMES)}
                for day in page.DAYS]
    values = write_settings(
        acFailDelay=7, battLowDelay=2, upsOffDelay=3.0, batteryRating=24.0, comPort="/dev/ttyS7",
        snmpIp="192.0.2.77", snmpCommunity="someone", commMode=0, reserved=-77, schedule=schedule)
    editor = open_screen(start, "wardenlink", "config")
    editor.press("+b++u+v+nal")
    assert page.parse_record(read(INI)) == {**values, "": PADDING}, "saved before [s]"
    editor.press("s")
    values.update(acFailDelay=8, battLowDelay=4, upsOffDelay=4.0, batteryRating=36.0, countdownOn=0,
                  turnOffUps=0, scheduleOn=1)
    assert page.parse_record(read(INI)) == {**values, "": PADDING}
    assert page.parse_text(read(CFG).decode("ascii")) == {
        line["field"]: line["written"] % values[line["field"]] for line in page.LINES}


def test_settings_made_by_the_page_are_shown_by_the_screens(start):
    serial_settings(acFailDelay=7, battLowDelay=3, upsOffDelay=0.5, batteryRating=48.0,
                    comPort="/dev/tty-of-it", countdownOn=0, turnOffUps=0)
    editor = open_screen(start, "wardenlink", "config")
    check_shown(editor, "AC Power Failed: 7.0 Min.", "Battery Low : 3.0 Min.",
                "Delay Time : 0.5 Min.", " 48.0 ", "/dev/tty-of-it", "Display: OFF", "Shutdown: NO")
    local = open_screen(start, "wardenlink-local")
    check_shown(local, "Communication Port: /dev/tty-of-", "ACfail Shutdown Delay: 7.0 Min.",
                "UPS Turn Off Delay : 0.5 Min.", "Count Down Function: OFF")


def next_times(schedule):
    """What is told of the next shutdown and of the start on the same day, by the calendar."""
    now = datetime.datetime.now()
    for day in (now + datetime.timedelta(days=days) for days in range(8)):
        times = schedule[(day.weekday() + 1) % 7]
        down = day.replace(hour=times["shutdownHour"], minute=times["shutdownMinute"], second=0)
        up = day.replace(hour=times["startHour"], minute=times["startMinute"])
        if down > now:
            return (f"shuts the system down next at {down:%Y-%m-%d %H:%M}.\n"
                    f"The UPS comes back at {up:%Y-%m-%d %H:%M}.\n")
    raise AssertionError("a schedule without a shutdown")


def test_settings_made_by_the_page_are_what_the_daemon_understands(serial_ups):
    schedule = [{"startHour": 20, "startMinute": 10 + day,
                 "shutdownHour": 3 + day, "shutdownMinute": 50 - day} for day in page.DAYS]
    serial_settings(acFailDelay=7, battLowDelay=3, upsOffDelay=0.5, countdownOn=0, scheduleOn=1,
                    schedule=schedule)
    lines = [next_times(schedule)]
    told = ask("--check")
    lines.append(next_times(schedule))
    assert told.returncode == 0, told.stdout
    for text in (f"serial line {world.DEVICE}.", "power failure of 7 minutes", "or 3 minutes after",
                 "turn off 0.5 minutes later", "Users are not told"):
        assert text in told.stdout
    assert any(text in told.stdout for text in lines), told.stdout
    agent_settings(snmpIp="192.0.2.11", turnOffUps=0)
    told = ask("--check").stdout
    for text in ("SNMP agent 192.0.2.11.", "The UPS stays on.", "schedule is off",
                 "Users are told"):
        assert text in told


@pytest.mark.parametrize("value", page.rows("Values read"), ids=lambda row: row["in brackets"])
def test_a_value_in_brackets_is_read_as_the_page_says(start, value):
    field = page.row("power.ini", field=value["field"])
    write_settings({value["field"]: value["in brackets"]}, commMode=0)
    editor = open_screen(start, "wardenlink", "config")
    editor.press("s")  # the record then holds what was read
    expected = page.typed(field["type"], value["read as"])
    if field["field"] == "snmpCommunity":  # which the editor cuts; the daemon's own save does not
        write_settings({value["field"]: value["in brackets"]})
        ask("--setup", "snmp", "192.0.2.11")
    found = page.parse_record(read(INI))[value["field"]]
    assert found == pytest.approx(expected) if isinstance(expected, float) else found == expected


def test_the_place_of_a_value_decides_and_the_text_has_the_last_word(start):
    values = write_settings(acFailDelay=11, battLowDelay=5)
    write(CFG, b"anything [22] at [] all [3 4.0]\n[24.0][/dev/ttyS5]")
    open_screen(start, "wardenlink", "config").press("s")
    values.update(acFailDelay=22, battLowDelay=3, upsOffDelay=4.0, batteryRating=24.0,
                  comPort="/dev/ttyS5")
    assert page.parse_record(read(INI)) == {**values, "": PADDING}


def test_a_save_replaces_files_and_sweeps_up_as_the_page_says(start):
    write_settings()
    told = page.section("How a save replaces the files")
    scratch = re.findall(r"`(\.[a-z.]+)\.save-XXXXXX`", told)
    assert len(scratch) == 2
    old, fresh = [f"{world.FOLDER}/{scratch[0]}.save-{ending}" for ending in ("abcDE1", "abcDE2")]
    for path, age in ((old, 62), (fresh, 0)):
        write(path, b"cut off")
        os.utime(path, (time.time() - age,) * 2)
    for path in (INI, CFG):
        os.chmod(path, 0o640)
        os.chown(path, 65534, 65534)
    before = [os.stat(path) for path in (INI, CFG)]
    open_screen(start, "wardenlink", "config").press("s")
    for path, was in zip((INI, CFG), before):
        now = os.stat(path)
        assert now.st_ino != was.st_ino, "the same file was written over"
        assert (now.st_mode, now.st_uid, now.st_gid) == (was.st_mode, was.st_uid, was.st_gid)
    assert not os.path.exists(old) and os.path.exists(fresh)
    assert sorted(os.listdir(world.FOLDER)) == sorted(
        map(os.path.basename, (fresh, INI, CFG)))
