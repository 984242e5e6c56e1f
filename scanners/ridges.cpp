#include "ridges.h"

#include <cmath>
#include <map>
#include <mutex>
#include <utility>

namespace standin {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kOrientations = 16;
constexpr int kRadius = 5;           // kernel of 11 x 11
constexpr double kPeriod = 8.5;      // ridge to ridge, pixels
constexpr double kSigma = 3.2;
constexpr int kIterations = 7;

// Ridge direction at (x, y): half the angle to the core minus half the
// angle to the delta, so that far from both the ridges run across the finger.
double orientation(double x, double y, double cx, double cy, double dx, double dy)
{
    return 0.5 * (std::atan2(y - cy, x - cx) - std::atan2(y - dy, x - dx));
}

struct Kernel {
    double w[2 * kRadius + 1][2 * kRadius + 1];
};

// Even band-pass filter along the normal of direction theta, zero mean.
Kernel gabor(double theta)
{
    Kernel k{};
    double sum = 0;
    for (int y = -kRadius; y <= kRadius; ++y)
        for (int x = -kRadius; x <= kRadius; ++x) {
            const double across = -x * std::sin(theta) + y * std::cos(theta);
            const double v = std::exp(-(x * x + y * y) / (2 * kSigma * kSigma)) * std::cos(2 * kPi * across / kPeriod);
            k.w[y + kRadius][x + kRadius] = v;
            sum += v;
        }
    const double mean = sum / ((2 * kRadius + 1) * (2 * kRadius + 1));
    for (auto &row : k.w)
        for (double &v : row)
            v -= mean;
    return k;
}

// The ridge pattern of a finger filling a w x h frame, values -1 (valley)
// to 1 (ridge). Deterministic; computed once per size.
std::vector<float> pattern(int w, int h)
{
    static std::mutex lock;
    static std::map<std::pair<int, int>, std::vector<float>> cache;
    std::lock_guard<std::mutex> guard(lock);
    auto found = cache.find({w, h});
    if (found != cache.end())
        return found->second;

    Kernel kernels[kOrientations];
    for (int i = 0; i < kOrientations; ++i)
        kernels[i] = gabor(kPi * i / kOrientations);

    const double cx = w * 0.52, cy = h * 0.38;   // core
    const double dx = w * 0.30, dy = h * 0.72;   // delta
    std::vector<uint8_t> bin(size_t(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            double t = std::fmod(orientation(x, y, cx, cy, dx, dy), kPi);
            if (t < 0)
                t += kPi;
            bin[size_t(y) * w + x] = uint8_t(int(t / kPi * kOrientations + 0.5) % kOrientations);
        }

    // Sparse seeds from a fixed linear congruential sequence.
    std::vector<float> cur(size_t(w) * h, 0.0f), next(cur.size());
    uint32_t state = 12345;
    for (float &v : cur) {
        state = state * 1103515245u + 12345u;
        const uint32_t r = (state >> 16) & 0x7fff;
        v = r < 400 ? 1.0f : (r < 800 ? -1.0f : 0.0f);
    }
    for (int it = 0; it < kIterations; ++it) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const Kernel &k = kernels[bin[size_t(y) * w + x]];
                double acc = 0;
                for (int j = -kRadius; j <= kRadius; ++j) {
                    const int sy = y + j;
                    if (sy < 0 || sy >= h)
                        continue;
                    const float *row = &cur[size_t(sy) * w];
                    for (int i = -kRadius; i <= kRadius; ++i) {
                        const int sx = x + i;
                        if (sx >= 0 && sx < w)
                            acc += k.w[j + kRadius][i + kRadius] * row[sx];
                    }
                }
                // Saturate, so that the ridges grow to full contrast.
                next[size_t(y) * w + x] = float(std::tanh(acc * 1.5));
            }
        cur.swap(next);
    }
    cache[{w, h}] = cur;
    return cur;
}

// The finger's offset for frame `index`: a few pixels each way.
std::pair<int, int> offset(int index)
{
    return {(index * 7) % 11 - 5, (index * 5) % 7 - 3};
}

} // namespace

std::vector<uint8_t> renderFrame(int width, int height, int index)
{
    std::vector<uint8_t> frame(size_t(width) * height, 255);
    if (width <= 0 || height <= 0)
        return frame;
    const std::vector<float> ridges = pattern(width, height);
    const auto [ox, oy] = offset(index);
    // The finger: an ellipse a little smaller than the frame.
    const double ex = width * 0.5, ey = height * 0.52;
    const double ax = width * 0.40, ay = height * 0.44;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int px = x - ox, py = y - oy;
            if (px < 0 || py < 0 || px >= width || py >= height)
                continue;
            const double nx = (px - ex) / ax, ny = (py - ey) / ay;
            const double r2 = nx * nx + ny * ny;
            if (r2 >= 1.0)
                continue;
            // Lighter towards the rim, where the finger presses less.
            const double pressure = r2 > 0.7 ? 1.0 - (r2 - 0.7) / 0.3 * 0.6 : 1.0;
            const double v = 130.0 - 100.0 * ridges[size_t(py) * width + px] * pressure;
            frame[size_t(y) * width + x] = uint8_t(std::lround(std::fmin(230.0, std::fmax(30.0, v))));
        }
    return frame;
}

std::vector<uint8_t> renderBitmapFile(int width, int height, int index)
{
    const std::vector<uint8_t> grey = renderFrame(width, height, index);
    const size_t pixels = size_t(width) * height;
    std::vector<uint8_t> file(kBitmapHeader + pixels, 0);
    auto put16 = [&](size_t at, uint32_t v) {
        file[at] = uint8_t(v);
        file[at + 1] = uint8_t(v >> 8);
    };
    auto put32 = [&](size_t at, uint32_t v) {
        put16(at, v & 0xffff);
        put16(at + 2, v >> 16);
    };
    file[0] = 'B';
    file[1] = 'M';
    put32(2, uint32_t(file.size()));
    put32(10, uint32_t(kBitmapHeader));  // pixels start after the palette
    put32(14, 40);
    put32(18, uint32_t(width));
    put32(22, uint32_t(height));        // positive: rows bottom-up
    put16(26, 1);
    put16(28, 8);
    put32(34, uint32_t(pixels));
    put32(38, 19685);                   // 500 dpi
    put32(42, 19685);
    put32(46, 256);
    for (int i = 0; i < 256; ++i) {
        uint8_t *entry = &file[54 + 4 * i];
        entry[0] = entry[1] = entry[2] = uint8_t(i);
    }
    for (int y = 0; y < height; ++y) {
        uint8_t *dst = &file[kBitmapHeader + size_t(height - 1 - y) * width];
        const uint8_t *src = &grey[size_t(y) * width];
        for (int x = 0; x < width; ++x)
            dst[x] = src[x] >= 130 ? 255 : src[x];  // valleys cleaned to white
    }
    return file;
}

} // namespace standin
