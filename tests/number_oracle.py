#!/usr/bin/env python3
"""Writes reference cases for the Number arithmetic, computed with Python's
decimal module as an independent oracle.

Usage: number_oracle.py OUTPUT

Each line is "op a b want":
  op     add sub mul div cmp round trunc
  a, b   operands as literals "[-]d.dddE[+-]x"; for round and trunc b is
         the count of places
  want   "null", "0", "[-]digitsE<exp>" with no trailing zero digit, or for
         cmp -1, 0 or 1

The rules mirrored here: 40 significant digits, half-even rounding, a result
whose leading digit lands above 10^300 after rounding is null, one below
10^-300 is zero; round is half away from zero, trunc toward zero.
The random generator is seeded, so every build writes the same cases.
"""
import random
import sys
from decimal import (Context, Decimal, ROUND_DOWN, ROUND_HALF_EVEN, ROUND_HALF_UP)

PRECISION = 40
TOP_MAX = 300
TOP_MIN = -300

# Overflow beyond 10^300 is caught by Emax (it gives Infinity); underflow
# is checked by hand after rounding, so Emin is set far away to keep the
# module from rounding small results at a reduced precision.
ARITH = Context(prec=PRECISION, rounding=ROUND_HALF_EVEN, Emax=TOP_MAX, Emin=-999999, traps=[])
WIDE = Context(prec=3000, Emax=999999, Emin=-999999, traps=[])


def canonical(x):
    if x.is_infinite():
        return "null"
    if x.is_zero() or x.adjusted() < TOP_MIN:
        return "0"
    if x.adjusted() > TOP_MAX:
        return "null"
    sign, digits, exponent = x.as_tuple()
    text = "".join(map(str, digits))
    stripped = text.rstrip("0")
    exponent += len(text) - len(stripped)
    return ("-" if sign else "") + stripped + "E" + str(exponent)


def literal(x):
    sign, digits, _ = x.as_tuple()
    text = "".join(map(str, digits))
    fraction = text[1:] or "0"
    top = x.adjusted()
    return "%s%s.%sE%s%d" % ("-" if sign else "", text[0], fraction, "-" if top < 0 else "+", abs(top))


def make(rng, digits, top, negative):
    return Decimal("%s%s.%sE%d" % ("-" if negative else "", digits[0], digits[1:] or "0", top))


def coefficient(rng, count):
    kind = rng.random()
    if kind < 0.1:
        return "9" * count
    if kind < 0.2:
        return "1" + "0" * (count - 2) + ("1" if count > 1 else "")
    if kind < 0.3:
        return "5" * count
    first = str(rng.randint(1, 9))
    return first + "".join(str(rng.randint(0, 9)) for _ in range(count - 1))


def some_top(rng):
    kind = rng.random()
    if kind < 0.55:
        return rng.randint(-12, 12)
    if kind < 0.75:
        return rng.randint(-60, 60)
    if kind < 0.92:
        return rng.randint(TOP_MIN, TOP_MAX)
    return rng.choice([TOP_MAX, TOP_MAX - 1, TOP_MIN, TOP_MIN + 1, 150, -150])


def some_count(rng):
    return rng.choice([1, 1, 2, 3, 5, 8, 12, 17, 20, 25, 33, 39, 40, 40, 40, 40])


def operand(rng, top=None):
    if top is None:
        top = some_top(rng)
    top = max(TOP_MIN, min(TOP_MAX, top))
    return make(rng, coefficient(rng, some_count(rng)), top, rng.random() < 0.5)


