"""Row 1 of every screen: the maker's notice and the date."""

import time

NOTICE = "WardenLink, the UPS console for Linux"
WEEK_DAYS = ("Mon.", "Tue.", "Wed.", "Thu.", "Fri.", "Sat.", "Sun.")
DATE_COLUMN = 55  # the 22 characters end before column 77
DATE_WIDTH = 22

CLOCK_REALTIME_COARSE = 5


def wall_clock():
    """The seconds as the programs see them: the C library's time() is a tick behind Python's."""
    return time.clock_gettime(CLOCK_REALTIME_COARSE)


def date_text(seconds):
    local = time.localtime(seconds)
    return time.strftime("%Y-%m-%d, %H:%M ", local) + WEEK_DAYS[local.tm_wday]


def dates_between(first, last):
    """The dates of every minute between two moments, the last one first."""
    count = int((last - first) // 30) + 1
    return [date_text(last - 30 * step) for step in range(count)] + [date_text(first)]


def notice_row(shown, cols, first, last):
    """Row 1 as it ought to be when it was written between two moments; `shown` tells which of
    those minutes it was."""
    dates = dates_between(first, last)
    date = shown[DATE_COLUMN:DATE_COLUMN + DATE_WIDTH]
    if date not in dates:
        date = dates[0]
    return f" {NOTICE}".ljust(DATE_COLUMN) + date.ljust(cols - DATE_COLUMN)
