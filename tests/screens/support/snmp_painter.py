"""What the local screen shows of a UPS behind an SNMP agent, computed apart from the product.

The panels are those of the remote screen with the shutdown warning; the information page is
painted from a table of its own. The daemon is played by presence messages.
"""

import queues
import world
from remote_painter import (WARNING, WARNING_COLUMN, WARNING_ROW, Answer, Painter, Readings, Watch,
                            number)

LEFT_COUNT = 19
LONGEST_VALUE = 49
PRESENCE = 4
CONTROL = 5

UPS = ".1.3.6.1.4.1.935.1.1.1."
# The simulator's name of each object, its identifier, its label; in the order of the page.
OBJECTS = (
    ("sys_contact", ".1.3.6.1.2.1.1.4.0", "System Contact    : "),
    ("sys_name", ".1.3.6.1.2.1.1.5.0", "System Name       : "),
    ("sys_location", ".1.3.6.1.2.1.1.6.0", "System Location   : "),
    ("firmware", UPS + "1.2.1.0", "Firmware rev.     : "),
    ("date_made", UPS + "1.2.2.0", "Date Made         : "),
    ("serial_number", UPS + "1.2.3.0", "Serial #          : "),
    ("agent_revision", UPS + "1.2.4.0", "Agent Rev.        : "),
    ("battery_replace_date", UPS + "2.1.3.0", "Batt. Replace Date: "),
    ("battery_replace_flag", UPS + "2.2.5.0", "Batt. Replace Flag: "),
    ("battery_current", UPS + "2.2.7.0", "Batt. Current     : "),
    ("input_phase", UPS + "3.1.1.0", "Input Phase       : "),
    ("output_phase", UPS + "4.1.2.0", "Output Phase      : "),
    ("devices_attached", UPS + "5.1.1.0", "Devices Attached  : "),
    ("rated_output_voltage", UPS + "5.2.1.0", "Rated Output Volt.: "),
    ("high_transfer_voltage", UPS + "5.2.2.0", "High Transfer Volt: "),
    ("low_transfer_voltage", UPS + "5.2.3.0", "Low Transfer Volt.: "),
    ("alarm_flag", UPS + "5.2.4.0", "Alarm Flag        : "),
    ("alarm_timer", UPS + "5.2.5.0", "Alarm Timer       : "),
    ("min_return_capacity", UPS + "5.2.6.0", "Min. Ret. Cap.    : "),
    ("sensitivity", UPS + "5.2.7.0", "Sensitivity       : "),
    ("low_battery_run_time", UPS + "5.2.8.0", "Low Batt. Run Time: "),
    ("return_delay", UPS + "5.2.9.0", "Return Delay      : "),
    ("diagnostics_schedule", UPS + "7.2.1.0", "Diagnostics Sched.: "),
    ("last_diagnostics", UPS + "7.2.4.0", "Last Diagnostics  : "),
    ("calibration_results", UPS + "7.2.7.0", "Calib. Results    : "),
    ("calibration_date", UPS + "7.2.8.0", "Calib. Date       : "),
)
NAMES = tuple(name for name, _, _ in OBJECTS)
LABELS = {name: label for name, _, label in OBJECTS}


def announce(count=60):
    """The daemon's presence, as often as that; every pass takes one message."""
    for _ in range(count):
        queues.send("heartbeatQueue", PRESENCE, "alive")


def tell(text):
    """A control message to the running status screen."""
    queues.send("screenControlQueue", CONTROL, text)


def quick_print(value):
    """A value's text: numbers bare, texts quoted with their quotes and backslashes escaped,
    bytes that are neither printable nor white space as hexadecimal digits."""
    if isinstance(value, int):
        return str(value)
    data = value if isinstance(value, bytes) else value.encode("latin-1")
    if all(32 <= byte < 127 or byte in b"\t\n\v\f\r" for byte in data):
        text = data.decode("ascii").replace("\\", "\\\\").replace('"', '\\"')
    else:
        text = "".join(f"{byte:02X} " for byte in data)
    return f'"{text}"'


