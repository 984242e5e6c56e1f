#!/usr/bin/python3
"""Writes bench/brush/signatures30sec.txt, the pen input of the brush benchmark
and of the picture program: the demo signature (demo/signature.txt) played four
times at different sizes and speeds on a 1024 x 1024 canvas, about 30 seconds.

A tablet reports every 8 ms whatever the hand does, so a play is resampled on
that grid: at speed v the report at t ms holds the signature at v * t ms,
linearly interpolated between its samples. A faster play gives fewer and wider
spaced reports, a slower one more and closer ones. While the pen is up nothing
is reported but the lift itself (pressure 0 at the last point, as the demo file
has it); the next touch ends the gap.

Run from the top folder; the output is kept in the repository:
  python3 bench/brush/make_signatures30sec.py [out.txt]
"""
import sys

SOURCE = 'demo/signature.txt'
OUT = 'bench/brush/signatures30sec.txt'
RATE_MS = 8        # one report every 8 ms (125 a second), as the demo pad sends
GAP_MS = 300       # pen in the air between two plays
CANVAS = 1024

# (size, speed, left, top): size scales the signature's own extent, speed its
# pace; left and top place its bounding box on the canvas.
PLAYS = [
    (1.0, 1.0, 40, 40),      # as the demo signs it
    (1.0, 2.0, 600, 40),     # the same, hurried
    (1.6, 0.8, 40, 260),     # larger and slower
    (2.6, 0.6, 30, 560),     # across the canvas, slow
]


def read_signature(path):
    """Strokes as lists of (t_ms, x, y, p) touching samples."""
    strokes, touching = [], False
    with open(path) as f:
        for line in f:
            line = line.split('#', 1)[0].split()
            if not line:
                continue
            t, x, y, p = (float(v) for v in line)
            if p > 0:
                if not touching:
                    strokes.append([])
                touching = True
                strokes[-1].append((t, x, y, p))
            else:
                touching = False
    if not strokes:
        sys.exit('%s: no stroke' % path)
    return strokes


def at(stroke, t):
    """The stroke's sample at time t (inside its span), interpolated."""
    for a, b in zip(stroke, stroke[1:]):
        if a[0] <= t <= b[0]:
            k = (t - a[0]) / (b[0] - a[0]) if b[0] > a[0] else 0.0
            return tuple(a[i] + k * (b[i] - a[i]) for i in range(1, 4))
    return stroke[-1][1:]


def play(strokes, size, speed, left, top, start_ms):
    """Reports of one play from start_ms on; returns them and the end time."""
    xs = [s[1] for st in strokes for s in st]
    ys = [s[2] for st in strokes for s in st]
    x0, y0 = min(xs), min(ys)
    place = lambda x, y: (left + size * (x - x0), top + size * (y - y0))
    end = strokes[-1][-1][0]
    rows, k, current = [], 0, None
    while True:
        t = k * RATE_MS * speed                      # signature time of this report
        inside = next((st for st in strokes if st[0][0] <= t <= st[-1][0]), None)
        when = start_ms + k * RATE_MS
        if inside is not None:
            x, y, p = at(inside, t)
            rows.append((when, *place(x, y), p))
            current = inside
        elif current is not None:                  # the first report after the pen left
            rows.append((when, *place(*current[-1][1:3]), 0.0))
            current = None
        if t > end and current is None:
            return rows, when
        k += 1


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else OUT
    strokes = read_signature(SOURCE)
    rows, t = [], 0
    for i, (size, speed, left, top) in enumerate(PLAYS):
        part, t = play(strokes, size, speed, left, top, t + (GAP_MS if i else 0))
        rows += part
    for _, x, y, _ in rows:
        assert 0 <= x <= CANVAS and 0 <= y <= CANVAS, (x, y)
    with open(out, 'w') as f:
        f.write('# Pen input of the brush benchmark and picture: demo/signature.txt played four\n')
        f.write('# times on a 1024 x 1024 canvas, one report every %d ms, %d ms in the air\n' % (RATE_MS, GAP_MS))
        f.write('# between plays. Made by bench/brush/make_signatures30sec.py; do not edit.\n')
        for size, speed, left, top in PLAYS:
            f.write('#   size %.1f, speed %.1f, top left at %d, %d\n' % (size, speed, left, top))
        f.write('# One report a line: time in ms, x, y in canvas pixels, pressure 0..1 (0 lifts).\n')
        for when, x, y, p in rows:
            f.write('%d %.1f %.1f %.3f\n' % (when, x, y, p))
    print('%s: %d reports, %.1f s' % (out, len(rows), rows[-1][0] / 1000.0))


if __name__ == '__main__':
    main()
