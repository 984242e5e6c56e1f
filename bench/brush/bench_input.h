// Pen input for the benchmarks and the picture program, read from the files
// kept in the repository (demo/signature.txt, bench/brush/signatures30sec.txt):
// one report a line, "time x y pressure" with the time in ms, '#' starting a
// comment, pressure 0 lifting the pen. A missing, empty or damaged file is an
// error: a benchmark that read nothing would time nothing and still look fine.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

struct PenEvent {
    double time;  // seconds
    float x, y, pressure;
};

// Throws std::runtime_error naming the file (and the line) of the fault.
inline std::vector<PenEvent> LoadPenEvents(const std::string& path) {
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error(path + ": cannot read the pen input");
    std::vector<PenEvent> v;
    std::string text;
    for (int line = 1; std::getline(in, text); ++line) {
        text.erase(std::min(text.find('#'), text.size()));
        std::istringstream fields(text);
        if (!(fields >> std::ws) || fields.eof())
            continue;
        double t, x, y, p;
        std::string rest;
        const auto fail = [&](const char* what) {
            throw std::runtime_error(path + ":" + std::to_string(line) + ": " + what);
        };
        if (!(fields >> t >> x >> y >> p) || (fields >> rest))
            fail("expected four numbers: time x y pressure");
        if (!v.empty() && t / 1000.0 < v.back().time)
            fail("time goes back");
        if (!(p >= 0.0 && p <= 1.0))
            fail("pressure outside 0..1");
        v.push_back({t / 1000.0, (float)x, (float)y, (float)p});
    }
    bool touches = false;
    for (const PenEvent& e : v)
        touches = touches || e.pressure > 0.0f;
    if (!touches)
        throw std::runtime_error(path + ": no pen report with pressure in the pen input");
    return v;
}

// For a program's main: the events, or the reason on stderr and exit status 1.
inline std::vector<PenEvent> LoadPenEventsOrExit(const char* program, const std::string& path) {
    try {
        return LoadPenEvents(path);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", program, e.what());
        std::exit(1);
    }
}
