"""Row 1 of every screen: the maker's notice, whose wording is free, and the date."""

import time

WEEK_DAYS = ("Mon.", "Tue.", "Wed.", "Thu.", "Fri.", "Sat.", "Sun.")
DATE_COLUMN = 55  # the 22 characters end before column 77
DATE_WIDTH = 22


def date_text(seconds):
    local = time.localtime(seconds)
    return time.strftime("%Y-%m-%d, %H:%M ", local) + WEEK_DAYS[local.tm_wday]


def notice_row(shown, cols, moments):
    """Row 1 as it ought to be: a notice as it is shown, and the date of one of the moments."""
    dates = [date_text(moment) for moment in moments]
    date = shown[DATE_COLUMN:DATE_COLUMN + DATE_WIDTH]
    if date not in dates:
        date = dates[0]
    return " " + shown[1:DATE_COLUMN] + date + " " * (cols - DATE_COLUMN - DATE_WIDTH)
