#!/usr/bin/python3
"""Writes demo/signature.txt, the signature the virtual pad signs in the demo run.

The pen path is cursive writing modelled as coupled oscillations (one cycle
per letter stroke: a hump, a loop or a descender, on a slanted baseline), plus
a capital, an underline flourish and a dot. It is then timed as a hand moves:
slower in tight turns (speed grows with the cube root of the radius of
curvature), and given a pressure that rises at touch-down, falls at lift-off,
is heavier on down-strokes and lighter when fast.

Run it once; the output file is kept in the repository and replayed as it is.
  python3 demo/make_signature.py [out.txt] [--preview preview.png]
"""
import math
import sys

CANVAS_W, CANVAS_H = 400.0, 250.0   # the picture space of the main window's image
RATE_MS = 8                         # one sample every 8 ms (125 reports a second)
SLANT = 0.24                        # italic: x grows with height


def cycle(kind, x0, base, h, w, loop, n=60):
    """One letter stroke from the baseline back to it, y up; returns points."""
    pts = []
    for i in range(1, n + 1):
        s = i / n
        bump = (1 - math.cos(2 * math.pi * s)) / 2
        if kind == 'down':          # descender: below the baseline, loop at the bottom
            y = -h * bump
            x = x0 + w * s - loop * math.sin(2 * math.pi * s)
        else:                       # hump or loop above the baseline, loop at the top
            y = h * bump
            x = x0 + w * s + loop * math.sin(2 * math.pi * s)
        pts.append((x, base + y))
    return pts


def word(x0, base, letters):
    """A run of letter strokes; each is (kind, height, width, loop)."""
    pts = [(x0, base)]
    x = x0
    for kind, h, w, loop in letters:
        pts += cycle(kind, x, base, h, w, loop)
        x += w
    return pts


def bezier(p0, p1, p2, p3, n=80):
    out = []
    for i in range(n + 1):
        t = i / n
        a, b, c, d = (1 - t) ** 3, 3 * t * (1 - t) ** 2, 3 * t * t * (1 - t), t ** 3
        out.append((a * p0[0] + b * p1[0] + c * p2[0] + d * p3[0], a * p0[1] + b * p1[1] + c * p2[1] + d * p3[1]))
    return out


def to_canvas(pts):
    """Writing space (y up, baseline 0) to the picture: slant, flip, place."""
    return [(x + SLANT * y, 160.0 - y) for x, y in pts]


def strokes():
    # First word: a tall looped capital running into "ella"-like strokes.
    lead = bezier((28, 10), (34, 40), (46, 90), (58, 118), 30)
    # capital: the lead-in is its up-stroke; the big top loop comes down to the baseline
    cap = [(58 + 20 * math.sin(math.pi * t) - 8 * t, 118 + 18 * math.sin(math.pi * t) - 118 * t * t)
            for t in [i / 50 for i in range(1, 51)]]
    x = cap[-1][0]
    letters1 = [
        ('up', 26, 28, 13),   # e
        ('up', 64, 26, 15),   # l
        ('up', 64, 26, 15),   # l
        ('up', 24, 28, -6),   # a-like round hump
        ('up', 22, 26, -5),   # n
    ]
    stroke1 = lead + cap + word(x, 0, letters1)[1:]
    # trailing up-stroke of the first word
    ex, ey = stroke1[-1]
    stroke1 += bezier((ex, ey), (ex + 8, ey + 2), (ex + 14, ey + 10), (ex + 18, ey + 22), 12)[1:]

    # Second word: capital stem and bowl, then "ong" with a descender and a long tail.
    x2 = ex + 34
    stem = bezier((x2 + 6, 92), (x2 + 2, 60), (x2 - 2, 25), (x2 - 4, -4), 40)
    bowl = bezier((x2 - 4, -4), (x2 - 16, 40), (x2 + 34, 110), (x2 + 30, 64), 50)[1:]
    bowl += bezier(bowl[-1], (x2 + 26, 28), (x2 + 4, 20), (x2 + 8, 0), 40)[1:]
    letters2 = [
        ('up', 26, 28, 12),   # o-ish
        ('up', 24, 26, -5),   # n
        ('up', 22, 24, -5),   # n
        ('down', 60, 28, 15), # g: descender loop
        ('up', 24, 28, 12),   # e
    ]
    stroke2 = stem + bowl + word(bowl[-1][0], 0, letters2)[1:]
    tx, ty = stroke2[-1]
    stroke2 += bezier((tx, ty), (tx + 14, ty + 4), (tx + 30, ty + 18), (tx + 40, ty + 36), 24)[1:]

    # Underline flourish, right to left, quick and light at the end.
    sx, _ = stroke2[-1]
    flourish = bezier((sx - 30, -36), (sx - 90, -60), (150, -52), (20, -30), 120)
    # A dot over the second word's n.
    dot = bezier((x2 + 104, 52), (x2 + 105.5, 53), (x2 + 107, 54), (x2 + 108.5, 53.5), 3)
    return fit([to_canvas(s) for s in (stroke1, stroke2, flourish, dot)])


def fit(paths, margin=14.0):
    """Scales and centres the strokes into the picture, aspect kept."""
    xs = [x for p in paths for x, _ in p]
    ys = [y for p in paths for _, y in p]
    k = min((CANVAS_W - 2 * margin) / (max(xs) - min(xs)), (CANVAS_H - 2 * margin) / (max(ys) - min(ys)))
    ox = (CANVAS_W - k * (max(xs) - min(xs))) / 2 - k * min(xs)
    oy = (CANVAS_H - k * (max(ys) - min(ys))) / 2 - k * min(ys)
    return [[(ox + k * x, oy + k * y) for x, y in p] for p in paths]


