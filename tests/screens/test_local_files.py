"""The local screen when the daemon's files lack something, or hold what nobody expects."""

import dataclasses
import os
import random

import pytest

import world
from local_painter import NA, Files, put_file
from local_watch import BAR_ROWS, VALUES, bar, open_watch, watch  # noqa: F401


@pytest.mark.parametrize("cut", [0, 1, 2])
def test_a_field_of_another_length_is_not_believed(watch, cut):
    for name, (row, column, width) in VALUES.items():
        good = getattr(watch.files, name)
        watch.show(**{name: (good[1:], good + "0", "1")[cut]})
        assert watch.screen.cells(row, column, width) == NA.ljust(width)
        if name in BAR_ROWS:
            assert bar(watch, name) == 0
        watch.show(**{name: good})


def test_the_fault_voltage_may_have_any_length_and_is_shown_nowhere(watch):
    before = watch.screen.lines()[2:]
    for text in ("1", "777777", "N/A"):
        watch.show(fault=text)
        assert watch.screen.lines()[2:] == before


def test_bits_of_another_number_leave_six_texts_unknown(watch):
    for bits in ("0000000", "1111111", "111111111", "1"):
        watch.show(bits="11111111", present=True)
        watch.show(bits=bits, present=True)
        for row, column, width in ((3, 23, 7), (9, 26, 8), (10, 23, 8), (11, 23, 6), (12, 23, 3),
                                   (14, 23, 11), (15, 4, 32)):
            text = " " * 32 if row == 15 else NA
            assert watch.screen.cells(row, column, width) == text.ljust(width)
    assert watch.screen.cells(15, 62, 3) == " 63", "measured as one cell"


def test_a_line_that_ends_early_leaves_the_rest_unknown(watch):
    words = watch.files.status().decode().rstrip("\r").split(" ")
    for count in range(len(words), -1, -1):
        watch.show(q1=(" ".join(words[:count]) or "(").encode() + b"\r")
    for row, column, width in VALUES.values():
        assert watch.screen.cells(row, column, width) == NA.ljust(width)


def test_the_last_character_is_taken_for_the_line_end_whatever_it_is(watch):
    line = watch.files.status().rstrip(b"\r")
    watch.show(q1=line)  # the last status bit goes with it
    assert watch.screen.cells(9, 26, 8) == "N/A     "
    for ending in (b"\n", b"\r\n", b" ", b"x"):
        watch.show(q1=line + ending)
        assert watch.screen.cells(9, 26, 8) == "Normal  ", ending


def test_no_files_at_all_show_placeholders(open_watch):
    watch = open_watch(files=Files(q1=None, rtg=None, mdl=None))
    watch.check()
    assert watch.screen.cells(0, 1, 55) == "(SNMP WardenLink for Linux) UPS Status Screen, Ver. 3.4"
    assert all(not watch.screen.standout(row) for row in range(25))
    for row, column, width in VALUES.values():
        assert watch.screen.cells(row, column, width) == NA.ljust(width)
    watch.show(q1="fields")
    watch.show(rtg=Files.rtg, mdl=Files.mdl)
    assert watch.screen.cells(4, 23, 5) == "230.0"


def test_files_that_vanish_wipe_every_value(watch):
    watch.show(bits="11110111", present=True)
    watch.show(q1=None, present=True)
    assert [row for row in range(25) if watch.screen.standout(row)] == []
    assert watch.screen.cells(15, 4, 32) == " " * 32


def test_rating_and_model_count_only_beside_a_status_line(open_watch):
    watch = open_watch(files=Files(q1=None))
    watch.check()
    for row, column, width in ((4, 23, 10), (5, 23, 9), (6, 23, 8)):
        assert watch.screen.cells(row, column, width) == NA.ljust(width)
    assert watch.screen.cells(0, 57, 20) == " " * 20
    watch.show(q1=b"")
    watch.show(q1=b"\0" * 47)
    watch.show(q1="fields")
    assert watch.screen.cells(4, 23, 5) == "230.0"


