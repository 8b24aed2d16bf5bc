"""The screens on other terminals: cell by cell what the Linux console shows.

The multiplexers and the window are the real ones; each runs a screen on its own terminal.
"""

import contextlib
import os
import re
import struct
import subprocess

import pytest

import world
from help_painter import place_help
from issuer_watch import presence
from notice import DATE_COLUMN, DATE_WIDTH
from process import FindKeyWait
from screens import COMMANDS, open_screen
from settings import Settings
from terminal import LinuxScreen, Stream, Terminal
from waiting import wait_until

ROWS, COLS = 25, 80
DATE_ROW = 1
TERMS = ["vt100", "vt220", "xterm", "xterm-256color", "screen-256color"]
CONFIGURATION = "/run/multiplexer.conf"
PRINTED, FRAME = "/run/window", "/run/frame"
CELL_WIDTH, CELL_HEIGHT = 6, 13  # pixels of the display's own font


def snapshot(screen):
    """Text and standout columns of each row; the clock's cells are left out."""
    rows = []
    for r in range(ROWS):
        text, standout = screen.row(r), screen.standout(r)
        if r == DATE_ROW:
            clock = range(DATE_COLUMN, DATE_COLUMN + DATE_WIDTH)
            text = "".join(" " if c in clock else cell for c, cell in enumerate(text))
            standout -= set(clock)
        rows.append((text, frozenset(standout)))
    return rows


def command_of(name):
    program, *words = COMMANDS[name]
    return [world.bin(program), *words]


@pytest.fixture
def expected(start, request):
    """expected(NAME): what the screen of that name shows on the Linux console, left open for
    nobody. The status screen has its agent."""
    def Show(name):
        screen = open_screen(start, name)
        if name == "status":
            screen.send("q")
            screen.wait_exit()
            request.getfixturevalue("agent")
            Settings(snmp_ip=world.agent_address()).write()
            screen = start(command_of(name))
        screen.wait_key()
        shown = snapshot(screen)
        screen.send("q")
        screen.wait_exit()
        assert name != "status" or any(standout for _, standout in shown)
        return shown
    return Show


@contextlib.contextmanager
def prepared(name):
    """What the screen of that name needs besides its files."""
    with presence() if name == "issuer" else contextlib.nullcontext():
        yield


def compare(look, shown, terminal):
    """Waits until look() gives the same rows; tells those that do not come."""
    def Differences():
        return [f"row {r}:\n  {now}\n  {then}" for r, (now, then) in enumerate(zip(look(), shown))
                if now != then]
    try:
        wait_until(lambda: not Differences())
    except AssertionError:
        raise AssertionError(f"{terminal}: " + "\n".join(Differences())) from None


@pytest.mark.parametrize("name", COMMANDS)
def test_kinds_of_terminal(expected, name):
    shown = expected(name)
    for term in TERMS:
        with prepared(name), Terminal(command_of(name), term=term) as screen:
            compare(lambda screen=screen: snapshot(screen), shown, term)
            screen.send("q")
            screen.wait_exit()


MULTIPLEXERS = {
    "tmux": ["tmux", "-L", "wardenlink-test", "-f", CONFIGURATION, "new-session", "-x", str(COLS),
             "-y", str(ROWS), "--"],
    "screen": ["screen", "-c", CONFIGURATION, "-S", "wardenlink-test", "-m"],
}
LINES = {"tmux": "set -g status off\n", "screen": "startup_message off\n"}


@pytest.mark.parametrize("name", COMMANDS)
@pytest.mark.parametrize("multiplexer", MULTIPLEXERS)
def test_in_a_multiplexer(expected, multiplexer, name):
    shown = expected(name)
    with open(CONFIGURATION, "w", encoding="ascii") as target:
        target.write(LINES[multiplexer])
    os.makedirs("/run/screen", exist_ok=True)
    os.chmod("/run/screen", 0o777)
    with prepared(name), Terminal(MULTIPLEXERS[multiplexer] + command_of(name), term="xterm",
                                  env={"TMUX_TMPDIR": "/run"}) as outer:
        compare(lambda: snapshot(outer), shown, multiplexer)
        outer.send("q")
        outer.wait_exit()


