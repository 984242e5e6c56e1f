// The signature dialog: signing and clearing through the window and an
// emulated display tablet, the screen walk over hand-made desktops, the
// one-screen fallback (offscreen has one 800x600 screen) and the clear
// area's once-per-press rule.
#include <QDir>
#include <QScreen>
#include <QFile>
#include <QTemporaryDir>
#include <atomic>
#include <thread>

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

// The clear area wipes the engine's surface, not only the dialog's image:
// the next pen event copies that surface to the image, and the ink signed
// before must not come back with it.
TEST(SignExtendDlgOnTablet, ClearWipesTheInkForGood)
{
    emu::Testbed bed;  // before libusb starts
    app();
    auto beh = std::make_shared<emu::TabletBehaviour>(0x3102);
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x3102), beh);
    MainWindow window;
    WindowProbe probe(window);
    probe.open();
    SignExtendDlg *dialog = probe.signDlg();
    ASSERT_NE(dialog, nullptr);
    QImage &image = *WindowProbe::image(*dialog);
    auto send = [&](const std::vector<emu::Bytes> &reports) {
        dev.pushPaced(reports, std::chrono::microseconds(2000));
        dev.waitPacedDone();
    };

    // A line along y 300 from x 100 to 300, lifted there (in the writing area).
    emu::Stroke line;
    for (int x = 100; x <= 300; x += 20)
        line.samples.push_back(on(x, 300));
    send(emu::encodeStroke(0x3102, line));
    ASSERT_TRUE(QTest::qWaitFor([&] { return inkNear(image, 250, 300) && WindowProbe::lastState(*dialog) == 0; }, 10000));
    for (int x : {150, 200, 250})
        ASSERT_TRUE(inkNear(image, x, 300)) << x;

    // Pressed on the clear area (x 350..449, y 559..588) and lifted there.
    emu::Stroke press;
    press.samples.push_back(on(400, 575));
    send(emu::encodeStroke(0x3102, press));
    ASSERT_TRUE(QTest::qWaitFor([&] { return allWhite(image); }, 10000));

    // The pen down elsewhere only opens a new stroke: nothing new is drawn.
    send({emu::encodeSample(0x3102, on(700, 100))});
    ASSERT_TRUE(QTest::qWaitFor([&] { return WindowProbe::lastState(*dialog) == 1; }, 10000));
    for (int x : {150, 200, 250})
        EXPECT_FALSE(inkNear(image, x, 300)) << x;
    EXPECT_TRUE(allWhite(image));
}

// Pixels where the dialog as on screen (the offscreen screen's copy of its
// backing store) differs from a repaint of it from scratch.
int differsFromWholeRepaint(QWidget &dialog)
{
    QTest::qWait(100);  // the last repaint
    QCoreApplication::processEvents();
    const QImage shown =
        QGuiApplication::primaryScreen()->grabWindow(dialog.winId()).toImage().convertToFormat(QImage::Format_RGB32);
    const QImage whole = dialog.grab().toImage().convertToFormat(QImage::Format_RGB32);
    if (shown.size() != whole.size())
        return -1;
    int differing = 0;
    for (int y = 0; y < shown.height(); ++y)
        for (int x = 0; x < shown.width(); ++x)
            differing += shown.pixel(x, y) != whole.pixel(x, y);
    return differing;
}

