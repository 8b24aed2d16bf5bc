"""The local screen beside a daemon that comes and goes and settings that somebody changes."""

import copy
import dataclasses
import os
import subprocess
import sys

import pytest

import queues
import world
from local_painter import NA, WARNING, Files, all_replies_with, read_files
from local_watch import DRIVER, SerialWatch, open_watch, watch  # noqa: F401
from settings import Settings
from stopwatch import Stopwatch

TRACE_FILE = world.FOLDER + "/status.dbg"
SERIAL = Settings(comm_mode=0)
WATCHED = Settings(comm_mode=0, com_port=world.DEVICE)


@pytest.fixture
def open_screen(start):
    """open_screen() opens the screen as settings and files are; its first pass is painted."""
    def OpenScreen(settings=SERIAL, files=None):
        settings.write()
        screen = start([world.bin(DRIVER)])
        screen.wait_key()
        return SerialWatch(screen, settings, files or read_files())
    return OpenScreen


def show_beside_daemon(watch, present=True):
    """A pass after the daemon has announced itself, with the files as they are."""
    if present:
        # One for a pass that nobody called forth, one for the pass that is looked at.
        world.wait_until(lambda: queues.count("heartbeatQueue") > 1, what="the daemon's presence")
    watch.files = read_files()
    watch.screen.press(" ")
    watch.check(present)


def wait_status(text):
    """Waits until the daemon's status line holds this text, beside the other replies."""
    world.wait_until(lambda: all_replies_with(text), what=f"{text!r} in the status file")


# --- the daemon ------------------------------------------------------------------------------


def test_the_daemons_ups_is_followed_through_a_power_failure(serial_ups, tolvd, open_screen):
    WATCHED.write()
    tolvd()
    wait_status("(230.0 ")
    watch = open_screen(WATCHED)
    show_beside_daemon(watch)
    assert watch.screen.cells(9, 26, 8) == "Normal  "
    assert watch.screen.cells(15, 4, 32) == " " * 32
    serial_ups.freeze()
    serial_ups.mains("fail")
    wait_status(" 10000")
    show_beside_daemon(watch)
    assert watch.screen.cells(9, 26, 8) == "AC FAILS"
    assert watch.screen.cells(15, 4, 32) == WARNING
    serial_ups.battery("low")
    wait_status(" 11000")
    show_beside_daemon(watch)
    assert watch.screen.cells(10, 23, 8) == "BAT. LOW"
    serial_ups.recover()
    wait_status(" 00000")
    show_beside_daemon(watch)


def test_a_killed_daemon_leaves_its_last_values_and_no_warning(serial_ups, tolvd, open_screen):
    WATCHED.write()
    serial_ups.freeze()
    serial_ups.mains("fail")
    killed = tolvd()
    wait_status(" 10000")
    watch = open_screen(WATCHED)
    show_beside_daemon(watch)
    killed.kill()
    queues.drain("heartbeatQueue")
    show_beside_daemon(watch, present=False)
    assert watch.screen.cells(9, 26, 8) == "AC FAILS"
    assert watch.screen.cells(15, 4, 32) == " " * 32
    serial_ups.recover()
    tolvd()
    wait_status(" 00000")
    show_beside_daemon(watch)
    serial_ups.mains("fail")
    wait_status(" 10000")
    show_beside_daemon(watch)
    assert watch.screen.cells(15, 4, 32) == WARNING


def test_a_stopped_daemon_takes_its_values_along(serial_ups, tolvd, open_screen):
    WATCHED.write()
    stopped = tolvd()
    wait_status("(")
    watch = open_screen(WATCHED)
    show_beside_daemon(watch)
    queues.send("daemonControlQueue", 5, "100")
    assert stopped.wait_end() == 0
    queues.drain("heartbeatQueue")
    show_beside_daemon(watch, present=False)
    assert watch.screen.cells(3, 62, 3) == watch.screen.cells(9, 26, 3) == NA


REPLACER = """
import sys
from local_painter import put_file
while True:
    for line in sys.argv[1:]:
        put_file("wardenlink.q1", line.encode() + b"\\r")
"""


