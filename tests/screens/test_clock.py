"""The time of day set while a screen runs, from 1970 to 2040: the date line shows what clocks show,
daylight saving both ways included, and the passes go on as ever."""

import calendar
import time

import pytest

import world
from screens import COMMANDS, open_screen
from tolvd import preloaded

ZONE = "CET-1CEST,M3.5.0,M10.5.0/3"
# The moments in universal time, and what clocks show there.
MOMENTS = [((1970, 1, 1, 0, 0), "1970-01-01, 01:00 Thu."),
           ((2026, 3, 29, 0, 59), "2026-03-29, 01:59 Sun."),
           ((2026, 3, 29, 1, 0), "2026-03-29, 03:00 Sun."),
           ((2026, 10, 25, 0, 59), "2026-10-25, 02:59 Sun."),
           ((2026, 10, 25, 1, 0), "2026-10-25, 02:00 Sun."),
           ((2038, 1, 19, 3, 14), "2038-01-19, 04:14 Tue."),
           ((2040, 2, 29, 12, 0), "2040-02-29, 13:00 Wed."),
           ((1999, 12, 31, 22, 59), "1999-12-31, 23:59 Fri.")]
NO_DATE = ("help",)
TRIES = 3  # on a machine that may stand still until the minute is over


@pytest.mark.parametrize("name", [name for name in COMMANDS if name not in NO_DATE])
def test_the_date_line_shows_what_clocks_show(start, weather, name):
    screen = open_screen(start, name, env={**preloaded("short_waits"), "TZ": ZONE})

    def Show(moment):
        weather.shift_clock(calendar.timegm((*moment, 1)) - int(time.time()))
        screen.press("r")
        return screen.cells(1, 55, len("2026-11-22, 05:52 Sun."))

    for moment, shown in MOMENTS:
        assert any(Show(moment) == shown for _ in range(TRIES)), screen.row(1)
        passes = weather.passes()
        screen.press("  ")
        assert weather.passes() > passes
    screen.send("q")
    assert screen.wait_exit() >= 0