// The dialog repaints only the rows a pen event drew into, and all of it
// once after a (second) Open started the signature afresh. What it shows
// must be, pixel for pixel, a repaint from scratch: two crossing strokes
// written while the dialog runs, a press on the clear area and a stroke,
// then a second Open (the image refilled without a repaint) and a short
// stroke elsewhere, which must bring the whole refilled picture to the
// screen, the earlier strokes gone.
TEST(SignExtendDlgOnTablet, InkOnScreenAsAWholeRepaint)
{
    emu::Testbed bed;
    app();
    auto beh = std::make_shared<emu::TabletBehaviour>(0x3102);
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x3102), beh);
    MainWindow window;
    WindowProbe probe(window);
    probe.open();
    SignExtendDlg *dialog = probe.signDlg();
    ASSERT_NE(dialog, nullptr);
    QImage &image = *WindowProbe::image(*dialog);
    auto write = [&](const std::vector<emu::Bytes> &reports) {
        std::atomic<bool> written{false};
        std::thread pen([&] {
            for (const auto &r : reports) {
                dev.push(r);
                std::this_thread::sleep_for(std::chrono::milliseconds(4));
            }
            written = true;
        });
        const bool done = QTest::qWaitFor([&] { return written.load(); }, 20000);
        pen.join();
        return done;
    };

    std::vector<emu::Bytes> reports;
    for (int stroke = 0; stroke < 2; ++stroke) {
        emu::Stroke s;
        for (int i = 0; i <= 30; ++i)
            s.samples.push_back(on(100 + i * 15, stroke ? 400 - i * 8 : 160 + i * 8));
        for (auto &r : emu::encodeStroke(0x3102, s))
            reports.push_back(r);
    }
    ASSERT_TRUE(write(reports));
    // The strokes cross at x 325, y 280.
    ASSERT_TRUE(QTest::qWaitFor([&] { return inkNear(image, 325, 280) && WindowProbe::lastState(*dialog) == 0; }, 10000));
    EXPECT_EQ(differsFromWholeRepaint(*dialog), 0);

    // The clear area fills the image white and the engine's surface with the
    // faint background: the next stroke's copy changes every pixel, and the
    // screen must follow all of it.
    emu::Stroke press;
    press.samples.push_back(on(400, 575));
    emu::Stroke tick;
    for (int y = 100; y <= 160; y += 15)
        tick.samples.push_back(on(150, y));
    std::vector<emu::Bytes> clearThenTick = emu::encodeStroke(0x3102, press);
    for (auto &r : emu::encodeStroke(0x3102, tick))
        clearThenTick.push_back(r);
    ASSERT_TRUE(write(clearThenTick));
    ASSERT_TRUE(QTest::qWaitFor([&] { return inkNear(image, 150, 140) && WindowProbe::lastState(*dialog) == 0; }, 10000));
    ASSERT_FALSE(inkNear(image, 325, 280));
    EXPECT_EQ(differsFromWholeRepaint(*dialog), 0);

    probe.open();
    ASSERT_EQ(probe.signDlg(), dialog);
    ASSERT_FALSE(inkNear(image, 325, 280));
    emu::Stroke dash;
    for (int x = 600; x <= 700; x += 20)
        dash.samples.push_back(on(x, 100));
    ASSERT_TRUE(write(emu::encodeStroke(0x3102, dash)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return inkNear(image, 650, 100) && WindowProbe::lastState(*dialog) == 0; }, 10000));
    EXPECT_EQ(differsFromWholeRepaint(*dialog), 0);
}

// The dialog copies only the rows a stroke call drew into, and the whole
// surface after StartSign and the clear area. Whatever it copies, after each
// pen event in the writing area its image must be the engine's surface byte
// for byte (alpha included), as when every event copied all of it. Events go
// straight to the slot, so each is checked on its own.
TEST(SignExtendDlgOnTablet, ImageIsTheSurfaceAfterEachEvent)
{
    emu::Testbed bed;
    app();
    auto beh = std::make_shared<emu::TabletBehaviour>(0x3102);
    bed.add(emu::DeviceSpec::tabletPid(0x3102), beh);
    MainWindow window;
    WindowProbe probe(window);
    probe.open();
    SignExtendDlg *dialog = probe.signDlg();
    ASSERT_NE(dialog, nullptr);
    auto pen = [](int x, int y, int state) {
        const emu::StrokeSample u = on(x, y);
        return TOUCH_INFO{u.x, u.y, state ? 0.6f : 0.0f, state, 0};
    };
    struct Step {
        const char *what;
        TOUCH_INFO event;
        bool inWritingArea;
    };
    std::vector<Step> steps;
    auto stroke = [&](int x0, int y0, int dx, int dy, int n) {
        for (int i = 0; i <= n; ++i)
            steps.push_back({"stroke", pen(x0 + i * dx, y0 + i * dy, 1), true});
        steps.push_back({"pen-up", pen(x0 + n * dx, y0 + n * dy, 0), true});
    };
    stroke(100, 150, 12, 9, 20);                       // down and to the right
    steps.push_back({"clear", pen(400, 575, 1), false});  // image white, surface faint white
    steps.push_back({"lifted", pen(400, 575, 0), false});
    steps.push_back({"hover after the clear", pen(200, 200, 0), true});
    stroke(600, 500, -10, -14, 25);                    // up and to the left, tall rows
    for (size_t i = 0; i < steps.size(); ++i) {
        dialog->receiveMsg(steps[i].event);
        if (!steps[i].inWritingArea)
            continue;
        const QImage &image = *WindowProbe::image(*dialog);
        ASSERT_EQ(memcmp(image.constBits(), WindowProbe::surface(*dialog), size_t(image.sizeInBytes())), 0)
            << "step " << i << ", " << steps[i].what;
    }
}

