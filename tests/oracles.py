#!/usr/bin/env python3
"""Reference cases worked out by Python's decimal, datetime and calendar, seeded: oracles.py KIND OUT.
number: "op a b want", op add sub mul div cmp round trunc; a, b "[-]d.dddE[+-]x" (b: the places for round
and trunc); want "null", "0", "[-]digitsE<exp>" without trailing zeros, or -1, 0, 1 for cmp.
eval: "N formula value" (+ - * / on literals, 40 digits half-even at each step; plain digits) or
"D formula y-m-d 0:0:0" (a date moved by days, months or years), tab-separated.
datemath: "S y m d h m s op count unit  y m d h m s" (unit 0 none, 1 day, 2 month, 4 year, 8 hour,
16 minute, 32 second) and "D y m d h m s  y m d h m s  days"; years 1 to 9999, month and year ends often.
date: tab-separated y m d h m s julian-day weekday month default-text (m/d/yyyy h:mm:ss AM/PM), for
random dates and the first and last days of each month of years around century and leap rules."""
import calendar
import datetime
import locale
import random
import sys
from decimal import Context, Decimal, ROUND_DOWN, ROUND_HALF_EVEN, ROUND_HALF_UP

TOP_MAX, TOP_MIN = 300, -300
# Overflow gives Infinity through Emax; underflow is checked after rounding.
ARITH = Context(prec=40, rounding=ROUND_HALF_EVEN, Emax=TOP_MAX, Emin=-999999, traps=[])
WIDE = Context(prec=3000, Emax=999999, Emin=-999999, traps=[])

def canonical(x):
    if x.is_infinite() or (not x.is_zero() and x.adjusted() > TOP_MAX):
        return "null"
    if x.is_zero() or x.adjusted() < TOP_MIN:
        return "0"
    sign, digits, exponent = x.as_tuple()
    text = "".join(map(str, digits))
    stripped = text.rstrip("0")
    return ("-" if sign else "") + stripped + "E" + str(exponent + len(text) - len(stripped))

def literal(x):
    sign, digits, _ = x.as_tuple()
    text, top = "".join(map(str, digits)), x.adjusted()
    return "%s%s.%sE%s%d" % ("-" if sign else "", text[0], text[1:] or "0", "-" if top < 0 else "+", abs(top))

def make(digits, top, negative):
    return Decimal("%s%s.%sE%d" % ("-" if negative else "", digits[0], digits[1:] or "0", top))

def coefficient(rng, count):
    kind = rng.random()
    if kind < 0.3:  # nines, 10...01, fives
        return ["9" * count, "1" + "0" * (count - 2) + ("1" if count > 1 else ""), "5" * count][int(kind * 10)]
    return str(rng.randint(1, 9)) + "".join(str(rng.randint(0, 9)) for _ in range(count - 1))

def some_top(rng):
    kind = rng.random()
    if kind < 0.75:
        return rng.randint(-12, 12) if kind < 0.55 else rng.randint(-60, 60)
    if kind < 0.92:
        return rng.randint(TOP_MIN, TOP_MAX)
    return rng.choice([TOP_MAX, TOP_MAX - 1, TOP_MIN, TOP_MIN + 1, 150, -150])

def operand(rng, top=None):
    top = max(TOP_MIN, min(TOP_MAX, some_top(rng) if top is None else top))
    count = rng.choice([1, 1, 2, 3, 5, 8, 12, 17, 20, 25, 33, 39, 40, 40, 40, 40])
    return make(coefficient(rng, count), top, rng.random() < 0.5)

def near(rng, a):
    """Close to a (cancellation), or around the digit where a sum's rounding is decided."""
    if rng.random() >= 0.3:
        return operand(rng, a.adjusted() - rng.randint(0, 90))
    sign, digits, exponent = a.as_tuple()
    keep = rng.randint(0, len(digits))
    tail = [rng.randint(0, 9) for _ in range(rng.randint(0, 40 - keep))]
    new = (list(digits[:keep]) + tail) or [1]
    value = Decimal((rng.choice([0, 1]), tuple(new), exponent - len(tail) + (len(digits) - keep)))
    if value.is_zero() or not (TOP_MIN <= value.adjusted() <= TOP_MAX) or len(value.as_tuple().digits) > 40:
        return operand(rng)
    return value

