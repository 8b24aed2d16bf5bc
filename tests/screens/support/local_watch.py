"""A local screen in serial mode beside the painter that knows what it ought to show."""

import dataclasses

import pytest

import queues
import world
from local_painter import LEFT_VALUES, WARNING_COLUMN, WARNING_ROW, Files, LocalPainter
from settings import Settings

DRIVER = "wardenlink-local"
ALARMS = ("ac_power", "battery_status", "functioning", "boost", "self_test")
BAR_ROWS = {"input": 4, "output": 8, "load": 12, "battery": 16, "frequency": 20}

# Where a value of the UPS stands: row, column, width with the unit behind it.
VALUES = {"input": (3, 62, 10), "output": (7, 63, 10), "load": (11, 62, 4),
          "frequency": (19, 64, 7), "battery": (15, 62, 4), "temperature": (13, 23, 6)}


class SerialWatch:
    """A local screen in serial mode and the painter that knows what it ought to show."""

    def __init__(self, screen, settings, files):
        self.screen, self.files = screen, files
        self.painter = LocalPainter(settings, screen.rows, screen.cols)

    def flash(self):
        """Whether the alarms on the screen stand in reverse."""
        places = [LEFT_VALUES[name][:2] for name in ALARMS] + [(WARNING_ROW, WARNING_COLUMN)]
        return any(self.screen.standout_cells(row, column, column + 2) for row, column in places)

    def check(self, present=False):
        """Compares the whole picture of a finished pass."""
        self.painter.paint_serial(self.files, self.flash(), present)
        self.painter.check(self.screen)

    def show(self, key=" ", present=False, **changes):
        """A pass with these changes of the files, called forth by a key, and its picture.

        present puts presence messages of a daemon on its queue, and takes away what is left.
        """
        self.files = dataclasses.replace(self.files, **changes).write()
        self.press(key, present)
        self.check(present)

    def press(self, key=" ", present=False):
        """A pass called forth by a key, with or without a daemon's presence."""
        queues.drain("heartbeatQueue")
        for _ in range(3 if present else 0):
            queues.send("heartbeatQueue", 4, "here")
        if key == "r":
            self.painter.clear()
        self.screen.press(key)
        queues.drain("heartbeatQueue")

    def tell(self, text, kind=5):
        """A control message to the running screen."""
        queues.send("screenControlQueue", kind, text)

    def change(self, settings, told=True):
        """What an editor does on a save: both files, and the notice to the screen."""
        settings.write()
        if told:
            self.tell("010")
            self.painter.follow(settings)


@pytest.fixture
def open_watch(start):
    """open_watch(Settings(...), Files(...)) opens the screen; its first pass is painted."""
    def OpenWatch(settings=None, files=None, **options):
        settings = settings or Settings(comm_mode=0)
        settings.write()
        files = (files or Files()).write()
        screen = start([world.bin(DRIVER)], **options)
        screen.wait_key()
        return SerialWatch(screen, settings, files)
    return OpenWatch


@pytest.fixture
def watch(open_watch):
    """The screen of an on-line UPS on utility power, its first picture looked through."""
    opened = open_watch()
    opened.check()
    return opened


def bar(watch, name):
    """Length of a bar on the screen; it has to begin at its place."""
    marks = watch.screen.standout(BAR_ROWS[name])
    assert marks == set(range(43, 43 + len(marks)))
    return len(marks)
