"""The help viewer by real keys: windows, pages and footers, files of every length, files that
are missing."""

import os
import re
import shutil
import signal

import pytest

import world
from help_painter import (CONTENTS, MENUS, PAGE_LINES, PAGES, PLACE, READ_LIMIT, SOURCE, TOPICS,
                          WINDOWS, check, pages, path_to, place_help, read_help)

DRIVER = "wardenlink-help"
ROOT_ERROR = b"\r\nerror.....exiting\r\n"
TERMINAL_MODE = re.compile(rb"(?m)^[0-9a-f]+(?::[0-9a-f]+){10,}\r?$")

# Every byte of a terminal but the ones that end the viewer and those that the terminal keeps
# for itself (signals, stop and go, suspend, the next key taken literally).
KEPT = b"\x03\x11\x13\x16\x1a\x1c"
HARMLESS = bytes(byte for byte in range(1, 256) if byte not in b"q\x1b" + KEPT)


def open_help(start, **options):
    screen = start([world.bin(DRIVER)], **options)
    screen.wait_key()
    return screen


@pytest.fixture
def viewer(start):
    """The viewer on its contents page, over the delivered files."""
    place_help()
    screen = open_help(start)
    check(screen, CONTENTS)
    return screen


@pytest.fixture
def read(start):
    """read(data) opens the viewer on a topic of the contents page that holds these bytes."""
    def Read(data, **options):
        place_help(text5=data)
        screen = open_help(start, **options)
        screen.press("5")
        check(screen, 20, 0, data)
        return screen

    return Read


def numbered(count, end=b"\n"):
    """A file of so many lines; the last one ends as given."""
    return b"\n".join(b"line %03d" % line for line in range(1, count + 1)) + (end if count else b"")


def turn_to_end(screen, number, data=None):
    """Turns through all pages, looks at each, and tries to go on; the number of pages."""
    last = len(pages(read_help(WINDOWS[number].file) if data is None else data)) - 1
    for page in range(1, last + 1):
        screen.press("n")
        check(screen, number, page, data)
    screen.press("n")
    check(screen, number, last, data)
    return last + 1


def turn_back(screen, number, count, data=None):
    """Turns back through all pages and on to the menu above."""
    for page in range(count - 2, -1, -1):
        screen.press("p")
        check(screen, number, page, data)
    screen.press("p")
    check(screen, WINDOWS[number].parent)


# --- windows and keys ----------------------------------------------------------------------


@pytest.mark.parametrize("number", [CONTENTS, *MENUS])
def test_every_key_of_a_menu_opens_its_window_and_p_comes_back(viewer, number):
    viewer.press(path_to(number) or "x")
    check(viewer, number)
    for key, target in WINDOWS[number].keys.items():
        viewer.press(key)
        check(viewer, target)
        viewer.press("p")
        check(viewer, number)


@pytest.mark.parametrize("number", MENUS)
def test_p_in_a_topic_menu_leads_to_the_contents(viewer, number):
    viewer.press(path_to(number))
    check(viewer, number)
    viewer.press("p")
    check(viewer, CONTENTS)


@pytest.mark.parametrize("number", TOPICS)
def test_a_delivered_topic_is_turned_to_its_end_and_back(viewer, number):
    viewer.press(path_to(number))
    check(viewer, number)
    turn_back(viewer, number, turn_to_end(viewer, number))


@pytest.mark.parametrize("number", [CONTENTS, *MENUS])
def test_no_other_key_does_anything_in_a_menu(viewer, number):
    viewer.press(path_to(number) or "x")
    known = "".join(WINDOWS[number].keys) + ("" if number == CONTENTS else "p")
    viewer.press(bytes(byte for byte in HARMLESS if byte not in known.encode()))
    check(viewer, number)
    viewer.press(next(iter(WINDOWS[number].keys)))  # all were taken, none is left over
    check(viewer, next(iter(WINDOWS[number].keys.values())))


