#!/usr/bin/env python3
"""Writes date arithmetic cases for test_datemath with Python's datetime and calendar.
Steps "S y m d h m s op count unit  y m d h m s" (op + or -, unit 0 none, 1 day, 2 month,
4 year, 8 hour, 16 minute, 32 second); differences "D y m d h m s  y m d h m s  days".
Seeded; dates near month and year ends as often as anywhere, results in years 1 to 9999."""
import calendar
import datetime
import random
import sys

SCALES = {0: 4000, 1: 4000, 2: 400, 4: 40, 8: 100000, 16: 5000000, 32: 300000000}  # counts' ranges


def step(t, n, unit):
    """Months and years clip the day to the new month's last day; the time stays."""
    if unit in (2, 4):
        index = t.year * 12 + t.month - 1 + (n if unit == 2 else 12 * n)
        year, month = index // 12, index % 12 + 1
        return t.replace(year=year, month=month, day=min(t.day, calendar.monthrange(year, month)[1]))
    return t + datetime.timedelta(seconds=n * {0: 86400, 1: 86400, 8: 3600, 16: 60, 32: 1}[unit])


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
    hms = [rng.choice((0, top)) if edge else rng.randint(0, top) for top in (23, 59, 59)]
    return datetime.datetime(year, month, day, *hms)


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
            lines.append("S %s %s %d %d %s" % (fields(t), op, n, unit, fields(step(t, n if op == "+" else -n, unit))))
        except (OverflowError, ValueError):
            continue  # outside the years 1 to 9999
    while len(lines) < 5000:
        a, b = random_time(rng), random_time(rng)
        try:
            b = a + datetime.timedelta(minutes=rng.randint(-3000, 3000)) if rng.random() < 0.5 else b
        except OverflowError:
            continue
        lines.append("D %s %s %d" % (fields(a), fields(b), (a.date() - b.date()).days))
    with open(sys.argv[1], "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
