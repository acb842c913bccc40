#!/usr/bin/env python3
"""Times Python's decimal module on the 34-digit operands of BM_Add34,
BM_Mul34 and BM_Div34 in bench_number.cpp, with the same precision (40
digits) and half-even rounding, and prints nanoseconds per operation (the
interpreter's own cost included, as a Python caller would pay it).

Run both in one go, from a Release build with benchmarks on:
  build/DIR/bench/bench_number --benchmark_filter='34' && python3 bench/py_decimal.py
"""
import time
import timeit
from decimal import Context, Decimal, ROUND_HALF_EVEN, setcontext

# Keep in step with MID in bench_number.cpp.
OPERANDS = ["1234567890.123456789012345678901234", "-0.9876543210987654321098765432109876",
            "3.141592653589793238462643383279503", "271828182845904523536028747135266.2",
            "-1.414213562373095048801688724209698", "0.5772156649015328606065120900824024"]
PASSES = 200000


def main():
    setcontext(Context(prec=40, rounding=ROUND_HALF_EVEN))
    values = [Decimal(text) for text in OPERANDS]
    pairs = [(values[i], values[(i + 1) % len(values)]) for i in range(len(values))]
    # The plain operator on two names, the cheapest way Python offers, on
    # every neighbouring pair as the C++ loop does. Processor time, as the
    # CPU column of Google Benchmark, so that other load counts less. The second figure takes
    # off the time of the same statement without the operation.
    print("op   ns/op  without the interpreter's statement cost")
    for name, statement in (("add", "a + b"), ("mul", "a * b"), ("div", "a / b")):
        spent = empty = 0.0
        for a, b in pairs:
            names = {"a": a, "b": b}
            spent += min(timeit.repeat(statement, timer=time.process_time, globals=names, number=PASSES, repeat=5)) / PASSES
            empty += min(timeit.repeat("a; b", timer=time.process_time, globals=names, number=PASSES, repeat=5)) / PASSES
        n = len(pairs)
        print("%-4s %6.1f  %6.1f" % (name, spent / n * 1e9, (spent - empty) / n * 1e9))


if __name__ == "__main__":
    main()