def tie_hidden_below_sum(rng):
    """A 40-digit value, even at its end, and an addend whose leading 5 sits just below that end with the
    rest of it far down: only that rest says the sum is not a tie."""
    a = make(coefficient(rng, 39) + rng.choice("02468"), rng.randint(-20, 20), rng.random() < 0.5)
    b = make("5" + "0" * rng.randint(6, 30) + "1", a.adjusted() - 40, rng.random() < 0.5)
    return a, b

def pair_for_sum(rng):
    if rng.random() < 0.04:
        return tie_hidden_below_sum(rng)
    a = operand(rng)
    b = near(rng, a) if rng.random() < 0.6 else operand(rng)
    return (a, b) if rng.random() < 0.5 else (b, a)

def odd40(rng):
    """An odd 40-digit coefficient: times 5 or over 2 it ends in a tie."""
    digits = coefficient(rng, 40)[:-1] + rng.choice("13579")
    return make(digits, rng.randint(-20, 20), rng.random() < 0.5)

def pair_for_product(rng):
    a = operand(rng)
    if rng.random() < 0.15:
        return odd40(rng), Decimal(rng.choice(["5", "-5", "0.5", "5E+10"]))
    return a, operand(rng)

def tie_hidden_below(rng):
    """k + m / (10^10 + 1) with 29-digit k: the digit deciding the rounding is
    a 5 with eight zeros behind it, so only the remainder says it is above the tie."""
    k = rng.randint(10 ** 28, 10 ** 29 - 1)
    m = 10 ** 10 - rng.randint(0, 9) * 10 ** 9 - 5 * 10 ** 8
    a = Decimal(k * (10 ** 10 + 1) + m).scaleb(rng.randint(-20, 20))
    b = Decimal(10 ** 10 + 1).scaleb(rng.randint(-20, 20))
    return a.copy_negate() if rng.random() < 0.5 else a, b

def pair_for_quotient(rng):
    kind = rng.random()
    if kind < 0.03:
        return tie_hidden_below(rng)
    if kind < 0.15:
        return odd40(rng), Decimal(rng.choice(["2", "-2", "2E-5", "8"]))
    if kind < 0.3:  # exact quotients
        b = operand(rng, rng.randint(-10, 10))
        a = WIDE.multiply(b, make(coefficient(rng, rng.randint(1, 20)), rng.randint(-10, 10), False))
        if len(a.as_tuple().digits) <= 40:
            return a, b
    if kind < 0.4:
        return operand(rng), Decimal(rng.choice(["3", "7", "-3", "9", "11", "1.1", "0.3"]))
    return operand(rng), operand(rng)

def places_for(rng, x):
    kind = rng.random()
    if kind < 0.6:  # around the number's own digits
        return rng.randint(-x.adjusted() - 2, -x.as_tuple().exponent + 2)
    return rng.randint(-5, 8) if kind < 0.8 else rng.randint(-320, 345)

def number_cases(path):
    rng = random.Random(40)
    with open(path, "w") as out:
        for op, pairs, fn in (("add", pair_for_sum, ARITH.add), ("sub", pair_for_sum, ARITH.subtract),
                              ("mul", pair_for_product, ARITH.multiply), ("div", pair_for_quotient, ARITH.divide)):
            for _ in range(800):
                a, b = pairs(rng)
                out.write("%s %s %s %s\n" % (op, literal(a), literal(b), canonical(fn(a, b))))
        for _ in range(600):
            a, b = pair_for_sum(rng)
            b = a if rng.random() < 0.1 else b
            out.write("cmp %s %s %d\n" % (literal(a), literal(b), int(WIDE.compare(a, b))))
        for op, rounding in (("round", ROUND_HALF_UP), ("trunc", ROUND_DOWN)):
            for _ in range(500):
                x = operand(rng)
                places = places_for(rng, x)
                want = x.quantize(Decimal((0, (1,), -places)), rounding=rounding, context=WIDE)
                out.write("%s %s %d %s\n" % (op, literal(x), places, canonical(want)))

CTX = Context(prec=40, rounding=ROUND_HALF_EVEN, Emax=999999, Emin=-999999)
PRECEDENCE = {'+': 1, '-': 1, '*': 2, '/': 2}

def formula_literal(rng):
    shape = rng.random()
    if shape < 0.35:
        text = str(rng.randint(0, 99999))
    elif shape < 0.7:
        text = '%d.%0*d' % (rng.randint(0, 9999), rng.randint(1, 6), rng.randint(0, 999999))
        text = text[:text.index('.') + 1 + rng.randint(1, 6)]
    elif shape < 0.85:
        text = str(rng.randint(10 ** 12, 10 ** 20))
    elif shape < 0.95:
        text = '0.' + '0' * rng.randint(0, 8) + str(rng.randint(1, 99999))
    else:
        text = '0'
    value = Decimal(text)
    if rng.random() < 0.2 and value != 0:
        return '(-' + text + ')', -value
    return text, value

