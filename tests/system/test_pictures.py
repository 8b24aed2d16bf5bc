"""docs/pictures against what the programs draw, but for the date and the machine's name."""

import difflib
import os
import re
import xml.etree.ElementTree

import pytest

import outage
import scenes
import svg
import tolvd
from outage import GOES_DOWN, IN_A_MINUTE, LOW, MOMENTS, OPENED, SCREEN_ROWS, SHORTEST
from scenes import SCENES, Stage
from world import ROOT, wait_until

FOLDER = os.path.join(ROOT, "docs", "pictures")
NAMESPACE = "{http://www.w3.org/2000/svg}"


def committed(name):
    with open(os.path.join(FOLDER, name + ".svg"), encoding="ascii") as source:
        return source.read()


def compare(name, there, drawn):
    """Lines of a picture against those that were drawn; says what to do when they differ."""
    found = "\n".join(difflib.unified_diff(there, drawn, "committed", "drawn", "", "", 0, ""))
    assert not found, (f"docs/pictures/{name}.svg does not match what the program draws; "
                       f"if the program is right, run: tools/pictures {name}\n{found}")


def check(name):
    compare(name, committed(name).splitlines(), scenes.paint(name).splitlines())


@pytest.mark.parametrize("name", ["remote-rest", "remote-failed"])
def test_the_remote_screen_is_drawn_as_in_its_pictures(name):
    check(name)


@pytest.mark.parametrize("name", ["local-rest", "local-failed"])
def test_the_local_screen_of_a_serial_ups_is_drawn_as_in_its_pictures(name):
    check(name)


@pytest.mark.parametrize("name", ["local-agent", "information"])
def test_the_local_screen_of_an_agent_is_drawn_as_in_its_pictures(name):
    check(name)


@pytest.mark.parametrize("name", ["opening", "editor", "editor-agent", "editor-schedule"])
def test_the_opening_screen_and_the_editor_are_drawn_as_in_their_pictures(name):
    check(name)


@pytest.mark.parametrize("name", ["command-agent", "command-serial", "command-pending"])
def test_the_command_center_is_drawn_as_in_its_pictures(name):
    check(name)


@pytest.mark.parametrize("name", ["help-contents", "help-page"])
def test_the_help_viewer_is_drawn_as_in_its_pictures(name):
    check(name)


# --- the outage --------------------------------------------------------------------------


def row_of(line):
    """The row of the picture that an element stands in."""
    return (int(re.search(r' y="(\d+)"', line)[1]) - svg.MARGIN) // svg.CELL_HEIGHT


def in_order(lines):
    """The elements of the screen alone, each row's in a fixed order."""
    return sorted((line for line in lines if row_of(line) < SCREEN_ROWS),
                  key=lambda line: (row_of(line), line))


def committed_frames():
    """The elements of each frame of the moving picture, those that all frames share with them."""
    shared, *groups = re.split(r'<g class="f" id="f\d+">\n', committed("outage").partition(
        "</style>\n")[2].partition("\n")[2])
    return [(shared + group.partition("</g>")[0]).splitlines() for group in groups]


def said_in(lines):
    """The rows of the daemon's words in a frame."""
    log = [line for line in lines if row_of(line) > SCREEN_ROWS]
    return [xml.etree.ElementTree.fromstring(line).text for line in log]


def rows_from(rows, text):
    """The rows from the first one that holds this text; none while there is none."""
    return rows[next((at for at, row in enumerate(rows) if text in row), len(rows)):]


def is_said(rows, logged, called):
    """Whether the rows tell what was logged, in its order, and what was called, in any: who is
    called may be slow."""
    logged, called = ([[row.strip() for row in outage.wrap_lines([line])] for line in kind]
                      for kind in (logged, called))
    while rows:
        told = next((said for said in logged[:1] + called if rows[:len(said)] == said), None)
        if told is None:
            return False
        (logged if told in logged[:1] else called).remove(told)
        rows = rows[len(told):]
    return True


def wait_said(daemon, rows, logged_from=""):
    """Waits until the daemon has said all that these rows tell, its log from this text on."""
    def IsSaid():
        logged = [line.text for line in daemon.log]
        called = [text for _, text in outage.read_calls()]
        return is_said(rows, rows_from(logged, logged_from), called)
    wait_until(IsSaid, what="\n".join(rows), describe=daemon.report)


def test_an_outage_is_drawn_as_in_its_moving_picture():
    there = committed_frames()
    assert len(there) == len(MOMENTS)
    with Stage() as stage:
        for lines, (frame, _) in zip(there, outage.play(stage, False)):
            drawn = svg.PaintFrame(frame._replace(cursor=None)).splitlines()
            compare("outage", in_order(lines), in_order(drawn))


def test_an_outage_begins_in_the_words_of_its_moving_picture():
    shown = [said_in(lines) for lines, moment in zip(committed_frames(), MOMENTS)
             if moment.said in (OPENED, IN_A_MINUTE)]
    with Stage() as stage:
        ups = stage.serial()
        stage.settings(comm_mode=0, **SHORTEST)
        daemon = stage.daemon()
        ups.mains("fail")
        for rows in shown:
            wait_said(daemon, rows)


def test_an_outage_ends_in_the_words_of_its_moving_picture():
    there = [said_in(lines) for lines in committed_frames()]
    last = rows_from(there[-1], GOES_DOWN)
    with Stage() as stage:
        ups = stage.serial()
        ups.mains("fail")
        ups.battery(15)
        stage.settings(comm_mode=0, **SHORTEST)
        tolvd.leave_outage(55)
        daemon = stage.daemon()
        wait_said(daemon, last, GOES_DOWN)
        low = {row for rows in there for row in rows if LOW in row}
        assert low and all(daemon.lines(re.escape(row)) for row in low)


# --- the files ---------------------------------------------------------------------------


def test_there_is_a_picture_of_each_scene_and_no_other():
    names = {os.path.splitext(name)[0] for name in os.listdir(FOLDER)}
    assert names == {*SCENES, "outage"}


@pytest.mark.parametrize("name", [*SCENES, "outage"])
def test_a_picture_is_small_and_tells_what_it_shows(name):
    text = committed(name)
    assert len(text) < (200_000 if name == "outage" else 20_000)
    picture = xml.etree.ElementTree.fromstring(text)
    assert picture.get("role") == "img"
    ids = {part.get("id"): part.text for part in picture if part.tag in (
        NAMESPACE + "title", NAMESPACE + "desc")}
    assert [bool(ids[label]) for label in picture.get("aria-labelledby").split()] == [True, True]
    assert not re.search(r"<script|href|url\(|@import|<image", text)


def test_each_picture_stands_in_the_page_of_the_screens():
    with open(os.path.join(ROOT, "docs", "screens.md"), encoding="utf-8") as source:
        shown = re.findall(r"!\[[^\]]+\]\(pictures/([a-z-]+)\.svg\)", source.read())
    assert sorted(shown) == sorted([*SCENES, "outage"])
