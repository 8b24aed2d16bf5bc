"""What the remote status screen has to show, cell by cell, computed apart from the product.

A Painter paints what ought to stand there after each pass. A Watch ties one to a terminal and
to the simulated UPS.
"""

import collections
import dataclasses
import os
import re

from canvas import Canvas

# What an object answers: a number, None (no such object), or an Answer of another kind, which
# reads as `number`. Its kind and text are words of the simulator's control channel.
Answer = collections.namedtuple("Answer", "kind text number", defaults=(0,))
GEN_ERR = Answer("error", "genErr")

TITLE = "(SNMP WardenLink for Linux) UPS Status Screen, Ver. 3.4"
NO_DATA_PROMPT = "Type 'r' to Redraw, Type 'q' to Quit."
PROMPT = "[r]-Redraw, [q]-Quit       "
NA = "N/A         "

LEFT_LABELS = {
    3: "Ip Address     :",
    4: "Community Name :",
    5: "Input AC Power :",
    6: "Battery Status :",
    7: "Time on Battery:",
    8: "ACfail Shutdown Delay:      Min.",
    9: "UPS Turn Off Delay   :      Min.",
}

WARNING = "<<System is About to Shut Down>>"
WARNING_ROW, WARNING_COLUMN = 17, 4

RULE = " |" + "----|" * 6 + "--"
LOW_SCALE = " 70   80   90  100  110  120  130"
HIGH_SCALE = "180  190  200  210  220  230  240"
PERCENT_SCALE = " 0    20   40   60   80  100  120"
FREQUENCY_SCALE = " 0    20   40   60   80   90  100"
RIGHT_LABELS = {
    3: " UPS Input Voltage:       Volt", 4: RULE, 5: LOW_SCALE,
    7: " UPS Output Voltage:       Volt", 8: RULE, 9: LOW_SCALE,
    11: " UPS Power Loading:    %", 12: RULE, 13: PERCENT_SCALE,
    15: " UPS Battery Level:    %", 16: RULE, 17: PERCENT_SCALE,
    19: " UPS Input Frequency:      Hz", 20: RULE, 21: FREQUENCY_SCALE,
}

# Characters that the record keeps of a value: the bars are drawn from what is kept.
VOLTAGE_WIDTH, LOAD_WIDTH, FREQUENCY_WIDTH = 5, 3, 4
BAR_COLUMN, LONGEST_BAR = 43, 39


@dataclasses.dataclass(frozen=True)
class Readings:
    """The nine objects behind the screen; by default those of the simulated UPS at rest."""

    input_voltage: object = 2300
    output_status: object = 2
    battery_status: object = 2
    time_on_battery: object = 0
    output_voltage: object = 2300
    output_frequency: object = 500
    load: object = 35
    capacity: object = 100
    input_frequency: object = 500


def number(answer):
    """The number that an answer reads as; no answer reads as 0."""
    if answer is None:
        return 0
    return answer.number if isinstance(answer, Answer) else answer


def is_decimal(text):
    return re.fullmatch(r"[0-9]+\.[0-9]*|\.[0-9]+", text) is not None


def whole(text):
    return int("0" + text.split(".")[0])


def cells(amount, unit):
    """Length of a bar: one cell for 0 and one more for each whole unit; rounds toward zero."""
    return max(int(amount / unit) + 1, 0)


def voltage_cells(text):
    if not is_decimal(text):
        return 0
    volts = whole(text)
    return cells(volts - (180 if volts > 134 else 70), 2)


def load_cells(text):
    text = text.lstrip(" ")
    return cells(min(int(text), 125), 4) if re.fullmatch("[0-9]+", text) else 0


def level_cells(level):
    return cells(min(level, 125), 4) if level >= 0 else 0


def frequency_cells(text):
    return cells(min(whole(text), 105), 4) if is_decimal(text) else 0


