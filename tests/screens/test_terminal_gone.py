"""A terminal that is gone, one that nobody reads, and streams that were closed: every screen goes
on and takes next to nothing of the processor."""

import signal
import time

import pytest

import world
from help_painter import place_help
from issuer_watch import presence
from process import IsHeldUpByOutput, ReadSwitches
from screens import COMMANDS, open_screen
from settings import Settings
from stopwatch import Stopwatch

MOST_OF_THE_PROCESSOR = 0.01
PAUSES = 3  # of each, in as many passes or fewer


def processor_seconds(pid):
    with open(f"/proc/{pid}/schedstat", encoding="ascii") as source:
        return int(source.read().split()[0]) / 1e9


CLOSED = ["/bin/sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh"]


def open_closed(start, name):
    """The screen of that name without any stream, at work."""
    program, *words = COMMANDS[name]
    screen = start([*CLOSED, world.bin(program), *words], quit_keys="")
    screen.wait_pause()
    return screen


def check_use(screens, count=PAUSES):
    """They go on, pause after pause, and take next to nothing."""
    pauses = {name: screen.wait_pause() for name, screen in screens.items()}
    took = Stopwatch()
    before = {name: processor_seconds(screen.pid) for name, screen in screens.items()}
    for _ in range(count):
        pauses = {name: screen.wait_pause(after=pauses[name]) for name, screen in screens.items()}
    used = {name: (processor_seconds(screen.pid) - before[name]) / took.passed()
            for name, screen in screens.items()}
    assert all(screen.alive() for screen in screens.values())
    assert max(used.values()) < MOST_OF_THE_PROCESSOR, used


def test_without_its_terminal_and_the_daemon_each_takes_next_to_nothing(start):
    Settings(comm_mode=0).write()
    place_help()
    with presence():  # the command center looks for it, while no other screen takes it
        screens = {"closed issuer": open_closed(start, "issuer")}
    for name in COMMANDS:
        screens[name] = open_screen(start, name)
        screens[name].close_master()
        if name != "issuer":
            screens["closed " + name] = open_closed(start, name)
    check_use(screens)


# One that is silent is waited for in each pass, five seconds or ten.
@pytest.mark.parametrize("is_silent, count", [(False, PAUSES), (True, 1)])
def test_without_its_terminal_each_takes_next_to_nothing_beside_an_agent(start, agent, settings,
                                                                         is_silent, count):
    with presence():
        screens = {"issuer": start([world.bin("wardenlink-command")])}
        screens["issuer"].press("d")  # asks in every pass, until it is confirmed
        screens["status"] = start([world.bin("wardenlink"), "status"])
        screens["local"] = start([world.bin("wardenlink-local")])
        for screen in screens.values():
            screen.wait_key()
        agent.silent(is_silent)
        agent.clear_log()
        for screen in screens.values():
            screen.close_master()
        check_use(screens, count)
    assert len(agent.log()) >= count * len(screens)


def check_asleep(pid, seconds):
    """Nothing wakes it for so long: neither a limit of its own nor a call that is tried again."""
    def activity():
        return ReadSwitches(pid), processor_seconds(pid)
    before = activity()
    time.sleep(seconds)
    assert activity() == before


def picture(screen):
    return [screen.row(row) for row in range(screen.rows) if row != 1]  # row 1 has the time


@pytest.mark.parametrize("name", COMMANDS)
def test_a_terminal_that_nobody_reads_holds_a_screen_up_and_ends_nothing(start, name):
    screen = open_screen(start, name)
    screen.press(" ")
    before = picture(screen)
    screen.hold_output()
    screen.signal(signal.SIGCONT)  # the next pass writes every cell
    screen.send(" ")
    screen.wait_for(lambda: IsHeldUpByOutput(screen.pid), what="it writing in vain")
    for number in (signal.SIGHUP, signal.SIGTERM, signal.SIGINT):
        screen.signal(number)
    screen.wait_for(lambda: IsHeldUpByOutput(screen.pid), what="it writing in vain")
    check_asleep(screen.pid, seconds=1)
    screen.hold_output(False)
    screen.press("  ")
    assert picture(screen) == before
    screen.send("q")
    assert screen.wait_exit() >= 0
