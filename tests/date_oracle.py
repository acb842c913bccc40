#!/usr/bin/env python3
"""Writes calendar cases for test_dates with Python's datetime. Lines, tab-separated:
year month day hour minute second julian-day weekday-name month-name default-text (the
date and time as m/d/yyyy h:mm:ss AM/PM). Seeded random dates over the years 1 to 9999,
and the first and last days of every month of years around century and leap boundaries."""
import calendar
import datetime
import locale
import random
import sys

JULIAN_OFFSET = 1721425  # toordinal() of a date plus this is its Julian Day Number


def line(d, hour, minute, second):
    t = datetime.datetime(d.year, d.month, d.day, hour, minute, second)
    text = "%d/%d/%04d %d:%s" % (d.month, d.day, d.year, int(t.strftime("%I")), t.strftime("%M:%S %p"))
    return "\t".join(str(v) for v in (d.year, d.month, d.day, hour, minute, second,
                                      d.toordinal() + JULIAN_OFFSET, t.strftime("%A"), t.strftime("%B"), text))


def main():
    locale.setlocale(locale.LC_TIME, "C")
    rng = random.Random(40)
    first, last = datetime.date(1, 1, 1).toordinal(), datetime.date(9999, 12, 31).toordinal()
    dates = [datetime.date.fromordinal(rng.randint(first, last)) for _ in range(4000)]
    for year in (1, 4, 100, 1600, 1700, 1899, 1900, 1999, 2000, 2001, 2004, 2100, 2400, 9999):
        for month in range(1, 13):
            dates += [datetime.date(year, month, 1), datetime.date(year, month, calendar.monthrange(year, month)[1])]
    with open(sys.argv[1], "w") as out:
        for d in dates:
            out.write(line(d, rng.randint(0, 23), rng.randint(0, 59), rng.randint(0, 59)) + "\n")


if __name__ == "__main__":
    main()
