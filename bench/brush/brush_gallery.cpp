// Renders one fixed signature-like stroke with every pen style that has a
// brush class, side by side, and the benchmark's pen input (the demo signature
// at four sizes and speeds, bench/brush/signatures30sec.txt) with style 3.
//   brush_gallery <gallery.png> [<signatures.png>]
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <cmath>
#include <vector>

#include "bench_input.h"
#include "bristle_dab.h"
#include "pen/PX_PEN_API.h"

namespace {

constexpr int kPanelW = 360, kPanelH = 140, kLabelH = 18, kColumns = 3;

struct Style {
    int number;
    const char* name;
    bool erases;  // shown over a band of felt ink so that what it takes away shows
    // Blur, sharpen and smudge rework what the running stroke holds, so they
    // are drawn in the same unended stroke as three bars of felt ink.
    bool reworks = false;
};
const Style kStyles[] = {
    {3, "PXPen", false},
    {2, "PXFeltPen", false},
    {20, "PXFountainPen", false},
    {22, "PXReFountainPen", false},
    {15, "PXNewMarkPen", false},
    {5, "PXDigitalAirbrush", false},
    {6, "PXGraffitiAirbrush", false},
    {7, "PXFineSprayAirbrush", false},
    {21, "PXCorrectPen", true},
    {10, "PXHardErase", true},
    {11, "PXSoftErase", true},
    {1, "PXPencil", false},
    {4, "PXOldCrayon", false},
    {16, "PXDryMedia", false},
    {12, "PXBristleBrush", false},
    {17, "PXSmudgeBrush", false, true},
    {18, "PXBlurBrush", false, true},
    {19, "PXSharpenBrush", false, true},
    {23, "PXPatternBrush (rings)", false},
    {24, "PXPatternBrush (hatch)", false},
};

struct Sample {
    float x, y, p;
};

// A cursive-looking signature: a drifting run of loops, pressure rising from
// the first touch to the middle and falling off at the end, 400 samples.
std::vector<Sample> Signature() {
    std::vector<Sample> v;
    const int n = 400;
    for (int i = 0; i < n; ++i) {
        const double t = (double)i / (n - 1);
        const double x = 30 + 290 * t + 16 * std::sin(2 * M_PI * 7 * t);
        const double y = 70 - 26 * std::cos(2 * M_PI * 7 * t) * (0.6 + 0.4 * std::sin(M_PI * t)) - 10 * std::sin(2 * M_PI * t);
        const double p = 0.1 + 0.85 * std::pow(std::sin(M_PI * t), 0.8) * (0.8 + 0.2 * std::sin(2 * M_PI * 11 * t));
        v.push_back({(float)x, (float)y, (float)p});
    }
    return v;
}

void Stroke(void* h, const std::vector<Sample>& s) {
    int rect[4];
    BeginStroke(h);
    for (const Sample& p : s)
        StrokePoint(h, rect, p.x, p.y, p.p);
    EndStroke(h, rect);
}

// The two stamp patterns, 48 x 48 grey: soft concentric rings, and a
// diagonal hatch, both inside a disc.
std::vector<unsigned char> Pattern(bool rings) {
    const int side = 48;
    std::vector<unsigned char> g((size_t)side * side, 0);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const double r = std::hypot(x + 0.5 - side / 2.0, y + 0.5 - side / 2.0);
            if (r >= side / 2.0)
                continue;
            const double v = rings ? 0.5 + 0.5 * std::cos(r * 0.9) : ((x + y) % 12 < 4 ? 1.0 : 0.0);
            g[(size_t)y * side + x] = (unsigned char)(v * 255.0);
        }
    return g;
}

// Three upright bars of red, green and blue felt ink across the signature's
// path, each a stroke left open so that its ink stays on the stroke surface.
void Bars(void* h) {
    const unsigned char bgr[3][3] = {{0x20, 0x20, 0xD0}, {0x30, 0xA0, 0x30}, {0xD0, 0x50, 0x20}};
    SetPenStyle(h, 2);
    SetSize(h, 26.0f);
    int rect[4];
    for (int i = 0; i < 3; ++i) {
        SetColor(h, bgr[i][0], bgr[i][1], bgr[i][2], 255);
        BeginStroke(h);
        for (int y = 8; y <= 132; y += 4)
            StrokePoint(h, rect, 80.0f + 100.0f * i, (float)y, 1.0f);
    }
}

