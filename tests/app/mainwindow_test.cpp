// The main window as a real widget (offscreen), tablets from the emulator
// through real libusb. Expected texts and pixels are worked out by hand from
// the identity the emulated tablet gives and the window's mapping rule.
#include <QScreen>
#include <QTextLayout>
#include <QFontMetrics>
#include <atomic>
#include <functional>
#include <thread>

#include "emulator/scanners.h"
#include "emulator/tablet_protocol.h"
#include "fingerprint/capfingerdlg.h"
#include "window_support.h"

namespace {

using emu::Command;

class Window : public ::testing::Test {
protected:
    void SetUp() override
    {
        bed = std::make_unique<emu::Testbed>();
        app();
        window = std::make_unique<MainWindow>();
        probe = std::make_unique<WindowProbe>(*window);
        window->show();
    }
    void TearDown() override
    {
        window.reset();  // Close: the device and libusb go before the bed
        bed.reset();
    }
    emu::Device &plug(uint16_t pid, uint16_t bcd = 0x0213)
    {
        beh = std::make_shared<emu::TabletBehaviour>(pid);
        beh->identity = {0x21, 0x561234, 0x45, 0x0302};
        emu::DeviceSpec desc = emu::DeviceSpec::tabletPid(pid);
        desc.bcdDevice = bcd;
        return bed->add(desc, beh);
    }
    QStringList edits()
    {
        Ui::MainWindow &ui = probe->ui();
        return {ui.lineEdit_vid->text(), ui.lineEdit_productid->text(), ui.lineEdit_category->text(),
                ui.lineEdit_pid->text(), ui.lineEdit_industry->text(), ui.lineEdit_serial->text(),
                ui.lineEdit_version->text()};
    }
    void fillEdits(const QString &text)
    {
        Ui::MainWindow &ui = probe->ui();
        for (QLineEdit *e : {ui.lineEdit_vid, ui.lineEdit_productid, ui.lineEdit_category, ui.lineEdit_pid,
                             ui.lineEdit_industry, ui.lineEdit_serial, ui.lineEdit_version})
            e->setText(text);
    }
    std::unique_ptr<emu::Testbed> bed;
    // Mode commands are counted "at least once": the pad layer sends one again
    // when its answer takes longer than 800 ms, as it can on a loaded machine.
    std::shared_ptr<emu::TabletBehaviour> beh;
    std::unique_ptr<MainWindow> window;
    std::unique_ptr<WindowProbe> probe;
};

TEST_F(Window, OpenAndCloseWithoutTablet)
{
    EXPECT_EQ(window->windowTitle(), "塔维手写设备测试程序V1.51");
    fillEdits("keep");
    ModalWatcher boxes;
    probe->open();
    EXPECT_EQ(boxes.titles, QStringList{"SlateProbe"});
    EXPECT_EQ(boxes.texts, QStringList{"未连接塔维手写设备"});
    EXPECT_EQ(probe->list(), QStringList{"未连接塔维手写设备"});
    EXPECT_EQ(edits(), QStringList({"keep", "keep", "keep", "keep", "keep", "keep", "keep"}));

    // Close without Open: no box, six fields emptied, the version kept.
    probe->close();
    EXPECT_EQ(boxes.texts.size(), 1);
    EXPECT_EQ(edits(), QStringList({"", "", "", "", "", "", "keep"}));
    EXPECT_TRUE(probe->list().isEmpty());
}

struct Model {
    const char *name;
    uint16_t pid;
    bool pad, scrambled;
    const char *idPid;  // 34 12 00 00 read as one number, 56 in the third byte when scrambled
};

// Identity 21 | 34 12 (56) 00 | 45 00 | 02 03: category 33, industry 69,
// number 0x0302 = 770; bcdDevice 0x0213 arrives swapped as "1302". The pid
// has three bytes in the scrambled form (0x561234) and two in the plain one
// (0x1234). Display tablets send the form the test asks for (alternating
// here); the 64-byte pads send the scrambled one, the 8-byte pads the plain
// one. KV-B6 reads no identity, so the window keeps the previous model's
// (KV-B5's). All sixteen rows of the catalogue, in its order.
const char kScrambled[] = "5640756", kPlain[] = "4660";
const Model kModels[] = {
    {"KV-A1", 0x3101, false, true, kScrambled},  {"KV-A2", 0x3102, false, false, kPlain},
    {"KV-A3", 0x3103, false, true, kScrambled},  {"KV-A4", 0x3105, false, false, kPlain},
    {"KV-A5", 0x3106, false, true, kScrambled},  {"KV-B1", 0x9010, false, false, kPlain},
    {"KV-B2", 0x8811, false, true, kScrambled},  {"KV-B3", 0x8824, false, false, kPlain},
    {"KV-B4", 0x880C, false, true, kScrambled},  {"KV-B5", 0x8826, false, false, kPlain},
    {"KV-B6", 0x8534, false, false, kPlain},     {"KV-C1", 0x8420, true, false, kPlain},
    {"KV-C2", 0x8421, true, false, kPlain},      {"KV-C3", 0x8816, true, false, kPlain},
    {"KV-C4", 0x880F, true, true, kScrambled},   {"KV-C5", 0x8807, true, true, kScrambled},
};

TEST_F(Window, OpensEveryModel)
{
    for (const Model &m : kModels) {
        SCOPED_TRACE(m.name);
        emu::Device &dev = plug(m.pid);
        beh->scrambledCustomId = m.scrambled;
        ModalWatcher boxes;
        probe->open();
        EXPECT_TRUE(boxes.texts.isEmpty()) << boxes.texts.join("|").toStdString();
        EXPECT_EQ(probe->list(), QStringList{"打开手写设备测试手写"});
        EXPECT_EQ(edits(), QStringList({"5E1B", QString::number(m.pid, 16), "33", m.idPid, "69", "770", "1302"}));
        if (m.pad) {
            ASSERT_NE(probe->image(), nullptr);
            EXPECT_EQ(probe->image()->size(), QSize(400, 250));
            EXPECT_TRUE(allWhite(*probe->image()));
            EXPECT_EQ(probe->signDlg(), nullptr);
        } else {
            ASSERT_NE(probe->signDlg(), nullptr);
            EXPECT_TRUE(probe->signDlg()->isVisible());
        }
        probe->close();
        EXPECT_EQ(edits(), QStringList({"", "", "", "", "", "", "1302"}));
        EXPECT_TRUE(probe->list().isEmpty());
        EXPECT_EQ(probe->signDlg(), nullptr);
        EXPECT_FALSE(dev.claimed());
        EXPECT_EQ(beh->count(Command::Start) > 0, m.pad);
        dev.unplug();
    }
}

TEST_F(Window, SecondOpenAndCloseOnPad)
{
    plug(0x8420);
    probe->open();
    QImage *first = probe->image();
    unsigned int *firstSurface = probe->surface();
    probe->open();
    // The first blocks are abandoned, not freed (the sanitizer build checks
    // that nothing else leaks).
    EXPECT_NE(probe->image(), first);
    EXPECT_NE(probe->surface(), firstSurface);
    EXPECT_EQ(probe->list(), QStringList({"打开手写设备测试手写", "打开手写设备测试手写"}));

    // A pen event the reader queued before a Close is dropped with it: the
    // pen engine is gone by the time it would run.
    std::thread([] { pen_event_listener({100, 100, 0.5f, 1, 0}); }).join();
    probe->close();
    QTest::qWait(20);
    EXPECT_EQ(probe->lastState(), 0);
}

// Touch callbacks of someone else, five distinct ones: enough to fill the
// tablet layer's table.
template <int N>
int otherListener(TOUCH_INFO)
{
    return 1;
}
const TouchInfoCallBack kOthers[] = {otherListener<0>, otherListener<1>, otherListener<2>, otherListener<3>,
                                     otherListener<4>};

// Open's failures. Each box shows the error text of the failing call's code
// (2 "打开手写设备失败", -10 "其它"), each list line names the step. Up to the
// registration a failure leaves the fields as they were; a registration
// that fails is told and the window goes on with the tablet.
TEST_F(Window, OpenFailures)
{
    const QStringList kept{"keep", "keep", "keep", "keep", "keep", "keep", "keep"};
    const QStringList filled{"5E1B", "8420", "33", "4660", "69", "770", "1302"};
    struct Case {
        const char *what;
        uint16_t pid;
        std::function<void(emu::Device &)> arrange;
        QStringList boxes, lines;
        bool goesOn;
    } cases[] = {
        // The identity command fails on the bus: the open gives -10.
        {"identity command stalls", 0x8420, [&](emu::Device &) { beh->plan(Command::Identity, {emu::Answer::Stall}); },
         {"其它"}, {"打开手写设备测试手写", "打开手写设备失败"}, false},
        // The fingerprint button selects KV-C2's row without opening it (no
        // fingerprint mode there); the selection is trusted, so the tablet's
        // going shows first at the transport's open (2).
        {"selected, then unplugged", 0x8421,
         [&](emu::Device &dev) {
             probe->fingerprint();
             dev.unplug();
             // libusb learns of the going from its hot-plug thread; the
             // window's Open comes once it has.
             ASSERT_TRUE(QTest::qWaitFor([] {
                 hid_device_info *found = hid_enumerate(0x5E1B, 0x8421);
                 hid_free_enumeration(found);
                 return found == nullptr;
             }, 5000));
         },
         {"打开手写设备失败"}, {"未连接指纹设备", "打开手写设备测试手写", "打开手写设备失败"}, false},
        // The callback table is full of others' callbacks (registered on the
        // selected row, which opens nothing).
        {"callback table full", 0x8420,
         [&](emu::Device &) {
             ASSERT_EQ(GetDeviceStatus(), 0);
             for (TouchInfoCallBack cb : kOthers)
                 ASSERT_EQ(RegisterTouchInfoCallBack(cb), 0);
         },
         {"注册回调函数失败"}, {"打开手写设备测试手写", "注册回调函数失败"}, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        emu::Device &dev = plug(c.pid);
        fillEdits("keep");
        c.arrange(dev);
        ModalWatcher boxes;
        probe->open();
        EXPECT_EQ(boxes.texts, c.boxes);
        EXPECT_EQ(probe->list(), c.lines);
        EXPECT_EQ(edits(), c.goesOn ? filled : kept);
        EXPECT_EQ(probe->image() != nullptr, c.goesOn);  // the pad's image comes after the fields
        if (!c.goesOn) {
            EXPECT_FALSE(dev.claimed());
        }
        probe->close();
        // Removal from a full table leaves the last callback in more than one
        // slot, one copy going per call: each goes until it is reported gone.
        for (TouchInfoCallBack cb : kOthers)
            for (int i = 0; i < kCallbackSlots && UnregisterTouchInfoCallBack(cb) == 0; ++i) {
            }
        if (dev.plugged())
            dev.unplug();
    }
}

// A display tablet pulled while the window reads its identity: the open goes
// through (a display tablet opens without one), the reader finds the tablet
// gone and drops the selection, and the device information fails with 1
// ("设备未连接"). The reader has the millisecond that the open waits to get
// there first; where it is late, the registration fails instead or the open
// goes through with a dialog, so the case is tried a few times.
TEST_F(Window, TabletGoneBeforeItsInformation)
{
    int seen = 0;
    for (int attempt = 0; attempt < 8 && seen == 0; ++attempt) {
        SCOPED_TRACE(attempt);
        emu::Device &dev = plug(0x3102);
        beh->plan(Command::CustomIdAck, {emu::Answer::Silent});
        fillEdits("keep");
        std::thread puller([&] {
            for (int i = 0; i < 5000 && beh->count(Command::CustomIdAck) == 0; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            dev.unplug();
        });
        ModalWatcher boxes;
        probe->open();
        puller.join();
        if (probe->list().value(1) == "获取设备信息失败") {
            ++seen;
            EXPECT_EQ(boxes.texts, QStringList{"设备未连接"});
            EXPECT_EQ(probe->list(), QStringList({"打开手写设备测试手写", "获取设备信息失败"}));
            EXPECT_EQ(edits(), QStringList({"keep", "keep", "keep", "keep", "keep", "keep", "keep"}));
            EXPECT_EQ(probe->signDlg(), nullptr);
        }
        probe->close();
    }
    EXPECT_EQ(seen, 1);
}

// KV-C1: X 0..6144 and Y 0..8192 after the pad's Y window from 955. A row at
// decoded y 4096 maps to 250 * 4096 / 8192 = 125; x maps by 400 * x / 6144.
emu::StrokeSample at(int px, int pressure = 600)
{
    return {px * 6144 / 400, 4096 + 955, pressure};
}

TEST_F(Window, SigningOnPad)
{
    emu::Device &dev = plug(0x8420);
    probe->open();
    ASSERT_NE(probe->image(), nullptr);

    // Down at x 20 (only opens the stroke), then 100..150, a jump to
    // 250..300 with the pen still down, then the lift.
    emu::Stroke s;
    s.interval = std::chrono::microseconds(2000);
    s.samples.push_back(at(20));
    for (int px = 100; px <= 150; px += 10)
        s.samples.push_back(at(px));
    for (int px = 250; px <= 300; px += 10)
        s.samples.push_back(at(px));
    dev.pushPaced(emu::encodeStroke(0x8420, s), s.interval);
    dev.waitPacedDone();
    QImage &image = *probe->image();
    // The brush smooths the samples and trails the last one by a few pixels.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !white(image, 275, 125) && probe->lastState() == 0; }, 10000));
    for (int px : {100, 125, 150, 200, 250, 275})
        EXPECT_FALSE(white(image, px, 125)) << px;
    for (auto [x, y] : {std::pair{60, 125}, {350, 125}, {200, 60}, {200, 190}})
        EXPECT_TRUE(white(image, x, y)) << x << "," << y;

    // A key of 48 (both) is ignored, the re-sign key clears and says so.
    // The next pen event copies the engine's surface into the image again
    // (a pen-down only opens a stroke): the old ink must be gone there too.
    std::thread([] {
        pen_event_listener({0, 0, 0.0f, 0, 48});
        pen_event_listener({0, 0, 0.0f, 0, 16});
        pen_event_listener({3072, 4096, 0.5f, 1, 0});
    }).join();
    ASSERT_TRUE(QTest::qWaitFor([&] { return probe->list().size() == 2 && probe->lastState() == 1; }, 10000));
    EXPECT_EQ(probe->list(), QStringList({"打开手写设备测试手写", "点击签名板【重签】按键"}));
    EXPECT_TRUE(allWhite(image));

    // The pad's re-sign key through the pad, then OK: its own line is
    // cleared by the Close it runs, and the pad is back in start mode.
    for (auto key : {emu::PadKey::Resign, emu::PadKey::Ok})
        for (const auto &r : emu::encodeKey(0x8420, key))
            dev.push(r);
    ASSERT_TRUE(QTest::qWaitFor([&] { return g_uDevinfo_index == -1; }, 10000));
    EXPECT_TRUE(probe->list().isEmpty());
    EXPECT_GE(beh->count(Command::Start), 1);
    EXPECT_FALSE(dev.claimed());
}

// The window repaints only the part of the picture box a pen event drew
// into. What it shows after a signature (the offscreen screen's copy of its
// backing store) must be, pixel for pixel, what a repaint of the whole window
// from scratch gives: any ink outside the repainted parts would be missing.
// Two strokes cross each other, with the lifts, at a pen pace that lets the
// window paint between events; a third crosses both steeply.
TEST_F(Window, PadInkOnScreenAsAWholeRepaint)
{
    emu::Device &dev = plug(0x8420);
    probe->open();
    ASSERT_NE(probe->image(), nullptr);
    std::vector<emu::Bytes> reports;
    for (int stroke = 0; stroke < 3; ++stroke) {
        emu::Stroke s;
        for (int i = 0; i <= 40; ++i) {
            int px = 40 + i * 8, dy = (stroke ? 60 - i * 3 : i * 3 - 60);
            if (stroke == 2)
                px = 180 + i, dy = i * 5 - 100;
            s.samples.push_back({px * 6144 / 400, (125 + dy) * 8192 / 250 + 955, 300 + i * 20});
        }
        for (auto &r : emu::encodeStroke(0x8420, s))
            reports.push_back(r);
    }
    // The window keeps running while the pen writes, so that it paints in
    // between as it would for an operator.
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
    ASSERT_TRUE(done);
    QImage &image = *probe->image();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !white(image, 200, 125) && probe->lastState() == 0; }, 10000));
    QTest::qWait(100);  // the last repaint
    QCoreApplication::processEvents();

