// Random sample streams through the flat pen interface, for every pen style
// that has a brush class, on small surfaces. Memory errors and undefined
// behaviour are what the sanitizers report; the display buffer is malloc'd to
// its exact size so a write past any surface is caught.
//
// Smudge, blur and sharpen keep a 128 x 128 scratch image and nothing checks
// a dab against it: a dab box wider than 128 pixels writes past it. Their box
// is cut to the surface first, so the sides here (at most 48) keep every dab
// below that bound whatever size the input asks for.
//
// Input: style byte, width byte, height byte, then 7-byte records:
// op, x (2 bytes), y (2 bytes), pressure (2 bytes). The op (mod 16) picks
// EndStroke, BeginStroke, SetSize, SetPenStyle, a new pattern (op 13) for a
// pattern brush (sides from the y and pressure fields), a bristle dab image, a piece
// of recorded ink, or else a sample. A height byte with its top bit set gives
// both pattern brushes a pattern at the start.
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "brush/PXDryMedia.h"
#include "brush/PXFilterBrushes.h"
#include "pen/PXPenEngine.h"
#include "pen/PX_PEN_API.h"

namespace {

const int kStyles[] = {2, 3, 5, 6, 7, 10, 11, 15, 20, 21, 22, 0, 13, 99, -4, 1, 4, 16, 12, 17, 18, 19, 23, 24};

// A grey pattern of w x h bytes drawn from seed: zero runs and full bytes
// both occur, so the stamp's skip and both ink rules are reached.
void GivePattern(void* e, int style, int w, int h, unsigned seed) {
    unsigned char* g = (unsigned char*)std::malloc((size_t)w * h);
    for (int i = 0; i < w * h; ++i) {
        seed = seed * 1103515245u + 12345u;
        const unsigned v = seed >> 24;
        g[i] = (unsigned char)(v < 64 ? 0 : v > 192 ? 255 : v);
    }
    SetPatternDabImage(e, style, w, h, g);
    std::free(g);
}

// Extremes that the 16-bit codes above 0xF000 pick: negative, zero and
// subnormal, on and past the edges, and large but finite values (no NaN or
// infinity among the samples; positions stay small enough for the dab walk
// to advance by its spacing).
float Special(unsigned k, float side) {
    const float v[] = {-1e5f, -1.0f, -0.0f, 0.0f, 1e-40f, FLT_MIN, 0.5f, 1.0f,
                       side,  side + 0.5f, side - 0.5f, 2.0f * side, 1e3f, 1e4f, 1e5f, 65535.99f};
    return v[k & 15];
}

float Coord(uint16_t c, float side) {
    if ((c & 0xF000) == 0xF000)
        return Special(c, side);
    return (float)c / 0xF000 * side * 1.5f - side * 0.25f;
}

// Pressures far above 1 reach the soft dabs unclamped; 1e18 gives a dab
// strength past the int range while its square times any size stays finite.
float Pressure(uint16_t c) {
    if ((c & 0xF000) == 0xF000) {
        const float v = Special(c, 1.0f);
        if (v <= 1e3f)
            return v;
        return (c & 3) == 3 ? 1e18f : (float)(c & 3) * 3000.0f + 1.5f;
    }
    return (float)c / 0xF000 * 1.5f - 0.25f;
}

// A dab image with a ramp of alpha, enough for the largest image size above.
int g_dab[144];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3)
        return 0;
    static const bool ramp = [] {
        for (int i = 0; i < 144; ++i)
            g_dab[i] = (int)((uint32_t)(i * 37 % 256) << 24 | 0x203040u);
        return true;
    }();
    (void)ramp;
    const int style = kStyles[data[0] % (sizeof kStyles / sizeof kStyles[0])];
    const int w = 1 + data[1] % 48, h = 1 + data[2] % 48;
    int* pixels = (int*)std::malloc(sizeof(int) * w * h);
    void* e = Initialize(w, h, pixels);
    SetColor(e, 0x10, 0x20, 0x30, (unsigned char)(data[0] | 0x0F));
    SetPenStyle(e, style);
    if (data[2] & 0x80) {
        GivePattern(e, 23, 1 + data[1] % 64, 1 + data[2] % 64, data[0]);
        GivePattern(e, 24, 1 + data[2] % 64, 1 + data[1] % 64, data[1]);
    }
    int rect[4];
    BeginStroke(e);
    for (size_t i = 3; i + 7 <= size; i += 7) {
        const uint8_t op = data[i];
        const uint16_t cx = (uint16_t)(data[i + 1] | data[i + 2] << 8);
        const uint16_t cy = (uint16_t)(data[i + 3] | data[i + 4] << 8);
        const uint16_t cp = (uint16_t)(data[i + 5] | data[i + 6] << 8);
        switch (op % 16) {
        case 0:
            EndStroke(e, rect);
            break;
        case 1:
            BeginStroke(e);
            break;
        case 2:
            SetSize(e, (float)(cx % 2000) / 10.0f - 10.0f);
            break;
        case 3:
            SetPenStyle(e, kStyles[cx % (sizeof kStyles / sizeof kStyles[0])]);
            break;
        case 13:
            GivePattern(e, 23 + (cx & 1), 1 + cy % 64, 1 + cp % 64, cx);
            break;
        case 14:
            // The bristle brush draws only with a dab image; any size up to
            // the buffer, which outlives the engine.
            SetBristlDabImage(e, 1 + cx % 12, 1 + cy % 12, g_dab);
            break;
        case 15: {
            // Recorded ink in either list form, indices and coordinates
            // anywhere, odd counts included.
            const int xy = (int)(cx | (uint32_t)cy << 16), yx = (int)(cy | (uint32_t)cx << 16);
            int rec[] = {(cp & 1) ? -1 : xy, cp >> 1, xy, (int)(cp * 0x01010101u), yx, -1, cx % 8, (int)0xFF000000u};
            // Either form reads at most eight integers for a count up to 6.
            FusionDataToDisplay(e, rec, 1 + cp % 6);
            break;
        }
        default:
            StrokePoint(e, rect, Coord(cx, (float)w), Coord(cy, (float)h), Pressure(cp));
            break;
        }
    }
    EndStroke(e, rect);
    DestroyEngine(e);
    std::free(pixels);
    return 0;
}
