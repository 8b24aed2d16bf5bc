#!/usr/bin/python3
"""Prints the first whole picture that a full-screen command paints, then ends the command."""

import argparse
import sys
import time

sys.dont_write_bytecode = True

from terminal import Terminal  # noqa: E402 (after the line above, which its import obeys)


def HasPicture(screen):
    """A picture stands once the program waits for a key and has painted more than a line."""
    return screen.key_wait() and sum(1 for line in screen.lines() if line.strip()) > 2


def TakePicture(screen, seconds):
    """The screen's lines, or None when no picture came."""
    until = time.monotonic() + seconds
    while time.monotonic() < until and screen.alive():
        if HasPicture(screen):
            screen.wait_key(max(1, until - time.monotonic()))
            return screen.lines()
        time.sleep(0.05)
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--timeout", type=float, default=60, help="seconds (default 60)")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    words = parser.parse_args()
    if not words.command:
        parser.error("a command is needed")
    with Terminal(words.command) as screen:
        lines = TakePicture(screen, words.timeout)
        if lines is None:
            print(f"no picture from {' '.join(words.command)}\n{screen.picture()}",
                  file=sys.stderr)
            return 1
        print("\n".join(lines))
    return 0


if __name__ == "__main__":
    sys.exit(main())
