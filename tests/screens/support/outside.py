"""Texts from outside that hold every byte a terminal could obey, and a terminal type that tells
what of them reaches it raw: it moves its cursor by one sequence only, so that no other control
byte can come from the screen itself."""

import os
import re
import subprocess

# Bytes one by one: C0 but for the zero byte, DEL, C1 and all others that are not ASCII.
BYTES = bytes(range(0x01, 0x20)) + bytes(range(0x7F, 0x100))

# What terminals obey, and UTF-8: valid, of C1, overlong, cut. None is a sequence of the type's
# own, and no '^' or '~' is among them: these are how the screen library spells a raw byte.
SEQUENCES = (b"\x1b[31m", b"\x1b]0;x\x07", b"\x1bc", b"\x1b(0", b"\x1bP1$q\x1b\\", b"\x9b5n",
             b"\x1b[6n", b"\x0e\x0f", b"\xc2\x9b6n", b"\xc2\x85", b"\xc3\xa9", b"\xe2\x82\xac",
             b"\xc0\x9b[5m", b"\xe0\x80\x9bc", b"\xf0\x80\x80\x9b", b"\xe2\x82", b"\xc2", b"\xff\xfe")

ZERO = b"\0\x1b[31m"  # where a text ends at the byte, what stands behind it is to be gone

FOLDER, TERM = "/run/outside-terminfo", "wardenlink-plain"
DESCRIPTION = TERM + r"""|a terminal of few words,
    am, xenl, cols#80, lines#25,
    clear=\E[H\E[2J, cup=\E[%i%p1%d;%p2%dH, smso=\E[7m, rmso=\E[27m,
"""
OWN = re.compile(rb"\x1b\[\d+;\d+H|\x1b\[H\x1b\[2J|\x1b\[2?7m")
# The trace writes a line behind the library's back; only its line end is its own.
TRACE = re.compile(rb"(<STATUS DEBUG> [ -~]*)\r?\n")
SPELT = re.compile(rb"[^ -}]")  # '~' begins the spelling of C1, and no screen writes it


def pieces(size, without=b""):
    """All bytes, then all sequences, the zero byte last, in texts of at most size bytes."""
    parts = [bytes([byte]) for byte in BYTES] + list(SEQUENCES)
    if b"\0" not in without:
        parts.append(ZERO)
    found = [b""]
    for part in parts:
        part = bytes(byte for byte in part if byte not in without)
        if len(found[-1]) + len(part) > size:
            found.append(b"")
        found[-1] += part[:size]
    return found


def printable(text):
    """What people are shown of it, up to a zero byte: blanks for C0, a question mark for the rest."""
    return "".join(" " if byte < 0x20 else chr(byte) if byte < 0x7F else "?"
                   for byte in text.partition(b"\0")[0])


def plain_terminal():
    """Options of a Terminal of that type, whose user has a locale of UTF-8."""
    if not os.path.exists(FOLDER):
        subprocess.run(["tic", "-x", "-o", FOLDER, "-"], input=DESCRIPTION.encode(), check=True)
    return {"term": TERM, "env": {"TERMINFO": FOLDER, "LC_ALL": "C.UTF-8"}}


def check_stream(stream):
    """The screen's own sequences aside a stream holds characters only, and spells no byte."""
    rest = OWN.sub(b"", TRACE.sub(rb"\1", stream))
    found = SPELT.search(rest)
    assert not found, f"{found[0]!r} in {rest[max(found.start() - 40, 0):found.start() + 40]!r}"
    assert b"^" not in rest, rest[rest.index(b"^") - 40:][:80]


def check_lines(output):
    """The same for lines written by a program that draws nothing."""
    found = re.search(rb"[^ -~\n]", output)
    assert not found, f"{found[0]!r} in {output[max(found.start() - 40, 0):][:80]!r}"
