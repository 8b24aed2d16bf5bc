"""What the tests of screens and of whole commands share; conftest.py offers it to them."""

import os
import re
import shutil
import tempfile
import time

import pytest

import terminal
import tolvd
import world
from settings import Settings
from terminal import Terminal

os.environ["TZ"] = "UTC0"  # every day has 24 hours, but where a test says otherwise
time.tzset()

SANITIZER = re.compile(rb"(ERROR: \w+Sanitizer|runtime error:)[^\r\n]*")


def close_and_check(screen, quit_keys="q"):
    """Closes a terminal; a sanitizer's report or an unknown control sequence is a failure.

    Leaks are looked for only at a program's own end, so a sanitized one is asked to quit.
    """
    if "ASAN_OPTIONS" in os.environ and screen.alive() and quit_keys:
        try:
            screen.send(quit_keys)
            screen.wait_exit(20)
        except (AssertionError, OSError):
            pass  # an agent kept silent holds up every pass; the report below still counts
    screen.close()
    found = SANITIZER.search(screen.raw)
    assert not found, screen.raw[found.start():].decode("latin-1")
    assert not screen.unknown, f"control sequences not understood: {screen.unknown}"


@pytest.fixture(autouse=True)
def empty_world():
    """Nothing that a test before has left in the same world."""
    tolvd.empty_the_world()


@pytest.fixture
def agent():
    """A simulated UPS at rest, at the world's agent address."""
    running = world.Agent()
    yield running
    assert running.stop() == 0, "the simulated UPS ended badly"


@pytest.fixture
def settings():
    """Settings that name the agent, written to both files. Change and write() again at will."""
    yield Settings(snmp_ip=world.agent_address()).write()


@pytest.fixture
def status(agent, settings):
    """`wardenlink status` on a terminal, watching the agent; its first pass is painted."""
    screen = Terminal([world.bin("wardenlink"), "status"])
    screen.wait_key()
    yield screen
    close_and_check(screen)


@pytest.fixture
def start():
    """start(COMMAND, ...) opens a Terminal that is closed and checked at the test's end.

    quit_keys="" says that the program does not listen: it is then not asked to quit.
    """
    opened = []

    def Start(command, quit_keys="q", **options):
        opened.append((Terminal(command, **options), quit_keys))
        return opened[-1][0]

    yield Start
    for screen, quit_keys in opened:
        close_and_check(screen, quit_keys)


@pytest.fixture
def everyones():
    """A copy of the program that ordinary users can reach."""
    folder = tempfile.mkdtemp(dir="/tmp")
    os.chmod(folder, 0o755)
    path = shutil.copy(world.bin("wardenlink"), folder)
    os.chmod(path, 0o755)
    yield path
    shutil.rmtree(folder)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    if report.failed:
        for screen in list(terminal.LIVE):
            report.sections.append(("screen", screen.picture()))
        for running in tolvd.STARTED:
            report.sections.append(("tolvd", running.report()))
