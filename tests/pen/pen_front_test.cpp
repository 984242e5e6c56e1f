// The flat pen interface and its upper layer. The device state is only the
// hDev word here (a dummy non-null value means "open"); closing a real device
// is in pen_close_test.cpp. Expected values are worked by hand from the rules
// of each function.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "brush/PXAirbrush.h"
#include "brush/PXDryMedia.h"
#include "brush/PXFilterBrushes.h"
#include "brush/PXInkPens.h"
#include "brush/PXPaintBaseJitterAngle.h"
#include "brush/PXPatternBrush.h"
#include "brush/PXPen.h"
#include "pen/PXPenEngine.h"
#include "pen/PX_PEN_API.h"
#include "tablet/pxtablet.h"

namespace {

PXBrushEngine* E(void* h) { return static_cast<PXBrushEngine*>(h); }

uint32_t Word(const PXSurface* s, int i) {
    uint32_t w;
    std::memcpy(&w, &s->pixels[i], 4);
    return w;
}

bool AllWords(const PXSurface* s, uint32_t w) {
    for (int i = 0; i < s->width * s->height; ++i)
        if (Word(s, i) != w)
            return false;
    return true;
}

// An engine of its own per test, and the upper layer's globals put back.
class Front : public ::testing::Test {
protected:
    std::vector<int> buf = std::vector<int>(8 * 6, 0x12345678);
    int dummy = 0;
    void Open() { hDev = reinterpret_cast<hid_device*>(&dummy); }
    void TearDown() override {
        DestroyEngine(g_be);
        g_be = nullptr;
        hDev = nullptr;
        nBackColor = 0x1FFFFFFF;
    }
};

TEST_F(Front, InitializeAndNullHandle) {
    // Refused arguments: a side below 1 or no buffer.
    struct { int w, h; bool px; } bad[] = {{0, 5, true}, {5, 0, true}, {-3, 5, true}, {5, 5, false}};
    for (auto& b : bad)
        EXPECT_EQ(Initialize(b.w, b.h, b.px ? buf.data() : nullptr), nullptr) << b.w << "x" << b.h;
    EXPECT_EQ(buf[0], 0x12345678);

    void* h = Initialize(8, 6, buf.data());
    ASSERT_NE(h, nullptr);
    // The caller's buffer turns white, the backing copies it, the stroke surface is clear.
    EXPECT_TRUE(AllWords(E(h)->display_surface, 0xFFFFFFFFu) && AllWords(E(h)->backing_surface, 0xFFFFFFFFu));
    EXPECT_TRUE(E(h)->stroke_surface->IsAllZero());
    // The airbrush is current until the first style: its preset size is 32.
    EXPECT_EQ(E(h)->brush, (PXPaintBrush*)E(h)->graffiti_airbrush);
    EXPECT_EQ(GetSize(h), 32.0f);
    DestroyEngine(h);

    // Every plain function takes a null handle and does nothing.
    int rect[4] = {7, 7, 7, 7};
    SetPenStyle(nullptr, 3);
    FillSurface(nullptr, 0);
    API_StrokePoint(nullptr, rect, 1, 1, 1);
    EndStroke(nullptr, rect);
    EXPECT_EQ(rect[0], 7);
    EXPECT_EQ(GetSize(nullptr), 0.0f);
    EXPECT_EQ(DestroyEngine(nullptr), 0);
}

// Style to member, the ink carried over (erasers included), and the size rules.
TEST_F(Front, StylesColourAndSize) {
    void* h = Initialize(8, 6, buf.data());
    PXBrushEngine* e = E(h);
    EXPECT_EQ(e->soft_erase->color.b, 255);  // white preset until selected
    SetColor(h, 1, 2, 3, 200);  // b, g, r, a on the airbrush
    struct { int style; PXPaintBrush* brush; } rows[] = {
        {2, e->felt_pen}, {3, e->pen}, {5, e->digital_airbrush}, {6, e->graffiti_airbrush},
        {7, e->fine_spray_airbrush}, {10, e->hard_erase}, {11, e->soft_erase}, {15, e->new_mark_pen},
        {20, e->fountain_pen}, {21, e->correct_pen}, {22, e->re_fountain_pen},
        {1, e->pencil}, {4, e->old_crayon}, {16, e->dry_media}, {12, e->bristle_brush},
        {17, e->smudge_brush}, {18, e->blur_brush}, {19, e->sharpen_brush},
        {23, e->pattern_brush_a}, {24, e->pattern_brush_b},
        {0, e->felt_pen}, {13, e->felt_pen}, {25, e->felt_pen}, {-1, e->felt_pen}, {3, e->pen},
    };
    for (auto& r : rows) {
        SetPenStyle(h, r.style);
        EXPECT_EQ(e->brush, r.brush) << r.style;
        EXPECT_EQ(e->pen_style, r.style);
        const PXPenPigment c = e->brush->color;
        EXPECT_TRUE(c.b == 1 && c.g == 2 && c.r == 3 && c.a == 200) << r.style;
    }
    // Style 8 keeps the brush and only stores the number.
    SetPenStyle(h, 8);
    EXPECT_EQ(e->brush, (PXPaintBrush*)e->pen);
    EXPECT_EQ(e->pen_style, 8);

    SetPenSize(h, 3.0f);  // 3 + 5
    EXPECT_EQ(GetSize(h), 8.0f);
    SetSize(h, 0.0f);
    SetPenSize(h, -5.0f);  // 0 after the 5 is added: ignored too
    EXPECT_EQ(GetSize(h), 8.0f);
    DestroyEngine(h);
}

// The bristle brush: nothing before an image (carry 0 from DrawLine), then
// each image replaces the last; diagonals by hand: sqrt(2^2 + 2^2), 3-4-5.
TEST_F(Front, BristleDabImage) {
    void* h = Initialize(8, 6, buf.data());
    PXBristleBrush* b = E(h)->bristle_brush;
    ASSERT_NE(b, nullptr);
    EXPECT_TRUE(b->use_jitter);
    EXPECT_EQ(b->DrawLine({1, 1, 1, 0, 0}, {5, 4, 1, 0, 0}, 0.0f), 0.0f);
    EXPECT_TRUE(AllWords(E(h)->stroke_surface, 0));
    std::vector<int> first(4, 0xFF), second(12, 0xFF);
    SetBristlDabImage(nullptr, 2, 2, first.data());  // ignored
    SetBristlDabImage(h, 2, 2, first.data());
    EXPECT_EQ(b->dab_image->pixels, reinterpret_cast<PXPixel*>(first.data()));
    EXPECT_NEAR(b->dab_diagonal, 2.828427f, 1e-5);
    SetBristlDabImage(h, 3, 4, second.data());
    EXPECT_EQ(b->dab_image->pixels, reinterpret_cast<PXPixel*>(second.data()));
    EXPECT_EQ(b->dab_image->stride, 3);
    EXPECT_FLOAT_EQ(b->dab_diagonal, 5.0f);
    // Size 52 at full pressure covers the 8 x 6 area with mask 255.
    EXPECT_GT(b->DrawLine({4, 3, 1, 0, 0}, {4, 3, 1, 0, 0}, 0.0f), 0.0f);
    EXPECT_GT(b->new_pixels, 0);
    DestroyEngine(h);
}

// Every style of the table leaves marks on the white display through the flat
// calls alone (the erasers clear its alpha); the pattern styles only once
// SetPatternDabImage has given them, not the other one, a pattern.
TEST_F(Front, EveryStyleDraws) {
    std::vector<int> hairs(16, 0xFF), px(40 * 30);
    const std::vector<unsigned char> grey(8 * 8, 255);
    for (int style = 0; style <= 24; ++style) {
        if (style == 8 || style == 9 || style == 14)
            continue;
        void* h = Initialize(40, 30, px.data());
        SetColor(h, 0x40, 0x30, 0x20, 255);
        SetPenStyle(h, style);
        SetBristlDabImage(h, 4, 4, hairs.data());
        SetPatternDabImage(h, style == 23 ? 24 : 23, 8, 8, grey.data());
        for (int pass = style == 23 || style == 24 ? 0 : 1; pass < 2; ++pass) {
            if (pass)
                SetPatternDabImage(h, style, 8, 8, grey.data());
            int rect[4], marked = 0;
            BeginStroke(h);
            for (int i = 0; i <= 10; ++i)
                StrokePoint(h, rect, 5.0f + 3.0f * i, 15.0f, 0.8f);
            EndStroke(h, rect);
            for (int w : px)
                marked += (uint32_t)w != 0xFFFFFFFFu;
            EXPECT_EQ(marked > 0, pass == 1) << style;
        }
        DestroyEngine(h);
    }
}

// Styles 9 and 14 select slots that hold no brush: every call goes through,
// nothing is drawn, the rectangle is left as it was, nothing crashes; the next
// style with a brush draws again. Through the upper layer as well.
TEST_F(Front, StylesWithoutABrushDrawNothing) {
    std::vector<int> px(20 * 16);
    for (int style : {9, 14}) {
        void* h = Initialize(20, 16, px.data());
        SetColor(h, 0x40, 0x30, 0x20, 255);
        SetPenStyle(h, style);
        EXPECT_EQ(E(h)->pen_style, style);
        SetColor(h, 1, 2, 3, 255);
        SetPenSize(h, 3.0f);
        SetFadeStep(h, 4.0f);
        EXPECT_EQ(GetSize(h), 0.0f) << style;
        int rect[4] = {-9, -9, -9, -9};
        BeginStroke(h);
        for (int i = 0; i < 8; ++i)
            StrokePoint(h, rect, 3.0f + 2.0f * i, 8.0f, 1.0f);
        EndStroke(h, rect);
        EXPECT_EQ(std::vector<int>(rect, rect + 4), std::vector<int>(4, -9)) << style;
        EXPECT_TRUE(AllWords(E(h)->display_surface, 0xFFFFFFFFu)) << style;
        EXPECT_TRUE(E(h)->stroke_surface->IsAllZero());
        SetPenStyle(h, 3);
        BeginStroke(h);
        StrokePoint(h, rect, 10.0f, 8.0f, 1.0f);
        EndStroke(h, rect);
        EXPECT_FALSE(AllWords(E(h)->display_surface, 0xFFFFFFFFu)) << style;
        DestroyEngine(h);

        Open();
        void* g = PXPenSet(20, 16, px.data(), 0, style, 3.0f);
        ASSERT_NE(g, nullptr);
        PXBeginStroke(g);
        PXStrokePoint(g, rect, 10.0f, 8.0f, 1.0f);
        PXEndStroke(g, rect);
        EXPECT_TRUE(AllWords(E(g)->display_surface, 0x1FFFFFFFu)) << style;
        EXPECT_EQ(PXClearSign(), 0);
    }
}

TEST_F(Front, PenSetAndBackground) {
    EXPECT_EQ(PXPenSet(8, 6, buf.data(), 0, 3, 3.0f), nullptr);  // device closed
    EXPECT_EQ(g_be, nullptr);
    EXPECT_EQ(buf[0], 0x12345678);
    EXPECT_EQ(PXClearSign(), 3);

    Open();
    EXPECT_EQ(PXClearSign(), 3);  // no engine yet
    // Pen size to pressure scale; other sizes leave the former value.
    struct { float size, scale; } sizes[] = {{1, 0.4f}, {2, 0.55f}, {3, 0.6f}, {4, 0.7f},
                                             {5, 0.8f}, {2.5f, 9.0f}, {0, 9.0f}};
    for (auto& s : sizes) {
        g_fPenScale = 9.0f;
        ASSERT_NE(PXPenSet(8, 6, buf.data(), 0, 3, s.size), nullptr);
        EXPECT_EQ(g_fPenScale, s.scale) << s.size;
        EXPECT_EQ(GetSize(g_be), s.size + 5.0f);
    }

    // Ink word 0x00BBGGRR; a fixed fill that neither reads nor sets nBackColor.
    nBackColor = 0x1F345678;
    void* stale = g_be;
    void* h = PXPenSet(8, 6, buf.data(), 0x00112233, 20, 1.0f);
    EXPECT_NE(h, stale);
    EXPECT_EQ(h, g_be);
    const PXPenPigment c = E(h)->fountain_pen->color;
    EXPECT_TRUE(c.b == 0x11 && c.g == 0x22 && c.r == 0x33 && c.a == 255);
    EXPECT_TRUE(AllWords(E(h)->display_surface, 0x1FFFFFFFu));
    EXPECT_EQ(nBackColor, 0x1F345678u);
    // Clearing uses the former background, not what PXPenSet filled.
    EXPECT_EQ(PXClearSign(), 0);
    EXPECT_TRUE(AllWords(E(h)->backing_surface, 0x1F345678u));

    // The caller's alpha is replaced by 0x1F; a handle that is not g_be gives 3.
    struct { void* handle; unsigned color; int result; uint32_t stored; } bk[] = {
        {stale, 0xFFFFFF, 3, 0x1F345678}, {nullptr, 0xFFFFFF, 3, 0x1F345678},
        {h, 0xFFFFFF, 0, 0x1FFFFFFF}, {h, 0xAA123456, 0, 0x1F123456}};
    for (auto& b : bk) {
        EXPECT_EQ(PXSetBkColor(b.handle, b.color), b.result) << std::hex << b.color;
        EXPECT_EQ(nBackColor, b.stored);
        EXPECT_TRUE(AllWords(E(h)->display_surface, b.stored));
    }
    ResetScan(h, std::vector<int>(48, 0).data());
    EXPECT_EQ(PXClearSign(), 0);
    EXPECT_TRUE(AllWords(E(h)->display_surface, 0x1F123456u));
    // A refused size still replaces the engine (the former one is destroyed,
    // which the leak checker watches) and still sets the scale: null back.
    g_fPenScale = 9.0f;
    EXPECT_EQ(PXPenSet(0, 6, buf.data(), 0, 3, 4.0f), nullptr);
    EXPECT_EQ(g_be, nullptr);
    EXPECT_EQ(g_fPenScale, 0.7f);
    EXPECT_EQ(PXClearSign(), 3);
    hDev = nullptr;
    EXPECT_EQ(PXSetBkColor(h, 0), 3);
    EXPECT_EQ(PXClearSign(), 3);
}

// The stroke calls go through only with the current handle; a stroke of one
// sample leaves the stroke surface clear and ink on the display.
TEST_F(Front, StrokeForwarding) {
    Open();
    std::vector<int> px(16 * 12);
    void* stale = PXPenSet(16, 12, px.data(), 0, 3, 3.0f);
    void* h = PXPenSet(16, 12, px.data(), 0, 3, 3.0f);
    int rect[4] = {-9, -9, -9, -9};
    for (void* wrong : {stale, (void*)nullptr, (void*)&rect}) {
        PXBeginStroke(wrong);
        PXStrokePoint(wrong, rect, 8, 6, 1);
        PXEndStroke(wrong, rect);
    }
    EXPECT_EQ(rect[0], -9);
    EXPECT_TRUE(AllWords(E(h)->display_surface, 0x1FFFFFFFu));

    PXBeginStroke(h);
    PXStrokePoint(h, rect, 8, 6, 1);
    // Size 8 at pressure 1: one dab of radius 4 near (8.0002, 6.0002), the
    // curve piece ending near 8.0012; the box widens by ceil(4) + 1 = 5 and
    // is floored: 3, 1, 13, 11. The centre takes 0.6 * 255 = 153 of black.
    const int want[4] = {3, 1, 13, 11};
    EXPECT_EQ(std::vector<int>(rect, rect + 4), std::vector<int>(want, want + 4));
    EXPECT_EQ((uint32_t)px[6 * 16 + 8], 0x99000000u);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 16; ++x)
            if (x < 3 || x >= 13 || y < 1 || y >= 11) {
                EXPECT_EQ((uint32_t)px[y * 16 + x], 0x1FFFFFFFu) << x << "," << y;
            }
    EXPECT_FALSE(E(h)->stroke_surface->IsAllZero());
    PXEndStroke(h, rect);
    EXPECT_TRUE(E(h)->stroke_surface->IsAllZero());
}

