// The recorded pen input shared by the benchmark and the picture program:
// one event a line, "time x y pressure".
#pragma once

#include <cstdio>
#include <vector>

struct PenEvent {
    double time;
    float x, y, pressure;
};

inline std::vector<PenEvent> LoadPenEvents(const char* path) {
    std::vector<PenEvent> v;
    FILE* f = std::fopen(path, "r");
    if (!f)
        return v;
    double t, x, y, p;
    while (std::fscanf(f, "%lf %lf %lf %lf", &t, &x, &y, &p) == 4)
        v.push_back({t, (float)x, (float)y, (float)p});
    std::fclose(f);
    return v;
}