def test_a_file_replaced_while_it_is_read_shows_the_old_or_the_new_line(watch):
    first = watch.files
    second = Files(input="111.1", output="122.2", load="099", frequency="61.1", battery="1.91",
                   temperature="39.9", bits="11110111")
    lines = [files.status().decode().rstrip("\r") for files in (first, second)]
    replacer = subprocess.Popen([sys.executable, "-c", REPLACER] + lines,
                                env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
    try:
        world.wait_until(lambda: read_files().q1 == second.status(), what="the first replacement")
        seen = []

        def SawBothOften():
            watch.press()
            seen.append(whichever_shown(watch, first, second))
            return min(seen.count(first), seen.count(second)) >= 5
        world.wait_until(SawBothOften, what="both lines on the screen", timeout=180)
        assert replacer.poll() is None
    finally:
        replacer.kill()
        replacer.wait()


def whichever_shown(watch, *choices):
    """The files that the whole picture shows; it has to be one of them."""
    found = []
    for files in choices:
        painter = copy.deepcopy(watch.painter)
        painter.paint_serial(files, watch.flash(), False)
        found = painter.differences(watch.screen)
        if not found:
            watch.painter = painter
            return files
    raise AssertionError("\n".join(found))


def test_after_more_than_ten_passes_without_a_line_the_queues_are_made_anew(watch):
    watch.show(q1=None)
    for _ in range(2):
        # One pass without a line is behind us; the queues are emptied in the eleventh.
        queues.remove("screenControlQueue")
        watch.tell("010")
        queues.send("dataQueue", 1, "text")
        queues.send("daemonControlQueue", 5, "010")
        queues.send("commandQueue", 9, "a")
        for _ in range(9):
            watch.show()
        queues_now = ("screenControlQueue", "dataQueue", "daemonControlQueue")
        assert [queues.count(name) for name in queues_now] == [1, 1, 1]
        watch.show()
        assert [queues.count(name) for name in queues_now] == [0, 0, 0]
        assert len(queues.drain("commandQueue")) == 1
        watch.change(dataclasses.replace(SERIAL, com_port="/dev/ttyS7"))
        watch.show()  # the first pass of the next eleven
        assert watch.screen.cells(8, 26, 10) == "/dev/ttyS7"


def test_one_pass_with_a_line_begins_the_count_anew(watch):
    queues.send("dataQueue", 1, "text")
    for _ in range(2):
        for _ in range(10):
            watch.show(q1=None)
        watch.show(q1="fields")
    watch.show(q1=b"")
    assert queues.count("dataQueue") == 1


# --- the trace -------------------------------------------------------------------------------


def traces(watch):
    """The status lines echoed by one pass."""
    watch.screen.clear_raw()
    watch.press()
    found = watch.screen.clear_raw().split(b"<STATUS DEBUG> ")[1:]
    return [text.split(b"\n")[0] for text in found]


def rewrite_trace_file(text):
    with open(TRACE_FILE, "w", encoding="ascii") as target:
        target.write(text)


def test_the_trace_is_switched_on_and_off_under_the_running_screen(watch):
    line = watch.files.status().rstrip(b"\r")
    assert traces(watch) == []
    for text, is_on in (("debug\n", True), ("nodebug\n", False), ("debug", True), ("", False),
                        ("  \n debug on\n", True), ("debugging\n", False), ("no debug\n", False),
                        ("DEBUG\n", False), ("d" * 5000, False), ("debug\n", True)):
        rewrite_trace_file(text)
        assert traces(watch) == ([line] if is_on else []), text
    os.remove(TRACE_FILE)
    assert traces(watch) == [line], "the open file is still read"


def test_the_trace_echoes_each_line_that_is_read_and_nothing_else(watch):
    rewrite_trace_file("debug\n")
    for data, shown in ((b"(short\r", [b"(short"]), (b"", []), (None, []), (b"x", [b""]),
                        (b"(" + b"1" * 4000, [b"(" + b"1" * 46])):
        watch.files = dataclasses.replace(watch.files, q1=data).write()
        assert traces(watch) == shown


def test_the_trace_shows_nothing_that_acts_on_the_terminal(watch):
    rewrite_trace_file("debug\n")
    watch.files = dataclasses.replace(watch.files, q1=b"(215.0\x1b[2J\x07\x80\xff\r").write()
    assert traces(watch) == [b"(215.0?[2J???"]


def test_a_huge_trace_file_holds_up_no_pass(watch):
    rewrite_trace_file(" " * 60000000 + "debug\n")
    took = Stopwatch()
    assert traces(watch) == []
    assert took.below(45), "read to its end it takes longer"


def test_a_trace_file_from_before_the_start_counts(open_screen):
    rewrite_trace_file("debug\n")
    watch = open_screen(files=Files().write())
    assert b"<STATUS DEBUG> (230.0 195.0 229.5 045 50.0 2.05 25.0 00000000\n" in \
        watch.screen.raw
    os.remove(TRACE_FILE)
