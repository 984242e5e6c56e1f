// The upper layer the windows call: one engine for the process in g_be, the
// background colour, and no work while the device is closed.
#include "pen/PX_PEN_API.h"
#include "tablet/deviceRead.h"
#include "tablet/pxtablet.h"

extern "C" {

void* g_be = nullptr;
unsigned int nBackColor = 0x1FFFFFFF;

namespace {

// Run by CloseDevice: the engine goes with the device.
void releaseEngine(void) {
    if (g_be) {
        API_DestroyEngine(g_be);
        g_be = nullptr;
    }
}

}  // namespace

void* PXPenSet(int width, int height, void* pixels, unsigned int color, int style, float size) {
    if (!hDev)
        return nullptr;
    PXSetCloseHook(releaseEngine);
    // The new engine is made before the former one goes, so that it cannot
    // land at the former address: a window's stale handle must keep failing
    // the test against g_be. The former handle is dead from here on.
    void* former = g_be;
    g_be = API_Initialize(width, height, static_cast<int*>(pixels));
    if (former)
        API_DestroyEngine(former);
    // Bits 16-23 go first into the blue byte: the ink word is 0x00BBGGRR,
    // unlike the background word 0xAARRGGBB. Callers rely on both.
    API_SetColor(g_be, (unsigned char)(color >> 16), (unsigned char)(color >> 8), (unsigned char)color, 255);
    // A fixed fill, not nBackColor (which stays as it was).
    API_FillSurface(g_be, 0x1FFFFFFF);
    API_SetPenStyle(g_be, style);
    API_SetPenSize(g_be, size);
    // Display tablets scale pressure by the pen size; other sizes keep the scale.
    if (size == 1.0f)
        PXSetPenScale(0.4f);
    else if (size == 2.0f)
        PXSetPenScale(0.55f);
    else if (size == 3.0f)
        PXSetPenScale(0.6f);
    else if (size == 4.0f)
        PXSetPenScale(0.7f);
    else if (size == 5.0f)
        PXSetPenScale(0.8f);
    return g_be;
}

// The caller's alpha is replaced by 0x1F.
int PXSetBkColor(void* handle, unsigned int color) {
    if (!hDev || handle != g_be)
        return 3;
    nBackColor = (color & 0xFFFFFF) | 0x1F000000;
    API_FillSurface(handle, (int)nBackColor);
    return 0;
}

int PXClearSign(void) {
    if (!hDev || !g_be)
        return 3;
    API_FillSurface(g_be, (int)nBackColor);
    return 0;
}

// A handle that is not the current engine (stale after PXPenSet or
// CloseDevice) is ignored.
void PXBeginStroke(void* handle) {
    if (handle && handle == g_be)
        API_BeginStroke(handle);
}

void PXStrokePoint(void* handle, int* rect, float x, float y, float pressure) {
    if (handle && handle == g_be)
        API_StrokePoint(handle, rect, x, y, pressure);
}

void PXEndStroke(void* handle, int* rect) {
    if (handle && handle == g_be)
        API_EndStroke(handle, rect);
}

}  // extern "C"
