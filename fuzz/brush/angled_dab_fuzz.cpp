// Random image dabs and textured triangles on small surfaces: any position,
// angle and scale, mask images from 1 x 1 up, through the bristle brush (mask)
// and the image brush (colour). ASan catches a read outside the image or a
// write outside the surface, whose pixel array is malloc'd to its exact size.
//
// Kept out of the generator, because the brushes do not guard them: an image
// of no size (its diagonal 0 makes the scale infinite), and a dab wider than
// the 128 x 128 scratch surface of the smudge and convolution brushes (the
// size stays at or below 128). Opacity stays at or below 4, so the alpha
// accumulation's integer product cannot overflow. Stroke ends stay within a
// few surface widths (see Near).
//
// Input: surface width, height, image width, height, brush byte, then
// 12-byte records: op, x (2), y (2), angle (2), size (2), pressure (1),
// extra (2).
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "brush/PXPaintBaseJitterAngle.h"
#include "brush/PXTipFunction.h"

namespace {

float Pos(uint16_t c, float side) {
    switch (c >> 12) {
    case 0xF: {
        const float v[] = {-1e9f, 1e9f, -1e5f, 1e5f, std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), std::nanf(""), -0.0f,
                           side, side - 0.5f, side + 0.5f, 65535.99f, -65536.5f, 0.999f, 32767.5f, -1.0f};
        return v[c & 15];
    }
    default:
        return (float)(c & 0x0FFF) / 4096.0f * side * 3.0f - side;
    }
}

// Within a few surface widths: the stroke walk steps at least 0.2 pixels, so
// far-flung ends would only make a run long (past 2^24 the step is lost).
float Near(uint16_t c, float side) {
    return (float)(c & 0x0FFF) / 4096.0f * side * 3.0f - side;
}

uint16_t U16(const uint8_t* p) { return (uint16_t)(p[0] | p[1] << 8); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 5)
        return 0;
    const int w = 1 + data[0] % 40, h = 1 + data[1] % 40;
    const int iw = 1 + data[2] % 24, ih = 1 + data[3] % 24;
    PXPixel* px = (PXPixel*)std::calloc((size_t)w * h, sizeof(PXPixel));
    PXPixel* ipx = (PXPixel*)std::malloc(sizeof(PXPixel) * (size_t)iw * ih);
    for (int i = 0; i < iw * ih; ++i)
        ipx[i] = PXPixel((uint8_t)(i * 37), (uint8_t)(i * 11), (uint8_t)(i * 53), (uint8_t)(255 - i * 7));
    PXSurface* s = new PXSurface(w, h, w, px, true);
    PXSurface* img = new PXSurface(iw, ih, iw, ipx, true);
    PXPaintBaseJitterAngle* b;
    if (data[4] & 1)
        b = new PXImageBrush(s, new PXDullAntiAliasingTipFunction());
    else
        b = new PXBristleBrush(s, new PXDullAntiAliasingTipFunction());
    b->dab_image = img;
    b->dab_diagonal = std::sqrt((float)iw * (float)iw + (float)(ih * ih));
    b->min_size = 0.05f;
    b->spacing = 0.2f;
    b->use_jitter = (data[4] & 2) != 0;
    b->jitter = (data[4] & 4) ? 0.5f : 0.0f;
    b->size_jitter = (data[4] & 8) ? 1.0f : 0.0f;
    b->angle_jitter = (data[4] & 16) ? 90.0f : 0.0f;
    b->hue_jitter = (data[4] & 32) ? 0.3f : 0.0f;
    for (size_t i = 5; i + 12 <= size; i += 12) {
        const uint8_t* r = data + i;
        const float x = Pos(U16(r + 1), (float)w), y = Pos(U16(r + 3), (float)h);
        const float angle = (r[5] == 0xFF) ? 4294967296.0f : (float)U16(r + 5) / 65536.0f * 20.0f - 10.0f;
        b->size = (float)(U16(r + 7) % 1281) / 10.0f;  // 0 to 128
        const float pressure = (float)r[9] / 255.0f;
        b->opacity = (float)(r[10] % 5);
        b->min_opacity = (float)r[11] / 255.0f;
        switch (r[0] % 4) {
        case 0:
            b->ApplyDab(x, y, pressure, angle);
            break;
        case 1: {
            PenPoint a{Near(U16(r + 1), (float)w), Near(U16(r + 3), (float)h), pressure, 0, 0};
            PenPoint c{Near(U16(r + 7), (float)w), Near(U16(r + 5), (float)h), pressure, 0, 0};
            b->carry = b->DrawLine(a, c, b->carry);
            break;
        }
        default: {
            // A triangle of any shape with texture positions beyond 0..1.
            PixVertex v0{x, y, (float)(r[9] % 5) - 1.5f, (float)(r[10] % 5) - 1.5f};
            PixVertex v1{Pos(U16(r + 5), (float)w), Pos(U16(r + 7), (float)h), 1.0f, 0.0f};
            PixVertex v2{Pos(U16(r + 7), (float)w), Pos(U16(r + 1), (float)h), (float)r[11] / 64.0f, 1.0f};
            b->DrawTriangle(v0, v1, v2, r[11]);
            break;
        }
        }
    }
    delete b;
    delete img;
    delete s;
    std::free(ipx);
    std::free(px);
    return 0;
}
