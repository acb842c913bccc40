#!/usr/bin/env python3
"""Checks the examples of the guide for hosts against what zem prints.

Usage: check-guide.py ZEM [GUIDE.md ...]   (default: docs/guide*.md)

The convention. An example is one line of a guide file that holds a code
span, an arrow and the expected outcome:

    `FORMULA` → `VALUE`
    `zem ARGUMENTS` → `VALUE`
    `FORMULA` → error 109
    `zem ARGUMENTS` → error 114

A span that starts with "zem " is a command line, split as a POSIX shell
splits it; its last argument is the formula. Any other span is one formula,
run as `zem FORMULA` with no items. VALUE is what zem prints behind
"FORMULA = ". For "error N" zem must report code N, and when the same line
holds a code span that starts with "ERR_", that span must be the message
zem printed. In table rows "\\|" stands for "|". A line may hold several
examples.

Besides the examples: every row of the error table, "| N | `ERR_...` |",
must give the message of code N as the string table has it, and every
built-in function of include/zemi40.h must appear in a formula example.

Prints each mismatch and exits with 1 on any; 0 when all agree.
"""
import concurrent.futures
import glob
import os
import re
import shlex
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
EXAMPLE = re.compile(r"`([^`]+)`\s*→\s*(?:`([^`]+)`|error (\d+))")
MESSAGE = re.compile(r"`(ERR_[^`]*)`")
TABLE_ROW = re.compile(r"^\|\s*(\d{3})\s*\|\s*`(ERR_[^`]*)`")
REPORT = re.compile(r"^  (.*) \(code (\d+)\)$")


class Example:
    def __init__(self, where, span, value, code, message):
        self.where, self.value, self.code, self.message = where, value, code, message
        if span.startswith("zem "):
            try:
                self.args = shlex.split(span[4:])
            except ValueError as e:
                sys.exit("%s: %s: %s" % (where, span, e))
        else:
            self.args = [span]
        self.formula = self.args[-1] if self.args else ""


def read_examples(path, examples, messages):
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            where = "%s:%d" % (os.path.relpath(path, ROOT), number)
            if line.startswith("|"):
                line = line.replace("\\|", "|")
                row = TABLE_ROW.match(line)
                if row:
                    messages.append((where, int(row.group(1)), row.group(2)))
            found = EXAMPLE.findall(line)
            message = MESSAGE.search(line)
            for span, value, code in found:
                examples.append(Example(where, span, value or None,
                                        int(code) if code else None,
                                        message.group(1) if message and code else None))


def outcome(zem, example):
    """What zem printed for the example: the value of its formula or None,
    the last report as (code, message) or None, and the whole output."""
    try:
        run = subprocess.run([zem] + example.args, capture_output=True, timeout=20)
    except (OSError, subprocess.TimeoutExpired) as e:
        return None, None, str(e)
    out = run.stdout.decode("utf-8", "replace").splitlines()
    head = "  %s = " % example.formula
    value = next((line[len(head):] for line in out if line.startswith(head)), None)
    reports = [REPORT.match(line) for line in out]
    last = [(int(r.group(2)), r.group(1)) for r in reports if r][-1:]
    whole = (run.stdout + run.stderr).decode("utf-8", "replace").strip()
    return value, last[0] if last else None, whole


def mismatch(example, got):
    """Why the outcome differs from the guide, with what zem gave; or None."""
    value, report, whole = got
    if example.code is None:
        if value == example.value:
            return None
        return "expected `%s`, zem gives %s" % (example.value, value if value is not None else whole)
    if report is None or report[0] != example.code:
        given = "error %d" % report[0] if report else whole
        return "expected error %d, zem gives %s" % (example.code, given)
    if example.message is not None and report[1] != example.message:
        return "expected the message `%s`, zem gives `%s`" % (example.message, report[1])
    return None


def string_table():
    table = {}
    with open(os.path.join(ROOT, "resources", "strings.txt"), encoding="utf-8") as f:
        for line in f:
            if line[:1].isdigit() and "\t" in line:
                key, text = line.rstrip("\n").split("\t", 1)
                table[int(key)] = text
    return table


def builtin_names():
    with open(os.path.join(ROOT, "include", "zemi40.h"), encoding="utf-8") as f:
        return re.findall(r"^ZEM_BUILTIN\(FUN(\w+)\)", f.read(), re.M)


def main():
    if len(sys.argv) < 2:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    zem = sys.argv[1]
    paths = sys.argv[2:] or sorted(glob.glob(os.path.join(ROOT, "docs", "guide*.md")))
    examples, messages = [], []
    for path in paths:
        read_examples(path, examples, messages)
    failures = 0
    if not examples:
        print("no examples found in %s" % ", ".join(paths))
        return 1
    with concurrent.futures.ThreadPoolExecutor(max_workers=8) as pool:
        results = list(pool.map(lambda e: outcome(zem, e), examples))
    for example, got in zip(examples, results):
        why = mismatch(example, got)
        if why:
            failures += 1
            print("%s: %s: %s" % (example.where, example.formula, why))
    table = string_table()
    for where, code, text in messages:
        if table.get(code) != text:
            failures += 1
            print("%s: code %d: the string table has `%s`" % (where, code, table.get(code)))
    used = " ".join(e.formula for e in examples)
    for name in builtin_names():
        if not re.search(r"\b%s\s*\(" % name, used):
            failures += 1
            print("the built-in %s has no example" % name)
    print("guide: %d examples, %d messages, %d mismatches" % (len(examples), len(messages), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