def apply(op, a, b):
    if op == '/' and (a == 0 or b == 0):  # division by zero, either way round, is zero
        return Decimal(0)
    return {'+': CTX.add, '-': CTX.subtract, '*': CTX.multiply, '/': CTX.divide}[op](a, b)

def formula(rng, depth):
    """(text, value, precedence of the top operator, 3 for a leaf)"""
    if depth == 0 or rng.random() < 0.25:
        return formula_literal(rng) + (3,)
    op = rng.choice('+-*/')
    lt, lv, lp = formula(rng, depth - 1)
    rt, rv, rp = formula(rng, depth - 1)
    p = PRECEDENCE[op]
    if lp < p:  # operators group to the left: only a looser left side needs parentheses
        lt = '(' + lt + ')'
    if rp <= p or rng.random() < 0.1:
        rt = '(' + rt + ')'
    return lt + ' ' + op + ' ' + rt, apply(op, lv, rv), p

def number_line(text, value):
    return 'N\t%s\t%s' % (text, format(value.normalize(CTX), 'f') if value else '0')

def random_date(rng):
    return datetime.date(1950, 1, 1) + datetime.timedelta(days=rng.randint(0, 36500))

show = lambda d: '%d/%d/%d' % (d.month, d.day, d.year)
def date_line(rng):
    d = random_date(rng)
    unit = rng.choice(['', 'DAY', 'DAYS', 'MONTH', 'MONTHS', 'YEAR', 'YEARS'])
    limit = {'': 18000, 'D': 18000, 'M': 500, 'Y': 100}[unit[:1]]
    n = rng.randint(-limit, limit)
    if unit.startswith('Y') and d.month == 2 and d.day == 29:
        d = d.replace(day=28)  # the year step does not clip the day
    op = rng.choice('+-')
    result = step(d, n if op == '+' else -n, {'M': 2, 'Y': 4}.get(unit[:1], 1))
    count = str(n) if n >= 0 else '(' + str(n) + ')'
    text = '%s %s %s %s' % (show(d), op, count, unit)
    return 'D\t%s\t%d-%d-%d 0:0:0' % (text.strip(), result.year, result.month, result.day)

def eval_cases(path):
    rng = random.Random(20010131)
    lines = [number_line(*formula(rng, rng.randint(1, 5))[:2]) for _ in range(3000)]
    lines += [date_line(rng) for _ in range(1500)]
    for _ in range(500):
        a, b = random_date(rng), random_date(rng)
        lines.append(number_line('%s - %s' % (show(a), show(b)), Decimal((a - b).days)))
    with open(path, 'w') as out:
        out.write('\n'.join(lines) + '\n')

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

def datemath_cases(path):
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
    with open(path, "w") as out:
        out.write("\n".join(lines) + "\n")

JULIAN_OFFSET = 1721425  # toordinal() of a date plus this is its Julian Day Number

def date_cases(path):
    locale.setlocale(locale.LC_TIME, "C")
    rng = random.Random(40)
    first, last = datetime.date(1, 1, 1).toordinal(), datetime.date(9999, 12, 31).toordinal()
    dates = [datetime.date.fromordinal(rng.randint(first, last)) for _ in range(4000)]
    for year in (1, 4, 100, 1600, 1700, 1899, 1900, 1999, 2000, 2001, 2004, 2100, 2400, 9999):
        for month in range(1, 13):
            dates += [datetime.date(year, month, 1), datetime.date(year, month, calendar.monthrange(year, month)[1])]
    with open(path, "w") as out:
        for d in dates:
            t = datetime.datetime(d.year, d.month, d.day, *[rng.randint(0, top) for top in (23, 59, 59)])
            text = "%d/%d/%04d %d:%s" % (d.month, d.day, d.year, int(t.strftime("%I")), t.strftime("%M:%S %p"))
            row = fields(t).split() + [str(d.toordinal() + JULIAN_OFFSET), t.strftime("%A\t%B"), text]
            out.write("\t".join(row) + "\n")

if __name__ == "__main__":
    kinds = {"number": number_cases, "eval": eval_cases, "datemath": datemath_cases, "date": date_cases}
    kinds[sys.argv[1]](sys.argv[2])
