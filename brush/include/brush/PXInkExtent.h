// Where dabs have written on a surface since it was last cleared, so that a
// clear can be limited to that part. Every round dab notes its clipped box
// before it writes; a brush whose drawing is not known to stay within such
// boxes is noted by its caller as covering the whole surface.
#pragma once

#include "surface/PXRectangle.h"
#include "surface/PXSurface.h"

namespace pxink {

// Adds the box [left, right) x [top, bottom) to what is noted for s.
void Note(const PXSurface* s, int left, int top, int right, int bottom);

// The union noted for s since the last Take, clipped to s, and forgets it.
// When the notes could not all be kept (more surfaces in use than there are
// slots), the whole surface.
PXRectangle Take(const PXSurface* s);

}  // namespace pxink