// Recorded ink merges only where the display is fully transparent; the
// backing takes the display elsewhere. Both list forms, odd counts.
TEST_F(Front, FusionDataToDisplay) {
    void* h = Initialize(4, 3, buf.data());
    PXBrushEngine* e = E(h);
    auto reset = [&] {
        FillSurface(h, 0x11111111);  // backing marked
        std::vector<int> scan(12, 0);
        scan[2] = (int)0x80AABBCC;
        ResetScan(h, scan.data());  // display clear but for pixel 2
    };
    reset();
    // Index form, 7 integers: three pairs, the lone 7th dropped.
    int idx[] = {0, (int)0xFF0000FF, 2, (int)0xFF00FF00, 5, 0x00FFFFFF, 3};
    FusionDataToDisplay(h, idx, 7);
    struct { int i; uint32_t display, backing; } want[] = {
        {0, 0xFF0000FF, 0xFF0000FF}, {2, 0x80AABBCC, 0x80AABBCC}, {5, 0, 0}, {3, 0, 0x11111111}, {1, 0, 0x11111111}};
    for (auto& w : want) {
        EXPECT_EQ(Word(e->display_surface, w.i), w.display) << w.i;
        EXPECT_EQ(Word(e->backing_surface, w.i), w.backing) << w.i;
    }
    // Out of range in either direction is skipped.
    reset();
    int far[] = {12, (int)0xFF000001, -4, (int)0xFF000001};
    FusionDataToDisplay(h, far, 4);
    EXPECT_TRUE(AllWords(e->backing_surface, 0x11111111u));

    // Coordinate form, X low and Y high 16 bits; count 9 gives four pairs.
    for (int style : {3, 10, 11, 21}) {
        reset();
        const bool erase = style != 3;
        int co[] = {-1, style, 1 | 2 << 16, (int)0xFF000001, 4 | 0 << 16, (int)0xFF000002,
                    0 | 3 << 16, (int)0xFF000003, 2 | 0 << 16, (int)0xFF000004, 3 | 0 << 16, (int)0xFF000005};
        FusionDataToDisplay(h, co, 9);
        // (1,2) is index 9; (2,0) is index 2, already inked; (3,0) is past the count.
        EXPECT_EQ(Word(e->display_surface, 9), erase ? 0xFFFFFFFFu : 0xFF000001u) << style;
        EXPECT_EQ(Word(e->backing_surface, 9), erase ? 0xFFFFFFFFu : 0xFF000001u);
        EXPECT_EQ(Word(e->display_surface, 2), erase ? 0xFFFFFFFFu : 0x80AABBCCu);
        EXPECT_EQ(Word(e->backing_surface, 3), 0x11111111u);
        EXPECT_EQ(Word(e->display_surface, 3), 0u);
    }
    FusionDataToDisplay(h, nullptr, 4);
    DestroyEngine(h);
}

