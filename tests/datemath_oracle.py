#!/usr/bin/env python3
"""Writes date arithmetic cases for test_datemath, worked out by Python's
datetime and calendar modules. Step lines:
  S year month day hour minute second op count unit  year month day hour minute second
where op is + or - and unit the unit code (0 none, 1 day, 2 month, 4 year,
8 hour, 16 minute, 32 second). Difference lines:
  D year month day hour minute second  year month day hour minute second  days
The cases are random (seeded), with dates drawn near month ends and year
ends as often as anywhere else, and results kept inside the years 1 to 9999.
"""
import calendar
import datetime
import random
import sys

# The count's range for each unit.
SCALES = {0: 4000, 1: 4000, 2: 400, 4: 40, 8: 100000, 16: 5000000, 32: 300000000}


def step(t, n, unit):
    """Months and years move the year by whole years and clip the day to
    the new month's last day; the time of day stays."""
    if unit in (2, 4):
        index = t.year * 12 + t.month - 1 + (n if unit == 2 else 12 * n)
        year, month = index // 12, index % 12 + 1
        return t.replace(year=year, month=month, day=min(t.day, calendar.monthrange(year, month)[1]))
    seconds = {0: 86400, 1: 86400, 8: 3600, 16: 60, 32: 1}[unit]
    return t + datetime.timedelta(seconds=n * seconds)


def random_time(rng):
    year, month = rng.randint(1, 9999), rng.randint(1, 12)
    last = calendar.monthrange(year, month)[1]
    kind = rng.random()
    if kind < 0.3:
        day = last - rng.randint(0, 2)  # month ends
    elif kind < 0.4:
        month, day = rng.choice(((12, 31), (1, 1), (2, 28), (2, 29) if calendar.isleap(year) else (3, 1)))
    else:
        day = rng.randint(1, last)
    edge = rng.random() < 0.3
    hour = rng.choice((0, 23)) if edge else rng.randint(0, 23)
    minute = rng.choice((0, 59)) if edge else rng.randint(0, 59)
    second = rng.choice((0, 59)) if edge else rng.randint(0, 59)
    return datetime.datetime(year, month, day, hour, minute, second)


def fields(t):
    return "%d %d %d %d %d %d" % (t.year, t.month, t.day, t.hour, t.minute, t.second)


def main():
    rng = random.Random(3600)
    lines = []
    while len(lines) < 4000:
        t = random_time(rng)
        unit = rng.choice((0, 1, 2, 4, 8, 16, 32))
        small = rng.randint(-40, 40)
        n = small if rng.random() < 0.5 else rng.randint(-SCALES[unit], SCALES[unit])
        op = rng.choice("+-")
        try:
            r = step(t, n if op == "+" else -n, unit)
        except (OverflowError, ValueError):
            continue  # outside the years 1 to 9999
        lines.append("S %s %s %d %d %s" % (fields(t), op, n, unit, fields(r)))
    while len(lines) < 5000:
        a, b = random_time(rng), random_time(rng)
        if rng.random() < 0.5:
            try:
                b = a + datetime.timedelta(minutes=rng.randint(-3000, 3000))
            except OverflowError:
                continue
        lines.append("D %s %s %d" % (fields(a), fields(b), (a.date() - b.date()).days))
    with open(sys.argv[1], "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
