// Rectangles: sorting, inflation, the one-sided intersections and the float
// conversions. Expected values are worked by hand from the stepwise rules.
#include <gtest/gtest.h>

#include <tuple>

#include "surface/PXRectangle.h"

namespace {

template <typename R>
auto Sides(const R& r)
{
    return std::make_tuple(r.left, r.top, r.right, r.bottom);
}

TEST(PXRectangle, SortAndInflate)
{
    PXRectangle r(9, 7, 2, 3), grown(0, 0, 4, 4), turned(0, 0, 4, 4);
    PXRectangleF f(0, 0, 1, 1);
    r.sort();
    grown.Inflate(2, 1);
    turned.Inflate(-5, -5); // (5, 5, -1, -1): turned over into a sorted 6 by 6
    f.Inflate(-1.0f, 0.5f); // (1, -.5, 0, 1.5) sorted
    EXPECT_EQ(Sides(r), std::make_tuple(2, 3, 9, 7));
    EXPECT_EQ(Sides(grown), std::make_tuple(-2, -1, 6, 5));
    EXPECT_EQ(Sides(turned), std::make_tuple(-1, -1, 5, 5));
    EXPECT_EQ(Sides(f), std::make_tuple(0.0f, -0.5f, 1.0f, 1.5f));
}

TEST(PXRectangle, IntersectAdjustsBySidesInside)
{
    // Each expectation follows the six steps: equal-and-empty return, empty
    // other to zeros, then left, top, right and an untested bottom; a
    // rectangle wholly right, left or below stays whole.
    const std::tuple<const char*, PXRectangle, PXRectangle, PXRectangle> cases[] = {
        {"overlap", {0, 0, 10, 10}, {5, 5, 15, 15}, {5, 5, 10, 10}}, {"inside", {0, 0, 10, 10}, {2, 3, 4, 5}, {2, 3, 4, 5}},
        {"right", {0, 0, 10, 10}, {20, -5, 30, 15}, {0, 0, 10, 10}}, {"left", {0, 0, 10, 10}, {-30, -5, -20, 15}, {0, 0, 10, 10}},
        {"below", {0, 0, 10, 10}, {-5, 20, 15, 30}, {0, 0, 10, 10}}, {"right, bottom taken", {0, 0, 10, 10}, {20, -5, 30, 8}, {0, 0, 10, 8}},
        {"above: negative height", {10, 10, 20, 20}, {12, 0, 15, 5}, {12, 10, 15, 5}},
        {"empty other: zeros", {0, 0, 10, 10}, {5, 5, 5, 9}, {0, 0, 0, 0}}, {"empty other", {0, 0, 10, 10}, {1, 2, 0, -3}, {0, 0, 0, -3}},
        {"other empty by height alone: zeros", {0, 0, 10, 10}, {2, 5, 8, 5}, {0, 0, 0, 0}},
        {"equal empty ones stay", {5, 5, 5, 9}, {5, 5, 5, 9}, {5, 5, 5, 9}},
        // other.right == left: the right step needs left < other.right, so
        // nothing is cut and the rectangle stays whole.
        {"touching on the left stays whole", {10, 0, 20, 10}, {0, 0, 10, 10}, {10, 0, 20, 10}},
    };
    for (auto [name, r, other, want] : cases) {
        r.Intersect(other);
        EXPECT_EQ(Sides(r), Sides(want)) << name;
    }
}

TEST(PXRectangleF, IntersectWithTolerance)
{
    const std::tuple<const char*, PXRectangleF, PXRectangleF, PXRectangleF> cases[] = {
        {"overlap", {0, 0, 10, 10}, {5, 5, 15, 15}, {5, 5, 10, 10}},
        // Unlike the integer form, bottom is tested: 9.9999 < 5 fails.
        {"above keeps the bottom", {10, 10, 20, 20}, {12, 0, 15, 5}, {12, 10, 15, 20}},
        {"empty other gives zeros", {0, 0, 10, 10}, {3, 3, 2, 8}, {0, 0, 0, 0}},
        // Fields .5 apart truncate to a difference of 0 and count as equal.
        {"near-equal empty rectangles stay", {1, 1, 1, 5}, {1.5f, 1.5f, 1.5f, 5.5f}, {1, 1, 1, 5}},
        // 10.00005 lies within the tolerance of right = 10, so it becomes left.
        {"left within tolerance of right", {0, 0, 10, 10}, {10.00005f, 0, 20, 10}, {10.00005f, 0, 10, 10}},
    };
    for (auto [name, r, other, want] : cases) {
        r.Intersect(other);
        EXPECT_EQ(Sides(r), Sides(want)) << name;
    }
}

TEST(PXRectangle, FloatConversions)
{
    // Truncation goes towards zero, Round takes halves away from zero, and
    // Ceiling equals Truncate: its fraction test through an integer never fires.
    const std::tuple<float, int, int> cases[] = {
        {0.0f, 0, 0}, {-0.5f, 0, -1}, {2.5f, 2, 3}, {-2.7f, -2, -3}, {2.7f, 2, 3}, {0.9f, 0, 1}, {1.4f, 1, 1}, {-2.5f, -2, -3},
    };
    for (auto [v, truncated, rounded] : cases) {
        const PXRectangleF f(v, v, 100, 100);
        EXPECT_EQ(Sides(PXRectangle::Truncate(f)), std::make_tuple(truncated, truncated, 100, 100)) << v;
        EXPECT_EQ(Sides(PXRectangle::Round(f)), std::make_tuple(rounded, rounded, 100, 100)) << v;
        EXPECT_EQ(Sides(PXRectangle::Ceiling(f)), std::make_tuple(truncated, truncated, 100, 100)) << v;
    }
    // Sorted after conversion: (5, 0, 1, -3) becomes (1, -3, 5, 0).
    EXPECT_EQ(Sides(PXRectangle::Truncate({5.7f, 0.2f, 1.2f, -3.6f})), std::make_tuple(1, -3, 5, 0));
    EXPECT_EQ(Sides(PXRectangle::Round({5.7f, 0.2f, 1.2f, -3.6f})), std::make_tuple(1, -4, 6, 0));
}

} // namespace
