// Small value types of the surface code: points and rectangles. They are
// trivial types, like the C structures they stand for: a default-constructed
// one is uninitialised, T{} or T() is all zero.
#pragma once

struct PXPoint {
    int x;
    int y;

    PXPoint() = default;
    PXPoint(int px, int py) : x(px), y(py) {}
};

struct PXRectangleF;

// Integer rectangle; right and bottom are exclusive and nothing keeps it sorted.
struct PXRectangle {
    int left;
    int top;
    int right;
    int bottom;

    PXRectangle() = default;
    PXRectangle(int l, int t, int r, int b) : left(l), top(t), right(r), bottom(b) {}

    // Puts left/right and top/bottom in ascending order.
    void sort();
    // Grows by dx, dy on every side (shrinks for negative amounts), then sorts.
    void Inflate(int dx, int dy);
    // Trims this rectangle by the sides of other that fall inside it. Not a full
    // set intersection: the bottom side is taken without a test against top.
    void Intersect(const PXRectangle& other);

    // Field-by-field conversions from float, each ending with a sort.
    static PXRectangle Ceiling(const PXRectangleF& r);
    static PXRectangle Round(const PXRectangleF& r);
    static PXRectangle Truncate(const PXRectangleF& r);
};

// Float rectangle, same layout and meaning as PXRectangle.
struct PXRectangleF {
    float left;
    float top;
    float right;
    float bottom;

    PXRectangleF() = default;
    PXRectangleF(float l, float t, float r, float b) : left(l), top(t), right(r), bottom(b) {}

    // Puts left/right and top/bottom in ascending order.
    void sortF();
    // Grows by dx, dy on every side (shrinks for negative amounts), then sorts.
    void Inflate(float dx, float dy);
    // Like the integer form, but every side is tested with a small tolerance.
    void Intersect(const PXRectangleF& other);
};
