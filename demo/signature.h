// The demo signature: a data file of timed pen samples, read into strokes.
//
// One sample a line: "t x y pressure" (time in ms from the first touch; x, y in
// the 400 x 250 picture of the main window, y downwards; pressure 0..1).
// A line with pressure 0 lifts the pen at its time; '#' starts a comment.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace demo {

constexpr double kPictureWidth = 400.0;
constexpr double kPictureHeight = 250.0;

struct Sample {
    int tMs = 0;
    double x = 0, y = 0;
    double pressure = 0;
};

// The touching samples of one stroke and the time the pen leaves.
struct Stroke {
    std::vector<Sample> samples;
    int liftMs = 0;
};

// Reads the file; throws std::runtime_error naming the line of a fault
// (not four numbers, time going back, a value out of its range) or saying
// that the file holds no stroke. A file that ends in contact lifts at its
// last sample.
std::vector<Stroke> parseSignature(std::istream &in);
std::vector<Stroke> loadSignature(const std::string &path);

}  // namespace demo
