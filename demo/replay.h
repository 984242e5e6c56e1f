// The demo signature as one model's input reports, each at its time.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "emulator/tablet_protocol.h"
#include "signature.h"

namespace demo {

// Where a model's pen writes, in the units the host reads after decoding.
struct WritingArea {
    int width;      // x in [0, width)
    int height;     // y in [0, height)
    int wireY;      // added to y on the wire (the 8-byte pads' Y window)
    int rawFull;    // raw pressure that the host reads as 1.0
};

WritingArea writingAreaOf(uint16_t pid);

// The signature placed in a model's writing area, in wire units: scaled
// uniformly in the window's picture (so it keeps its shape there) and
// centred in the part of the picture the pen can reach.
std::vector<emu::Stroke> placeSignature(uint16_t pid, const std::vector<Stroke> &signature);

struct TimedReport {
    std::chrono::milliseconds at;  // from the first touch
    emu::Bytes report;
};

// Every report of the signature in order: a sample report at each sample's
// time, the model's lift reports at the stroke's lift time.
std::vector<TimedReport> replaySchedule(uint16_t pid, const std::vector<Stroke> &signature);

// The covering scribble of the check run on a model: stretched over the
// whole writing area (every cell of a grid over it is reached), pressure 1.0
// at the model's full raw range, then a press of each key on a pad.
std::vector<TimedReport> checkSchedule(uint16_t pid, const std::vector<Stroke> &scribble);

}  // namespace demo