class Painter(Canvas):
    """The cells of a terminal of `rows` rows that shows the remote screen with `settings`."""

    def __init__(self, settings, rows=25, cols=80):
        super().__init__(rows, cols)
        self.settings = settings
        self.connected = False

    # --- one pass ----------------------------------------------------------------------

    def paint(self, readings, flash):
        """A pass with an answer: flash tells whether the alarms are in reverse this time."""
        if not self.connected:
            self.blank_panels()
            self.write(23, 41, " " * 10)
        self.connected = True
        self.write(23, 51, PROMPT)
        self.paint_frame()
        self.paint_left(readings, flash)
        self.paint_right(readings)
        self.paint_agent()

    def paint_lost(self):
        """A pass without an answer."""
        self.connected = False
        self.blank_panels()
        self.paint_frame()
        for row in range(5, 10):
            self.write(row, 25, NA)
        self.write(10, 25, "    " + NA[4:])
        self.paint_left_labels()
        self.paint_delays()
        self.write(23, 41, NO_DATA_PROMPT)
        self.paint_agent()

    def blank_panels(self):
        for row in range(2, 22):
            self.write(row, 1, " " * 77)
            self.write(row, 78, " " * 12)
        self.cursor = (22, 10) if self.rows > 22 and self.cols == 80 else None

    def paint_frame(self):
        self.draw_box(2, 22, 0, 39)
        self.draw_box(2, 22, 39, 40)
        self.write(0, 1, TITLE)
        self.write(23, 1, "System:")
        self.write(23, 9, f"{os.uname().sysname}[{os.uname().nodename}]")

    def paint_left_labels(self):
        for row, label in LEFT_LABELS.items():
            self.write(row, 3, label)

    def paint_delays(self):
        self.write(8, 26, f"{self.settings.ac_fail_delay}")
        self.write(9, 26, f"{self.settings.ups_off_delay:.1f}")

    def paint_left(self, readings, flash):
        self.paint_left_labels()
        if readings.input_voltage is None:
            self.write(5, 25, NA)
        elif number(readings.output_status) == 3:
            self.write(5, 25, "AC FAILS", flash)
            self.paint_time(readings.time_on_battery)
        else:
            self.write(5, 25, "Normal  ")
        battery = number(readings.battery_status)
        if battery == 3:
            self.write(6, 25, "BAT. LOW", flash)
            self.paint_time(readings.time_on_battery)
        elif battery in (1, 2):
            self.write(6, 25, NA if battery == 1 else "Normal  ")
        self.paint_delays()
        self.paint_warning(readings, flash)

    def paint_warning(self, readings, flash):
        """A remote UPS never announces the shutdown of this computer."""
        self.write(WARNING_ROW, WARNING_COLUMN, " " * len(WARNING))

    def paint_time(self, seconds):
        if seconds is None:
            self.write(10, 25, NA)
        else:
            self.write(7, 25, f"{number(seconds):6d} Sec.")

    def paint_agent(self):
        for row, text in ((3, self.settings.snmp_ip), (4, self.settings.snmp_community)):
            self.write(row, 23, " " * 14)
            self.write(row, 23, text)
        self.park_cursor()

    def paint_right(self, readings):
        for row, label in RIGHT_LABELS.items():
            self.write(row, 42, label)
        bars = {
            4: voltage_cells(self.paint_voltage(3, 62, readings.input_voltage)),
            8: voltage_cells(self.paint_output(readings)),
            12: load_cells(self.paint_value(11, 62, readings.load, "%3d")[:LOAD_WIDTH]),
            16: level_cells(number(readings.capacity)),
        }
        self.paint_value(15, 62, readings.capacity, "%3d")
        shown = self.paint_value(19, 64, readings.input_frequency, "%3.1f", 10)
        bars[20] = frequency_cells(shown[:FREQUENCY_WIDTH])
        for row, length in bars.items():
            room = self.cols - BAR_COLUMN
            self.write(row, BAR_COLUMN, " " * min(length, LONGEST_BAR, room), True)

    def paint_value(self, row, column, answer, form, divisor=None):
        """Writes a value at its place; returns the text, "N/A" for a value without answer."""
        if answer is None:
            self.write(row, column, NA)
            return "N/A"
        text = form % (number(answer) / divisor if divisor else number(answer))
        self.write(row, column, text)
        return text

    def paint_voltage(self, row, column, answer):
        text = self.paint_value(row, column, answer, "%3.1f", 10)
        if number(answer) >= 1360:
            self.write(row + 2, 42, HIGH_SCALE)
        return text[:VOLTAGE_WIDTH]

    def paint_output(self, readings):
        kept = self.paint_voltage(7, 63, readings.output_voltage)
        if number(readings.output_frequency) == 0:
            self.write(7, 63, "0.0  ")
            return ""  # what was read for it is kept instead: never a decimal number
        return kept


def no_data_painter(screen, settings):
    """What a screen shows that only ever had no data to show."""
    painter = Painter(settings, screen.rows, screen.cols)
    painter.paint_lost()
    return painter


def check_no_data(screen, settings):
    no_data_painter(screen, settings).check(screen)


class Watch:
    """A remote screen, the UPS behind it, and the painter that tells the one from the other."""

    def __init__(self, screen, agent, settings, readings=Readings()):
        self.screen, self.agent = screen, agent
        self.readings = readings
        self.lost = False
        self.painter = Painter(settings, screen.rows, screen.cols)

    def set(self, **changes):
        """Changes what the UPS answers. Only between two passes: a pass must not see both."""
        for name, answer in changes.items():
            before = getattr(self.readings, name)
            if before is None:
                self.agent.missing(name, False)
            elif isinstance(before, Answer) and before.kind == "error":
                self.agent.error(name, "off")
            if answer is None:
                self.agent.missing(name)
            elif not isinstance(answer, Answer):
                self.agent.set(name, answer)
            elif answer.kind == "error":
                self.agent.error(name, answer.text)
            else:
                self.agent.set(name, answer.text, answer.kind)
        self.readings = dataclasses.replace(self.readings, **changes)

    def silence(self, on=True):
        """The agent stops answering, or answers again."""
        self.agent.silent(on)
        self.lost = on

    def flash(self):
        """Whether the alarms on the screen stand in reverse."""
        at = {5: self.readings.output_status, 6: self.readings.battery_status}
        return any(number(status) == 3 and self.screen.standout_cells(row, 25, 32)
                   for row, status in at.items())

    def check(self):
        """Compares the whole picture of a finished pass."""
        if self.lost:
            self.painter.paint_lost()
        else:
            self.painter.paint(self.readings, self.flash())
        self.painter.check(self.screen)

    def show(self, key=" ", **changes):
        """A pass with these changes, called forth by a key; then compares the whole picture."""
        self.set(**changes)
        if key == "r":
            self.painter.clear()
        self.screen.press(key)
        self.check()