// EndStroke leaves the stroke surface all zero whatever drew on it: brushes
// that note their dab boxes (only those parts are cleared) and brushes that
// do not (the chisel nib walks past its box; the bristle brush draws
// triangles), also when the style changes in mid-stroke. The samples run off
// every edge, with pressures past 1.
TEST_F(Front, EndStrokeLeavesNoInkBehind) {
    struct { int first, second; } cases[] = {{3, 3}, {6, 6}, {20, 20}, {1, 1}, {22, 22}, {12, 12},
                                             {22, 3}, {12, 6}, {3, 22}};
    std::vector<int> big(60 * 40);
    std::vector<int> bristle(8 * 8, (int)0xFF0000FF);
    for (auto& c : cases) {
        void* h = Initialize(60, 40, big.data());
        SetBristlDabImage(h, 8, 8, bristle.data());
        for (int stroke = 0; stroke < 3; ++stroke) {
            SetPenStyle(h, c.first);
            BeginStroke(h);
            int rect[4];
            for (int i = 0; i < 40; ++i) {
                if (i == 20)
                    SetPenStyle(h, c.second);
                const float t = (float)i / 39.0f;
                StrokePoint(h, rect, 70.0f * t - 2.0f + stroke * 9, 48.0f * t * t, 0.2f + 2.0f * t);
            }
            EndStroke(h, rect);
            EXPECT_TRUE(E(h)->stroke_surface->IsAllZero()) << c.first << " then " << c.second << ", " << stroke;
        }
        DestroyEngine(h);
    }
}

}  // namespace
