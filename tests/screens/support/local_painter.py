"""What the local status screen has to show while a UPS hangs on the serial port.

The cells are computed apart from the product, from the bytes of the daemon's three files and
from the settings. As everywhere, what a pass does not write over stays.
"""

import dataclasses
import os
import re
import time

from notice import WEEK_DAYS, wall_clock
from remote_painter import (BAR_COLUMN, HIGH_SCALE, LONGEST_BAR, NO_DATA_PROMPT, RIGHT_LABELS,
                            WARNING, frequency_cells, is_decimal, level_cells, load_cells,
                            voltage_cells, whole)
from snmp_painter import SnmpPainter

FOLDER = "/etc/wardenlink"
NA = "N/A"
NO_EVENT = "---  --:--"
WARNING_ROW, WARNING_COLUMN = 15, 4
MODEL_COLUMN = 42
PORT_WIDTH, PORT_BLANKS = 12, 13
WEEK = 7 * 24 * 60

LEFT_LABELS = {
    3: "UPS Type          :",
    4: "UPS Rating Voltage:       Volt",
    5: "UPS Rating Current:       Amp",
    6: "UPS Line Frequency:       Hz",
    8: "Communication Port:",
    9: "   Input AC Power :",
    10: "   Battery Status :",
    11: "   UPS Functioning:",
    12: "   Boost/Buck     :",
    13: "   UPS Temperature:      C",
    14: "   UPS Self-Test  :",
    15: " " * 29,  # four tabs from column 3
    16: "Count Down Function:",
    17: "Scheduling Function:",
    18: " " * 31,
    19: " " * 31,
    20: "ACfail Shutdown Delay:      Min.",
    21: "UPS Turn Off Delay   :      Min.",
}

# Value of the left panel: row, column, blanks behind an unknown one, alarm text.
LEFT_VALUES = {
    "type": (3, 23, 4, None),
    "rating_voltage": (4, 23, 7, None),
    "rating_current": (5, 23, 6, None),
    "ac_power": (9, 26, 5, "AC FAILS"),
    "battery_status": (10, 23, 5, "BAT. LOW"),
    "functioning": (11, 23, 3, "FAILED"),
    "boost": (12, 23, 0, "ON "),
    "temperature": (13, 23, 3, None),
    "self_test": (14, 23, 8, "In Progress"),
    "countdown": (16, 24, 0, None),
    "schedule": (17, 24, 0, None),
    "next_shutdown": (18, 24, 0, None),
    "next_power_on": (19, 24, 0, None),
    "fail_delay": (20, 26, 0, None),
    "off_delay": (21, 26, 0, None),
}

# The six status bits that are shown: field, text of a 1, text of anything else.
STATUS_BITS = (
    ("ac_power", "AC FAILS", "Normal  "),
    ("battery_status", "BAT. LOW", "Normal  "),
    ("boost", "ON ", "OFF"),
    ("functioning", "FAILED", "Normal"),
    ("type", "Standby", "On Line"),
    ("self_test", "In Progress", "Stop       "),
)

# Fields of a reply in their order, with the one length that is believed.
STATUS_FIELDS = (("input", 5), ("fault", None), ("output", 5), ("load", 3), ("frequency", 4),
                 ("battery", 4), ("temperature", 4))
RATING_FIELDS = (("rating_voltage", 5), ("rating_current", 3), ("rating", 5),
                 ("line_frequency", 4))
UNKNOWN = [name for name, _ in STATUS_FIELDS + RATING_FIELDS if name != "rating"] + \
    [name for name, _, _ in STATUS_BITS]


@dataclasses.dataclass(frozen=True)
class Files:
    """The daemon's files: the status reply by its fields, or whole replies as bytes.

    q1 overrides the fields; None for any of the three means that there is no such file.
    """

    input: str = "230.0"
    fault: str = "195.0"
    output: str = "229.5"
    load: str = "045"
    frequency: str = "50.0"
    battery: str = "2.05"
    temperature: str = "25.0"
    bits: str = "00000000"
    q1: object = "fields"
    rtg: object = b"#230.0 005 012.0 50.0\r"
    mdl: object = b"#WATCHMAN       WM1500     R12.3      \r"

    def status(self):
        """The bytes of the status file, or None."""
        if self.q1 != "fields":
            return self.q1
        words = [getattr(self, name) for name, _ in STATUS_FIELDS] + [self.bits]
        return ("(" + " ".join(words) + "\r").encode("latin-1")

    def write(self):
        """Puts the files in place, each whole, or takes them away; returns self."""
        for name, data in (("mdl", self.mdl), ("rtg", self.rtg), ("q1", self.status())):
            put_file("wardenlink." + name, data)
        return self


