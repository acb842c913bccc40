#!/usr/bin/env python3
"""Draws the builder's bitmaps into a directory as 24-bit BMP files: the row
marks of the expressions list (formulal, rangel, setl, 16 by 12) and the
marks of the mode buttons (formula, range, set), the same drawings at twice
the size. Usage: gen_bitmaps.py OUTPUT-DIR."""
import os
import struct
import sys

# One drawing a kind: '#' ink, '.' the list's white.
GLYPHS = {
    'formula': [
        '................',
        '.....##.........',
        '....#...........',
        '....#...........',
        '...####.#...#...',
        '....#....#.#....',
        '....#.....#.....',
        '....#....#.#....',
        '....#...#...#...',
        '...#............',
        '..#.............',
        '................',
    ],
    'range': [
        '................',
        '.###........###.',
        '.#............#.',
        '.#............#.',
        '.#............#.',
        '.#..##....##..#.',
        '.#..##....##..#.',
        '.#............#.',
        '.#............#.',
        '.#............#.',
        '.###........###.',
        '................',
    ],
    'set': [
        '................',
        '...##......##...',
        '..#..........#..',
        '..#..........#..',
        '..#..........#..',
        '.#.....##.....#.',
        '..#....##.....#.',
        '..#.....#....#..',
        '..#....#.....#..',
        '..#..........#..',
        '...##......##...',
        '................',
    ],
}
INK = {'formula': (0x80, 0x00, 0x00), 'range': (0x00, 0x60, 0x00), 'set': (0x00, 0x00, 0xA0)}
PAPER = (0xFF, 0xFF, 0xFF)


def bmp(rows, ink, scale):
    """A bottom-up 24-bit BMP of the drawing, each dot scale by scale."""
    width, height = len(rows[0]) * scale, len(rows) * scale
    stride = (width * 3 + 3) & ~3
    pixels = bytearray()
    for y in range(height - 1, -1, -1):
        line = bytearray()
        for x in range(width):
            r, g, b = ink if rows[y // scale][x // scale] == '#' else PAPER
            line += bytes((b, g, r))
        pixels += line + bytes(stride - len(line))
    header = struct.pack('<IiiHHIIiiII', 40, width, height, 1, 24, 0, len(pixels), 2835, 2835, 0, 0)
    return b'BM' + struct.pack('<IHHI', 14 + len(header) + len(pixels), 0, 0, 54) + header + pixels


def main(out):
    os.makedirs(out, exist_ok=True)
    for name, rows in GLYPHS.items():
        if any(len(r) != 16 for r in rows) or len(rows) != 12:
            sys.exit('%s: a drawing is 16 by 12' % name)
        for suffix, scale in (('l', 1), ('', 2)):
            with open(os.path.join(out, name + suffix + '.bmp'), 'wb') as f:
                f.write(bmp(rows, INK[name], scale))


if __name__ == '__main__':
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
