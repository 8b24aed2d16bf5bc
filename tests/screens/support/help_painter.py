"""What the help viewer has to show, cell by cell, computed apart from the product: the table of
its windows, how a file falls into pages, and the whole picture of a page."""

import collections
import os
import shutil

import world
from canvas import Canvas

PLACE = world.FOLDER + "/help"
SOURCE = os.path.join(world.ROOT, "help", "text")
TITLE = "(SNMP WardenLink for Linux) UPS ONLINE HELP, Ver. 3.4"

PAGE_LINES, PAGES = 17, 8
READ_LIMIT = 74  # bytes of a file that one screen line takes in, a newline included
TEXT_ROW, TEXT_COLUMN = 3, 3
FOOTER_ROW, FOOTER_COLUMN = 21, 9

# A window: its file, and the windows that its keys lead to. A topic text has none: its [p] on
# the first page leads to the parent.
Window = collections.namedtuple("Window", "file parent keys", defaults=({},))


def topics(first, names, parent):
    return {first + place: Window(name, parent) for place, name in enumerate(names)}


CONTENTS, MENUS = 1, (2, 8, 11, 17)
WINDOWS = {
    1: Window("textroot.txt", None, {"1": 2, "2": 8, "3": 11, "4": 17, "5": 20, "6": 21,
                                     "7": 22, "a": 23, "b": 24, "c": 25}),
    2: Window("text_m1.txt", 1, {"1": 3, "2": 4, "3": 5, "4": 6, "5": 7}),
    8: Window("text_m2.txt", 1, {"1": 9, "2": 10}),
    11: Window("text_m3.txt", 1, {"1": 12, "2": 13, "3": 14, "4": 15, "5": 16}),
    17: Window("text_m4.txt", 1, {"1": 18, "2": 19}),
    **topics(3, [f"text1_{n}.txt" for n in range(1, 6)], 2),
    **topics(9, [f"text2_{n}.txt" for n in range(1, 3)], 8),
    **topics(12, [f"text3_{n}.txt" for n in range(1, 6)], 11),
    **topics(18, [f"text4_{n}.txt" for n in range(1, 3)], 17),
    **topics(20, ["text5.txt", "text6.txt", "text7.txt"], 1),
    **topics(23, ["textapa.txt", "textapb.txt", "textapc.txt"], 1),
}
assert sorted(WINDOWS) == list(range(1, 26))
TOPICS = [number for number, window in WINDOWS.items() if not window.keys]

# Rows 21 to 23 as they look from column 9 on, tabs expanded.
QUIT_ROWS = (" " * 7 + "[p] - Previous Page", " " * 7 + "[q] - Quit")
FOOTERS = {
    "contents": ("Press the corresponding letters or numbers to know more about the",
                 "      topics listed on your screen.",
                 "Press [q] to quit"),
    "menu": ("Press the corresponding numbers to know more about the topics",
             "      listed on your screen.",
             "Press [q] to quit,  [p] for Previous Menu"),
    "text": (" " * 7 + "[n] - Next Page", *QUIT_ROWS),
    "last page": ("", *QUIT_ROWS),
}


def path_to(number):
    """The keys that lead from the contents page to a window."""
    parent = WINDOWS[number].parent
    if parent is None:
        return ""
    key = next(key for key, target in WINDOWS[parent].keys.items() if target == number)
    return path_to(parent) + key


def screen_lines(data):
    """The bytes of a file as the lines of the screen: a line that is too long goes on below."""
    lines = []
    while data:
        end = data.find(b"\n", 0, READ_LIMIT) + 1
        taken = data[:end or READ_LIMIT]
        lines.append(taken.decode("latin-1").removesuffix("\n"))
        data = data[len(taken):]
    return lines


def pages(data):
    """The pages of a file, each of 17 lines; no empty page stands at the end."""
    lines = screen_lines(data)[:PAGES * PAGE_LINES]
    while lines and not lines[-1].strip():
        lines.pop()
    found = [lines[at:at + PAGE_LINES] for at in range(0, len(lines), PAGE_LINES)] or [[]]
    found[-1] = found[-1] + [""] * (PAGE_LINES - len(found[-1]))
    return found


def read_help(name, folder=PLACE):
    with open(os.path.join(folder, name), "rb") as source:
        return source.read()


def place_help(**files):
    """The delivered files at their place, and over them files(name without .txt=bytes)."""
    shutil.rmtree(PLACE, ignore_errors=True)
    shutil.copytree(SOURCE, PLACE)
    for name, data in files.items():
        with open(os.path.join(PLACE, name + ".txt"), "wb") as target:
            target.write(data)


def paint(number, page=0, data=None, rows=25, cols=80):
    """The picture of a page of a window; data is its file's content, if it is not in place."""
    canvas = Canvas(rows, cols)
    shown = pages(read_help(WINDOWS[number].file) if data is None else data)
    for line, text in enumerate(shown[page]):
        canvas.write(TEXT_ROW + line, TEXT_COLUMN, text)
    canvas.write(0, 1, TITLE)
    canvas.draw_box(2, 20)
    kind = "contents" if number == CONTENTS else "menu" if number in MENUS else "text"
    if kind == "text" and page == len(shown) - 1:
        kind = "last page"
    for line, text in enumerate(FOOTERS[kind]):
        canvas.write(FOOTER_ROW + line, FOOTER_COLUMN, text)
    return canvas


def check(screen, number, page=0, data=None):
    """The whole picture, and nothing in reverse."""
    canvas = paint(number, page, data, screen.rows, screen.cols)
    canvas.check(screen, f"window {number}, page {page}:")
