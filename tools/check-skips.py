#!/usr/bin/env python3
"""Fails when a line of tests/windows/gtest-skip-*.txt names no test: a
renamed test would otherwise run where it cannot pass, or a stale name
hide that nothing is skipped."""
import glob
import re
import sys

sources = "".join(open(f, errors="replace").read() for f in glob.glob("tests/**/*.cpp", recursive=True))
names = {a + "." + b for a, b in re.findall(r"TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", sources)}
stale = [(f, line.strip()) for f in sorted(glob.glob("tests/windows/gtest-skip-*.txt"))
         for line in open(f) if line.strip() and not line.startswith("#") and line.strip() not in names]
for f, name in stale:
    print(f"{f}: no test {name}")
sys.exit(1 if stale else 0)
