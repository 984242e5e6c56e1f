// Fixed point, the matrix, construction, the clones and compose_alpha.
// Expected values are worked by hand from the arithmetic rules.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>

#include "bitmap/LHBmp.h"

namespace {

LHFIX64 F(double d)
{
    return LHFIX64::raw(int64_t(d * 67108864.0));
}
constexpr int64_t kOne = int64_t(1) << 26;

TEST(LHFIX64, ProductAndQuotientSplits)
{
    // Raw values worked by hand from the four product branches and the two
    // quotient paths; 3.999 is raw 268368330 (inside +-4.0).
    const int64_t r3999 = 268368330;
    const std::tuple<const char*, LHFIX64, int64_t> cases[] = {
        // both large: ((5<<14) * (5<<14)) >> 2 = 25 << 26 exactly
        {"5.0 * 5.0", F(5) * F(5), 25 * kOne},
        // neither large: plain product shifted
        {"3.999 * 3.999", LHFIX64::raw(r3999) * LHFIX64::raw(r3999), (r3999 * r3999) >> 26},
        // only a large: ((a >> 12) * b) >> 14, low bits of a lost
        {"a large", LHFIX64::raw(5 * kOne + 4095) * F(0.5), ((5 * kOne + 4095) >> 12) * (kOne / 2) >> 14},
        // only b large, negative: arithmetic shifts round down
        {"b large", F(0.5) * LHFIX64::raw(-10 * kOne - 1), ((kOne / 2) * ((-10 * kOne - 1) >> 12)) >> 14},
        {"4.0 is not large", F(4) * F(4), 16 * kOne},
        {"x / 0", F(3) / LHFIX64::raw(0), INT64_MAX},
        {"-x / 0", F(-3) / LHFIX64::raw(0), INT64_MAX},
        // 0.00001 is raw 671: 671 >> 16 == 0 on the large-numerator path
        {"2000 / 0.00001", F(2000) / LHFIX64::raw(671), 0},
        // large numerator: (a << 10) / (b >> 16)
        {"2000 / 3", F(2000) / F(3), (2000 * kOne << 10) / ((3 * kOne) >> 16)},
        {"2000 / tiny negative", F(2000) / LHFIX64::raw(-5), -(2000 * kOne << 10)},
        {"1 / -1 raw", F(1) / LHFIX64::raw(-1), -(kOne << 26)},
        // truncation towards zero
        {"-1 / 3", F(-1) / F(3), -((kOne << 26) / (3 * kOne))},
        {"reciprocal of 2", F(2).reciprocal(), kOne / 2},
    };
    for (const auto& [name, got, want] : cases)
        EXPECT_EQ(got.v, want) << name;
}

TEST(LHFIX64, Roundings)
{
    // floor, nearest, ceiling of 2.5, -2.5, 2.0 and one raw step above 2.0.
    const std::tuple<double, int64_t, int64_t, int64_t> cases[] = {
        {2.5, 2, 3, 3}, {-2.5, -3, -2, -2}, {2.0, 2, 2, 2}, {-0.25, -1, 0, 0}};
    for (const auto& [d, fl, nr, ce] : cases) {
        EXPECT_EQ(F(d).floor_int(), fl) << d;
        EXPECT_EQ(F(d).round_int(), nr) << d;
        EXPECT_EQ(F(d).ceil_int(), ce) << d;
    }
    EXPECT_EQ(LHFIX64::raw(2 * kOne + 1).ceil_int(), 3);
}

bool SameMatrix(const _LHMATRIX& m, std::initializer_list<int64_t> want)
{
    const LHFIX64* f = &m.a;
    int i = 0;
    for (int64_t w : want)
        if (f[i++].v != w)
            return false;
    return true;
}

TEST(LHMATRIX, InvertAndBound)
{
    const LHFIX64 z = F(0), one = F(1);
    _LHMATRIX id{one, z, z, one, z, z};
    id.do_invert();
    EXPECT_TRUE(SameMatrix(id, {kOne, 0, 0, kOne, 0, 0}));

    _LHMATRIX tr{one, z, z, one, F(3.5), F(-7)};
    tr.do_invert();
    EXPECT_TRUE(SameMatrix(tr, {kOne, 0, 0, kOne, -F(3.5).v, 7 * kOne}));

    // 1 / 2.0 = 0.5; tx = 0.5 * -10.0 by the b-large branch = -5.0
    _LHMATRIX sc{F(2), z, z, one, F(10), z};
    sc.do_invert();
    EXPECT_TRUE(SameMatrix(sc, {kOne / 2, 0, 0, kOne, -5 * kOne, 0}));

    // det = 1*1 - 1*1 = 0
    _LHMATRIX sing{one, one, one, one, F(2), F(3)};
    sing.do_invert();
    EXPECT_TRUE(SameMatrix(sing, {INT64_MAX, INT64_MAX, INT64_MAX, INT64_MAX, INT64_MAX, INT64_MAX}));

    // A rotation by 90 degrees (a = 0, b = 1, c = -1, d = 0) has det 1; its
    // inverse is the rotation back, the translation mapped by it.
    _LHMATRIX rot{z, one, F(-1), z, F(4), F(0)};
    rot.do_invert();
    EXPECT_TRUE(SameMatrix(rot, {0, -kOne, kOne, 0, 0, 4 * kOne}));

    _LHRECT r{0, 0, 10, 10};
    _LHMATRIX mirror{F(-1), z, z, F(-1), z, z};
    mirror.get_bound(r);
    EXPECT_EQ(std::make_tuple(r.left, r.top, r.right, r.bottom), std::make_tuple(-10, -10, 0, 0));

    // Rotation maps (0..4, 0..2) to x in -2..0, y in 0..4, plus (0.5, 0.5):
    // floors and ceilings of the mapped corners.
    _LHRECT q{0, 0, 4, 2};
    _LHMATRIX rot2{z, one, F(-1), z, F(0.5), F(0.5)};
    rot2.get_bound(q);
    EXPECT_EQ(std::make_tuple(q.left, q.top, q.right, q.bottom), std::make_tuple(-2, 0, 1, 5));
}

TEST(CLHBmp, ConstructionAndReferences)
{
    CLHBmp8 a(5, 2), b(5, 2, 7);
    CLHBmp32 c(3, 2), d(3, 2, 16);
    EXPECT_EQ(std::make_tuple(a.stride, a.depth, b.stride, c.stride, c.depth, d.stride), std::make_tuple(8, 8, 7, 12, 32, 16));
    for (int i = 0; i < 14; ++i)
        EXPECT_EQ(b.bits[i], 0) << "three-argument form clears";
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(d.bits[i], 0);

    unsigned char foreign[16];
    std::memset(foreign, 0x5A, sizeof foreign);
    {
        CLHBmp32Ref r(foreign, 2, 2, 8);
        EXPECT_EQ(r.depth, 32);
        CLHBmp* owning = r.clone(); // a clone of a Ref owns its copy
        ASSERT_NE(owning, nullptr);
        EXPECT_NE(owning->bits, foreign);
        delete owning;
    }
    { CLHBmp8Ref r(foreign, 4, 4, 4); }
    for (unsigned char v : foreign)
        EXPECT_EQ(v, 0x5A) << "a Ref leaves foreign memory alone";
}

TEST(CLHBmp, Clones)
{
    CLHBmp8 empty(0, 3, 4);
    EXPECT_EQ(empty.clone(), nullptr);
    EXPECT_EQ(empty.clone_rotate(), nullptr);

    // Gray: (g*601 + r*306 + b*117) >> 10 of red, green, blue, white.
    CLHBmp32 px(4, 1, 16);
    const unsigned char src[16] = {0, 0, 255, 9, 0, 255, 0, 9, 255, 0, 0, 9, 255, 255, 255, 9};
    std::memcpy(px.bits, src, 16);
    std::unique_ptr<CLHBmp8> g(px.clone_gray());
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(std::make_tuple(g->width, g->stride, g->bits[0], g->bits[1], g->bits[2], g->bits[3]),
              std::make_tuple(4, 4, 76, 149, 29, 255));

    // Transpose of a 3x1 row: 1 wide, 3 high, stride 4; twice gives it back.
    CLHBmp8 row(3, 1, 4);
    row.bits[0] = 1, row.bits[1] = 2, row.bits[2] = 3;
    std::unique_ptr<CLHBmp> t(row.clone_rotate());
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(std::make_tuple(t->width, t->height, t->stride, t->bits[0], t->bits[4], t->bits[8]),
              std::make_tuple(1, 3, 4, 1, 2, 3));
    std::unique_ptr<CLHBmp> back(t->clone_rotate());
    EXPECT_EQ(0, std::memcmp(back->bits, row.bits, 3));

    // 32-bit transpose of 2x3: new (x, y) = old (y, x), whole pixels.
    CLHBmp32 r(2, 3);
    for (int i = 0; i < 24; ++i)
        r.bits[i] = static_cast<unsigned char>(i);
    std::unique_ptr<CLHBmp> rt(r.clone_rotate());
    ASSERT_EQ(std::make_tuple(rt->width, rt->height, rt->stride), std::make_tuple(3, 2, 12));
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(0, std::memcmp(rt->bits + y * 12 + x * 4, r.bits + x * 8 + y * 4, 4)) << x << "," << y;
}

TEST(CLHBmp, ComposeAlpha)
{
    // 8-bit, stride 5, height 1: four bytes scale by 128/255, the fifth stays.
    CLHBmp8 g(5, 1, 5);
    std::memset(g.bits, 200, 5);
    EXPECT_TRUE(g.compose_alpha(128));
    const unsigned char want8[5] = {100, 100, 100, 100, 200}; // 200*128/255 = 100.39
    EXPECT_EQ(0, std::memcmp(g.bits, want8, 5));
    CLHBmp8 full(4, 1, 4); // alpha 255 leaves 255 as it is
    std::memset(full.bits, 255, 4);
    EXPECT_TRUE(full.compose_alpha(255));
    EXPECT_EQ(full.bits[0], 255);

    // 32-bit: only byte 3, (a * (alpha + 1)) >> 8.
    const std::tuple<int, int> cases[] = {{255, 200}, {0, 0}, {127, 100}}; // 200*128>>8 = 100
    for (auto [alpha, want] : cases) {
        CLHBmp32 p(1, 1, 4);
        std::memset(p.bits, 200, 4);
        EXPECT_TRUE(p.compose_alpha(static_cast<unsigned char>(alpha)));
        EXPECT_EQ(std::make_tuple(p.bits[0], p.bits[1], p.bits[2], int(p.bits[3])), std::make_tuple(200, 200, 200, want))
            << alpha;
    }
}

} // namespace
