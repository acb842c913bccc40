#!/usr/bin/env python3
"""Writes Number reference cases with Python's decimal module: number_oracle.py OUTPUT.
Lines "op a b want": op add sub mul div cmp round trunc; a, b literals "[-]d.dddE[+-]x"
(for round and trunc b is the count of places); want "null", "0", "[-]digitsE<exp>"
without trailing zeros, or -1, 0, 1 for cmp. Rules: 40 digits, half-even; above 10^300
after rounding is null, below 10^-300 zero; round is half away from zero, trunc toward
zero. Seeded, so every build writes the same cases."""
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


def pair_for_sum(rng):
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


def pair_for_quotient(rng):
    kind = rng.random()
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


def main():
    rng = random.Random(40)
    with open(sys.argv[1], "w") as out:
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


if __name__ == "__main__":
    main()
