#!/usr/bin/env python3
"""Turns the UTF-8 string table into a C++ table of the bytes of each code
page the library can run under. A character a code page cannot hold becomes
'?', as a Windows string load does.

With a third argument it also writes the same table as a STRINGTABLE
resource script for windres, in wide strings, so that the Windows build
loads it through LoadStringA, which converts to the active code page."""
import sys

CODEPAGES = [(932, 'cp932'), (1252, 'cp1252')]


def read_table(path):
    entries = []
    with open(path, encoding='utf-8') as f:
        for line in f:
            line = line.rstrip('\n')
            if not line or line.startswith('#'):
                continue
            ident, text = line.split('\t', 1)
            entries.append((int(ident), text))
    ids = [i for i, _ in entries]
    if len(ids) != len(set(ids)):
        sys.exit('duplicate string id')
    return sorted(entries)


def c_bytes(data):
    return '"' + ''.join('\\x%02x' % b for b in data) + '"'


def rc_string(text):
    """A wide string literal of windres: quotes doubled, everything that is
    not printable ASCII as a four-digit escape."""
    out = []
    for ch in text:
        code = ord(ch)
        if code > 0xFFFF:
            sys.exit('string table text beyond the basic plane')
        if ch == '"':
            out.append('""')
        elif ch == '\\':
            out.append('\\\\')
        elif 0x20 <= code < 0x7F:
            out.append(ch)
        else:
            out.append('\\x%04x' % code)
    return 'L"' + ''.join(out) + '"'


def write_rc(entries, dst):
    out = ['// Generated from resources/strings.txt; do not edit.',
           'LANGUAGE 0, 0',  # neutral: found under every user language
           'STRINGTABLE', 'BEGIN']
    for ident, text in entries:
        out.append('    %d, %s' % (ident, rc_string(text)))
    out.append('END')
    with open(dst, 'w', encoding='ascii') as f:
        f.write('\n'.join(out) + '\n')


def main(src, dst, rc=None):
    entries = read_table(src)
    out = ['// Generated from resources/strings.txt; do not edit.']
    for cp, codec in CODEPAGES:
        out.append('static const StringEntry kStrings%d[] = {' % cp)
        for ident, text in entries:
            data = text.encode(codec, errors='replace')
            out.append('    {%d, %d, %s},' % (ident, len(data), c_bytes(data)))
        out.append('};')
    with open(dst, 'w', encoding='ascii') as f:
        f.write('\n'.join(out) + '\n')
    if rc:
        write_rc(entries, rc)


if __name__ == '__main__':
    main(*sys.argv[1:4])
