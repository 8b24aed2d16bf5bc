"""What the command center has to show, cell by cell, computed apart from the product.

An IssuerPainter holds the cells as they ought to stand after each key.
"""

from canvas import Canvas
from notice import wall_clock

SERIAL, SNMP = 0, 1
ESCAPE = "\x1b"

TITLE = "(wardenlink Power Management Software for Linux) UPS COMMAND CENTER, Ver. 3.4"
PROMPT = "Press [p] to proceed, [Esc] to cancel"
IDLE = "\tPress the letter of your choice.\t\t\t"
WARNING = "(WARNING) UPS has to be turned on manually after issuing this command"
NO_CONNECTION = "No Connection (check Ip Address and Community Name)"

# How a command can end, and the line that tells it; no line for one without an answer.
UNANSWERED, ACCEPTED, REFUSED = 0, 1, 2
OUTCOMES = {ACCEPTED: "Last Command Successful\t\t\t", REFUSED: "Last Command Failed.\t\t\t\t"}

MENUS = {
    SNMP: (
        "[s]  Shut Down UPS\t            [f]  Flash and Beep",
        "[c]  Cancel Shut Down Command\t    [i]  Test Indicators",
        "[o]  Turn On UPS\t\t\t\t\t",
        "\t\t\t\t\t\t\t",
        "[u]  Reboot UPS\t\t\t\t\t",
        "[l]  Put UPS to Sleep\t\t\t\t\t",
        "[m]  Simulate Power Fail\t\t\t\t",
        "[b]  Conserve Battery\t\t\t\t\t",
        "\t\t\t\t\t\t\t",
        "[d]  Diagnostic Self Test              [r]  Redraw\t",
        "[t]  Test Run Time Calibration         [q]  Quit\t",
    ),
    SERIAL: (
        "[s]  10 Seconds Test\t\t\t",
        "[b]  Test until Battery Low\t\t",
        " " * 32 + "\t",
        "[c]  Cancel Test Command\t\t",
        "\t\t\t\t\t",
        "[n]  Shut Down UPS \t\t\t",
        "[a]  Cancel Shut Down Command          ",
        "\t\t\t\t\t",
        "[r]  Redraw\t\t\t\t",
        "[q]  Quit\t\t\t\t",
    ),
}

# Key: its option's description. Two keys of the SNMP menu mean the same.
DESCRIPTIONS = {
    SNMP: {
        "s": "\tUPS will shut down in 12 seconds.  \t\t\t",
        "u": "\tReboots the UPS.\t\t  \t\t\t",
        "l": "\tPut UPS to sleep.\t\t\t\t\t",
        "m": "\tSwitch to Battery Power.\t\t\t\t",
        "f": "\tLights up all indicators and starts beeping.\t\t",
        "c": "\tSwitch back to utility power.\t\t\t\t",
        "o": "\tSwitch back to utility power.\t\t\t\t",
        "b": "\tUPS on battery will go to sleep mode.  \t\t\t",
        "d": "\t10 seconds self-test.\t\t\t\t\t",
        "i": "\tPerform a front panel lights test.\t\t\t",
        "t": "\tDischarge to calibrate the UPS\t\t\t\t",
    },
    SERIAL: {
        "s": "\tTest for 10 seconds then return to utility.\t\t",
        "b": "\tTest until battery low then return to utility. \t\t",
        "n": "\tUPS will shut down in a few seconds.\t\t\t",
        "a": "\tCancel Shut Down Command or Turn on UPS Output.\t\t",
        "c": "\tCancel Test Command.\t\t\t\t\t",
    },
}
SLEEP_KEY, CONSERVE_KEY = "l", "b"


class IssuerPainter(Canvas):
    """The cells of a terminal that shows the command center in the mode of `settings`.

    connected, utility and output are the condition of the UPS as it answers for it.
    """

    def __init__(self, settings, rows=25, cols=80):
        super().__init__(rows, cols)
        self.mode = settings.comm_mode
        self.pending = None  # the key of the command that awaits its confirmation
        self.duration = 1
        self.connected = self.utility = self.output = True
        self.drawn = (wall_clock(), wall_clock())  # between these the date line was written

    def wipe(self, first, last, column=1):
        for row in range(first, last + 1):
            self.write(row, column, " " * 73)

    def first_screen(self, since=None):
        """Frame and menu, written since then."""
        self.drawn = (since or wall_clock(), wall_clock())
        self.draw_box(2, 14)
        self.draw_box(15, 23)
        self.write(0, 1, TITLE)
        for row, line in enumerate(MENUS[self.mode], 3):
            self.write_tabbed(row, 6, line)

    # --- one key -----------------------------------------------------------------------

    def take(self, key, outcome=ACCEPTED, since=None):
        """A key and the pass after it; outcome is how a command ends, if it is sent."""
        if key == "r":
            self.clear()
            self.first_screen(since)
        if self.pending is None and key in DESCRIPTIONS[self.mode]:
            self.pending = key
        if self.pending and key == ESCAPE:
            self.pending = None
            self.wipe(17, 22)
        elif self.pending and key == "p":
            self.pending = None
            self.paint_outcome(UNANSWERED if self.mode == SERIAL else outcome)
            self.wipe(17, 21)
        self.paint_pass(key)

    def paint_outcome(self, outcome):
        if outcome == UNANSWERED:
            self.wipe(22, 22, 5)
        else:
            self.write_tabbed(22, 15, OUTCOMES[outcome])

    def paint_pass(self, key=""):
        self.park_cursor()
        self.write_tabbed(16, 2, DESCRIPTIONS[self.mode].get(self.pending, IDLE))
        if self.pending is None:
            self.wipe(20, 21)
            return
        if self.mode == SNMP:
            self.paint_details(key)
            self.paint_condition()
        self.write(22, 15, PROMPT)

    def paint_details(self, key):
        if self.pending == CONSERVE_KEY:
            self.write(18, 5, WARNING)
        if self.pending == SLEEP_KEY:
            step = {"+": 1, "-": -1}.get(key, 0)
            self.duration = min(max(self.duration + step, 1), 99)
            self.write(17, 8, "   Duration of Sleep  :   0 Minutes")
            self.write_tabbed(18, 8, "\t Press  [+] to increase,\t\t")
            self.write_tabbed(19, 8, "\t\t[-] to decrease Sleep Time              ")
            self.write(17, 33, f"{self.duration:02d}")

    def paint_condition(self):
        if not self.connected:
            self.write(21, 5, NO_CONNECTION)
            return
        self.write(21, 5, "UPS Status (")
        self.write(21, 18, ("With" if self.utility else "w/o ") + " Utility power.")
        self.write(21, 37, ("With" if self.output else "w/o ") + " output power.)")

    # --- comparing ---------------------------------------------------------------------

    def moments(self):
        """The date line is as old as the picture."""
        return self.drawn[0], self.drawn[1] + self.ahead
