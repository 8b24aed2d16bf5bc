"""The outage of docs/pictures: a screen in its moments, and below it what the daemon says."""

import collections
import re
import textwrap

import svg
import tolvd
from scenes import WARNING, Stage, is_lit, lights, shows, take_local
from waiting import LIMIT, wait_until

# A moment of the outage: what was said before it, the battery's level in percent, what the screen
# has to show, and the seconds for which the picture shows it. Alarms stand out in every second
# pass of the screen, and so in every second moment.
Moment = collections.namedtuple("Moment", "said battery holds seconds")


def is_dark(frame):
    """Whether the alarms are there, but not in standout."""
    return shows("AC FAILS", WARNING)(frame) and not is_lit(frame, "AC FAILS")


OPENED = "the line .* is open"
IN_A_MINUTE, IN_30_SECONDS, IN_10_SECONDS = (
    f"to all users: .* in {time} " for time in ("1 minute", "30 seconds", "10 seconds"))
LOW = "the battery is low"
GOES_DOWN = "the system goes down now"
CALLED = "called: /sbin/shutdown -h now"

ALARM = lights("AC FAILS", WARNING)
BOTH_ALARMS = lights("AC FAILS", "BAT. LOW", WARNING)

MOMENTS = (
    Moment(OPENED, 100, shows("Input AC Power :    Normal"), 3),
    Moment(IN_A_MINUTE, 100, ALARM, 1.5),
    Moment(IN_A_MINUTE, 88, is_dark, 1),
    Moment(IN_A_MINUTE, 76, ALARM, 1),
    Moment(IN_30_SECONDS, 60, is_dark, 1.5),
    Moment(IN_30_SECONDS, 47, ALARM, 1),
    Moment(IN_30_SECONDS, 34, is_dark, 1),
    Moment(LOW, 20, BOTH_ALARMS, 1.5),
    Moment(LOW, 15, is_dark, 1),
    Moment(IN_10_SECONDS, 11, BOTH_ALARMS, 2),
    Moment(CALLED, 8, is_dark, 6),
)
SHORTEST = {"ac_fail_delay": 1, "batt_low_delay": 1}  # minutes
LONGEST = {"ac_fail_delay": 1440, "batt_low_delay": 10}
STILL = 1  # the moment that is shown where nothing moves
TITLE = "An outage: the local status screen, and below it what the daemon says"
TEXT = (
    "The mains are good. They fail: AC FAILS and the warning System is About to Shut Down blink, "
    "and the daemon says that the system is shut down in 1 minute. The battery's bar gets "
    "shorter, the battery is low, the daemon tells of 30 and of 10 seconds left, tells the UPS "
    "to turn off, and calls shutdown.")

SCREEN_ROWS = 24  # the terminal's last row is empty
LOG_ROWS = 9
LOG_HEAD = " What the daemon says:"


def read_calls():
    """What the daemon called: the moment and the words of each."""
    return [(call.at, f"to all users: {call.words}" if call.name == "wall" else
             f"called: /sbin/{call.name} {call.words}") for call in tolvd.recorded()]


def read_said(daemon):
    """The daemon's log and what it called, oldest first."""
    # A recorder's time is cut to hundredths: what is called comes after what announces it.
    calls = [(at + 0.01, text) for at, text in read_calls()]
    return [text for _, text in sorted([(line.at, line.text) for line in daemon.log] + calls)]


def wait_said(daemon, pattern):
    wait_until(lambda: any(re.search(pattern, line) for line in read_said(daemon)), 2 * LIMIT,
               f"{pattern!r} among what the daemon says")


def wrap_lines(lines):
    """The lines as rows of the picture."""
    return [row for line in lines for row in textwrap.wrap(line, 76, subsequent_indent="  ")]


def put_below(frame, rows):
    """The frame without its last row, and below it the last of these rows."""
    log = [f"  {row}" for row in rows[-LOG_ROWS:]] + [""] * LOG_ROWS
    shown = [row.ljust(80) for row in [LOG_HEAD, *log[:LOG_ROWS]]]
    marks = [set(range(80))] + [set()] * LOG_ROWS
    return svg.Frame(frame.rows[:SCREEN_ROWS] + shown, frame.standout[:SCREEN_ROWS] + marks, None)


def is_reported(ups):
    """Whether the daemon has handed on what the UPS reads now."""
    state = ups.state()
    try:
        with open(tolvd.REPLIES[0], encoding="ascii") as source:
            reply = source.read().split()
    except FileNotFoundError:  # lost for a moment, on a machine that stood still
        return False
    mains_failed = str(int(state["mains"] == "off"))
    return reply[5] == f"{float(state['battery_voltage']):04.1f}" and reply[7][0] == mains_failed


def play(stage, is_awaited):
    """Yields for each moment of an outage its frame and what the daemon said up to then.

    is_awaited: the daemon's words are waited for. Otherwise it has more patience than the screen
    tells of, which reads the settings by itself, and the frames come as soon as they can.
    """
    tolvd.empty_the_world()
    ups = stage.serial()
    stage.settings(comm_mode=0, **(SHORTEST if is_awaited else LONGEST))
    daemon = stage.daemon()
    stage.settings(comm_mode=0, **SHORTEST)
    screen = stage.screen("local")
    for moment in MOMENTS:
        if moment is not MOMENTS[0]:
            ups.mains("fail")
        ups.battery(moment.battery)
        if is_awaited:
            wait_said(daemon, moment.said)
        wait_until(lambda: is_reported(ups), what="the reply file")
        screen.press("r")
        yield take_local(screen, moment.holds), read_said(daemon)


def paint():
    """The whole outage as a moving picture; it takes as long as the daemon's shortest delay."""
    with Stage() as stage:
        frames = [put_below(frame, wrap_lines(said)) for frame, said in play(stage, True)]
    return svg.PaintMoving(frames, [moment.seconds for moment in MOMENTS], STILL,
                           TITLE, TEXT)
