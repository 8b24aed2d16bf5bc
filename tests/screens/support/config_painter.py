"""What the settings editor has to show, cell by cell, computed apart from the product.

A Painter paints what ought to stand there after each pass. An Editor ties one to a terminal
that runs `wardenlink config`.
"""

import copy
import os
import struct

import pytest

import world
from canvas import Canvas
from fixtures import close_and_check
from settings import Settings
from terminal import Terminal

ITEMS, DEVICE, SCHEDULE, COMMUNITY, ADDRESS = 1, 2, 3, 4, 5
TITLE = "(SNMP WardenLink for Linux) UPS Configuration Utility, Ver. 3.4"

# (row, column, text) of what stands there in every mode, blanks included.
LABELS = (
    (3, 9, "[d] System Shutdown Delay Time When AC Power Failed:      Min."),
    (4, 9, "[b] System Shutdown Delay Time When Battery Low    :      Min."),
    (5, 9, "[u] UPS Turn Off Delay Time                        :      Min."),
    (9, 9, "[n] Shutdown Count Down Display:"),
    (10, 9, " " * 32),
    (12, 9, " " * 32),
    (14, 9, " " * 32),
    (15, 9, " " * 59),
    (16, 9, " " * 59),
    (18, 9, "[s] Save Configuration. "),
    (19, 9, "[q] Quit. "),
    (6, 9, " " * 59),
)

BACKSPACE_HELP = "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  "
HELP = {
    ITEMS: ("Press the letters in brackets to select items.         ",
            # Two tabs, from column 54 to columns 56 and 64, and one blank.
            "Press [+], [-], or [i], [m] to change values." + " " * 11,
            "Press [r] to redraw screen."),
    DEVICE: ("Input the device name then press [Enter] to confirm.   ",
             BACKSPACE_HELP, " " * 27),
    SCHEDULE: ("Press [+], [-], or [i], [m] to change values.          ",
               "[r]-right, [l]-left, [u]-up, [d]-down to move cursor.  ",
               "Press [Enter] to exit.     "),
    COMMUNITY: ("Input the community name then press [Enter] to confirm.",
                BACKSPACE_HELP, " " * 27),
    ADDRESS: ("Input the ip address then press [Enter] to confirm.    ",
              BACKSPACE_HELP, " " * 27),
}

SAVED = "(Save Completed!)"
ASK_AGAIN = "(Press [q] again to quit without saving!)"
SCHEDULE_FIRST = "(Turn Schedule Function ON first!)"


def single(number):
    """The number as a single-precision field keeps it."""
    return struct.unpack("<f", struct.pack("<f", number))[0]


def minutes_text(minutes):
    """The shutdown delay as shown: whole hours from 61 minutes on."""
    if minutes > 60:
        return f"{minutes // 60:2}.0 Hrs."
    return f"{minutes:2}.0"


