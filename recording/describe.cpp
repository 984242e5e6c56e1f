// One report in words: what the tablet layer's decoder makes of it on its
// own, for the comment line before each report of a recording.
#include "recording/hidrec.h"

#include <cstdio>
#include <cstring>

#include "tablet/catalogue.h"
#include "tablet/pxtablet.h"

namespace hidrec {

namespace {


std::string describePad(uint16_t pid, const uint8_t *bytes, size_t length)
{
    if (length != 8 && length != 64)
        return "ignored (" + std::to_string(length) + " bytes): all-zero event";
    // Decoded from the start state, with the reader's state put back after,
    // so describing a report changes nothing for the decoding of the next.
    PXDecodeState kept;
    PXGetDecodeState(&kept);
    // Only the pads' latches start afresh: Analize_TabletPacket reads and
    // writes these.
    PXDecodeState fresh = kept;
    fresh.penEnter = fresh.okBtn = 0;
    fresh.cashedKey = 0;
    fresh.cashx = fresh.cashy = 0;
    PXSetDecodeState(&fresh);
    unsigned char copy[64] = {};
    std::memcpy(copy, bytes, length);
    TOUCH_INFO t{};
    t.key = -1;  // no report yields this: it marks a record left alone
    Analize_TabletPacket(copy, int(length), pid, &t);
    PXSetDecodeState(&kept);
    if (t.key == -1) {
        // The reader then dispatches its previous event again.
        if (length == 8 && bytes[1] == 0xE0)
            return "pen lifted";
        return "first report of the OK key";
    }
    return formatTouch(t);
}

std::string describeDisplay(const DEV_INFO_PX &row, const uint8_t *bytes, size_t length)
{
    if (length == 52 && bytes[0] == 14) {
        MULTITOUCH_INFO mt;
        if (!PXDecodeMultiTouch(bytes, &mt))
            return "multi-touch, not accepted";
        return formatMultiTouch(mt);
    }
    if (length != size_t(row.reportLen)) {
        // The reader puts a multi-touch report together from two reads.
        if (length == size_t(52 - row.reportLen))
            return "multi-touch, second part";
        return "ignored (" + std::to_string(length) + " bytes)";
    }
    if (bytes[0] == 14)
        return "multi-touch, first part";
    if (bytes[0] != 2) {
        char text[40];
        std::snprintf(text, sizeof text, "ignored (report id %u)", bytes[0]);
        return text;
    }
    if (bytes[1] == 0xC2)
        return "ignored (status c2)";
    if (bytes[1] == 0x80 || (row.reportLen == 20 && bytes[4] == 0xE0))
        return "pen leaves";
    if (bytes[2] == 0 && bytes[3] == 0 && bytes[4] == 0 && bytes[5] == 0)
        return "ignored (no position)";
    TOUCH_INFO t{};
    int raw = 0;
    PXDecodeDisplayPen(bytes, row.reportLen, row.devType, &t, &raw);
    return formatTouch(t);
}

}  // namespace

std::string formatTouch(const TOUCH_INFO &t)
{
    char text[96];
    std::snprintf(text, sizeof text, "x=%d y=%d pressure=%.4f state=%d key=%d", t.x, t.y,
                  static_cast<double>(t.pressure), t.state, t.key);
    return text;
}

std::string formatMultiTouch(const MULTITOUCH_INFO &mt)
{
    std::string s = "fingers=" + std::to_string(mt.count);
    for (int i = 0; i < mt.count && i < 5; ++i)
        s += " (" + std::to_string(mt.points[i].x) + "," + std::to_string(mt.points[i].y) + ")";
    return s;
}

std::string describe(uint16_t pid, const uint8_t *bytes, size_t length)
{
    const int row = catalogueRowOfPid(pid);
    if (row < 0)
        return "not a tablet of the catalogue";
    if (length == 0)
        return "empty report";
    if (Dev_info_px[row].isPad)
        return describePad(pid, bytes, length);
    return describeDisplay(Dev_info_px[row], bytes, length);
}

}  // namespace hidrec
