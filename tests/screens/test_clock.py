"""The time of day set while a screen runs, from 1970 to 2040: the date line shows what clocks show,
daylight saving both ways included, the local screen what is next there, and the passes go on."""

import calendar

import pytest

from local_painter import LEFT_VALUES, WARNING_COLUMN, WARNING_ROW
from local_watch import open_watch  # noqa: F401
from remote_painter import WARNING
from screens import COMMANDS, open_screen
from settings import Settings
from tolvd import preloaded

ZONE = "CET-1CEST,M3.5.0,M10.5.0/3"
# Sunday first: when the system starts and when it is shut down.
SCHEDULE = [[-1, -1, 2, 30], [7, 0, -1, -1], [-1] * 4, [-1, -1, 22, 0], [6, 30, -1, -1],
            [-1] * 4, [-1] * 4]
SUNDAY, WEDNESDAY = ("Sun. 02:30", "Mon. 07:00"), ("Wed. 22:00", "Thu. 06:30")
# The moments in universal time, what clocks show there, the next shutdown and start. A Sunday
# without the hour from two to three has its event all the same, and one with two of them has two.
MOMENTS = [((1970, 1, 1, 0, 0), "1970-01-01, 01:00 Thu.", SUNDAY),
           ((2026, 3, 29, 0, 59), "2026-03-29, 01:59 Sun.", SUNDAY),
           ((2026, 3, 29, 1, 0), "2026-03-29, 03:00 Sun.", WEDNESDAY),
           ((2026, 10, 25, 0, 59), "2026-10-25, 02:59 Sun.", WEDNESDAY),
           ((2026, 10, 25, 1, 0), "2026-10-25, 02:00 Sun.", SUNDAY),
           ((2026, 10, 25, 1, 26), "2026-10-25, 02:26 Sun.", SUNDAY),
           ((2038, 1, 19, 3, 14), "2038-01-19, 04:14 Tue.", WEDNESDAY),
           ((2040, 2, 29, 12, 0), "2040-02-29, 13:00 Wed.", WEDNESDAY),
           ((1999, 12, 31, 22, 59), "1999-12-31, 23:59 Fri.", SUNDAY)]
DUE = (2026, 10, 25, 1, 26)  # less than five minutes before
NO_DATE = ("help",)
TRIES = 3  # on a machine that may stand still until the minute is over


@pytest.mark.parametrize("name", [name for name in COMMANDS if name not in NO_DATE])
def test_the_date_line_shows_what_clocks_show(start, weather, name):
    screen = open_screen(start, name, env={**preloaded("short_waits"), "TZ": ZONE})

    def Show(moment):
        weather.set_clock(calendar.timegm((*moment, 1)))
        screen.press("r")
        return screen.cells(1, 55, len("2026-11-22, 05:52 Sun."))

    for moment, shown, _ in MOMENTS:
        assert any(Show(moment) == shown for _ in range(TRIES)), screen.row(1)
        passes = weather.passes()
        screen.press("  ")
        assert weather.passes() > passes
    screen.send("q")
    assert screen.wait_exit() >= 0


def test_the_local_screen_shows_what_is_next_on_the_clock_that_was_set(open_watch, weather):
    watch = open_watch(Settings(comm_mode=0, schedule_on=1, schedule=SCHEDULE),
                       env={**preloaded("short_waits"), "TZ": ZONE})
    screen = watch.screen

    def Show(moment):
        weather.set_clock(calendar.timegm((*moment, 1)))
        watch.tell("010")  # without it at one of the next twelve passes
        watch.press(present=True)
        return [screen.cells(*LEFT_VALUES[name][:2], len("Sun. 02:30"))
                for name in ("next_shutdown", "next_power_on")]

    for moment, _, events in MOMENTS:
        assert any(Show(moment) == [*events] for _ in range(TRIES)), screen.picture()
        warning = screen.cells(WARNING_ROW, WARNING_COLUMN, len(WARNING))
        assert warning == (WARNING if moment == DUE else " " * len(WARNING))
