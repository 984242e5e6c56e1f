// Affine matrix: point mapping, inversion and the bound of a mapped rectangle.
#include <algorithm>

#include "bitmap/LHGeometry.h"

void _LHMATRIX::transform_point(LHFIX64& x, LHFIX64& y) const
{
    if (b.v == 0 && c.v == 0) {
        x = a * x + tx;
        y = d * y + ty;
        return;
    }
    const LHFIX64 nx = (a * x + c * y) + tx;
    const LHFIX64 ny = (b * x + d * y) + ty;
    x = nx;
    y = ny;
}

void _LHMATRIX::do_invert()
{
    const LHFIX64 one = LHFIX64::raw(LHFIX64::kOne);
    if (b.v == 0 && c.v == 0) {
        tx = -tx;
        ty = -ty;
        if (a != one) {
            a = a.reciprocal();
            tx = a * tx;
        }
        if (d != one) {
            d = d.reciprocal();
            ty = d * ty;
        }
        return;
    }
    const LHFIX64 det = a * d - b * c;
    if (det.v == 0) {
        // No error: the inverse of a singular matrix is six largest values.
        a = b = c = d = tx = ty = LHFIX64::raw(LHFIX64::kMax);
        return;
    }
    const _LHMATRIX o = *this;
    a = o.d / det;
    b = -o.b / det;
    c = -o.c / det;
    d = o.a / det;
    tx = (o.c * o.ty - o.d * o.tx) / det;
    ty = (o.b * o.tx - o.a * o.ty) / det;
}

void _LHMATRIX::get_bound(_LHRECT& rect) const
{
    const LHFIX64 l = LHFIX64::from_int(rect.left), t = LHFIX64::from_int(rect.top);
    const LHFIX64 r = LHFIX64::from_int(rect.right), btm = LHFIX64::from_int(rect.bottom);
    LHFIX64 x0, x1, y0, y1;
    if (b.v == 0 && c.v == 0) {
        x0 = a * l + tx;
        x1 = a * r + tx;
        y0 = d * t + ty;
        y1 = d * btm + ty;
        if (x0 > x1)
            std::swap(x0, x1);
        if (y0 > y1)
            std::swap(y0, y1);
    } else {
        LHFIX64 xs[4] = {l, r, l, r}, ys[4] = {t, t, btm, btm};
        for (int i = 0; i < 4; ++i)
            transform_point(xs[i], ys[i]);
        x0 = *std::min_element(xs, xs + 4);
        x1 = *std::max_element(xs, xs + 4);
        y0 = *std::min_element(ys, ys + 4);
        y1 = *std::max_element(ys, ys + 4);
    }
    rect.left = int32_t(x0.floor_int());
    rect.top = int32_t(y0.floor_int());
    rect.right = int32_t(x1.ceil_int());
    rect.bottom = int32_t(y1.ceil_int());
}
