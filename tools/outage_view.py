#!/usr/bin/python3
"""Shows a screen and the daemon's log together, until the moment when the system would go down.

On a terminal both stand below each other, and [q] leaves them; otherwise the log is printed as
it comes, with a picture of the screen at the begin, in the outage and at the end. The exit
status is 0 when the system would have gone down, or [q] was pressed.
"""

import json
import os
import re
import select
import shutil
import subprocess
import sys
import termios
import textwrap
import time
import tty

sys.dont_write_bytecode = True

from screenshot import ReadPicture, WaitForPicture  # noqa: E402 (after the line above)
from terminal import Terminal  # noqa: E402

LONGEST = 240  # seconds; the shortest delay is one minute
STEP = 0.5
RECORDED = "/run/wardenlink-recorded"
OUTAGE_TEXT = "AC FAILS"
OUTAGE_SAID = re.compile(r"to all users: .* will be shut down in ")  # the log tells of it before
WHOLE = slice(0, 24)
PANELS = slice(2, 18)  # what counts, where the terminal is too low for more
LEAST_LOG = 9  # rows, with the one that sums up
THE_END = "/sbin/shutdown -h now"


class View:
    """What was heard up to now, each line with the seconds since the begin."""

    def __init__(self, log_path):
        self.began = time.monotonic()
        self.log = open(log_path, encoding="ascii", errors="replace")
        self.recorded = open(RECORDED, "a+", encoding="ascii", errors="replace")
        self.recorded.seek(0)
        self.lines = []

    def seconds(self):
        return int(time.monotonic() - self.began)

    def is_over(self):
        return any(line.endswith(THE_END) for line in self.lines)


def ReadRecord(line):
    """What a command would have done that only writes down here that it was called."""
    _, name, words = line.split(" ", 2)
    return f"to all users: {words}" if name == "wall" else f"called: /sbin/{name} {words}"


def ReadNews(view):
    """Adds what was said since the last call; returns it."""
    said = [re.sub(r"^<\d>", "", line) for line in view.log.read().splitlines()]
    said += [ReadRecord(line) for line in view.recorded.read().splitlines()]
    news = [f"{view.seconds():3} s  {text}" for text in said]
    view.lines += news
    return news


def ReadStatus():
    """The daemon's last reading; empty when none runs."""
    answer = subprocess.run(["tolvd", "--status", "--json"], stdout=subprocess.PIPE, check=False)
    return json.loads(answer.stdout or "{}")


def SumUp(view, status):
    text = f"{view.seconds():3} s  The daemon: mains {status['mains']}, battery {status['battery']}"
    if status["pending"] == "outage":
        text += f", shutdown in {status['shutdown_in']} s"
    if status["pending"] == "shutdown":
        text += ", going down"
    return text


def Fail(why):
    print(f"outage_view.py: {why}", file=sys.stderr)
    return 1


# --- on a terminal -----------------------------------------------------------------------

def PaintRow(screen, row):
    """A row with its cells in standout as the terminal shows them."""
    marks = screen.standout(row)
    return "".join(f"\033[7m{cell}\033[m" if column in marks else cell
                   for column, cell in enumerate(screen.row(row)))


def Paint(view, screen, head):
    columns, rows = shutil.get_terminal_size()
    shown = WHOLE if rows >= WHOLE.stop + LEAST_LOG else PANELS
    painted = [PaintRow(screen, row) for row in range(shown.start, shown.stop)]
    room = max(rows - len(painted) - 1, 1)
    painted += [f"\033[7m{head:{columns}.{columns}}\033[m"]
    log = [part for line in view.lines[-room:]
           for part in textwrap.wrap(line, columns - 1, subsequent_indent=" " * len("  0 s  "))]
    painted += log[-room:]
    # Cleared before it is painted: behind a full row the cursor still stands on its last cell.
    sys.stdout.write("\033[H" + "\r\n".join(f"\033[K{line}" for line in painted) + "\033[J")
    sys.stdout.flush()


def ShowOnTerminal(view, screen):
    sys.stdout.write("\033[2J")
    while view.seconds() < LONGEST:
        ReadNews(view)
        status = ReadStatus()
        if not status:
            return "the daemon does not run any more"
        Paint(view, screen, SumUp(view, status) + "   [q]-Quit")
        if view.is_over():
            return None
        if select.select([sys.stdin], [], [], STEP)[0] and os.read(0, 1) in (b"q", b""):
            return None
    return f"no shutdown within {LONGEST} seconds"


def ShowWithKeys(view, screen):
    """The same with keys read as they are pressed, none of them shown."""
    before = termios.tcgetattr(0)
    tty.setcbreak(0)
    try:
        return ShowOnTerminal(view, screen)
    finally:
        termios.tcsetattr(0, termios.TCSAFLUSH, before)
        print()


# --- without one -------------------------------------------------------------------------

def PrintPicture(screen):
    print(f"\n{ReadPicture(screen)}\n", flush=True)


def IsOutage(view, screen):
    """Whether the screen shows the outage that the log has told of."""
    return any(map(OUTAGE_SAID.search, view.lines)) and OUTAGE_TEXT in ReadPicture(screen)


def PrintAll(view, screen):
    PrintPicture(screen)
    is_outage_shown = False
    while view.seconds() < LONGEST:
        for line in ReadNews(view):
            print(line, flush=True)
        if not ReadStatus():
            return "the daemon does not run any more"
        if not is_outage_shown and IsOutage(view, screen):
            is_outage_shown = True
            PrintPicture(screen)
        if view.is_over():
            PrintPicture(screen)
            return None
        time.sleep(STEP)
    return f"no shutdown within {LONGEST} seconds"


def main():
    if len(sys.argv) < 3:
        return Fail("usage: outage_view.py LOG COMMAND...")
    view = View(sys.argv[1])
    show = ShowWithKeys if sys.stdin.isatty() and sys.stdout.isatty() else PrintAll
    with Terminal(sys.argv[2:]) as screen:
        if not WaitForPicture(screen, 60):
            return Fail(f"no picture from {' '.join(sys.argv[2:])}")
        why = show(view, screen)
    if why:
        return Fail(why)
    if view.is_over():
        print("Here the system would go down: /sbin/shutdown only says that it was called.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
