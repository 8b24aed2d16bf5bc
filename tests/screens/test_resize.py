"""A terminal whose corner is dragged: every screen repaints, and listens all the while."""

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
