// Wire reports of pen strokes, pad keys and multi-touch frames for each model.
#include <stdexcept>

#include "emulator/tablet_protocol.h"
#include "tablet/catalogue.h"

namespace emu {

namespace {

const DEV_INFO_PX &rowOf(uint16_t pid)
{
    const int row = catalogueRowOfPid(pid);
    if (row < 0)
        throw std::out_of_range("not a catalogue tablet");
    return Dev_info_px[row];
}

Bytes pad64(uint8_t kind, int x, int y, int raw)
{
    Bytes r(64, 0);
    r[0] = 0x01;
    r[1] = kind;
    r[2] = uint8_t(x >> 7);
    r[3] = uint8_t(x & 0x7F);
    r[4] = uint8_t(y >> 7);
    r[5] = uint8_t(y & 0x7F);
    r[6] = uint8_t(raw >> 7);
    r[7] = uint8_t(raw & 0x7F);
    return r;
}

}  // namespace

Bytes encodeSample(uint16_t pid, const StrokeSample &s)
{
    const DEV_INFO_PX &row = rowOf(pid);
    const int raw = s.pressure;
    if (row.isPad && row.reportLen == 64)
        return pad64(1, s.x, s.y, raw);
    if (row.isPad) {
        // Words A and B; KV-C2 reports Y as 6240 minus word A and X as word B.
        int a = s.x, b = s.y;
        if (pid == 0x8421) {
            a = 6240 - s.y;
            b = s.x;
        }
        return {0x02, uint8_t(raw > 0 ? 0xA1 : 0xA0), uint8_t(a), uint8_t(a >> 8), uint8_t(b), uint8_t(b >> 8),
                uint8_t(raw), uint8_t(raw >> 8)};
    }
    Bytes r(size_t(row.reportLen), 0);
    r[0] = 2;
    r[1] = 0xA0;
    if (row.reportLen == 20) {
        const int low10 = raw & 0x3FF;
        r[2] = 0x01;  // tool byte
        r[4] = uint8_t((raw >> 6) & 0x10);
        r[5] = uint8_t(s.x);
        r[6] = uint8_t(s.x >> 8);
        r[7] = uint8_t(s.y);
        r[8] = uint8_t(s.y >> 8);
        r[9] = uint8_t(low10 >> 2);
        r[10] = uint8_t((low10 & 3) << 6);
        return r;
    }
    r[2] = uint8_t(s.x >> 8);
    r[3] = uint8_t(s.x);
    r[4] = uint8_t(s.y >> 8);
    r[5] = uint8_t(s.y);
    if (row.devType == 6) {
        // 11th pressure bit on top, in status bit 4.
        const int low10 = raw & 0x3FF;
        r[1] |= uint8_t((raw >> 6) & 0x10);
        r[6] = uint8_t(low10 >> 2);
        r[7] = uint8_t((low10 & 3) << 6);
    } else {
        // 11th pressure bit at the bottom, in status bit 0.
        const int hi10 = raw >> 1;
        r[1] |= uint8_t(raw & 1);
        r[6] = uint8_t(hi10 >> 2);
        r[7] = uint8_t((hi10 & 3) << 6);
    }
    return r;
}

std::vector<Bytes> encodeStroke(uint16_t pid, const Stroke &stroke)
{
    const DEV_INFO_PX &row = rowOf(pid);
    std::vector<Bytes> out;
    for (const StrokeSample &s : stroke.samples)
        out.push_back(encodeSample(pid, s));
    if (row.isPad && row.reportLen == 64) {
        const StrokeSample last = stroke.samples.empty() ? StrokeSample{0, 0, 0} : stroke.samples.back();
        out.push_back(pad64(0, last.x, last.y, 0));
        out.push_back(pad64(0, 0, 0, 0));
    } else if (row.isPad) {
        out.push_back({0x02, 0xE0, 0, 0, 0, 0, 0, 0});
    } else {
        Bytes leave(size_t(row.reportLen), 0);
        leave[0] = 2;
        if (row.reportLen == 20)
            leave[4] = 0xE0;
        else
            leave[1] = 0x80;
        out.push_back(leave);
    }
    return out;
}

std::vector<Bytes> encodeKey(uint16_t pid, PadKey key)
{
    const DEV_INFO_PX &row = rowOf(pid);
    const bool ok = key == PadKey::Ok;
    if (row.reportLen == 64) {
        Bytes r = pad64(2, 0, 0, 0);
        r[2] = ok ? 3 : 5;
        return ok ? std::vector<Bytes>{r, r} : std::vector<Bytes>{r};
    }
    if (pid == 0x8420)
        return {{0x02, 0x55, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, uint8_t(ok ? 0xFF : 0x00)}};
    return {{0x02, 0x03, uint8_t(ok ? 0x12 : 0x11), 0, 0, 0, 0, 0}};
}

std::vector<Bytes> encodeMultiTouch(uint16_t pid, const std::vector<Finger> &fingers)
{
    const DEV_INFO_PX &row = rowOf(pid);
    Bytes frame(52, 0);
    frame[0] = 14;
    frame[1] = 1;
    for (size_t i = 0; i < fingers.size() && i < 5; ++i) {
        uint8_t *rec = &frame[2 + 5 * i];
        if (!fingers[i].present)
            continue;
        rec[0] = uint8_t(0x80 | ((fingers[i].x >> 8) & 0x7F));
        rec[1] = uint8_t(fingers[i].x);
        rec[2] = uint8_t(fingers[i].y >> 8);
        rec[3] = uint8_t(fingers[i].y);
    }
    const size_t first = size_t(row.reportLen);
    return {Bytes(frame.begin(), frame.begin() + first), Bytes(frame.begin() + 10, frame.begin() + 10 + (52 - first))};
}

}  // namespace emu
