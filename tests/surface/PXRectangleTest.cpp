// Rectangles: sorting, inflation, the one-sided intersections and the float
// conversions. Expected values are worked by hand from the stepwise rules.
#include <gtest/gtest.h>

#include "surface/PXRectangle.h"

namespace {

template <typename R>
::testing::AssertionResult Is(const R& r, const R& want)
{
    if (r.left == want.left && r.top == want.top && r.right == want.right && r.bottom == want.bottom)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom
                                         << ")";
}

TEST(PXRectangle, SortAndInflate)
{
    PXRectangle r(9, 7, 2, 3), grown(0, 0, 4, 4), turned(0, 0, 4, 4);
    r.sort();
    grown.Inflate(2, 1);
    turned.Inflate(-5, -5); // (5, 5, -1, -1): turned over into a sorted 6 by 6
    EXPECT_TRUE(Is(r, {2, 3, 9, 7}));
    EXPECT_TRUE(Is(grown, {-2, -1, 6, 5}));
    EXPECT_TRUE(Is(turned, {-1, -1, 5, 5}));
    PXRectangleF f(0, 0, 1, 1);
    f.Inflate(-1.0f, 0.5f); // (1, -.5, 0, 1.5) sorted
    EXPECT_TRUE(Is(f, {0, -0.5f, 1, 1.5f}));
}

TEST(PXRectangle, IntersectAdjustsBySidesInside)
{
    // Each expectation follows the six steps: equal-and-empty return, empty
    // other to zeros, then left, top, right and an untested bottom.
    struct {
        const char* name;
        PXRectangle a, b, want;
    } cases[] = {
        {"overlap gives the true intersection", {0, 0, 10, 10}, {5, 5, 15, 15}, {5, 5, 10, 10}},
        {"contained", {0, 0, 10, 10}, {2, 3, 4, 5}, {2, 3, 4, 5}},
        {"itself", {1, 2, 3, 4}, {1, 2, 3, 4}, {1, 2, 3, 4}},
        {"wholly right stays whole", {0, 0, 10, 10}, {20, -5, 30, 15}, {0, 0, 10, 10}},
        {"wholly left stays whole", {0, 0, 10, 10}, {-30, -5, -20, 15}, {0, 0, 10, 10}},
        {"wholly below stays whole", {0, 0, 10, 10}, {-5, 20, 15, 30}, {0, 0, 10, 10}},
        {"right of it, bottom still taken", {0, 0, 10, 10}, {20, -5, 30, 8}, {0, 0, 10, 8}},
        {"above gives a negative height", {10, 10, 20, 20}, {12, 0, 15, 5}, {12, 10, 15, 5}},
        {"empty other gives zeros", {0, 0, 10, 10}, {5, 5, 5, 9}, {0, 0, 0, 0}},
        {"empty other with negative bottom", {0, 0, 10, 10}, {1, 2, 0, -3}, {0, 0, 0, -3}},
        {"equal empty rectangles stay", {5, 5, 5, 9}, {5, 5, 5, 9}, {5, 5, 5, 9}},
    };
    for (const auto& c : cases) {
        PXRectangle r = c.a;
        r.Intersect(c.b);
        EXPECT_TRUE(Is(r, c.want)) << c.name;
    }
}

TEST(PXRectangleF, IntersectWithTolerance)
{
    struct {
        const char* name;
        PXRectangleF a, b, want;
    } cases[] = {
        {"overlap", {0, 0, 10, 10}, {5, 5, 15, 15}, {5, 5, 10, 10}},
        // Unlike the integer form, bottom is tested: 9.9999 < 5 fails.
        {"above keeps the bottom", {10, 10, 20, 20}, {12, 0, 15, 5}, {12, 10, 15, 20}},
        {"empty other gives zeros", {0, 0, 10, 10}, {3, 3, 2, 8}, {0, 0, 0, 0}},
        // Fields .5 apart truncate to a difference of 0 and count as equal.
        {"near-equal empty rectangles stay", {1, 1, 1, 5}, {1.5f, 1.5f, 1.5f, 5.5f}, {1, 1, 1, 5}},
        // 10.00005 lies within the tolerance of right = 10, so it becomes left.
        {"left within tolerance of right", {0, 0, 10, 10}, {10.00005f, 0, 20, 10}, {10.00005f, 0, 10, 10}},
    };
    for (const auto& c : cases) {
        PXRectangleF r = c.a;
        r.Intersect(c.b);
        EXPECT_TRUE(Is(r, c.want)) << c.name;
    }
}

TEST(PXRectangle, FloatConversions)
{
    // Truncation goes towards zero, Round takes halves away from zero, and
    // Ceiling equals Truncate: its fraction test through an integer never fires.
    struct {
        float v;
        int truncated, rounded;
    } cases[] = {{0.0f, 0, 0}, {-0.5f, 0, -1}, {2.5f, 2, 3}, {-2.7f, -2, -3}, {2.7f, 2, 3}, {0.9f, 0, 1},
                 {1.4f, 1, 1}, {-2.5f, -2, -3}};
    for (const auto& c : cases) {
        PXRectangleF f(c.v, c.v, 100, 100);
        EXPECT_TRUE(Is(PXRectangle::Truncate(f), {c.truncated, c.truncated, 100, 100})) << c.v;
        EXPECT_TRUE(Is(PXRectangle::Round(f), {c.rounded, c.rounded, 100, 100})) << c.v;
        EXPECT_TRUE(Is(PXRectangle::Ceiling(f), {c.truncated, c.truncated, 100, 100})) << c.v;
    }
    // Sorted after conversion: (5, 0, 1, -3) becomes (1, -3, 5, 0).
    EXPECT_TRUE(Is(PXRectangle::Truncate({5.7f, 0.2f, 1.2f, -3.6f}), {1, -3, 5, 0}));
    EXPECT_TRUE(Is(PXRectangle::Round({5.7f, 0.2f, 1.2f, -3.6f}), {1, -4, 6, 0}));
}

} // namespace