    const QImage shown =
        QGuiApplication::primaryScreen()->grabWindow(window->winId()).toImage().convertToFormat(QImage::Format_RGB32);
    const QImage whole = window->grab().toImage().convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(shown.size(), whole.size());
    int differing = 0;
    QPoint first;
    for (int y = 0; y < shown.height(); ++y)
        for (int x = 0; x < shown.width(); ++x)
            if (shown.pixel(x, y) != whole.pixel(x, y) && differing++ == 0)
                first = QPoint(x, y);
    EXPECT_EQ(differing, 0) << "first at " << first.x() << "," << first.y();
    // And the black ink is on screen where the strokes cross, image (200, 125).
    const QPoint crossing = probe->box()->mapTo(window.get(), QPoint(200, 125));
    EXPECT_LT(qGray(shown.pixel(crossing)), 100);

    // The re-sign key fills the image white, the engine its surface with the
    // faint background: the next pen event changes every pixel of the
    // image, and the screen must follow all of it.
    for (const auto &r : emu::encodeKey(0x8420, emu::PadKey::Resign))
        dev.push(r);
    ASSERT_TRUE(QTest::qWaitFor([&] { return probe->list().size() == 2; }, 10000));
    QTest::qWait(100);  // the key's own repaint, before the pen comes back
    emu::Stroke dash;
    for (int px = 300; px <= 360; px += 10)
        dash.samples.push_back(at(px, 600));
    dev.pushPaced(emu::encodeStroke(0x8420, dash), std::chrono::microseconds(4000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !white(image, 340, 125) && probe->lastState() == 0; }, 10000));
    QTest::qWait(100);
    QCoreApplication::processEvents();
    dev.waitPacedDone();
    EXPECT_TRUE(white(image, 200, 125));
    // Within the picture box: the list, which has a new line, is drawn
    // differently on screen and by a grab whatever the window repaints.
    const QRect box(probe->box()->mapTo(window.get(), QPoint(0, 0)), probe->box()->size());
    const QImage shownAfter = QGuiApplication::primaryScreen()
                                  ->grabWindow(window->winId())
                                  .toImage()
                                  .convertToFormat(QImage::Format_RGB32)
                                  .copy(box);
    EXPECT_TRUE(shownAfter == window->grab().toImage().convertToFormat(QImage::Format_RGB32).copy(box));
}