class Painter(Canvas):
    """The cells of a terminal that shows the editor."""

    def paint(self, settings, mode=ITEMS, row=3, col=63):
        """One pass."""
        self.draw_box(2, 20)
        self.paint_communication(settings)
        self.write(0, 1, TITLE)
        for place in LABELS:
            self.write(*place)
        if settings.comm_mode == 1:
            self.write(6, 9, " " * 65)
        self.paint_values(settings)
        for line, text in enumerate(HELP[mode]):
            self.write(21 + line, 9, text)
        self.paint_messages(settings, row, col)

    def paint_communication(self, settings):
        if settings.comm_mode in (0, 1):
            self.write(8, 9, " " * 65)
            self.write(7, 9, " " * 68)
        if settings.comm_mode == 0:
            self.write(7, 33, settings.com_port)
        if settings.comm_mode == 1:
            self.write(8, 9, "[p] Ip Address       : ")
            self.write(7, 9, "[o] Community Name   : ")
            self.write(8, 33, settings.snmp_ip)
            self.write(7, 33, settings.snmp_community)

    def paint_values(self, settings):
        self.write(3, 62, minutes_text(settings.ac_fail_delay))
        self.write(4, 62, f"{settings.batt_low_delay:2}.0")
        self.write(5, 62, f"{settings.ups_off_delay:4.1f}")
        if settings.battery_rating > 0 and settings.comm_mode != 1:
            self.write(6, 62, f"{settings.battery_rating:4.1f}")
        self.write(9, 42, "ON " if settings.countdown_on == 1 else "OFF")
        self.write(11, 9, "[a] Turn off UPS after System Shutdown:")
        self.write(11, 49, {0: "NO ", 1: "YES"}.get(settings.turn_off_ups, ""))

    def paint_messages(self, settings, row, col):
        if row != 18:
            self.write(18, 35, " " * 20)
        if row != 19:
            self.write(19, 19, " " * 44)
        self.write(12, 36, " " * 41)
        self.cursor = row, col
        if row == 18:
            self.paint_message(18, 35, SAVED)
        if row == 19:
            self.paint_message(19, 19, ASK_AGAIN)
        if row == 15 and settings.schedule_on == 0:
            self.paint_message(12, 37, SCHEDULE_FIRST)

    def paint_message(self, row, column, text):
        """The cursor stays behind it."""
        self.write(row, column, text, True)
        self.cursor = row, column + len(text)


class Editor:
    """A running editor and the picture that it ought to show."""

    def __init__(self, screen, settings, quit_keys="\nqq"):
        self.screen, self.quit_keys = screen, quit_keys
        self.settings = copy.deepcopy(settings)
        self.mode, self.row, self.col = ITEMS, 3, 63
        self.painter = Painter(screen.rows, screen.cols)

    def press(self, keys, at=None, mode=None, **changes):
        """Types keys and compares the whole picture once the last one was taken.

        What the keys are to bring about: the cursor at another place, another mode, other
        values of the settings.
        """
        self.screen.press(keys)
        self.expect(at, mode, **changes)

    def expect(self, at=None, mode=None, **changes):
        if at is not None:
            self.row, self.col = at
        if mode is not None:
            self.mode = mode
        for name, value in changes.items():
            assert hasattr(self.settings, name), name
            setattr(self.settings, name, value)
        self.check()

    def check(self):
        self.painter.paint(self.settings, self.mode, self.row, self.col)
        self.painter.check(self.screen)

    def quit(self, keys="q"):
        """Types keys, the last of which is to end the editor."""
        self.screen.send(keys)
        assert self.screen.wait_exit() == 0

    def asks(self):
        """Types [q] and expects to be asked again; the next [q] quits."""
        self.press("q", at=(19, self.col))


def open_editor(settings, quit_keys="\nqq", command=None, **options):
    """The editor on a terminal, before its first picture was looked at."""
    screen = Terminal(command or [world.bin("wardenlink"), "config"], **options)
    return Editor(screen, settings, quit_keys)


@pytest.fixture
def edit():
    """edit(settings, ...) writes the settings, opens the editor and checks its first picture."""
    opened = []

    def Edit(settings=None, written=False, **options):
        chosen = settings or Settings()
        if not written:
            chosen.write()
        opened.append(open_editor(chosen, **options))
        opened[-1].screen.wait_key()
        opened[-1].check()
        return opened[-1]

    yield Edit
    for editor in opened:
        close_and_check(editor.screen, editor.quit_keys)


def file_bytes(name, folder=world.FOLDER):
    with open(os.path.join(folder, name), "rb") as source:
        return source.read()


def files_hold(settings):
    """What is wrong with the two files, compared byte for byte; empty when nothing is."""
    wrong = []
    if file_bytes("power.ini") != settings.record():
        wrong.append(f"power.ini holds {file_bytes('power.ini')!r}, wanted {settings.record()!r}")
    text = file_bytes("wardenlink.cfg").decode("latin-1")
    if text != settings.text():
        wrong.append(f"wardenlink.cfg holds\n{text}wanted\n{settings.text()}")
    return wrong