def arc_lengths(pts):
    acc = [0.0]
    for (x0, y0), (x1, y1) in zip(pts, pts[1:]):
        acc.append(acc[-1] + math.hypot(x1 - x0, y1 - y0))
    return acc


def point_at(pts, acc, s):
    """Point at arc length s by linear interpolation."""
    lo, hi = 0, len(acc) - 1
    while hi - lo > 1:
        mid = (lo + hi) // 2
        if acc[mid] <= s:
            lo = mid
        else:
            hi = mid
    span = acc[hi] - acc[lo] or 1.0
    t = min(max((s - acc[lo]) / span, 0.0), 1.0)
    return (pts[lo][0] + t * (pts[hi][0] - pts[lo][0]), pts[lo][1] + t * (pts[hi][1] - pts[lo][1]))


def radius_at(pts, acc, s, h=3.0):
    a, b, c = point_at(pts, acc, s - h), point_at(pts, acc, s), point_at(pts, acc, s + h)
    ab, bc, ca = math.dist(a, b), math.dist(b, c), math.dist(c, a)
    area2 = abs((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]))
    if area2 < 1e-9:
        return 1e6
    return ab * bc * ca / (2 * area2)


def timed(pts, speed_scale):
    """Samples every RATE_MS along the path at a speed set by the curvature."""
    acc = arc_lengths(pts)
    total = acc[-1]
    s, out = 0.0, []
    while True:
        out.append(point_at(pts, acc, s))
        if s >= total:
            return out
        r = radius_at(pts, acc, s)
        v = speed_scale * 95.0 * min(r, 400.0) ** (1.0 / 3.0)   # picture units per second
        v = min(max(v, 45.0), 520.0)
        # a hand starts and stops gently
        ramp = min(1.0, 0.35 + s / 18.0, 0.35 + (total - s) / 14.0)
        s = min(total, s + v * ramp * RATE_MS / 1000.0)


def pressure(samples, k, seed):
    n = len(samples)
    t_ms = k * RATE_MS
    left_ms = (n - 1 - k) * RATE_MS
    x, y = samples[k]
    px, py = samples[max(k - 1, 0)]
    nx, ny = samples[min(k + 1, n - 1)]
    vx, vy = (nx - px), (ny - py)
    speed = math.hypot(vx, vy) / (2 * RATE_MS / 1000.0) if n > 1 else 0.0
    down = vy / (math.hypot(vx, vy) or 1.0)          # canvas y grows downwards
    p = 0.56 + 0.16 * down - 0.14 * min(speed / 500.0, 1.0)
    p += 0.04 * math.sin(k * 0.21 + seed) + 0.03 * math.sin(k * 0.057 + 2 * seed)
    p *= min(1.0, 0.25 + t_ms / 70.0) * min(1.0, 0.2 + left_ms / 90.0)
    return min(max(p, 0.09), 0.95)


def main():
    out = 'demo/signature.txt'
    preview = None
    args = sys.argv[1:]
    if '--preview' in args:
        i = args.index('--preview')
        preview = args[i + 1]
        del args[i:i + 2]
    if args:
        out = args[0]
    lines = []
    t = 0
    gaps_ms = [0, 330, 280, 240]
    speeds = [1.0, 1.05, 1.6, 0.6]
    rows = []
    for i, stroke in enumerate(strokes()):
        t += gaps_ms[i]
        samples = timed(stroke, speeds[i])
        for k, (x, y) in enumerate(samples):
            rows.append((t, x, y, pressure(samples, k, i + 1)))
            t += RATE_MS
        lx, ly = samples[-1]
        rows.append((t, lx, ly, 0.0))   # the lift
    xs = [r[1] for r in rows]
    ys = [r[2] for r in rows]
    assert min(xs) >= 0 and max(xs) <= CANVAS_W and min(ys) >= 0 and max(ys) <= CANVAS_H, (min(xs), max(xs), min(ys), max(ys))
    lines.append('# The demo signature: what the virtual pad signs once Open is pressed.')
    lines.append('# Made by demo/make_signature.py; replayed as it stands.')
    lines.append('# One sample a line: time in ms from the first touch, x and y in the')
    lines.append('# 400 x 250 picture of the main window (y downwards), pressure 0..1.')
    lines.append('# Pressure 0 lifts the pen there; the next touch starts a new stroke.')
    for t_ms, x, y, p in rows:
        lines.append('%d %.1f %.1f %.3f' % (t_ms, x, y, p))
    with open(out, 'w') as f:
        f.write('\n'.join(lines) + '\n')
    print('%s: %d samples, %d ms, x %.0f..%.0f, y %.0f..%.0f' % (out, len(rows), rows[-1][0], min(xs), max(xs), min(ys), max(ys)))
    if preview:
        from PIL import Image, ImageDraw
        scale = 3
        img = Image.new('RGB', (int(CANVAS_W * scale), int(CANVAS_H * scale)), 'white')
        d = ImageDraw.Draw(img)
        for a, b in zip(rows, rows[1:]):
            if a[3] > 0 and b[3] > 0:
                w = max(1, int(round(scale * (0.8 + 2.6 * (a[3] + b[3]) / 2))))
                d.line([(a[1] * scale, a[2] * scale), (b[1] * scale, b[2] * scale)], fill='black', width=w)
        img.save(preview)


if __name__ == '__main__':
    main()
