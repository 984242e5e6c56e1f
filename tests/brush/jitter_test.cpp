// The shared draw and the jitter of position, size and colour. Expected values
// are worked by hand from the generator step (state * 214013 + 2531011) and
// the HSV rules; the first two states from 0 are 0x00269EC3 and 0x1E278E7A,
// whose bits 16..25 are 38 and 551.
#include <gtest/gtest.h>

#include <vector>

#include "brush/PXPaintBaseJitter.h"
#include "brush/PXTipFunction.h"
#include "brush_test.h"

namespace {

const float kU1 = 38 * 0.0009775171f;   // 0.0371456
const float kU2 = 551 * 0.0009775171f;  // 0.5386119

struct Fixture {
    PXSurface s{8, 8};
    PXPaintBaseJitter b{&s, new PXFlatTipFunction()};
    Fixture() { PXPaintBrush::rand_state = 0; }
};

// Position then size: amp = jitter * radius = 2 moves x by 2(2u1 - 1) and y by
// 2(2u2 - 1); a size jitter of 0.5 after them uses the third draw.
TEST(Jitter, PositionAndSizeDrawInOrder) {
    struct Case { float jitter, size_jitter, x, y, r; uint32_t draws; } cases[] = {
        {0.0f, 0.0f, 10.0f, 10.0f, 4.0f, 0},
        {0.5f, 0.0f, 10.0f + 2.0f * (2.0f * kU1 - 1.0f), 10.0f + 2.0f * (2.0f * kU2 - 1.0f), 4.0f, 2},
        // size alone takes the first draw: 4 - 1.0 * 4 * u1
        {0.0f, 1.0f, 10.0f, 10.0f, 4.0f - 4.0f * kU1, 1},
    };
    for (const Case& c : cases) {
        Fixture f;
        f.b.jitter = c.jitter;
        f.b.size_jitter = c.size_jitter;
        float x = 10.0f, y = 10.0f, r = 4.0f;
        PXPenPigment col{10, 20, 30, 40};
        f.b.ApplyJitter(x, y, r, col);
        EXPECT_NEAR(x, c.x, 1e-4);
        EXPECT_NEAR(y, c.y, 1e-4);
        EXPECT_NEAR(r, c.r, 1e-4);
        EXPECT_TRUE(col.b == 10 && col.a == 40);
        // Every draw moves the state; none means it stays at 0.
        EXPECT_EQ(PXPaintBrush::rand_state, brushtest::Steps(c.draws));
    }
}

// Property: with size_jitter 1.0 the radius shrinks by up to all of itself
// but stays at 0.5 or more; over many draws the floor is reached.
TEST(Jitter, FullSizeJitterNeverBelowHalf) {
    Fixture f;
    f.b.size_jitter = 1.0f;
    bool floor_hit = false;
    for (int i = 0; i < 3000; ++i) {
        float x = 0, y = 0, r = 0.6f;
        PXPenPigment col{};
        f.b.ApplyJitter(x, y, r, col);
        ASSERT_GE(r, 0.5f);
        ASSERT_LE(r, 0.6f);
        floor_hit = floor_hit || r == 0.5f;
    }
    EXPECT_TRUE(floor_hit);
}

// Colour round trips with the first draw u1 = 0.0371456:
//  red, saturation +1.0*(u1-0.5): S = 0.537, g = b = trunc(0.463*255) = 118;
//  blue, value +1.0*(u1-0.5): V = 0.537, b = trunc(136.97) = 136;
//  green, hue 1/3 + (u1-0.5) = -0.1295 -> 0.8705, sector 5, f = 0.2229:
//   (V, P, Q) = (255, 0, trunc(0.7771*255) = 198);
//  grey under hue jitter keeps S = 0, so the three bytes stay equal.
TEST(Jitter, ColourRoundTrips) {
    struct Case { PXPenPigment in; float hue, sat, val; int r, g, b; } cases[] = {
        {{0, 0, 255, 9}, 0.0f, 1.0f, 0.0f, 255, 118, 118},
        {{255, 0, 0, 9}, 0.0f, 0.0f, 1.0f, 0, 0, 136},
        {{0, 255, 0, 9}, 1.0f, 0.0f, 0.0f, 255, 0, 198},
    };
    for (const Case& c : cases) {
        Fixture f;
        f.b.hue_jitter = c.hue;
        f.b.saturation_jitter = c.sat;
        f.b.value_jitter = c.val;
        float x = 0, y = 0, r = 3;
        PXPenPigment col = c.in;
        f.b.ApplyJitter(x, y, r, col);
        EXPECT_EQ(std::vector<int>({col.r, col.g, col.b, col.a}), std::vector<int>({c.r, c.g, c.b, 9}));
        EXPECT_EQ(PXPaintBrush::rand_state, 0x00269EC3u);
    }
    Fixture f;
    f.b.hue_jitter = 1.0f;
    PXPenPigment grey{100, 100, 100, 255};
    for (int i = 0; i < 20; ++i) {
        float x = 0, y = 0, r = 3;
        f.b.ApplyJitter(x, y, r, grey);
        EXPECT_TRUE(grey.r == grey.g && grey.g == grey.b) << i;
    }
}

// Hue into each of the six sectors: pure red (H = 0, S = V = 1) moved by
// hue_jitter * (u1 - 0.5), the amount chosen so that H lands a quarter into
// sector i, H = (i + 1/4) / 6. Then P = 0, Q = 1 - 1/4, T = 1/4: the bytes
// 255, trunc(191.25) = 191 and trunc(63.75) = 63, placed by the sector
// (red to yellow, to green, to cyan, to blue, to magenta, back to red).
TEST(Jitter, HueIntoEverySector) {
    const int want[6][3] = {{255, 63, 0}, {191, 255, 0}, {0, 255, 63}, {0, 191, 255}, {63, 0, 255}, {255, 0, 191}};
    for (int i = 0; i < 6; ++i) {
        Fixture f;
        f.b.hue_jitter = (1.0f - (i + 0.25f) / 6.0f) / (0.5f - kU1);
        float x = 0, y = 0, r = 3;
        PXPenPigment col{0, 0, 255, 7};
        f.b.ApplyJitter(x, y, r, col);
        EXPECT_EQ(std::vector<int>({col.r, col.g, col.b, col.a}), std::vector<int>({want[i][0], want[i][1], want[i][2], 7}))
            << "sector " << i;
    }
}

// The way in, from a colour of each sector (red, green or blue the largest,
// and below red a negative hue that wraps): a hue jitter too small to move a
// byte gives the colour back, each byte at most one lower for the truncation.
TEST(Jitter, EverySectorRoundTrips) {
    const int in[][3] = {{200, 120, 40}, {150, 210, 30}, {20, 180, 90},
                         {60, 110, 230}, {140, 10, 250}, {240, 50, 170}};
    for (const auto& c : in) {
        Fixture f;
        f.b.hue_jitter = 1e-6f;
        float x = 0, y = 0, r = 3;
        PXPenPigment col{(uint8_t)c[2], (uint8_t)c[1], (uint8_t)c[0], 255};
        f.b.ApplyJitter(x, y, r, col);
        const int got[3] = {col.r, col.g, col.b};
        for (int k = 0; k < 3; ++k)
            EXPECT_TRUE(got[k] == c[k] || got[k] == c[k] - 1) << c[0] << "," << c[1] << "," << c[2] << " channel " << k
                                                                << ": " << got[k];
    }
}

// The base dab hands its own colour to the jitter, so the colour walks: two
// dabs under value jitter take two draws and lower the value twice.
TEST(Jitter, ColourWalksThroughTheBrush) {
    Fixture f;
    f.b.size = 6.0f;
    f.b.opacity = 1.0f;
    f.b.use_jitter = true;
    f.b.value_jitter = 1.0f;
    f.b.color = {0, 0, 255, 255};
    f.b.ApplyDab(4.0f, 4.0f, 1.0f);
    EXPECT_EQ(f.b.color.r, 136);  // V = 1 + (u1 - 0.5)
    f.b.ApplyDab(4.0f, 4.0f, 1.0f);
    // V = 136/255 + (u2 - 0.5) = 0.5719 -> trunc(145.85) = 145
    EXPECT_EQ(f.b.color.r, 145);
}

}  // namespace