struct Walk {
    const char *name;
    QVector<QRect> screens;
    int primary;
    QRect want;
};

const QRect big(0, 0, 1920, 1080), tablet(1920, 0, 1280, 800), other(3200, 0, 1024, 768);

// By hand: indexes other than the primary are walked; 1280x800 or the last
// index is taken, a later take replacing an earlier one.
const Walk kWalks[] = {
    {"one screen", {big}, 0, QRect()},
    {"tablet after primary", {big, tablet}, 0, tablet},
    {"any size when last", {big, other}, 0, other},
    {"last beats an earlier 1280x800", {big, tablet, other}, 0, other},
    {"primary last, other size first", {QRect(0, 0, 1024, 768), QRect(1024, 0, 1920, 1080)}, 1, QRect()},
    {"primary last, 1280x800 first", {QRect(0, 0, 1280, 800), QRect(1280, 0, 1920, 1080)}, 1, QRect(0, 0, 1280, 800)},
    {"two 1280x800 before the primary", {QRect(0, 0, 1280, 800), QRect(1280, 0, 1280, 800), QRect(2560, 0, 1920, 1080)}, 2,
     QRect(1280, 0, 1280, 800)},
    {"1280x799 is not the tablet", {QRect(0, 0, 1280, 799), QRect(1280, 0, 1920, 1080)}, 1, QRect()},
};

TEST(SignExtendDlg, ScreenWalk)
{
    for (const Walk &w : kWalks)
        EXPECT_EQ(chooseTabletScreen(w.screens, w.primary), w.want) << w.name;
}

class OneScreen : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        ASSERT_TRUE(QDir::setCurrent(dir.path()));  // "pxtest.log" lands here
        app();
        qInstallMessageHandler(LogMsgOutput);
    }
    void TearDown() override { qInstallMessageHandler(nullptr); }
    QTemporaryDir dir;
};

TEST_F(OneScreen, FallsBackTo800x600AndSaysSo)
{
    SignExtendDlg dialog(800, 600, nullptr);
    EXPECT_EQ(WindowProbe::screen(dialog), QRect(0, 0, 800, 600));
    EXPECT_EQ(dialog.geometry(), QRect(0, 0, 800, 600));
    QFile log("pxtest.log");
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    // Debug record: empty file and function, line 0, the message as given.
    EXPECT_EQ(QString::fromUtf8(log.readAll()), "\n\rDebug  File:   Line:0  Content:手写屏未连接\n");
    // The clear button by its corner rectangle: 400-50 .. 400+49, 600-1-39 .. 600-1-10.
    dialog.show();
    EXPECT_EQ(dialog.findChild<QWidget *>("clearButton")->geometry(), QRect(QPoint(350, 560), QPoint(449, 589)));
}

TEST_F(OneScreen, ClearAreaClearsOncePerPress)
{
    // maxX, maxY of 800, 600 map tablet units 1:1 to the fallback screen.
    // The clear area is x 350..449, y 559..588; the writing area ends at 559.
    SignExtendDlg dialog(800, 600, nullptr);
    dialog.StartSign();
    QImage &image = *WindowProbe::image(dialog);
    auto mark = [&] { image.setPixel(5, 5, 0xFF000000); };
    auto marked = [&] { return !white(image, 5, 5); };
    const TOUCH_INFO down{400, 575, 0.5f, 1, 0}, lifted{400, 575, 0.0f, 0, 0}, elsewhere{100, 590, 0.5f, 1, 0};

    struct Step {
        TOUCH_INFO event;
        bool cleared;
    };
    const Step steps[] = {
        {down, true},        // first press on the area
        {down, false},       // held: once per press
        {elsewhere, false},  // outside both areas, still held
        {lifted, false},     // lifted: no clear, the press is over
        {down, true},        // pressed again
        {{700, 580, 0.5f, 1, 0}, false},  // same row, right of the area
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        mark();
        dialog.receiveMsg(steps[i].event);
        EXPECT_EQ(!marked(), steps[i].cleared) << "step " << i;
    }
}

}  // namespace
