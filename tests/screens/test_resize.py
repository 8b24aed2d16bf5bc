"""A terminal whose corner is dragged: every screen repaints, and listens all the while."""

import random
import re
import signal
import time

import pytest

import world
from remote_painter import Watch, check_no_data
from screens import COMMANDS, open_screen
from settings import Settings
from stopwatch import Stopwatch, check_time, seconds_of_pass


# Seconds: less than the passes take, of three seconds each, that a notice of its own for every
# size would call forth; much more than one pass.
BACKLOG = 45
FOOTER = 23  # the row that a terminal of as many rows has lost


@pytest.fixture
def watch(status, agent, settings):
    """The remote screen with its first pass painted."""
    return Watch(status, agent, settings)


def drag(screen, seconds, step=0.04):
    """Another size with every step, and in the end the first one again."""
    rows, cols = screen.rows, screen.cols
    for count in range(int(seconds / step)):
        screen.resize(rows - 1 - count % 6, cols - 1 - count % 17)
        time.sleep(step)
    screen.resize(rows, cols)


@pytest.mark.parametrize("name", COMMANDS)
def test_one_repaint_answers_all_that_was_dragged(start, name):
    screen = open_screen(start, name)
    drag(screen, 3, 0.001)  # so fast that it meets the painting, too
    screen.wait_paint()
    check_time(lambda: seconds_of_pass(screen), 3.25, 4.2)
    screen.send("q")
    assert screen.wait_exit() >= 0


FIXED = ((1, 1), (25, 20), (25, 10), (200, 300))


def sizes(count):
    """From the smallest to the largest, and any between."""
    chance = random.Random(4)
    yield from FIXED
    for _ in range(count - len(FIXED)):
        yield chance.randint(1, 200), chance.randint(1, 300)


PAINTED_ONCE = ("opening", "issuer")  # and again with [r]
TIME_ROW = 1
MOVES = re.compile(rb"\x1b\[(\d*)(?:;(\d*))?([HGd])")


def is_painted(screen, whole):
    """Whether the terminal has of the whole picture what there is room for, and nothing else."""
    def is_right(row, shown):
        wanted = whole[row] if row < len(whole) else ""
        return row == TIME_ROW or shown == wanted.ljust(screen.cols)[:screen.cols]
    return all(is_right(*row) for row in enumerate(screen.lines()))


def check_moves(stream, rows, cols):
    """The cursor is sent to no place that the terminal does not have."""
    for found in MOVES.finditer(stream):
        first, second, kind = found.groups()
        row, col = {b"H": (first, second), b"G": (b"", first), b"d": (first, b"")}[kind]
        assert int(row or b"1") <= rows and int(col or b"1") <= cols, found[0]


def check_painted(screen, name, whole):
    key = "r" if name in PAINTED_ONCE else " "

    def IsPainted():
        screen.press(key)
        return is_painted(screen, whole)
    screen.wait_for(IsPainted, what="as much of the picture as there is room for")
    screen.clear_raw()
    screen.signal(signal.SIGCONT)  # the next pass writes every cell
    screen.press(key)
    written = screen.clear_raw()
    assert MOVES.search(written) and is_painted(screen, whole), screen.picture()
    check_moves(written, screen.rows, screen.cols)


@pytest.mark.parametrize("name", COMMANDS)
def test_a_thousand_sizes_leave_the_picture_whole(start, name):
    """Small ones show its upper left corner, large ones the whole of it."""
    screen = open_screen(start, name)
    screen.press(" ")
    whole = screen.lines()
    for count, size in enumerate(sizes(1000)):
        screen.resize(*size)
        if count < len(FIXED) or count % 50 == 0:
            check_painted(screen, name, whole)
    screen.resize(25, 80)
    check_painted(screen, name, whole)
    screen.send("q")
    assert screen.wait_exit() >= 0


def test_after_dragging_the_picture_is_whole(start):
    settings = Settings().write()
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_key()
    drag(screen, 2)
    screen.wait_paint()
    check_no_data(screen, settings)


def test_after_dragging_a_key_counts_within_one_pass(watch):
    drag(watch.screen, 15)
    watch.screen.wait_paint()
    watch.painter.clear()
    watch.show("r", load=71)
    drag(watch.screen, 15)
    took = Stopwatch()
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0
    assert took.below(BACKLOG), took.passed()


def test_while_dragging_a_key_counts_within_one_pass(watch):
    drag(watch.screen, 10)
    took = Stopwatch()
    watch.screen.send("q")
    while watch.screen.alive() and took.below(BACKLOG):
        drag(watch.screen, 0.2)
    assert took.below(BACKLOG), took.passed()
    assert watch.screen.wait_exit() == 0


def test_a_resize_ends_the_wait_for_a_key_each_time(start):
    screen = open_screen(start, "help")
    rows, cols = screen.rows, screen.cols
    last = screen.row(FOOTER)

    def IsReading():
        """In the long part of a wait; there is none where the terminal stays unblocked."""
        wait = screen.key_wait()
        return wait is not None and not wait.fresh

    def Answer():
        screen.resize(FOOTER, cols)
        screen.wait_paint()
        screen.wait_for(IsReading, what="the read of a wait")
        took = Stopwatch()
        screen.resize(rows, cols)
        screen.wait_for(lambda: screen.row(FOOTER) == last, what="the repaint")
        return took.passed()

    for _ in range(2):
        check_time(Answer, 0, 1)