def test_each_rating_of_another_length_stays_unknown(watch):
    good = [b"#230.0", b"005", b"012.0", b"50.0"]
    for at, (row, width) in {0: (4, 10), 1: (5, 9), 3: (6, 8)}.items():
        # Behind the last field a longer one is cut to its length by the end of what is read.
        for bad in (good[at][:-1], good[at][:-2]) + ((good[at] + b"00",) if at < 3 else ()):
            watch.show(rtg=b" ".join(good[:at] + [bad] + good[at + 1:]) + b"\r")
            assert watch.screen.cells(row, 23, width) == NA.ljust(width)
    watch.show(rtg=b"#230.0 05 012.0 50.00\r")
    assert watch.screen.cells(6, 23, 8) == NA.ljust(8)
    for count in range(4):
        watch.show(rtg=b" ".join(good[:count]) + b"\r")
    watch.show(rtg=None)
    watch.show(rtg=b"")
    watch.show(rtg=b"#230.0 100 012.0 50.0")  # no line end: the last digit goes
    assert watch.screen.cells(6, 23, 8) == "N/A     "
    assert watch.screen.cells(5, 23, 3) == "100"


def test_a_model_covers_the_title_and_what_a_longer_one_left_stays(watch):
    watch.show(mdl=b"#" + b"0123456789" * 4 + b"\r")
    assert watch.screen.cells(0, 42, 38) == "0123456789" * 3 + "0123456" + " "
    watch.show(mdl=b"#short\r")
    # The title is 55 characters from column 1; the first model ended in column 78.
    assert watch.screen.cells(0, 42, 38) == "short" + "n, Ver. 3.4"[-9:] + "4567890123456789" + \
        "0123456" + " "
    watch.show(mdl=None)
    watch.show("r")
    assert watch.screen.cells(0, 57, 23) == " " * 23
    for model in (b"#", b"#\r", b"\r", b"", b"#x", b"#xy", b"\0#model\r"):
        watch.show(mdl=model)


def test_oversized_files_are_cut_where_the_line_ends(watch):
    line = watch.files.status()
    watch.show(q1=line + b"(999.9 " * 20000, rtg=Files.rtg + b"9" * 100000,
               mdl=b"#" + b"M" * 100000)
    assert watch.screen.cells(0, 42, 37) == "M" * 37
    assert watch.screen.cells(3, 62, 5) == "230.0"
    watch.show(q1=b"(" * 100000, rtg=b"#" * 100000)
    watch.show(q1=b"7" * 100000, rtg=b"7" * 100000)
    watch.show(q1="fields", rtg=Files.rtg, mdl=Files.mdl)


def test_binary_files_are_survived_and_reach_no_terminal(watch):
    chance = random.Random(5)
    for data in (chance.randbytes(47), chance.randbytes(4000), bytes(range(256)), b"\xff" * 48,
                 b"(\x1b[2J1 \x1b[5m \x1b]0;x \x07\x08\x0e \x1b[7m \x9b7m1 \x1bc\x1bc 00000000\r"):
        for name in ("q1", "rtg", "mdl"):
            put_file("wardenlink." + name, data)
        watch.press()
        assert b"\x1bc" not in watch.screen.raw and b"\x1b]0;" not in watch.screen.raw
    watch.show("r")


@pytest.mark.parametrize("make, remove", [(os.mkdir, os.rmdir), (os.mkfifo, os.remove)])
@pytest.mark.parametrize("name", ["q1", "rtg", "mdl"])
def test_a_folder_or_a_pipe_in_the_place_of_a_file_counts_as_no_file(watch, name, make, remove):
    path = f"{world.FOLDER}/wardenlink.{name}"
    os.remove(path)
    make(path)
    try:
        watch.press()
        watch.files = dataclasses.replace(watch.files, **{name: None})
        watch.check()
    finally:
        remove(path)
