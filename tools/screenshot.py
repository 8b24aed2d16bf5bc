#!/usr/bin/python3
"""Prints the first whole picture that a full-screen command paints, then ends the command.

A cell in standout that holds nothing is printed as '#', text in standout as it is; so a bar is
a row of '#'. The exit status is the command's own; without a picture it is never 0.
"""

import argparse
import re
import sys
import time

sys.dont_write_bytecode = True

from terminal import Terminal  # noqa: E402 (after the line above, which its import obeys)


def HasPicture(screen):
    """A picture stands once the program waits for a key and has painted more than a line."""
    return screen.key_wait() and sum(1 for line in screen.lines() if line.strip()) > 2


def WaitForPicture(screen, seconds):
    """Whether a whole picture came in time, before the command ended."""
    until = time.monotonic() + seconds
    while time.monotonic() < until and screen.alive():
        if HasPicture(screen):
            screen.wait_key(max(1, until - time.monotonic()))
            return True
        time.sleep(0.05)
    return False


def ShowStandout(text, standout):
    """A row's text with '#' for the blanks in standout, except those between two words."""
    marks = "".join("s" if column in standout else " " for column in range(len(text)))
    for run in re.finditer("s+", marks):
        cells = text[run.start():run.end()]
        words = cells.strip()
        head = len(cells) - len(cells.lstrip()) if words else len(cells)
        shown = "#" * head + words
        text = text[:run.start()] + shown.ljust(len(cells), "#") + text[run.end():]
    return text


def ReadPicture(screen):
    rows = [ShowStandout(text, screen.standout(row)) for row, text in enumerate(screen.lines())]
    return "\n".join(row.rstrip() for row in rows).rstrip("\n")


def EndCommand(screen, keys):
    """The command's exit status once it was asked to quit, 0 when no keys ask it."""
    if screen.alive():
        if not keys:
            return 0
        screen.send(keys)
    try:
        status = screen.wait_exit()
    except AssertionError:
        print(f"the command does not end on {keys!r}", file=sys.stderr)
        return 1
    return status if status >= 0 else 128 - status


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--timeout", type=float, default=60, help="seconds (default 60)")
    parser.add_argument("--quit", default="", metavar="KEYS",
                        help="keys that end the command (default: it is killed)")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    words = parser.parse_args()
    if not words.command:
        parser.error("a command is needed")
    with Terminal(words.command) as screen:
        if WaitForPicture(screen, words.timeout):
            print(ReadPicture(screen))
            return EndCommand(screen, words.quit)
        status = EndCommand(screen, "")
        print(f"{ReadPicture(screen)}\nno picture from {' '.join(words.command)}",
              file=sys.stderr)
        return status or 1


if __name__ == "__main__":
    sys.exit(main())
