// Tip weights at hand-worked points: inside, on each zone border, outside.
// Float-rounding cases were worked with a float32 calculator: rr is r * r
// rounded to float, the float 0.2 is 0.20000000298023224.
#include <gtest/gtest.h>

#include <memory>

#include "brush/PXTipFunction.h"

namespace {

enum Kind { Flat, Dull, DullAA, Linear, Linear2 };

std::unique_ptr<PXTipFunction> Make(Kind k) {
    switch (k) {
    case Flat: return std::make_unique<PXFlatTipFunction>();
    case Dull: return std::make_unique<PXDullTipFunction>();
    case DullAA: return std::make_unique<PXDullAntiAliasingTipFunction>();
    case Linear: return std::make_unique<PXLinearTipFunction>();
    default: return std::make_unique<PXLinearTipFunction2>();
    }
}

TEST(TipFunction, WeightsAtHandWorkedPoints) {
    const double r11 = (double)1.1f * (double)1.1f;  // exact square, above rr = 1.2100000381
    struct Row { Kind k; float r; double d; float w; } rows[] = {
        {Flat, 2.0f, 0.0, 1.0f}, {Flat, 2.0f, 4.0, 1.0f},
        {Flat, 2.0f, 5.0, 0.381966f},        // (3 - sqrt 5) / 2
        {Flat, 2.0f, 8.99, 0.000833796f},     // (3 - 2.998333) / 2
        {Flat, 2.0f, 9.0, 0.0f},              // on q^2 = 9
        {Flat, 1.1f, r11, 0.49999994f},       // rr rounds below d: ring, (float(2.1) - 1.1) / 2
        {Dull, 4.0f, 0.0, 1.0f}, {Dull, 4.0f, 14.0, 0.125f},  // 1 - 14/16
        {Dull, 4.0f, 14.44, 0.0f},            // bound 3.8^2 not above d; o = 10.24 below d
        {Dull, 0.4f, 0.1, 0.0024f},           // inner 0.04, o = 0.16: (0.16 - 0.1) / 25
        {Dull, 0.4f, 0.16, 0.0f},
        {DullAA, 4.0f, 9.0, 0.661438f},       // sqrt(1 - 9/16)
        {DullAA, 4.0f, 20.0, 0.0655728f},     // (4.8 - sqrt 20) * 0.2
        {DullAA, 4.0f, 14.452899932861328, 0.19966061413288116f},  // with the double 0.2: 0.1996605992
        {DullAA, 4.0f, 23.04, 0.0f},          // on 4.8^2
        {Linear, 4.0f, 0.0, 1.0f}, {Linear, 4.0f, 4.0, 0.5f}, {Linear, 4.0f, 15.99, 0.000312549f},
        {Linear, 4.0f, 16.0, 0.0f},
        {Linear2, 4.0f, 1.0, 0.75f},          // core: (4 - 1) / 4
        {Linear2, 4.0f, 3.2, 0.552786f},      // below the float bound 3.2000000477: still the core
        {Linear2, 4.0f, 4.0, 0.0933333f},     // shelf: (4.8 - 2) / 30
        {Linear2, 4.0f, 16.0, 0.0f},
    };
    for (const Row& row : rows) {
        float r = row.r;
        const float w = Make(row.k)->GetWeight(r, row.d);
        // Round values and the rounding cases must match to the bit.
        if (row.w == 0.0f || row.w == 1.0f || row.w == 0.49999994f || row.w == 0.19966061413288116f)
            EXPECT_EQ(w, row.w) << row.k << " r=" << row.r << " d=" << row.d;
        else
            EXPECT_NEAR(w, row.w, 2e-6) << row.k << " r=" << row.r << " d=" << row.d;
        EXPECT_EQ(r, row.r);
    }
}

}  // namespace