// The fingerprint button on KV-C5, a pad with a fingerprint mode. With a
// stand-in scanner (type 0; its library lies in lib/ beside this test) the
// dialog gets a captured picture while the pad is in fingerprint mode, and
// the pad returns to start mode after it. Without one the list says so and
// the pad is left in fingerprint mode. A pad that never confirms the mode
// gives -10: its box (the plain table's "其它"), and the button goes on.
// With no tablet at all the mode switch answers 1: its box ("设备未连接")
// ends the test there, though a scanner is attached.
TEST_F(Window, FingerprintButton)
{
    struct Case {
        const char *what;
        bool tablet, scanner, padSilent;
        QStringList boxes;
    } cases[] = {
        {"no tablet", false, true, false, {"设备未连接"}},
        {"stand-in scanner", true, true, false, {}},
        {"no scanner", true, false, false, {}},
        {"pad silent in fingerprint mode", true, false, true, {"其它"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const bool scanner = c.scanner;
        emu::Device *pad = c.tablet ? &plug(0x8807) : nullptr;
        if (c.padSilent)
            beh->plan(Command::Fingerprint, {emu::Answer::Silent});
        emu::Device *fpr = scanner ? &bed->add(emu::scannerSpec(0)) : nullptr;
        if (pad)
            probe->open();
        int startsWhileShown = -1;
        ModalWatcher boxes;
        boxes.ready = [&](QDialog *) {
            std::lock_guard<std::mutex> lock(g_FprImgLock);  // the worker builds it
            if (!Fprimg || Fprimg->isNull())
                return false;
            startsWhileShown = pad ? beh->count(Command::Start) : 0;
            return true;
        };
        probe->fingerprint();
        EXPECT_EQ(boxes.texts, c.boxes);
        if (!pad) {
            EXPECT_TRUE(boxes.dialogs.isEmpty());
            EXPECT_EQ(window->findChild<CapFingerDlg *>(), nullptr);  // never made
            EXPECT_TRUE(probe->list().isEmpty());
        } else if (scanner) {
            EXPECT_GE(beh->count(Command::Fingerprint), 1);
            EXPECT_EQ(boxes.dialogs, QStringList{"CapFingerDlg"});
            EXPECT_EQ(startsWhileShown, 0);  // the picture came in fingerprint mode
            EXPECT_GE(beh->count(Command::Start), 1);
            EXPECT_EQ(probe->list(), QStringList{"打开手写设备测试手写"});
        } else {
            EXPECT_GE(beh->count(Command::Fingerprint), 1);
            EXPECT_TRUE(boxes.dialogs.isEmpty());
            EXPECT_EQ(beh->count(Command::Start), 0);
            EXPECT_EQ(probe->list().last(), "未连接指纹设备");
        }
        probe->close();
        if (pad)
            pad->unplug();
        if (fpr)
            fpr->unplug();
    }
}

// Every resource loads, and the window's Chinese texts have real glyphs
// (glyph index 0 is the missing-glyph box).
TEST(Resources, ImagesAndGlyphs)
{
    app();
    for (const char *path : {":/src/logo/pxnewlogo256.png", ":/src/logo/tavrel.png", ":/src/logo/pxnewlogo128.png",
                             ":/src/text/opendevice.png", ":/src/text/title1.png", ":/src/text/closedevice.png",
                             ":/src/text/zhiwenceshi.png", ":/src/text/buttonSerial.png", ":/src/text/title.jpg",
                             ":/src/TestTool.png"})
        EXPECT_FALSE(QImage(path).isNull()) << path;
    for (const QString text : {"塔维手写设备测试程序V1.51", "设备信息：", "点击签名板【重签】按键", "未连接指纹设备", "手写测试", "清除"}) {
        QTextLayout layout(text, QApplication::font());
        layout.beginLayout();
        layout.createLine();
        layout.endLayout();
        int missing = 0;
        for (const QGlyphRun &run : layout.glyphRuns())
            for (quint32 glyph : run.glyphIndexes())
                missing += glyph == 0;
        EXPECT_EQ(missing, 0) << text.toStdString();
    }
}

}  // namespace
