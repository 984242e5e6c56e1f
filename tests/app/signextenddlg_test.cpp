// The signature dialog: signing and clearing through the window and an
// emulated display tablet, the screen walk over hand-made desktops, the
// one-screen fallback (offscreen has one 800x600 screen) and the clear
// area's once-per-press rule.
#include <QDir>
#include <QTemporaryDir>

#include "emulator/tablet_protocol.h"
#include "log/msglog.h"
#include "window_support.h"

namespace {

// KV-A2 (X 0..56296, Y 0..31667) over the 800x600 fallback screen at (0,0):
// the dialog maps a unit u to u * 800 / 56296, so the unit of screen x is
// ceil(x * 56296 / 800), and likewise for y.
emu::StrokeSample on(int x, int y)
{
    return {(x * 56296 + 799) / 800, (y * 31667 + 599) / 600, 600};
}

// Ink within a few pixels of (x, y): the brush's dabs sit a little off the
// samples.
bool inkNear(const QImage &image, int x, int y)
{
    for (int dy = -4; dy <= 4; ++dy)
        for (int dx = -4; dx <= 4; ++dx)
            if (!white(image, x + dx, y + dy))
                return true;
    return false;
}

class OnTablet : public ::testing::Test {
protected:
    OnTablet() { probe.open(); }
    emu::Testbed bed;  // before libusb starts
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x3102), std::make_shared<emu::TabletBehaviour>(0x3102));
    QApplication &application = app();
    MainWindow window;
    WindowProbe probe{window};
};

// The dialog repaints only the rows a pen event drew into, and all of it
// after a (second) Open started the signature afresh. What it shows must be,
// pixel for pixel, a repaint from scratch: two crossing strokes written while
// the dialog runs; a press on the clear area and a stroke (the clear wipes
// the engine's ink too, or the stroke's copy of its surface brings the
// strokes back); then a second Open (the image refilled without a repaint)
// and a short stroke elsewhere, which must bring the whole refilled picture
// to the screen, the earlier strokes gone. The dialog copies only the rows
// a stroke call drew into, and all of the engine's surface after StartSign
// and the clear area: either way its image is then the surface, byte for
// byte (the surface's faint background included).
TEST_F(OnTablet, InkOnScreenAsAWholeRepaint)
{
    SignExtendDlg *dialog = probe.signDlg();
    ASSERT_NE(dialog, nullptr);
    QImage &image = *WindowProbe::image(*dialog);
    auto write = [&](const std::vector<emu::Stroke> &strokes, QPoint last) {
        std::vector<emu::Bytes> reports;
        for (const emu::Stroke &s : strokes)
            for (const emu::Bytes &r : emu::encodeStroke(0x3102, s))
                reports.push_back(r);
        dev.pushPaced(reports, std::chrono::microseconds(4000));
        const bool drawn = QTest::qWaitFor(
            [&] { return inkNear(image, last.x(), last.y()) && WindowProbe::lastState(*dialog) == 0; }, 10000);
        dev.waitPacedDone();
        return drawn && memcmp(image.constBits(), WindowProbe::surface(*dialog), size_t(image.sizeInBytes())) == 0;
    };
    emu::Stroke down, up, press, tick, dash;
    for (int i = 0; i <= 30; ++i) {
        down.samples.push_back(on(100 + i * 15, 160 + i * 8));
        up.samples.push_back(on(100 + i * 15, 400 - i * 8));
    }
    ASSERT_TRUE(write({down, up}, {325, 280}));  // where they cross
    EXPECT_TRUE(shownAsWholeRepaint(*dialog));

    press.samples.push_back(on(400, 575));
    for (int y = 100; y <= 160; y += 15)
        tick.samples.push_back(on(150, y));
    ASSERT_TRUE(write({press, tick}, {150, 140}));
    EXPECT_FALSE(inkNear(image, 325, 280));
    EXPECT_TRUE(shownAsWholeRepaint(*dialog));

    probe.open();
    ASSERT_EQ(probe.signDlg(), dialog);
    for (int x = 600; x <= 700; x += 20)
        dash.samples.push_back(on(x, 100));
    ASSERT_TRUE(write({dash}, {650, 100}));
    EXPECT_FALSE(inkNear(image, 150, 140));
    EXPECT_TRUE(shownAsWholeRepaint(*dialog));
}

// By hand: indexes other than the primary are walked; 1280x800 or the last
// index is taken, a later take replacing an earlier one.
TEST(SignExtendDlg, ScreenWalk)
{
    const QRect big(0, 0, 1920, 1080), tablet(1920, 0, 1280, 800), other(3200, 0, 1024, 768);
    const struct { QVector<QRect> screens; int primary; QRect want; } walks[] = {
        {{big}, 0, QRect()},
        {{big, tablet}, 0, tablet},
        {{big, other}, 0, other},
        {{big, tablet, other}, 0, other},
        {{QRect(0, 0, 1024, 768), QRect(1024, 0, 1920, 1080)}, 1, QRect()},
        {{QRect(0, 0, 1280, 800), QRect(1280, 0, 1920, 1080)}, 1, QRect(0, 0, 1280, 800)},
        {{QRect(0, 0, 1280, 800), QRect(1280, 0, 1280, 800), QRect(2560, 0, 1920, 1080)}, 2, QRect(1280, 0, 1280, 800)},
        {{QRect(0, 0, 1280, 799), QRect(1280, 0, 1920, 1080)}, 1, QRect()},
    };
    for (const auto &w : walks)
        EXPECT_EQ(chooseTabletScreen(w.screens, w.primary), w.want) << &w - walks;
}

// One 800x600 screen: the dialog falls back to it and says so in the message
// file (a Debug record: empty file and function, line 0). The clear button
// by its corner rectangle: 400-50 .. 400+49, 600-1-39 .. 600-1-10. Tablet
// units of maxX, maxY 800, 600 map 1:1; the clear area is x 350..449, y
// 559..588, the writing area ending at 559: one clear per press.
TEST(SignExtendDlg, OneScreen)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid() && QDir::setCurrent(dir.path()));  // "pxtest.log" lands here
    app();
    qInstallMessageHandler(LogMsgOutput);
    SignExtendDlg dialog(800, 600, nullptr);
    qInstallMessageHandler(nullptr);
    EXPECT_EQ(dialog.geometry(), QRect(0, 0, 800, 600));
    QFile log("pxtest.log");
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(log.readAll()), "\n\rDebug  File:   Line:0  Content:手写屏未连接\n");
    dialog.show();
    EXPECT_EQ(dialog.findChild<QWidget *>("clearButton")->geometry(), QRect(QPoint(350, 560), QPoint(449, 589)));

    dialog.StartSign();
    QImage &image = *WindowProbe::image(dialog);
    const TOUCH_INFO down{400, 575, 0.5f, 1, 0}, lifted{400, 575, 0.0f, 0, 0};
    const struct { TOUCH_INFO event; bool cleared; } steps[] = {
        {down, true}, {down, false},                // held: once per press
        {{100, 590, 0.5f, 1, 0}, false}, {lifted, false},  // outside both areas; lifted
        {down, true}, {{700, 580, 0.5f, 1, 0}, false},     // pressed again; right of the area
    };
    for (const auto &s : steps) {
        image.setPixel(5, 5, 0xFF000000);
        dialog.receiveMsg(s.event);
        EXPECT_EQ(white(image, 5, 5), s.cleared) << &s - steps;
    }
}

}  // namespace
