// Construction, destruction, the clones and compose_alpha.
#include "bitmap/LHBmp.h"

#include <cstring>

#include "base/LHHeap.h"

CLHBmp::~CLHBmp() {}

CLHBmp8::CLHBmp8(int w, int h)
{
    width = w;
    height = h;
    stride = (w + 3) & ~3;
    depth = 8;
    bits = static_cast<unsigned char*>(LHAlloc(unsigned(h * stride)));
}

CLHBmp8::CLHBmp8(int w, int h, int s)
{
    width = w;
    height = h;
    stride = s;
    depth = 8;
    bits = static_cast<unsigned char*>(LHCalloc(unsigned(h), unsigned(s)));
}

CLHBmp8::~CLHBmp8()
{
    LHFree(bits);
    bits = nullptr;
    width = height = stride = depth = 0;
}

CLHBmp8Ref::CLHBmp8Ref(unsigned char* b, int w, int h, int s)
{
    bits = b;
    width = w;
    height = h;
    stride = s;
}

CLHBmp8Ref::~CLHBmp8Ref()
{
    // Forget the foreign memory so that the parent's LHFree sees null.
    bits = nullptr;
    width = height = stride = depth = 0;
}

CLHBmp32::CLHBmp32(int w, int h)
{
    width = w;
    height = h;
    stride = w * 4;
    depth = 32;
    bits = static_cast<unsigned char*>(LHAlloc(unsigned(h * stride)));
}

CLHBmp32::CLHBmp32(int w, int h, int s)
{
    width = w;
    height = h;
    stride = s;
    depth = 32;
    bits = static_cast<unsigned char*>(LHCalloc(unsigned(h), unsigned(s)));
}

CLHBmp32::~CLHBmp32()
{
    LHFree(bits);
    bits = nullptr;
    width = height = stride = depth = 0;
}

CLHBmp32Ref::CLHBmp32Ref(unsigned char* b, int w, int h, int s)
{
    bits = b;
    width = w;
    height = h;
    stride = s;
}

CLHBmp32Ref::~CLHBmp32Ref()
{
    bits = nullptr;
    width = height = stride = depth = 0;
}

namespace {

// Null for an empty or failed bitmap, which is then destroyed.
template <typename B>
B* keepIfUsable(B* b)
{
    if (b->width < 1 || b->height < 1 || !b->bits) {
        delete b;
        return nullptr;
    }
    return b;
}

template <typename B>
B* cloneOf(const B& self)
{
    B* b = keepIfUsable(new B(self.width, self.height, self.stride));
    if (b && int64_t(b->stride) * b->height >= 1)
        std::memcpy(b->bits, self.bits, size_t(b->stride) * size_t(b->height)); // padding included
    return b;
}

} // namespace

CLHBmp* CLHBmp8::clone() const
{
    return cloneOf<CLHBmp8>(*this);
}

CLHBmp* CLHBmp32::clone() const
{
    return cloneOf<CLHBmp32>(*this);
}

CLHBmp8* CLHBmp8::clone_gray() const
{
    return static_cast<CLHBmp8*>(clone());
}

CLHBmp8* CLHBmp32::clone_gray() const
{
    CLHBmp8* g = keepIfUsable(new CLHBmp8(width, height, (width + 3) & ~3));
    if (!g)
        return nullptr;
    for (int y = 0; y < height; ++y) {
        const unsigned char* s = bits + size_t(y) * stride;
        unsigned char* d = g->bits + size_t(y) * g->stride;
        for (int x = 0; x < width; ++x, s += 4)
            d[x] = static_cast<unsigned char>((s[1] * 601 + s[2] * 306 + s[0] * 117) >> 10);
    }
    return g;
}

// A transpose, despite the name: (x, y) takes the old (y, x).
CLHBmp* CLHBmp8::clone_rotate() const
{
    CLHBmp8* r = keepIfUsable(new CLHBmp8(height, width, (height + 3) & ~3));
    if (!r)
        return nullptr;
    for (int y = 0; y < r->height; ++y)
        for (int x = 0; x < r->width; ++x)
            r->bits[size_t(y) * r->stride + x] = bits[size_t(x) * stride + y];
    return r;
}

CLHBmp* CLHBmp32::clone_rotate() const
{
    CLHBmp32* r = keepIfUsable(new CLHBmp32(height, width));
    if (!r)
        return nullptr;
    for (int y = 0; y < r->height; ++y)
        for (int x = 0; x < r->width; ++x)
            std::memcpy(r->bits + size_t(y) * r->stride + size_t(x) * 4, bits + size_t(x) * stride + size_t(y) * 4, 4);
    return r;
}

// Every byte is a pixel here, so all four of a group scale; the walk stops
// before the last three bytes, which a length not a multiple of 4 leaves as
// they were.
bool CLHBmp8::compose_alpha(unsigned char alpha)
{
    const int64_t n = int64_t(stride) * height;
    for (int64_t i = 0; i < n - 3; i += 4)
        for (int k = 0; k < 4; ++k)
            bits[i + k] = static_cast<unsigned char>(bits[i + k] * alpha / 255);
    return true;
}

// Only byte 3 of each group of four, padding included; (alpha + 1) >> 8
// rather than / 255, so 255 keeps alpha and 0 clears it.
bool CLHBmp32::compose_alpha(unsigned char alpha)
{
    const int64_t n = int64_t(stride) * height;
    for (int64_t i = 0; i + 4 <= n; i += 4)
        bits[i + 3] = static_cast<unsigned char>((bits[i + 3] * (alpha + 1)) >> 8);
    return true;
}