def test_no_other_key_does_anything_in_a_topic(viewer):
    viewer.press("5n")
    viewer.press(bytes(byte for byte in HARMLESS if byte not in b"np"))
    check(viewer, 20, 1)


@pytest.mark.parametrize("number", sorted(WINDOWS))
def test_q_and_escape_end_every_window(start, number):
    place_help()
    for key in ("q", "\x1b"):
        screen = open_help(start)
        screen.press(path_to(number) or "x")
        check(screen, number)
        screen.send(key)
        assert screen.wait_exit() == 0


def test_an_arrow_key_ends_it_like_the_escape_it_begins_with(viewer):
    viewer.send("\x1b[B")
    assert viewer.wait_exit() == 0


def test_it_ends_on_a_later_page_too(viewer):
    viewer.press("6nnn")
    check(viewer, 21, 3)
    viewer.send("q")
    assert viewer.wait_exit() == 0


# --- pages ---------------------------------------------------------------------------------


@pytest.mark.parametrize("end", [b"\n", b""], ids=["newline", "no_newline"])
@pytest.mark.parametrize("count, wanted", [(0, 1), (1, 1), (16, 1), (17, 1), (18, 2), (34, 2),
                                           (35, 3), (136, 8), (200, 8)])
def test_a_file_has_one_page_for_every_17_lines(read, count, wanted, end):
    data = numbered(count, end)
    screen = read(data)
    assert turn_to_end(screen, 20, data) == wanted
    assert screen.cells(3, 3, 8) == (f"line {(wanted - 1) * 17 + 1:03}" if count else " " * 8)
    turn_back(screen, 20, wanted, data)


def test_lines_beyond_the_eighth_page_are_not_read(read):
    data = numbered(PAGES * PAGE_LINES + 1)
    screen = read(data)
    assert turn_to_end(screen, 20, data) == PAGES
    assert screen.cells(19, 3, 8) == "line 136"


@pytest.mark.parametrize("blank", [b"\n", b" \n", b"\t\n", b"\r\n"])
def test_blank_lines_at_the_end_open_no_page(read, blank):
    data = numbered(17) + blank * 30
    assert turn_to_end(read(data), 20, data) == 1


def test_a_blank_page_between_others_is_shown(read):
    data = numbered(17) + b"\n" * 17 + numbered(3)
    assert turn_to_end(read(data), 20, data) == 3


def test_the_n_line_of_the_footer_goes_on_the_last_page_and_comes_back(read):
    screen = read(numbered(18))
    assert screen.row(21) == f"{'':16}[n] - Next Page{'':49}"
    screen.press("n")
    assert screen.row(21) == " " * 80
    assert screen.row(22) == f"{'':16}[p] - Previous Page{'':45}"
    assert screen.row(23) == f"{'':16}[q] - Quit{'':54}"
    screen.press("p")
    assert screen.row(21) == f"{'':16}[n] - Next Page{'':49}"


def test_the_footer_of_a_menu_leaves_nothing_of_itself_behind(viewer):
    for keys, number in (("1", 2), ("1", 3), ("p", 2), ("p", 1), ("5", 20), ("p", 1)):
        viewer.press(keys)
        check(viewer, number)


# --- long lines ----------------------------------------------------------------------------


@pytest.mark.parametrize("length, rows", [(73, 1), (74, 2), (75, 2), (100, 2), (147, 2), (148, 3),
                                          (1000, 14)])
def test_a_long_line_goes_on_in_the_next_row(read, length, rows):
    letters = (b"0123456789" * 100)[:length]
    data = letters + b"\nafter\n"
    screen = read(data)
    shown = letters.decode()
    for row in range(rows):
        part = shown[row * READ_LIMIT:(row + 1) * READ_LIMIT]
        assert screen.row(3 + row) == f"|  {part:75}| "
    assert screen.row(3 + rows) == f"|  {'after':75}| "