def put_file(name, data):
    """Replaces a file of the folder by another; None removes it."""
    path = os.path.join(FOLDER, name)
    if data is None:
        if os.path.lexists(path):
            os.remove(path)
        return
    with open(path + ".new", "wb") as target:
        target.write(data)
    os.replace(path + ".new", path)


def read_files():
    """The daemon's files as they are now."""
    found = {}
    for name in ("q1", "rtg", "mdl"):
        try:
            with open(f"{FOLDER}/wardenlink.{name}", "rb") as source:
                found[name] = source.read()
        except FileNotFoundError:
            found[name] = None
    return Files(**found)


def all_replies_with(text):
    """Whether the daemon's three files are there, and the status holds this text."""
    files = read_files()
    return None not in (files.q1, files.rtg, files.mdl) and text.encode() in files.q1


# --- what the bytes mean ---------------------------------------------------------------------


def reply(data, length):
    """The text that is taken of a reply: its first bytes but for the last; None for none."""
    text = (data or b"")[:length].split(b"\0")[0].decode("latin-1")
    return text[:-1] if text else None


def blank_zeros(text):
    """Zeros at the front become blanks as long as a digit follows."""
    count = len(re.match(r"(?:0(?=[0-9]))*", text).group())
    return " " * count + text[count:]


def take_fields(fields, wanted, words):
    for (name, length), word in zip(wanted, words):
        if length in (None, len(word)):
            blanks = name in ("load", "rating_current")
            fields[name] = blank_zeros(word) if blanks else word


def take_status(fields, line):
    words = [word for word in re.split("[( \r\n]", line) if word]
    take_fields(fields, STATUS_FIELDS, words)
    if len(words) > 7 and len(words[7]) == 8:
        for bit, (name, when_set, when_clear) in zip(words[7], STATUS_BITS):
            fields[name] = when_set if bit == "1" else when_clear


def delay_text(minutes, before):
    if minutes < 61:
        return f"{minutes:2d}.0"
    if minutes <= 999:
        return f" {minutes:2d}"
    return f"{minutes:2d}" if minutes <= 9999 else before


def switch_text(state, before):
    return {0: "OFF", 1: "ON "}.get(state, before)


def week_minute(seconds):
    """Minute of the week, counted from Sunday."""
    now = time.localtime(seconds)
    return ((now.tm_wday + 1) % 7 * 24 + now.tm_hour) * 60 + now.tm_min


def next_event(schedule, column, start):
    """Minutes from a minute of the week to the next event, and its day; None without any."""
    for ahead in range(1, WEEK + 1):
        hours, minute = divmod((start + ahead) % WEEK, 60)
        day, hour = divmod(hours, 24)
        if schedule[day][column:column + 2] == [hour, minute]:
            return ahead, day
    return None


def event_text(schedule, column, day):
    hour, minute = schedule[day][column:column + 2]
    return f"{WEEK_DAYS[day - 1]} {hour:02d}:{minute:02d}"