def near(rng, a):
    """An operand that interacts with a: close in value, or placed around
    the digit where rounding of a sum is decided."""
    kind = rng.random()
    if kind < 0.3:
        # Same leading digits, different tail: cancellation.
        sign, digits, exponent = a.as_tuple()
        digits = list(digits)
        keep = rng.randint(0, len(digits))
        tail = [rng.randint(0, 9) for _ in range(rng.randint(0, 40 - keep))]
        new = (digits[:keep] + tail) or [1]
        value = Decimal((rng.choice([0, 1]), tuple(new), exponent - len(tail) + (len(digits) - keep)))
        if value.is_zero() or not (TOP_MIN <= value.adjusted() <= TOP_MAX) or len(value.as_tuple().digits) > 40:
            return operand(rng)
        return value
    return operand(rng, a.adjusted() - rng.randint(0, 90))


def pair_for_sum(rng):
    a = operand(rng)
    b = near(rng, a) if rng.random() < 0.6 else operand(rng)
    return (a, b) if rng.random() < 0.5 else (b, a)


def pair_for_product(rng):
    a = operand(rng)
    kind = rng.random()
    if kind < 0.15:
        # Odd 40-digit coefficient times 5 or 0.5: the product ends in a tie.
        digits = coefficient(rng, 40)[:-1] + rng.choice("13579")
        a = make(rng, digits, rng.randint(-20, 20), rng.random() < 0.5)
        b = Decimal(rng.choice(["5", "-5", "0.5", "5E+10"]))
        return a, b
    return a, operand(rng)


def pair_for_quotient(rng):
    kind = rng.random()
    if kind < 0.15:
        # An odd coefficient over 2 or 8 ends exactly on a half.
        digits = coefficient(rng, 40)[:-1] + rng.choice("13579")
        a = make(rng, digits, rng.randint(-20, 20), rng.random() < 0.5)
        return a, Decimal(rng.choice(["2", "-2", "2E-5", "8"]))
    if kind < 0.3:
        # Exact quotients.
        b = operand(rng, rng.randint(-10, 10))
        c = make(rng, coefficient(rng, rng.randint(1, 20)), rng.randint(-10, 10), False)
        a = WIDE.multiply(b, c)
        if len(a.as_tuple().digits) <= 40:
            return a, b
    if kind < 0.4:
        return operand(rng), Decimal(rng.choice(["3", "7", "-3", "9", "11", "1.1", "0.3"]))
    return operand(rng), operand(rng)


def places_for(rng, x):
    kind = rng.random()
    if kind < 0.6:
        # Around the number's own digits.
        lowest = x.as_tuple().exponent
        return rng.randint(-x.adjusted() - 2, -lowest + 2)
    if kind < 0.8:
        return rng.randint(-5, 8)
    return rng.randint(-320, 345)


def write_cases(out, rng):
    for _ in range(800):
        a, b = pair_for_sum(rng)
        out.write("add %s %s %s\n" % (literal(a), literal(b), canonical(ARITH.add(a, b))))
    for _ in range(800):
        a, b = pair_for_sum(rng)
        out.write("sub %s %s %s\n" % (literal(a), literal(b), canonical(ARITH.subtract(a, b))))
    for _ in range(800):
        a, b = pair_for_product(rng)
        out.write("mul %s %s %s\n" % (literal(a), literal(b), canonical(ARITH.multiply(a, b))))
    for _ in range(800):
        a, b = pair_for_quotient(rng)
        out.write("div %s %s %s\n" % (literal(a), literal(b), canonical(ARITH.divide(a, b))))
    for _ in range(600):
        a, b = pair_for_sum(rng)
        if rng.random() < 0.1:
            b = a
        out.write("cmp %s %s %d\n" % (literal(a), literal(b), int(WIDE.compare(a, b))))
    for op, rounding in (("round", ROUND_HALF_UP), ("trunc", ROUND_DOWN)):
        for _ in range(500):
            x = operand(rng)
            places = places_for(rng, x)
            want = x.quantize(Decimal((0, (1,), -places)), rounding=rounding, context=WIDE)
            out.write("%s %s %d %s\n" % (op, literal(x), places, canonical(want)))


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: number_oracle.py OUTPUT")
    rng = random.Random(40)
    with open(sys.argv[1], "w") as out:
        write_cases(out, rng)


if __name__ == "__main__":
    main()