def test_a_long_line_goes_on_on_the_next_page(read):
    data = numbered(16) + b"x" * 100 + b"\n"
    screen = read(data)
    assert screen.row(19) == f"|  {'x' * 74} | "
    assert turn_to_end(screen, 20, data) == 2
    assert screen.row(3) == f"|  {'x' * 26:75}| "


def test_the_newline_of_a_full_line_alone_opens_no_page(read):
    data = numbered(16) + b"x" * 74 + b"\n"
    assert turn_to_end(read(data), 20, data) == 1


def test_a_file_without_any_newline_fills_the_store_and_stops(read):
    data = b"0123456789abcdef" * 4000
    screen = read(data)
    assert turn_to_end(screen, 20, data) == PAGES


@pytest.fixture
def show(read):
    """show(data) puts these bytes into the topic that is open and reads it again."""
    screen = read(b"a plain line\n")

    def Show(data):
        with open(PLACE + "/text5.txt", "wb") as target:
            target.write(data)
        screen.press("p5")
        return screen

    return Show


def test_control_bytes_show_as_blanks_and_do_nothing(show):
    screen = show(b"bell\x07 back\x08 return\rreverse \x1b[7mno\x7f.\nafter\n")
    assert screen.row(3) == f"|  {'bell  back  return reverse  [7mno?.':75}| "
    assert screen.row(4) == f"|  {'after':75}| "
    assert screen.standout(3) == set()


def test_bytes_of_other_character_sets_show_as_question_marks(show):
    screen = show(b"caf\xc3\xa9 " + b"\xc0" * 67 + b"\nafter\n")
    assert screen.row(3) == f"|  {'caf?? ' + '?' * 67:75}| "
    assert screen.row(4) == f"|  {'after':75}| "


def test_tabs_reach_the_next_eighth_column_and_never_pass_the_box(show):
    screen = show(b"\tone\ttwo\n" + b"\t" * 30 + b"lost\nafter\n")
    assert screen.row(3) == f"|  {'     one     two':75}| "
    assert screen.row(4) == f"|  {'':75}| "
    assert screen.row(5) == f"|  {'after':75}| "


# --- redrawing -----------------------------------------------------------------------------


def test_a_page_is_cleared_only_when_window_or_page_changes(viewer):
    clear = b"\x1b[J"  # what clearing makes the library send
    viewer.clear_raw()
    for key in ("x", "p", "0", "n"):
        viewer.press(key)
    assert clear not in viewer.clear_raw()
    viewer.press("5")
    assert clear in viewer.clear_raw()
    viewer.press("n")
    assert clear in viewer.clear_raw()
    for _ in range(len(pages(read_help("text5.txt")))):
        viewer.press("n")
    viewer.clear_raw()
    viewer.press("n")
    assert viewer.clear_raw().count(clear) == 0


def test_waiting_without_a_key_changes_nothing(viewer):
    viewer.press("7")
    viewer.wait_paint()
    check(viewer, 22)


# --- files that are missing ----------------------------------------------------------------


def end_without_a_screen(start):
    screen = start([world.bin(DRIVER)])
    assert screen.wait_exit() == 0
    assert screen.raw == ROOT_ERROR


def test_without_the_contents_page_it_ends_before_any_screen(start):
    place_help()
    os.remove(PLACE + "/textroot.txt")
    end_without_a_screen(start)


def test_without_the_folder_it_ends_before_any_screen(start):
    shutil.rmtree(PLACE, ignore_errors=True)
    end_without_a_screen(start)


def test_a_folder_in_place_of_the_contents_page_counts_as_missing(start):
    place_help()
    os.remove(PLACE + "/textroot.txt")
    os.mkdir(PLACE + "/textroot.txt")
    end_without_a_screen(start)


def remove(name):
    os.remove(os.path.join(PLACE, name))


def replace_by_folder(name):
    remove(name)
    os.mkdir(os.path.join(PLACE, name))


def replace_by_dangling_link(name):
    remove(name)
    os.symlink("/nowhere", os.path.join(PLACE, name))


