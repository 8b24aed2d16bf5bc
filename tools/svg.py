"""Pictures of a terminal's screen as SVG: what was painted once, and several after each other.

A picture is text on a grid: every run of cells is an element of its own that is told how wide it
has to be, so any monospaced font will do. Cells in standout are a rectangle in the colour of the
text with the text in the colour of the ground. The same cells always give the same bytes.
"""

import collections
import re
from xml.sax.saxutils import escape

# What a screen shows: a text for each row, the columns in standout of each row, and the cursor's
# row and column, or None where it is parked.
Frame = collections.namedtuple("Frame", "rows standout cursor")

CELL_WIDTH, CELL_HEIGHT, BASELINE = 9, 18, 14
MARGIN = 9
PARKED = (24, 79)

# Light, and dark for readers who prefer that; a renderer that knows neither takes the light one.
STYLE = """\
text{font:15px ui-monospace,"DejaVu Sans Mono",Menlo,Consolas,"Liberation Mono",monospace}
.g,.i{fill:#f6f8fa}.t,.s,.c{fill:#1f2328}
@media (prefers-color-scheme:dark){.g,.i{fill:#0d1117}.t,.s,.c{fill:#d1d7e0}}
"""

# --- reading a screen ---------------------------------------------------------------------

DATE = re.compile(r"\d{4}-\d\d-\d\d, \d\d:\d\d (Sun|Mon|Tue|Wed|Thu|Fri|Sat)\.")
SHOWN_DATE = "2026-11-21, 07:40 Sat."
HOST = re.compile(r"(?<= System: Linux\[)[^\]]*\]")
SHOWN_HOST = "server]"


def ReadFrame(screen):
    """A frame that is painted to its end: the program waits for a key before and after."""
    while True:
        before = screen.wait_key()
        frame = Frame(screen.lines(), [screen.standout(row) for row in range(screen.rows)],
                      None if screen.cursor == PARKED else screen.cursor)
        after = screen.key_wait()
        # The read that follows the wait is one wait with it, and paints nothing.
        if after and after.switches - before.switches <= (before.fresh and not after.fresh):
            return frame


def Replace(pattern, text, row):
    """The row with what the pattern finds replaced, as wide as before."""
    return pattern.sub(lambda found: text.ljust(len(found[0])), row).ljust(len(row))[:len(row)]


def SetAside(frame):
    """The frame at a fixed date on a machine of a fixed name: what differs from run to run."""
    rows = [Replace(HOST, SHOWN_HOST, row) for row in frame.rows]
    rows[1] = Replace(DATE, SHOWN_DATE, rows[1])
    return frame._replace(rows=rows)


# --- painting -----------------------------------------------------------------------------

def Position(row, column):
    return MARGIN + column * CELL_WIDTH, MARGIN + row * CELL_HEIGHT


def FindRuns(text, columns):
    """The runs of these columns that hold text, without blanks at the ends: (column, text)."""
    chosen = "".join(cell if column in columns else " " for column, cell in enumerate(text))
    return [(found.start(), found[0]) for found in re.finditer(r"\S+(?: \S+)*", chosen)]


def FindBlocks(columns):
    """The first column and the width of each block of columns side by side."""
    starts = sorted(column for column in columns if column - 1 not in columns)
    return [(start, next(end for end in range(start, start + 999) if end not in columns) - start)
            for start in starts]


def PaintText(row, column, text, kind):
    x, y = Position(row, column)
    return (f'<text class="{kind}" x="{x}" y="{y + BASELINE}" '
            f'textLength="{len(text) * CELL_WIDTH}">{escape(text)}</text>\n')


def PaintRow(row, text, standout):
    plain = set(range(len(text))) - standout
    painted = [PaintText(row, column, run, "t") for column, run in FindRuns(text, plain)]
    for column, width in FindBlocks(standout):
        x, y = Position(row, column)
        painted.append(f'<rect class="s" x="{x}" y="{y}" width="{width * CELL_WIDTH}" '
                       f'height="{CELL_HEIGHT}"/>\n')
    painted += [PaintText(row, column, run, "i") for column, run in FindRuns(text, standout)]
    return "".join(painted)


def PaintCursor(cursor):
    if cursor is None:
        return ""
    x, y = Position(*cursor)
    return (f'<rect class="c" x="{x}" y="{y + CELL_HEIGHT - 3}" width="{CELL_WIDTH}" '
            'height="2"/>\n')


def PaintFrame(frame):
    """The elements of a frame, row by row."""
    rows = "".join(map(PaintRow, range(len(frame.rows)), frame.rows, frame.standout))
    return rows + PaintCursor(frame.cursor)


def PaintWhole(rows, columns, title, text, style, body):
    width = 2 * MARGIN + columns * CELL_WIDTH
    height = 2 * MARGIN + rows * CELL_HEIGHT
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
            f'width="{width}" height="{height}" role="img" aria-labelledby="title text">\n'
            f'<title id="title">{escape(title)}</title>\n<desc id="text">{escape(text)}</desc>\n'
            f"<style>\n{style}</style>\n"
            f'<rect class="g" width="{width}" height="{height}" rx="6"/>\n{body}</svg>\n')


def PaintStill(frame, title, text):
    """The picture of one frame; title and text are for those who do not see it."""
    return PaintWhole(len(frame.rows), len(frame.rows[0]), title, text, STYLE, PaintFrame(frame))


# --- several frames -----------------------------------------------------------------------

def PaintTimes(number, begin, end, whole):
    """The style that shows a frame from begin to end, in seconds of the whole round."""
    steps = {0: "hidden", 100 * end / whole: "hidden", 100 * begin / whole: "visible"}
    marks = "".join(f"{at:.3f}%{{visibility:{state}}}" for at, state in sorted(steps.items()))
    return (f"#f{number}{{animation:k{number} {whole}s step-end infinite}}"
            f"@keyframes k{number}{{{marks}}}\n")


def PaintMoving(frames, seconds, still, title, text):
    """Frames that follow each other, each for its seconds, round and round.

    `still` is the frame that stands where nothing moves, as for readers who asked for that.
    """
    whole = sum(seconds)
    moving = "".join(PaintTimes(number, sum(seconds[:number]), sum(seconds[:number + 1]), whole)
                     for number in range(len(frames)))
    style = (f"{STYLE}.f{{visibility:hidden}}#f{still}{{visibility:visible}}\n"
             f"@media (prefers-reduced-motion:no-preference){{\n{moving}}}\n")
    # What all frames share is painted once, below them.
    shared = {row for row in range(len(frames[0].rows))
              if len({(frame.rows[row], frozenset(frame.standout[row])) for frame in frames}) == 1}
    body = "".join(PaintRow(row, frames[0].rows[row], frames[0].standout[row]) for row in shared)
    for number, frame in enumerate(frames):
        own = [("", set()) if row in shared else (frame.rows[row], frame.standout[row])
               for row in range(len(frame.rows))]
        rows = "".join(PaintRow(row, *cells) for row, cells in enumerate(own))
        body += f'<g class="f" id="f{number}">\n{rows}</g>\n'
    return PaintWhole(len(frames[0].rows), len(frames[0].rows[0]), title, text, style, body)