// The display buffer as the window would show it, over white.
QImage OverWhite(const std::vector<int>& pixels, int w, int h) {
    QImage img((const uchar*)pixels.data(), w, h, w * 4, QImage::Format_ARGB32);
    QImage out(w, h, QImage::Format_RGB32);
    out.fill(Qt::white);
    QPainter p(&out);
    p.drawImage(0, 0, img);
    return out;
}

QImage Panel(const Style& st, const std::vector<Sample>& sig) {
    std::vector<int> pixels((size_t)kPanelW * kPanelH);
    void* h = Initialize(kPanelW, kPanelH, pixels.data());
    FillSurface(h, 0x1FFFFFFF);
    SetColor(h, 0x70, 0x28, 0x10, 255);  // b, g, r, a: dark blue ink
    if (st.erases) {
        SetPenStyle(h, 2);
        std::vector<Sample> band;
        for (int i = 0; i <= 60; ++i)
            band.push_back({20.0f + 5.3f * i, 70.0f, 1.0f});
        SetSize(h, 60.0f);
        Stroke(h, band);
    }
    if (st.reworks)
        Bars(h);
    SetPenStyle(h, st.number);
    if (st.number == 23 || st.number == 24)
        SetPatternDabImage(h, st.number, 48, 48, Pattern(st.number == 23).data());
    // The image must outlive the brush's use of it.
    static std::vector<int> dab = BristleDab(24);
    if (st.number == 12)
        SetBristlDabImage(h, 24, 24, dab.data());
    Stroke(h, sig);
    QImage img = OverWhite(pixels, kPanelW, kPanelH);
    DestroyEngine(h);
    return img;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s GALLERY.png [SIGNATURES.png]\n", argv[0]);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const auto sig = Signature();
    const int n = sizeof kStyles / sizeof kStyles[0];
    const int rows = (n + kColumns - 1) / kColumns;
    QImage sheet(kColumns * kPanelW, rows * (kPanelH + kLabelH), QImage::Format_RGB32);
    sheet.fill(QColor(0xE0, 0xE0, 0xE0));
    QPainter p(&sheet);
    for (int i = 0; i < n; ++i) {
        const int x = (i % kColumns) * kPanelW, y = (i / kColumns) * (kPanelH + kLabelH);
        p.drawImage(x, y + kLabelH, Panel(kStyles[i], sig));
        p.drawText(x + 6, y + 14, QString("style %1  %2").arg(kStyles[i].number).arg(kStyles[i].name));
        p.drawRect(x, y, kPanelW - 1, kPanelH + kLabelH - 1);
    }
    p.end();
    if (!sheet.save(argv[1]))
        return 1;
    if (argc < 3)
        return 0;

    // The pen input, style 3 at the windows' pen size; a pen-up ends a stroke.
    const auto ev = LoadPenEventsOrExit(argv[0], SP_SIGNATURES_INPUT);
    const int side = 1024;
    std::vector<int> pixels((size_t)side * side);
    void* h = Initialize(side, side, pixels.data());
    FillSurface(h, 0x1FFFFFFF);
    SetColor(h, 0, 0, 0, 255);
    SetPenStyle(h, 3);
    SetPenSize(h, 3.0f);
    int rect[4];
    bool down = false;
    for (const PenEvent& e : ev) {
        if (e.pressure <= 0.0f) {
            if (down)
                EndStroke(h, rect);
            down = false;
            continue;
        }
        if (!down)
            BeginStroke(h);
        down = true;
        StrokePoint(h, rect, e.x, e.y, e.pressure);
    }
    if (down)
        EndStroke(h, rect);
    const bool ok = OverWhite(pixels, side, side).save(argv[2]);
    DestroyEngine(h);
    return ok ? 0 : 1;
}
