// Marks along a pad event's way through the window, for the ink latency
// benchmark only: the benchmark compiles the windows a second time with
// SP_INK_PROBE defined and supplies spInkProbe. Every other build compiles
// the marks to nothing.
#pragma once

enum SpInkMark {
    kInkStrokeDone = 1,  // the pen call returned
    kInkCopyDone = 2,    // the image holds the surface, repaints asked
};

#ifdef SP_INK_PROBE
void spInkProbe(SpInkMark mark);
#define SP_INK_MARK(mark) spInkProbe(mark)
#else
#define SP_INK_MARK(mark) ((void)0)
#endif
