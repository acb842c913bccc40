#!/usr/bin/env python3
# Reference cases for the evaluator, seeded: random formulas of + - * / on
# number literals worked out by decimal (40 digits, half-even at every step),
# and date literals moved by days, months or years, or subtracted, worked out
# by datetime. Lines, tab-separated: "N formula sign digits exponent" (the
# value sign * digits * 10^exponent, or "0"), "D formula year month day".
import calendar
import datetime
import random
import sys
from decimal import Context, Decimal, ROUND_HALF_EVEN

CTX = Context(prec=40, rounding=ROUND_HALF_EVEN, Emax=999999, Emin=-999999)
PRECEDENCE = {'+': 1, '-': 1, '*': 2, '/': 2}

def literal(rng):
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
        return literal(rng) + (3,)
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
    sign, digits, exponent = value.normalize(CTX).as_tuple()
    return 'N\t%s\t%s' % (text, '%d %s %d' % (sign, ''.join(map(str, digits)), exponent) if value else '0')

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
    step = n if op == '+' else -n
    if unit.startswith('M'):
        w = d.month - 1 + step
        year, month = d.year + w // 12, w % 12 + 1
        result = datetime.date(year, month, min(d.day, calendar.monthrange(year, month)[1]))
    elif unit.startswith('Y'):
        result = d.replace(year=d.year + step)
    else:
        result = d + datetime.timedelta(days=step)
    count = str(n) if n >= 0 else '(' + str(n) + ')'
    text = '%s %s %s %s' % (show(d), op, count, unit)
    return 'D\t%s\t%d %d %d' % (text.strip(), result.year, result.month, result.day)

def main():
    rng = random.Random(20010131)
    lines = [number_line(*formula(rng, rng.randint(1, 5))[:2]) for _ in range(3000)]
    lines += [date_line(rng) for _ in range(1500)]
    for _ in range(500):
        a, b = random_date(rng), random_date(rng)
        lines.append(number_line('%s - %s' % (show(a), show(b)), Decimal((a - b).days)))
    with open(sys.argv[1], 'w') as out:
        out.write('\n'.join(lines) + '\n')

if __name__ == '__main__':
    main()
