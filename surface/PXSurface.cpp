// Construction, whole-surface operations and views of PXSurface.
#include "surface/PXSurface.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

// Byte size of a tight w by h array: the product is taken in 32 bits and then
// sign-extended, so a negative or overflowing product asks for a huge block.
size_t TightBytes(int w, int h)
{
    uint32_t product = static_cast<uint32_t>(w) * static_cast<uint32_t>(h) * 4u;
    return static_cast<size_t>(static_cast<int64_t>(static_cast<int32_t>(product)));
}

uint32_t Word(const PXPixel& p)
{
    uint32_t w;
    std::memcpy(&w, &p, 4);
    return w;
}

PXPixel FromWord(uint32_t w)
{
    PXPixel p;
    std::memcpy(static_cast<void*>(&p), &w, 4);
    return p;
}

} // namespace

PXSurface::PXSurface(int w, int h)
    : width(w), height(h), stride(w), pixels(nullptr), borrowed(false)
{
    size_t bytes = TightBytes(w, h);
    pixels = static_cast<PXPixel*>(std::malloc(bytes));
    if (bytes > 0)
        std::memset(static_cast<void*>(pixels), 0, bytes);
}

PXSurface::PXSurface(int w, int h, int s, PXPixel* p, bool b)
    : width(w), height(h), stride(s), pixels(p), borrowed(b)
{
}

PXSurface::PXSurface(const PXSurface& other)
    : width(0), height(0), stride(0), pixels(nullptr), borrowed(false)
{
    if (!other.pixels)
        return;
    PXPixel* copy = static_cast<PXPixel*>(std::malloc(TightBytes(other.width, other.height)));
    if (!copy)
        return;
    width = other.width;
    height = other.height;
    stride = other.width;
    pixels = copy;
    for (int y = 0; y < height; ++y) {
        const PXPixel* from = other.pixels + static_cast<ptrdiff_t>(y) * other.stride;
        PXPixel* to = pixels + static_cast<ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x)
            to[x] = from[x];
    }
}

PXSurface& PXSurface::operator=(const PXSurface& other)
{
    if (this == &other)
        return *this;
    PXSurface copy(other);
    if (!copy.pixels)
        return *this;
    // The old array goes whatever borrowed says, and borrowed stays as it was:
    // assignment is meant for owning surfaces only.
    PXPixel* old = pixels;
    width = copy.width;
    height = copy.height;
    stride = copy.stride;
    pixels = std::exchange(copy.pixels, nullptr);
    if (old)
        std::free(old);
    return *this;
}

PXSurface::~PXSurface()
{
    if (!borrowed && pixels)
        std::free(pixels);
}

PXPixel* PXSurface::Row(int y) const
{
    if (y < 0)
        y = 0;
    else if (y >= height)
        y = height - 1;
    return pixels + static_cast<ptrdiff_t>(y) * stride;
}

void PXSurface::Fill(const PXPixel& pixel)
{
    const PXPixel value = pixel;
    for (int y = 0; y < height; ++y) {
        PXPixel* row = pixels + static_cast<ptrdiff_t>(y) * stride;
        for (int x = 0; x < width; ++x)
            row[x] = value;
    }
}

void PXSurface::ResetScanColor(int color)
{
    Fill(FromWord(static_cast<uint32_t>(color)));
}

void PXSurface::ResetScan(const int* scan)
{
    for (int y = 0; y < height; ++y) {
        PXPixel* row = pixels + static_cast<ptrdiff_t>(y) * stride;
        const int* from = scan + static_cast<ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x)
            row[x] = FromWord(static_cast<uint32_t>(from[x]));
    }
}

bool PXSurface::IsOpaque() const
{
    for (int y = 0; y < height; ++y) {
        const PXPixel* row = pixels + static_cast<ptrdiff_t>(y) * stride;
        for (int x = 0; x < width; ++x)
            if (row[x].a != 255)
                return false;
    }
    return true;
}

bool PXSurface::IsAllZero() const
{
    for (int y = 0; y < height; ++y) {
        const PXPixel* row = pixels + static_cast<ptrdiff_t>(y) * stride;
        for (int x = 0; x < width; ++x)
            if (Word(row[x]) != 0)
                return false;
    }
    return true;
}

void PXSurface::FlipX()
{
    for (int y = 0; y < height; ++y) {
        PXPixel* row = pixels + static_cast<ptrdiff_t>(y) * stride;
        for (int i = 0; i < width / 2; ++i)
            std::swap(row[i], row[width - 1 - i]);
    }
}

void PXSurface::FlipY()
{
    if (width < 1)
        return;
    for (int i = 0; i < height / 2; ++i) {
        PXPixel* a = pixels + static_cast<ptrdiff_t>(i) * stride;
        PXPixel* b = pixels + static_cast<ptrdiff_t>(height - 1 - i) * stride;
        for (int x = 0; x < width; ++x)
            std::swap(a[x], b[x]);
    }
}

PXSurface* PXSurface::SubSurface(int x, int y, int w, int h)
{
    // Strict far-edge tests: a view touching the right or bottom edge is refused.
    // Kept: callers tell a refused view by comparing the result with this.
    if (x < 0 || y < 0 || x + w >= width || y + h >= height)
        return this;
    return new PXSurface(w, h, stride, pixels + static_cast<ptrdiff_t>(y) * stride + x, true);
}

PXSurface* PXSurface::SubSurface(const PXRectangle& rect)
{
    int w = rect.right - rect.left;
    int h = rect.bottom - rect.top;
    // Only the view's size is compared with the surface, not its far edge.
    if (rect.left < 0 || rect.top < 0 || w > width || h > height || w <= 0 || h <= 0)
        return this;
    return new PXSurface(w, h, stride,
                         pixels + static_cast<ptrdiff_t>(rect.top) * stride + rect.left, true);
}

void PXSurface::SaveSurface(const char*)
{
}

PXSurface* PXSurface::CreateSurfaceByImage(const char*)
{
    return nullptr;
}