@pytest.mark.parametrize("spoil", [remove, replace_by_folder, replace_by_dangling_link])
@pytest.mark.parametrize("number, key, other", [(1, "5", "6"), (1, "1", "2"), (2, "3", "4"),
                                                (17, "1", "2")])
def test_a_missing_file_leaves_the_page_and_its_keys(viewer, spoil, number, key, other):
    viewer.press(path_to(number) or "x")
    spoil(WINDOWS[WINDOWS[number].keys[key]].file)
    viewer.press(key)
    check(viewer, number)
    viewer.press(other)
    check(viewer, WINDOWS[number].keys[other])


def test_a_file_that_comes_back_is_read_at_the_next_key(viewer):
    remove("text5.txt")
    viewer.press("5")
    check(viewer, CONTENTS)
    shutil.copy(os.path.join(SOURCE, "text5.txt"), PLACE)
    viewer.press("5")
    check(viewer, 20)


def test_a_missing_menu_keeps_the_topic_until_it_can_be_left(viewer):
    viewer.press("13")
    data = read_help("text1_3.txt")
    remove("text_m1.txt")
    viewer.press("p")
    # The window did not change, but nothing is loaded any more: there is no next page.
    assert [viewer.row(row) for row in (3, 21)] == [f"|  {'Serial port or SNMP':75}| ", " " * 80]
    viewer.press("n")
    assert viewer.cells(3, 3, 19) == "Serial port or SNMP"
    for cols in (79, 80):
        viewer.resize(25, cols)
        viewer.wait_paint()
    assert [viewer.cells(row, 1, 77).strip() for row in range(3, 20)] == [""] * PAGE_LINES
    shutil.copy(os.path.join(SOURCE, "text_m1.txt"), PLACE)
    viewer.press("p")
    check(viewer, 2)
    viewer.press("3")
    check(viewer, 5, 0, data)


# --- terminals -----------------------------------------------------------------------------


def test_the_terminal_gets_its_own_mode_back(start):
    place_help()
    command = f"stty -g; {world.bin(DRIVER)}; echo status $?; stty -g"
    for key in ("q", "\x1b"):
        screen = start(["/bin/sh", "-c", command])
        screen.wait_text(3, 3, "Contents")
        screen.send("5")
        screen.wait_text(3, 3, "Troubleshooting")
        screen.send(key)
        assert screen.wait_exit() == 0
        before, after = TERMINAL_MODE.findall(screen.raw)
        assert before == after
        assert b"status 0" in screen.raw


def test_24_rows_show_everything(start):
    place_help()
    screen = open_help(start, rows=24)
    check(screen, CONTENTS)
    screen.press("6")
    check(screen, 21)
    turn_back(screen, 21, turn_to_end(screen, 21))


def test_a_larger_terminal_shows_the_same_picture_in_its_corner(start):
    place_help()
    screen = open_help(start, rows=40, cols=120)
    screen.press("c")
    check(screen, 25)


@pytest.mark.parametrize("rows, cols", [(20, 10), (10, 20), (25, 40), (10, 80)])
def test_a_terminal_made_small_and_large_again_recovers(viewer, rows, cols):
    viewer.press("5")
    for size in ((rows, cols), (25, 80)):
        viewer.resize(*size)
        viewer.wait_paint()
    check(viewer, 20, 0)
    viewer.press("n")
    check(viewer, 20, 1)


def test_keys_typed_on_a_small_terminal_act_too(viewer):
    viewer.resize(10, 20)
    viewer.wait_paint()
    viewer.press("1")
    viewer.press("2")
    viewer.resize(25, 80)
    viewer.wait_paint()
    viewer.press("n")
    check(viewer, 4, 1)


def test_signals_do_not_end_it(viewer):
    for sent in (signal.SIGINT, signal.SIGHUP, signal.SIGQUIT, signal.SIGTERM):
        viewer.signal(sent)
        viewer.wait_paint()
    check(viewer, CONTENTS)
    viewer.press("7")
    check(viewer, 22)
