#!/usr/bin/env python3
"""Times Pillow's Image.resize on the same work as the surface benchmark.

Usage: pillow_resize.py SW SH DW DH [SW SH DW DH ...]
Prints one line per filter and size: "FILTER SW SH DW DH MILLISECONDS",
the median of five means, each the processor time of one resize over a loop of
at least 0.2 s (processor time, as the benchmark reports, so that other load
on the machine counts less).
The images are RGBX: four 8-bit channels resampled alike, without the alpha
premultiplication Pillow adds for RGBA, as the surface resamplers do.
"""
import os
import statistics
import sys
import time

from PIL import Image

_R = getattr(Image, "Resampling", Image)  # where newer Pillow keeps the filters
FILTERS = [("NEAREST", _R.NEAREST), ("BILINEAR", _R.BILINEAR),
           ("BICUBIC", _R.BICUBIC), ("LANCZOS", _R.LANCZOS)]


def mean_ms(img, size, flt):
    n, total = 0, 0.0
    while total < 0.2 or n < 3:
        t0 = time.process_time()
        img.resize(size, flt)
        total += time.process_time() - t0
        n += 1
    return 1000.0 * total / n


def median_ms(img, size, flt):
    img.resize(size, flt)  # warm up
    return statistics.median(mean_ms(img, size, flt) for _ in range(5))


def main(argv):
    nums = [int(a) for a in argv]
    for i in range(0, len(nums) - 3, 4):
        sw, sh, dw, dh = nums[i:i + 4]
        img = Image.frombytes("RGBX", (sw, sh), os.urandom(sw * sh * 4))
        for name, flt in FILTERS:
            print(f"{name} {sw} {sh} {dw} {dh} {median_ms(img, (dw, dh), flt):.4f}", flush=True)


if __name__ == "__main__":
    main(sys.argv[1:])