def shown_text(value):
    """What stands behind a label: cut to its slot, then just after the second quote."""
    if isinstance(value, Answer):
        return ""
    text = quick_print(value)[:LONGEST_VALUE]
    first = text.find('"')
    second = text.find('"', first + 1) if first >= 0 else -1
    if second >= 0:
        text = text[:second + 1]
    return "".join(letter if letter >= " " else " " for letter in text)


class SnmpPainter(Painter):
    """The cells of the local screen in its SNMP display."""

    shutdown_near = False

    def paint_delays(self):
        minutes = self.settings.ac_fail_delay
        text = f"{minutes:2d}.0" if minutes < 61 else f" {minutes:2d}"
        self.write(8, 26, text if minutes <= 999 else f"{minutes:2d}")
        self.write(9, 26, f"{self.settings.ups_off_delay:4.1f}")

    def is_shutdown_due(self, readings):
        return (number(readings.input_voltage) == 0 or number(readings.battery_status) == 3 or
                self.shutdown_near)

    def paint_warning(self, readings, flash):
        due = self.is_shutdown_due(readings)
        self.write(WARNING_ROW, WARNING_COLUMN, WARNING if due else " " * len(WARNING),
                   due and flash)

    def paint_page(self, answers):
        """answers: value by name; None for an object that is not there."""
        self.paint_frame()
        self.write(23, 51, "[r]-Redraw, [q]-Quit" + " " * 7)
        for row in range(3, 7):
            self.write(row, 38, " " * 13)
        present = [name for name in NAMES if answers[name] is not None]
        for k, name in enumerate(present):
            row, column = (k + 3, 2) if k < LEFT_COUNT else (k - LEFT_COUNT + 7, 42)
            self.write(row, column, LABELS[name])
            # What is too long for the screen ends at its edge.
            self.write(row, column + 20, shown_text(answers[name])[:self.cols - column - 20])
        self.draw_box(6, 22)
        self.cursor = 22, 79


class LocalWatch(Watch):
    """The local screen in its SNMP display, and what it ought to show."""

    def __init__(self, screen, agent, settings, readings=Readings()):
        super().__init__(screen, agent, settings, readings)
        self.painter = SnmpPainter(settings, screen.rows, screen.cols)
        self.answers = {}

    def flash(self):
        return super().flash() or self.screen.standout_cells(
            WARNING_ROW, WARNING_COLUMN, WARNING_COLUMN + len(WARNING) - 1)

    def take_settings(self, settings):
        """Other settings on disk; the screen is told nothing of it."""
        self.painter.settings = settings.write()

    # --- the information page ----------------------------------------------------------

    def answer(self, **changes):
        """What objects of the page answer from now on: a value, None or an Answer."""
        for name, value in changes.items():
            before = self.answers.get(name)
            if name in self.answers and before is None:
                self.agent.missing(name, False)
            elif isinstance(before, Answer):
                self.agent.error(name, "off")
            if value is None:
                self.agent.missing(name)
            elif isinstance(value, Answer):
                self.agent.error(name, value.text)
            else:
                self.agent.set(name, value)
        self.answers.update(changes)

    def turn(self, key="r", **changes):
        """Opens the page ('m') or draws it again ('r'), then compares the whole picture."""
        if not self.answers:
            self.answers = {name: self.agent.get(name) for name in NAMES}
        self.answer(**changes)
        if key == "r":
            self.painter.clear()
        else:
            self.painter.blank_panels()
        self.screen.press(key)
        self.painter.paint_page(self.answers)
        self.compare()

    def compare(self):
        """The picture as it was left: nothing was painted since."""
        self.painter.check(self.screen)


def open_local(start, agent, settings, readings=Readings(), present=True, **options):
    """The local screen with its first pass painted, the daemon seen in it and ever after."""
    if present:
        announce(1)
    screen = start([world.bin("wardenlink-local")], **options)
    screen.wait_key()
    if present:
        announce()
    watch = LocalWatch(screen, agent, settings, readings)
    watch.lost = not present
    return watch
