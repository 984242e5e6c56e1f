#!/usr/bin/env python3
"""Times Pillow's area reductions on the work of the bitmap benchmark.

Usage: pillow_reduce.py SW SH DW DH FACTOR
Prints one line per case: "NAME MODE MILLISECONDS", the best of five means,
each the processor time of one call over a loop of at least 0.2 s. RGBX
stands for the 32-bit bitmap (four bytes averaged alike, no premultiplying),
L for the 8-bit one.
"""
import os
import sys
import time

from PIL import Image

_R = getattr(Image, "Resampling", Image)


def best_ms(fn):
    fn()
    means = []
    for _ in range(5):
        n, total = 0, 0.0
        while total < 0.2 or n < 3:
            t0 = time.process_time()
            fn()
            total += time.process_time() - t0
            n += 1
        means.append(1000.0 * total / n)
    return min(means)


def main(argv):
    sw, sh, dw, dh, factor = (int(a) for a in argv)
    for mode, bpp in (("RGBX", 4), ("L", 1)):
        img = Image.frombytes(mode, (sw, sh), os.urandom(sw * sh * bpp))
        print(f"reduce {mode} {best_ms(lambda: img.reduce(factor)):.4f}", flush=True)
        print(f"box {mode} {best_ms(lambda: img.resize((dw, dh), _R.BOX)):.4f}", flush=True)


if __name__ == "__main__":
    main(sys.argv[1:])
