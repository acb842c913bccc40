#!/usr/bin/env python3
"""Compares two outputs of charops_dump, one of the stand-ins (Linux) and one
of the system's calls (Windows), for the same code page. Lines are
"key<TAB>value". A key that matches a pattern of the skip file is left out;
each pattern there stands for a difference recorded in docs/decisions.md.
Usage: compare_charops.py standin.txt system.txt skip-file
Exit 1 when a value differs, a key is missing on one side, or a skip
pattern matches nothing (it would hide nothing and is stale)."""
import re
import sys


def read(path):
    facts = {}
    with open(path, encoding='latin-1') as f:
        for line in f:
            line = line.rstrip('\r\n')
            if line:
                key, _, value = line.partition('\t')
                facts[key] = value
    return facts


def read_skips(path, codepage):
    """Lines "CODEPAGE REGEX  # reason"; CODEPAGE is 932, 1252 or *."""
    skips = []
    with open(path, encoding='utf-8') as f:
        for line in f:
            line = line.split('#', 1)[0].strip()
            if not line:
                continue
            page, pattern = line.split(None, 1)
            if page in ('*', codepage):
                skips.append(re.compile(pattern))
    return skips


def main(standin_path, system_path, skip_path):
    standin, system = read(standin_path), read(system_path)
    codepage = standin.get('codepage')
    if codepage != system.get('codepage'):
        sys.exit('the two outputs are of different code pages')
    skips = read_skips(skip_path, codepage)
    used = [0] * len(skips)
    differ = skipped = 0
    for key in sorted(set(standin) | set(system)):
        hits = [i for i, s in enumerate(skips) if s.fullmatch(key)]
        a, b = standin.get(key, '<missing>'), system.get(key, '<missing>')
        if a == b:
            continue
        if hits:
            for i in hits:
                used[i] += 1
            skipped += 1
            continue
        print('%s: stand-in %s, system %s' % (key, a, b))
        differ += 1
    for s, n in zip(skips, used):
        if not n:
            print('skip pattern %s matches no difference' % s.pattern)
            differ += 1
    print('code page %s: %d facts, %d differ, %d documented differences skipped'
          % (codepage, len(standin), differ, skipped))
    sys.exit(1 if differ else 0)


if __name__ == '__main__':
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
