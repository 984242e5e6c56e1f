// Rectangles: sorting, inflation, the one-sided intersections and the float
// conversions. Expected values are worked by hand from the stepwise rules.
#include <gtest/gtest.h>

#include "surface/PXRectangle.h"

namespace {

::testing::AssertionResult Is(const PXRectangle& r, int l, int t, int rt, int b)
{
    if (r.left == l && r.top == t && r.right == rt && r.bottom == b)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << r.left << ", " << r.top << ", " << r.right << ", "
                                         << r.bottom << ") want (" << l << ", " << t << ", " << rt << ", " << b
                                         << ")";
}

TEST(PXRectangle, SortAndInflate)
{
    PXRectangle r(9, 7, 2, 3);
    r.sort();
    EXPECT_TRUE(Is(r, 2, 3, 9, 7));

    PXRectangle grown(0, 0, 4, 4);
    grown.Inflate(2, 1);
    EXPECT_TRUE(Is(grown, -2, -1, 6, 5));

    // Deflated past itself: (5, 5, -1, -1) turned over into a sorted 6 by 6.
    PXRectangle turned(0, 0, 4, 4);
    turned.Inflate(-5, -5);
    EXPECT_TRUE(Is(turned, -1, -1, 5, 5));

    PXRectangleF f(3.5f, 4.0f, 1.0f, 2.0f);
    f.sortF();
    EXPECT_EQ(f.left, 1.0f);
    EXPECT_EQ(f.right, 3.5f);
    EXPECT_EQ(f.top, 2.0f);
    EXPECT_EQ(f.bottom, 4.0f);
    PXRectangleF g(0, 0, 1, 1);
    g.Inflate(-1.0f, 0.5f);
    EXPECT_EQ(g.left, 0.0f); // (1, -.5, 0, 1.5) sorted
    EXPECT_EQ(g.right, 1.0f);
    EXPECT_EQ(g.top, -0.5f);
    EXPECT_EQ(g.bottom, 1.5f);
}

TEST(PXRectangle, IntersectAdjustsBySidesInside)
{
    // Each expectation follows the six steps: equal-and-empty return, empty
    // other to zeros, then left, top, right and an untested bottom.
    struct Case {
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
    for (const Case& c : cases) {
        PXRectangle r = c.a;
        r.Intersect(c.b);
        EXPECT_TRUE(Is(r, c.want.left, c.want.top, c.want.right, c.want.bottom)) << c.name;
    }
}

TEST(PXRectangleF, IntersectWithTolerance)
{
    struct Case {
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
    for (const Case& c : cases) {
        PXRectangleF r = c.a;
        r.Intersect(c.b);
        EXPECT_EQ(r.left, c.want.left) << c.name;
        EXPECT_EQ(r.top, c.want.top) << c.name;
        EXPECT_EQ(r.right, c.want.right) << c.name;
        EXPECT_EQ(r.bottom, c.want.bottom) << c.name;
    }
}

TEST(PXRectangle, FloatConversions)
{
    // One value per field in the left slot; the other fields are 100 so the
    // sort leaves it in place.
    struct Case {
        float v;
        int truncated, rounded, ceiling;
    } cases[] = {
        {0.0f, 0, 0, 0},
        {-0.5f, 0, -1, 0},   // halves go away from zero
        {2.5f, 2, 3, 2},     // Ceiling equals Truncate: the fraction never passes its test
        {-2.7f, -2, -3, -2},
        {2.7f, 2, 3, 2},
        {0.9f, 0, 1, 0},
        {1.4f, 1, 1, 1},
        {-2.5f, -2, -3, -2},
    };
    for (const Case& c : cases) {
        PXRectangleF f(c.v, c.v, 100, 100);
        EXPECT_TRUE(Is(PXRectangle::Truncate(f), c.truncated, c.truncated, 100, 100)) << c.v;
        EXPECT_TRUE(Is(PXRectangle::Round(f), c.rounded, c.rounded, 100, 100)) << c.v;
        EXPECT_TRUE(Is(PXRectangle::Ceiling(f), c.ceiling, c.ceiling, 100, 100)) << c.v;
    }
    // The result is sorted after conversion: (5, 0, 1, -3) becomes (1, -3, 5, 0).
    EXPECT_TRUE(Is(PXRectangle::Truncate(PXRectangleF(5.7f, 0.2f, 1.2f, -3.6f)), 1, -3, 5, 0));
    EXPECT_TRUE(Is(PXRectangle::Round(PXRectangleF(5.7f, 0.2f, 1.2f, -3.6f)), 1, -4, 6, 0));
}

} // namespace
