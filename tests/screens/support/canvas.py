"""The cells of a terminal as they ought to stand: what every painter of a screen paints on.

What a pass does not write over stays, as on a terminal.
"""

from notice import notice_row, wall_clock

PARKED = (24, 79)  # where most screens leave the cursor, if there is such a row
LONGEST_PASS = 90  # seconds that may lie between a pass and the look at its picture
MOST_LEAPT = 3600  # seconds by which a program that leaps over its waits may be ahead


class Canvas:
    """A blank terminal to write on. A cursor of None is not compared. ahead: seconds by which the
    program's clock may be ahead of the machine's."""

    def __init__(self, rows=25, cols=80):
        self.rows, self.cols = rows, cols
        self.ahead = 0
        self.clear()

    def clear(self):
        """A blank screen, as [r] makes it before its pass."""
        self.text = [[" "] * self.cols for _ in range(self.rows)]
        self.marks = [set() for _ in range(self.rows)]
        self.cursor = None

    # --- writing -----------------------------------------------------------------------

    def write(self, row, column, text, standout=False):
        """Text from a cell on; past the last column it goes on in the next row."""
        if row >= self.rows or column >= self.cols:
            return
        for letter in text:
            if column == self.cols:
                row, column = row + 1, 0
            if row == self.rows:
                return
            self.text[row][column] = letter
            (self.marks[row].add if standout else self.marks[row].discard)(column)
            column += 1

    def write_tabbed(self, row, column, text):
        """Text in which a tab blanks up to the next multiple of 8."""
        for letter in text:
            blanks = 8 - column % 8
            self.write(row, column, " " * blanks if letter == "\t" else letter)
            column += blanks if letter == "\t" else 1

    def draw_box(self, top, bottom, left=0, width=79):
        edge = "+" + "-" * (width - 2) + "+"
        self.write(top, left, edge)
        self.write(bottom, left, edge)
        for row in range(top + 1, bottom):
            self.write(row, left, "|")
            self.write(row, left + width - 1, "|")

    def park_cursor(self):
        self.cursor = PARKED if self.rows > PARKED[0] else None

    # --- comparing ---------------------------------------------------------------------

    def moments(self):
        """The moments between which the date line was written."""
        now = wall_clock()
        return now - LONGEST_PASS, now + self.ahead

    def differences(self, screen):
        """What stands otherwise on a terminal than here: one line each, none when all is right."""
        found = []
        wanted = ["".join(row) for row in self.text]
        wanted[1] = notice_row(screen.row(1), self.cols, *self.moments())
        for row, shown in enumerate(screen.lines()):
            if shown != wanted[row]:
                found += [f"row {row} shown  |{shown}|", f"row {row} wanted |{wanted[row]}|"]
            marks = screen.standout(row)
            if marks != self.marks[row]:
                found.append(f"row {row} in reverse {sorted(marks)}, "
                             f"wanted {sorted(self.marks[row])}")
        if self.cursor not in (None, screen.cursor):
            found.append(f"cursor at {screen.cursor}, wanted {self.cursor}")
        return found

    def check(self, screen, what=""):
        found = self.differences(screen)
        assert not found, "\n".join([what] + found)
