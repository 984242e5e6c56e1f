// Fuzzes the per-report decoding of every model: the first byte picks the
// catalogue row, then each report is one length byte and that many bytes.
// Reports of one input run in order, so the decoders' state carries over as
// in the reader. Pads go through Analize_TabletPacket with the exact length;
// display tablets get the reader's 64-byte buffer once a report is long
// enough, multi-touch reports padded to their full 52 bytes.
#include <cmath>
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <vector>

#include "tablet/pxtablet.h"

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

void checkTouch(const TOUCH_INFO &t)
{
    check(t.key == 0 || t.key == 16 || t.key == 32);
    check(t.state == 0 || t.state == 1);
    check(std::isfinite(t.pressure) && t.pressure >= 0.0f && t.pressure < 64.0f);
}

int onTouch(TOUCH_INFO t)
{
    checkTouch(t);
    return 1;
}

int onMulti(MULTITOUCH_INFO m)
{
    check(m.count >= 0 && m.count <= 5);
    for (int i = 0; i < 5; ++i) {
        check(i < m.count ? m.points[i].state == 0x80 : (m.points[i].x | m.points[i].y | m.points[i].state) == 0);
        // 15-bit X and 16-bit Y on the wire, scaled by 56296/16383 and 31667/9599.
        check(m.points[i].x >= 0 && m.points[i].x <= 112600 && m.points[i].y >= 0 && m.points[i].y <= 216300);
    }
    return 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const DEV_INFO_PX &row = Dev_info_px[data[0] % kTabletCatalogueRows];
    PXResetDecodeState();
    Touchcallback[0] = onTouch;
    MultiTouchcallback[0] = onMulti;
    TOUCH_INFO touch = {};
    size_t at = 1;
    while (at < size) {
        const size_t want = data[at++] % 65;
        const size_t len = std::min(want, size - at);
        // Exact-size copy, so that reading past the report is caught.
        std::vector<unsigned char> report(data + at, data + at + len);
        at += len;
        if (row.isPad) {
            Analize_TabletPacket(report.data(), int(len), row.pid, &touch);
            checkTouch(touch);
            continue;
        }
        const size_t need = (len > 0 && report[0] == 14) ? 52 : size_t(row.reportLen);
        if (len < size_t(row.reportLen))
            continue;
        unsigned char buffer[64] = {};
        memcpy(buffer, report.data(), std::min<size_t>(len, need));
        PXHandleDisplayReport(buffer, row.reportLen, row.devType, &touch);
    }
    return 0;
}
