// Placing the demo signature on a model and timing its reports.
#include "replay.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "tablet/catalogue.h"

namespace demo {

namespace {

const DEV_INFO_PX &rowOf(uint16_t pid)
{
    const int row = catalogueRowOfPid(pid);
    if (row < 0)
        throw std::out_of_range("not a catalogue tablet");
    return Dev_info_px[row];
}

// Share of the picture kept free around the signature.
constexpr double kMargin = 0.04;

}  // namespace

WritingArea writingAreaOf(uint16_t pid)
{
    const DEV_INFO_PX &row = rowOf(pid);
    if (!row.isPad) {
        // The signature dialog writes above a 40-row clear strip and its
        // picture is 50 rows short of the screen (800 rows on the tablets'
        // 1280 x 800 screens): stay in the top 740 of 800.
        return {row.maxX, row.maxY * 740 / 800, 0, 2047};
    }
    // Pads: Y counts only inside the writing area of the raw range (above
    // and below it lie the keys on the 8-byte pads); the 64-byte pads' X
    // stops before maxX.
    const PXModelTraits &t = catalogueTraitsOfPid(pid);
    return {row.maxX, t.yCeiling - t.yFloor, t.yFloor, 1024};
}

std::vector<emu::Stroke> placeSignature(uint16_t pid, const std::vector<Stroke> &signature)
{
    const DEV_INFO_PX &row = rowOf(pid);
    const WritingArea area = writingAreaOf(pid);
    // The reachable part of the picture, in picture units.
    const double reachW = kPictureWidth * area.width / (row.maxX - row.minX);
    const double reachH = kPictureHeight * area.height / (row.maxY - row.minY);

    double x0 = std::numeric_limits<double>::max(), y0 = x0, x1 = -x0, y1 = -x0;
    for (const Stroke &s : signature) {
        for (const Sample &p : s.samples) {
            x0 = std::min(x0, p.x);
            x1 = std::max(x1, p.x);
            y0 = std::min(y0, p.y);
            y1 = std::max(y1, p.y);
        }
    }
    const double w = std::max(x1 - x0, 1.0), h = std::max(y1 - y0, 1.0);
    const double k = std::min(reachW * (1 - 2 * kMargin) / w, reachH * (1 - 2 * kMargin) / h);
    const double ox = (reachW - k * w) / 2, oy = (reachH - k * h) / 2;

    std::vector<emu::Stroke> out;
    for (const Stroke &s : signature) {
        emu::Stroke placed;
        for (const Sample &p : s.samples) {
            const double px = ox + k * (p.x - x0), py = oy + k * (p.y - y0);
            placed.samples.push_back({int(std::lround(px * row.maxX / kPictureWidth)),
                                      int(std::lround(py * row.maxY / kPictureHeight)) + area.wireY,
                                      int(std::lround(p.pressure * area.rawFull))});
        }
        out.push_back(std::move(placed));
    }
    return out;
}

std::vector<TimedReport> replaySchedule(uint16_t pid, const std::vector<Stroke> &signature)
{
    const std::vector<emu::Stroke> placed = placeSignature(pid, signature);
    const int t0 = signature.front().samples.front().tMs;
    std::vector<TimedReport> out;
    for (size_t i = 0; i < placed.size(); ++i) {
        const std::vector<emu::Bytes> reports = emu::encodeStroke(pid, placed[i]);
        const std::vector<Sample> &samples = signature[i].samples;
        for (size_t r = 0; r < reports.size(); ++r) {
            const int t = r < samples.size() ? samples[r].tMs : signature[i].liftMs;
            out.push_back({std::chrono::milliseconds(t - t0), reports[r]});
        }
    }
    return out;
}

std::vector<TimedReport> checkSchedule(uint16_t pid, const std::vector<Stroke> &scribble)
{
    const DEV_INFO_PX &row = rowOf(pid);
    // A display tablet's pen reaches its whole range: the signature
    // dialog's limits do not apply to the check.
    const WritingArea area = row.isPad ? writingAreaOf(pid) : WritingArea{row.maxX, row.maxY, 0, 0};
    const int t0 = scribble.front().samples.front().tMs;
    std::vector<TimedReport> out;
    int end = 0;
    for (const Stroke &s : scribble) {
        emu::Stroke placed;
        for (const Sample &p : s.samples)
            placed.samples.push_back({int(p.x / kPictureWidth * area.width),
                                      int(p.y / kPictureHeight * area.height) + area.wireY,
                                      int(std::lround(p.pressure * (row.pressureLevels - 1)))});
        const std::vector<emu::Bytes> reports = emu::encodeStroke(pid, placed);
        for (size_t r = 0; r < reports.size(); ++r) {
            const int t = r < s.samples.size() ? s.samples[r].tMs : s.liftMs;
            out.push_back({std::chrono::milliseconds(t - t0), reports[r]});
            end = t - t0;
        }
    }
    if (row.isPad) {
        for (emu::PadKey key : {emu::PadKey::Resign, emu::PadKey::Ok}) {
            end += 200;
            for (const emu::Bytes &r : emu::encodeKey(pid, key))
                out.push_back({std::chrono::milliseconds(end), r});
        }
    }
    return out;
}

}  // namespace demo
