"""A screen that is stopped behind its back and continued, and signals that are not the four."""

import signal
import termios

import pytest

import settings as files
import world
from remote_painter import check_no_data
from screens import COMMANDS, USUAL_SIGNALS, open_screen
from settings import Settings
from stopwatch import check_time, seconds_of_pass
from terminal_mode import modes, read_timeout

RAW, READ_TIMEOUT = 0, (0, 20)
CLEARED = b"\x1b[J"  # behind the cursor, sent home: the whole screen


@pytest.fixture
def no_agent():
    """Settings without an agent: each pass is over at once, but for its wait for a key."""
    return Settings().write()


@pytest.fixture
def job(start, no_agent):
    """The remote screen in the foreground of a shell."""
    screen = start(f"{world.bin('wardenlink')} status", shell=True)
    screen.wait_text(23, 41, "Type 'r'")
    screen.wait_key()
    return screen


def stop(screen, number=signal.SIGSTOP):
    """Stops the job; the shell has its terminal back in its own mode."""
    screen.clear_raw()
    screen.signal(number)
    screen.wait_for(lambda: b"$ " in screen.raw.partition(b"Stopped")[2], what="the shell's prompt")
    screen.wait_for(lambda: modes(screen) == termios.ECHO | termios.ICANON, what="the shell's mode")


def resume(screen):
    """Brings the job back; it sets the mode again."""
    screen.send("fg\n")
    screen.wait_for(lambda: (modes(screen), read_timeout(screen)) == (RAW, READ_TIMEOUT),
                    what="the screen's mode")


def go_on(screen, settings):
    """Brings the job back and looks at its rhythm and its picture."""
    resume(screen)
    screen.wait_paint()  # the wait that was interrupted
    check_time(lambda: seconds_of_pass(screen), 3.25, 4.2)
    check_no_data(screen, settings)
    screen.press("xyz")
    check_no_data(screen, settings)


def check_left(screen):
    """Quits; the shell is as it was."""
    screen.clear_raw()
    screen.send("q")
    screen.wait_prompt()
    screen.wait_for(lambda: modes(screen) == termios.ECHO | termios.ICANON, what="the shell's mode")


@pytest.mark.parametrize("fresh", [True, False], ids=["wait", "read"])
def test_stopped_unseen_in_either_step_of_a_wait_it_comes_back(job, no_agent, fresh):
    def IsThere():
        wait = job.key_wait()
        return wait is not None and wait.fresh == fresh

    job.wait_for(IsThere, what="that step")
    stop(job)
    go_on(job, no_agent)
    check_left(job)


@pytest.mark.parametrize("number", [signal.SIGTTIN, signal.SIGTTOU])
def test_stopped_by_another_signal_it_comes_back(job, no_agent, number):
    stop(job, number)
    go_on(job, no_agent)
    check_left(job)


def test_unseen_stops_and_those_of_the_keyboard_take_turns(job, no_agent):
    for number in (signal.SIGSTOP, signal.SIGTSTP, signal.SIGTSTP, signal.SIGSTOP):
        stop(job, number)
        go_on(job, no_agent)
    check_left(job)


def test_continued_in_the_background_it_leaves_the_shell_its_terminal(job, no_agent):
    stop(job)
    job.clear_raw()
    job.send("bg\n")
    job.wait_raw(b"$ ")

    def IsReported():
        job.send("\n")  # at each prompt the shell says what became of its jobs
        return b"Stopped" in job.raw
    job.wait_for(IsReported, what="the job stopped again")
    assert modes(job) == termios.ECHO | termios.ICANON
    go_on(job, no_agent)
    check_left(job)


def test_stopped_in_the_middle_of_a_pass_it_comes_back(start, agent, settings):
    screen = start(f"{world.bin('wardenlink')} status", shell=True)
    screen.wait_text(23, 51, "[r]-Redraw")
    screen.wait_key()
    screen.send(" ")
    screen.wait_for(lambda: screen.key_wait() is None, what="a pass")
    stop(screen)
    resume(screen)
    screen.wait_text(23, 51, "[r]-Redraw")
    check_left(screen)


@pytest.mark.parametrize("name", COMMANDS)
def test_every_screen_finds_its_mode_again(start, name):
    screen = open_screen(start, name, shell=True)
    stop(screen)
    resume(screen)
    screen.wait_paint()
    check_left(screen)


@pytest.mark.parametrize("number", [signal.SIGPIPE, signal.SIGXFSZ])
@pytest.mark.parametrize("name", COMMANDS)
def test_a_write_that_fails_ends_no_screen(start, name, number):
    screen = open_screen(start, name)
    screen.signal(number)
    screen.press(" ")
    assert modes(screen) == RAW
    screen.send("q")
    assert screen.wait_exit() >= 0


def test_a_save_beyond_the_file_size_limit_leaves_the_editor_running(start):
    chosen = Settings(ac_fail_delay=17).write()
    editor = " ".join([*USUAL_SIGNALS, world.bin("wardenlink"), "config"])
    screen = start(["/bin/sh", "-c", f"ulimit -f 0; exec {editor}"])
    screen.wait_key()
    screen.press("s")
    screen.press(" ")
    assert modes(screen) == RAW and files.read() == chosen
    screen.send("q")
    assert screen.wait_exit() == 0


@pytest.mark.parametrize("number", [signal.SIGALRM, signal.SIGUSR1, signal.SIGUSR2])
def test_other_signals_keep_their_effect(start, number):
    screen = open_screen(start, "status")
    screen.signal(number)
    assert screen.wait_exit() == -number


def test_one_repaint_makes_up_for_a_stop(start):
    screen = open_screen(start, "help")
    screen.clear_raw()
    screen.signal(signal.SIGCONT)
    screen.press(" ")
    assert CLEARED in screen.clear_raw()
    screen.press(" ")
    assert CLEARED not in screen.clear_raw()