@contextlib.contextmanager
def display():
    """A display of its own without a monitor; its name."""
    ready, answer = os.pipe()
    os.makedirs(FRAME, exist_ok=True)
    server = subprocess.Popen(["Xvfb", "-displayfd", str(answer), "-nolisten", "tcp", "-noreset",
                               "-screen", "0", "640x480x24", "-fbdir", FRAME],
                              pass_fds=[answer], stderr=subprocess.DEVNULL)
    os.close(answer)
    try:
        with os.fdopen(ready) as source:
            yield ":" + source.readline().strip()
    finally:
        server.terminate()
        server.wait()


class Window:
    """What a window shows: its text as it prints it, and the standout as its pixels show it."""

    def __init__(self, terminal):
        self.text = LinuxScreen(COLS, ROWS)
        if os.path.exists(PRINTED):
            os.remove(PRINTED)
        with open(terminal, "w", encoding="ascii") as target:
            target.write("\x1b[i")
        wait_until(lambda: os.path.exists(PRINTED) and os.path.getsize(PRINTED) >= ROWS,
                   what="the printed window")
        with open(PRINTED, encoding="latin-1") as source:
            printed = source.read().rstrip("\n").replace("\r", "")
        Stream(self.text).feed(printed.replace("\n", "\r\n"))
        with open(os.path.join(FRAME, "Xvfb_screen0"), "rb") as source:
            self._take_pixels(source.read())

    def _take_pixels(self, dump):
        size, *fields = struct.unpack(">25I", dump[:100])
        self.line, colours = fields[11], fields[18]
        self.pixels = dump[size + 12 * colours:]

    def row(self, r):
        return "".join(self.text.buffer[r][c].data for c in range(COLS))

    def _is_dark(self, r, c):
        """Whether most of a cell is: its letter is the smaller part."""
        dark = 0
        for y in range(r * CELL_HEIGHT, (r + 1) * CELL_HEIGHT):
            first = y * self.line + c * CELL_WIDTH * 4
            dark += sum(self.pixels[i] < 128 for i in range(first, first + CELL_WIDTH * 4, 4))
        return dark > CELL_WIDTH * CELL_HEIGHT / 2

    def standout(self, r):
        return {c for c in range(COLS) if self._is_dark(r, c)}


def program_in(window, name):
    """The terminal of the program that the window runs, once its first picture is painted."""
    def Find():
        with open(f"/proc/{window.pid}/task/{window.pid}/children", encoding="ascii") as source:
            for child in source.read().split():
                with contextlib.suppress(OSError):  # one that has ended meanwhile
                    is_it = os.readlink(f"/proc/{child}/exe") == command_of(name)[0]
                    if is_it and FindKeyWait(int(child)):
                        return os.readlink(f"/proc/{child}/fd/1")
        return None
    return wait_until(Find, what="the program in the window")


@pytest.mark.parametrize("name", COMMANDS)
def test_in_a_window(expected, name):
    shown = expected(name)
    with display() as where, prepared(name):
        window = subprocess.Popen(
            ["xterm", "-geometry", f"{COLS}x{ROWS}+0+0", "-b", "0", "-bw", "0", "+sb", "-fn", "fixed",
             "-bg", "white", "-fg", "black", "-xrm", f"XTerm*printerCommand: cat >{PRINTED}",
             "-xrm", "XTerm*printerAutoClose: true", "-xrm", "XTerm*cursorUnderLine: true",
             "-e", *command_of(name)], env={**os.environ, "DISPLAY": where, "LC_ALL": "C"},
            stderr=subprocess.DEVNULL)
        try:
            terminal = program_in(window, name)
            compare(lambda: snapshot(Window(terminal)), shown, "xterm")
        finally:
            window.kill()
            window.wait()


@pytest.mark.parametrize("name", COMMANDS)
def test_a_terminal_that_nobody_knows_is_refused_in_one_line(name):
    if name in ("local", "issuer"):
        Settings(comm_mode=0).write()  # they would refuse to start without
    place_help()
    before = sorted(os.listdir(world.FOLDER))
    for environment in (["TERM=nonsense"], ["TERM="], ["-u", "TERM"]):
        with prepared(name), Terminal(["env", *environment, *command_of(name)]) as screen:
            assert screen.wait_exit() == 1
            assert re.fullmatch(rb"Error opening terminal: \w+\.\r\n", screen.raw), screen.raw
        assert sorted(os.listdir(world.FOLDER)) == before