class LocalPainter(SnmpPainter):
    """The cells of a terminal that shows the local screen, from the files or from the agent."""

    def __init__(self, settings, rows=25, cols=80):
        super().__init__(settings, rows, cols)
        self.fields = dict.fromkeys(("countdown", "schedule", "fail_delay"), "")
        self.follow(settings)

    # --- settings ----------------------------------------------------------------------

    def follow(self, settings, now=None):
        """The screen takes over these settings."""
        self.settings = settings
        fields = self.fields
        if settings.battery_rating >= 0:
            fields["rating"] = f"{settings.battery_rating:4.1f}"[:5]
        fields["port"] = settings.com_port[:PORT_WIDTH]
        fields["countdown"] = switch_text(settings.countdown_on, fields["countdown"])
        fields["schedule"] = switch_text(settings.schedule_on, fields["schedule"])
        fields["fail_delay"] = delay_text(settings.ac_fail_delay, fields["fail_delay"])
        fields["off_delay"] = f"{settings.ups_off_delay:4.1f}"[:4]
        self.follow_schedule(settings, wall_clock() if now is None else now)

    def follow_schedule(self, settings, now):
        self.fields["next_shutdown"] = self.fields["next_power_on"] = NO_EVENT
        self.due = False
        start, schedule = week_minute(now), settings.schedule
        shutdown = next_event(schedule, 2, start)
        if shutdown is None or settings.schedule_on != 1:
            return
        ahead, day = shutdown
        self.fields["next_shutdown"] = event_text(schedule, 2, day)
        restart = next_event(schedule, 0, (start + ahead) % WEEK)
        if restart is not None and settings.turn_off_ups == 1:
            self.fields["next_power_on"] = event_text(schedule, 0, restart[1])
        self.due = ahead * 60 - int(now) % 60 < settings.ac_fail_delay * 60

    # --- one pass ----------------------------------------------------------------------

    def paint_serial(self, files, flash, present):
        """A pass; flash tells whether the alarms are in reverse, present of a daemon."""
        self.take(files)
        self.paint_frame()
        self.paint_left_side(flash, present)
        self.paint_right_side()
        self.write(0, MODEL_COLUMN, self.fields["model"])
        self.write(23, 41, NO_DATA_PROMPT)
        self.cursor = 23, 41 + len(NO_DATA_PROMPT)

    def take(self, files):
        fields = self.fields
        fields.update(dict.fromkeys(UNKNOWN, NA), model="")
        if not is_decimal(fields["rating"]):
            fields["rating"] = NA
        line = reply(files.status(), 48)
        if line is None:
            return
        take_status(fields, line)
        fields["model"] = (reply(files.mdl, 39) or "")[1:38]
        words = [word for word in re.split("[# \r\n]", reply(files.rtg, 22) or "") if word]
        take_fields(fields, RATING_FIELDS, words)

    def paint_left_side(self, flash, present):
        fields = self.fields
        for row, label in LEFT_LABELS.items():
            self.write(row, 3, label)
        for name, (row, column, blanks, alarm) in LEFT_VALUES.items():
            self.write(row, column, fields[name], flash and fields[name] == alarm)
            if fields[name] == NA:
                self.write(row, column + 3, " " * blanks)
        self.write(6, 23, " " * 8)
        if fields["line_frequency"] == NA:
            self.write(6, 23, NA)
        else:
            self.write(6, 24, fields["line_frequency"])
            self.write(6, 29, "Hz")
        self.write(8, 26, " " * PORT_BLANKS)
        self.write(8, 26, fields["port"])
        self.write(WARNING_ROW, WARNING_COLUMN, " " * 32)
        if present and self.is_alarming():
            self.write(WARNING_ROW, WARNING_COLUMN, WARNING, flash)

    def is_alarming(self):
        """Whether the system is about to be shut down."""
        fields = self.fields
        return (self.due or fields["ac_power"] == "AC FAILS" or
                fields["battery_status"] == "BAT. LOW")

    def level(self):
        """Charge in percent by the battery's voltage, None when it cannot be told."""
        fields = self.fields
        if not is_decimal(fields["battery"]):
            return None
        if fields["type"] != "Standby":
            fields["rating"] = "2.0"  # one cell's voltage is reported; stays from now on
        if not is_decimal(fields["rating"]) or float(fields["rating"]) == 0:
            return None
        nominal = float(fields["rating"])
        full, empty = nominal / 24.0 * 26.67, nominal / 24.0 * 21.0
        measured = min(max(float(fields["battery"]), empty), full)
        return (measured - empty) / (full - empty) * 100

    def paint_right_side(self):
        fields = self.fields
        for row, label in RIGHT_LABELS.items():
            self.write(row, 42, label)
        for name, row, column in (("input", 3, 62), ("output", 7, 63)):
            self.put_value(row, column, blank_zeros(fields[name]), 7)
            if is_decimal(fields[name]) and whole(fields[name]) > 135:
                self.write(row + 2, 42, HIGH_SCALE)
        self.put_value(11, 62, fields["load"], 1)
        level = self.level()
        self.put_value(15, 62, NA if level is None else f"{level:3.0f}", 1)
        self.put_value(19, 64, blank_zeros(fields["frequency"]), 4)
        bars = {4: voltage_cells(fields["input"]), 8: voltage_cells(fields["output"]),
                12: load_cells(fields["load"]), 16: 0 if level is None else level_cells(level),
                20: frequency_cells(fields["frequency"])}
        for row, length in bars.items():
            room = self.cols - BAR_COLUMN
            self.write(row, BAR_COLUMN, " " * min(length, LONGEST_BAR, room), True)

    def put_value(self, row, column, text, blanks):
        self.write(row, column, text)
        if text == NA:
            self.write(row, column + 3, " " * blanks)

    # --- from and to the agent's panels --------------------------------------------------

    def leave_serial(self):
        """The settings now name the agent: what stood inside the frame goes."""
        self.connected = False
        self.blank_panels()

    def enter_serial(self):
        """The settings now name the serial port: the model's place is blanked as well."""
        self.write(0, MODEL_COLUMN, " " * 38)
        self.blank_panels()
