// Decoding of display-tablet reports: pen reports in three layouts and the
// multi-touch report. Position and pressure leave here in device units.
#include <cstring>

#include "decode_state.h"
#include "tablet/pxtablet.h"

std::atomic<float> g_fPenScale{0.6f};
std::atomic<int> pressure{0};
std::atomic<int> cachedpressure{0};
TOUCH_INFO cachedPoint = {};

namespace {

constexpr int kPenReportId = 2;
constexpr int kMultiTouchReportId = 14;

// Display tablets scale raw pressure by 1/2048 and count contact from raw 43.
constexpr float kDisplayPressureUnit = 0.00048828125f;

void decodeMultiTouch(const unsigned char *b)
{
    MULTITOUCH_INFO mt;
    if (PXDecodeMultiTouch(b, &mt))
        dispatchMultiEvent(mt);
}

// The pen has left: close the stroke at the last dispatched position, but
// only if that event carried pressure.
void penLeaves(TOUCH_INFO *touch)
{
    if (cachedpressure > 0) {
        touch->pressure = 0;
        touch->state = 0;
        touch->x = cachedPoint.x;
        touch->y = cachedPoint.y;
        disptchEvent(*touch);
        cachedpressure = 0;
    }
    moveMousetoPrimary();
}

}  // namespace

void moveMousetoPrimary(void) {}

bool PXDecodeMultiTouch(const unsigned char *b, MULTITOUCH_INFO *mt)
{
    if (b[1] != 1 && b[2] != 2)
        return false;
    memset(mt, 0, sizeof *mt);
    for (int i = 0; i < 5; ++i) {
        const unsigned char *r = b + 2 + 5 * i;
        if (!(r[0] & 0x80))
            continue;
        const int x = ((r[0] & 0x7F) << 8) | r[1];
        const int y = (r[2] << 8) | r[3];
        MULTITOUCH_POINT &p = mt->points[mt->count++];
        p.x = static_cast<int>(static_cast<float>(x) * 56296.0f / 16383.0f);
        p.y = static_cast<int>(static_cast<float>(y) * 31667.0f / 9599.0f);
        p.state = 0x80;
    }
    return true;
}

void PXDecodeDisplayPen(const unsigned char *b, int reportLen, int devType, TOUCH_INFO *touch, int *raw)
{
    if (reportLen == 20) {
        touch->x = b[5] | (b[6] << 8);
        touch->y = b[7] | (b[8] << 8);
        *raw = (b[9] << 2) | (b[10] >> 6) | ((b[4] & 0x10) << 6);
    } else if (devType == 6) {
        touch->x = (b[2] << 8) | b[3];
        touch->y = (b[4] << 8) | b[5];
        *raw = (b[6] << 2) | (b[7] >> 6) | ((b[1] & 0x10) << 6);
    } else if (devType == 5 || devType == 8) {
        touch->x = (b[2] << 8) | b[3];
        touch->y = (b[4] << 8) | b[5];
        *raw = (((b[6] << 2) | (b[7] >> 6)) << 1) | (b[1] & 1);
    }
    const int r = *raw;
    touch->pressure = static_cast<float>(r) * kDisplayPressureUnit * g_fPenScale;
    if (r > 42) {
        touch->state = 1;
        if (static_cast<double>(touch->pressure) < 0.1)
            touch->pressure = 0.1f;
    } else {
        touch->state = 0;
    }
}

// Handles one complete display-tablet report; the reader has already checked
// its length.
void PXHandleDisplayReport(const unsigned char *b, int reportLen, int devType, TOUCH_INFO *touch)
{
    if (b[0] == kMultiTouchReportId) {
        decodeMultiTouch(b);
        return;
    }
    if (b[0] != kPenReportId)
        return;
    const unsigned char status = b[1];
    if (status == 0xC2)
        return;
    if (status == 0x80 || (reportLen == 20 && b[4] == 0xE0)) {
        penLeaves(touch);
        return;
    }
    // Made in every layout, also the wide one where these are not coordinates.
    if (b[2] == 0 && b[3] == 0 && b[4] == 0 && b[5] == 0)
        return;
    int raw = pressure;  // a layout that carries no pressure keeps the last one
    PXDecodeDisplayPen(b, reportLen, devType, touch, &raw);
    pressure = raw;
    disptchEvent(*touch);
    cachedPoint = *touch;
    cachedpressure = raw;
}

// The pressure scale of display tablets, set by the pen layer with the pen size.
void PXSetPenScale(float scale)
{
    g_fPenScale = scale;
}

// Start values of the decoding state of both families.
void PXResetDecodeState(void)
{
    g_fPenScale = 0.6f;
    g_fPenSize = 0.6f;
    pressure = 0;
    cachedpressure = 0;
    cachedPoint = TOUCH_INFO{};
    bPenEnter = 0;
    bOkBtn = 0;
    cashedKey = 0;
    cashx = 0;
    cashy = 0;
}

void PXGetDecodeState(PXDecodeState *state)
{
    *state = {g_fPenScale, g_fPenSize, pressure, cachedpressure, cachedPoint,
              bPenEnter, bOkBtn, cashedKey, cashx, cashy};
}

void PXSetDecodeState(const PXDecodeState *state)
{
    g_fPenScale = state->penScale;
    g_fPenSize = state->penSize;
    pressure = state->pressure;
    cachedpressure = state->cachedpressure;
    cachedPoint = state->cachedPoint;
    bPenEnter = state->penEnter;
    bOkBtn = state->okBtn;
    cashedKey = state->cashedKey;
    cashx = state->cashx;
    cashy = state->cashy;
}
