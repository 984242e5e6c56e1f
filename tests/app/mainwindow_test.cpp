// The main window as a real widget (offscreen), tablets from the emulator
// through real libusb. Expected texts and pixels are worked out by hand from
// the identity the emulated tablet gives and the window's mapping rule.
#include <QTextLayout>
#include <functional>
#include <thread>

#include "emulator/scanners.h"
#include "emulator/tablet_protocol.h"
#include "fingerprint/capfingerdlg.h"
#include "window_support.h"

namespace {

using emu::Command;

// Members in the order they must come and go: the bed before libusb starts
// and after the window's Close has let the device and libusb go.
class Window : public ::testing::Test {
protected:
    Window() { window.show(); }
    emu::Testbed bed;
    QApplication &application = app();
    MainWindow window;
    WindowProbe probe{window};
    // Mode commands are counted "at least once": the pad layer sends one again
    // when its answer takes longer than 800 ms, as it can on a loaded machine.
    std::shared_ptr<emu::TabletBehaviour> beh;
    const QStringList kept{"keep", "keep", "keep", "keep", "keep", "keep", "keep"};

    emu::Device &plug(uint16_t pid)
    {
        beh = std::make_shared<emu::TabletBehaviour>(pid);
        beh->identity = {0x21, 0x561234, 0x45, 0x0302};
        emu::DeviceSpec desc = emu::DeviceSpec::tabletPid(pid);
        desc.bcdDevice = 0x0213;
        return bed.add(desc, beh);
    }
    QStringList edits(const QString &fill = QString())
    {
        Ui::MainWindow &ui = probe.ui();
        QStringList texts;
        for (QLineEdit *e : {ui.lineEdit_vid, ui.lineEdit_productid, ui.lineEdit_category, ui.lineEdit_pid,
                             ui.lineEdit_industry, ui.lineEdit_serial, ui.lineEdit_version}) {
            if (!fill.isNull())
                e->setText(fill);
            texts << e->text();
        }
        return texts;
    }
};

TEST_F(Window, OpenAndCloseWithoutTablet)
{
    EXPECT_EQ(window.windowTitle(), "塔维手写设备测试程序V1.51");
    edits("keep");
    ModalWatcher boxes;
    probe.open();
    EXPECT_EQ(boxes.titles, QStringList{"SlateProbe"});
    EXPECT_EQ(boxes.texts, QStringList{"未连接塔维手写设备"});
    EXPECT_EQ(probe.list(), QStringList{"未连接塔维手写设备"});
    EXPECT_EQ(edits(), kept);
    // Close without Open: no box, six fields emptied, the version kept.
    probe.close();
    EXPECT_EQ(boxes.texts.size(), 1);
    EXPECT_EQ(edits(), QStringList({"", "", "", "", "", "", "keep"}));
    EXPECT_TRUE(probe.list().isEmpty());
}

// Identity 21 | 34 12 (56) 00 | 45 00 | 02 03: category 33, industry 69,
// number 0x0302 = 770; bcdDevice 0x0213 arrives swapped as "1302". The pid
// has three bytes in the scrambled form (0x561234 = 5640756) and two in the
// plain one (0x1234 = 4660). One model of each way to read the identity:
// display tablets of the 6 and 8 families and KV-B5 send the form asked
// for; the 64-byte pads send the scrambled one, the 8-byte pads the plain
// one. KV-B6 reads none, so the window keeps KV-B5's.
TEST_F(Window, OpensEachKindOfModel)
{
    const struct { uint16_t pid; bool pad, scrambled; } models[] = {
        {0x3101, false, true}, {0x9010, false, false}, {0x8811, false, true}, {0x8826, false, false},
        {0x8534, false, false}, {0x8420, true, false}, {0x8807, true, true}};
    for (const auto &m : models) {
        SCOPED_TRACE(m.pid);
        emu::Device &dev = plug(m.pid);
        beh->scrambledCustomId = m.scrambled;
        ModalWatcher boxes;
        probe.open();
        EXPECT_TRUE(boxes.texts.isEmpty()) << boxes.texts.join("|").toStdString();
        EXPECT_EQ(probe.list(), QStringList{"打开手写设备测试手写"});
        EXPECT_EQ(edits(), QStringList({"5E1B", QString::number(m.pid, 16), "33", m.scrambled ? "5640756" : "4660",
                                        "69", "770", "1302"}));
        if (m.pad) {
            ASSERT_NE(probe.image(), nullptr);
            EXPECT_EQ(probe.image()->size(), QSize(400, 250));
            EXPECT_TRUE(allWhite(*probe.image()));
        }
        EXPECT_EQ(probe.signDlg() && probe.signDlg()->isVisible(), !m.pad);
        // A pen event the reader queued before a Close is dropped with it: a
        // pad's pen engine is gone by the time it would run.
        std::thread([] { pen_event_listener({100, 100, 0.5f, 1, 0}); }).join();
        probe.close();
        QTest::qWait(20);
        EXPECT_EQ(probe.lastState(), 0);
        EXPECT_EQ(edits(), QStringList({"", "", "", "", "", "", "1302"}));
        EXPECT_EQ(probe.signDlg(), nullptr);
        EXPECT_FALSE(dev.claimed());
        EXPECT_EQ(beh->count(Command::Start) > 0, m.pad);
        dev.unplug();
    }
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

// Open's failures. The identity command stalls: the open gives -10 ("其它"),
// the fields stay. The callback table is full (filled on the selected row,
// which opens nothing): told, and the window goes on with the tablet.
TEST_F(Window, OpenFailures)
{
    for (bool tableFull : {false, true}) {
        SCOPED_TRACE(tableFull);
        emu::Device &dev = plug(0x8420);
        edits("keep");
        if (!tableFull)
            beh->plan(Command::Identity, {emu::Answer::Stall});
        ASSERT_TRUE(!tableFull || GetDeviceStatus() == 0);
        for (TouchInfoCallBack cb : kOthers)
            ASSERT_TRUE(!tableFull || RegisterTouchInfoCallBack(cb) == 0);
        ModalWatcher boxes;
        probe.open();
        EXPECT_EQ(boxes.texts, QStringList{tableFull ? "注册回调函数失败" : "其它"});
        EXPECT_EQ(probe.list(), QStringList({"打开手写设备测试手写", tableFull ? "注册回调函数失败" : "打开手写设备失败"}));
        EXPECT_EQ(edits(), tableFull ? QStringList({"5E1B", "8420", "33", "4660", "69", "770", "1302"}) : kept);
        EXPECT_EQ(probe.image() != nullptr, tableFull);  // the pad's image comes after the fields
        EXPECT_TRUE(tableFull || !dev.claimed());
        probe.close();
        // Removal from a full table leaves the last callback in more than one
        // slot, one copy going per call: each goes until it is reported gone.
        for (TouchInfoCallBack cb : kOthers)
            for (int i = 0; i < kCallbackSlots && UnregisterTouchInfoCallBack(cb) == 0; ++i) {
            }
        dev.unplug();
    }
}

// A display tablet pulled while the window reads its identity: the open goes
// through (a display tablet opens without one), the reader finds the tablet
// gone and drops the selection, and the device information fails with 1
// ("设备未连接"). The reader has the millisecond that the open waits to get
// there first; where it is late, the case is tried again.
TEST_F(Window, TabletGoneBeforeItsInformation)
{
    int seen = 0;
    for (int attempt = 0; attempt < 8 && seen == 0; ++attempt) {
        emu::Device &dev = plug(0x3102);
        beh->plan(Command::CustomIdAck, {emu::Answer::Silent});
        edits("keep");
        std::thread puller([&] {
            for (int i = 0; i < 5000 && beh->count(Command::CustomIdAck) == 0; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            dev.unplug();
        });
        ModalWatcher boxes;
        probe.open();
        puller.join();
        if (probe.list().value(1) == "获取设备信息失败") {
            ++seen;
            EXPECT_EQ(boxes.texts, QStringList{"设备未连接"});
            EXPECT_EQ(probe.list(), QStringList({"打开手写设备测试手写", "获取设备信息失败"}));
            EXPECT_EQ(edits(), kept);
            EXPECT_EQ(probe.signDlg(), nullptr);
        }
        probe.close();
    }
    EXPECT_EQ(seen, 1);
}

// KV-C1: X 0..6144 and Y 0..8192 after the pad's Y window from 955. Image
// pixel (x, y) of the 400 x 250 image is unit (x * 6144 / 400, y * 8192 / 250).
emu::StrokeSample at(int x, int y = 125, int pressure = 600)
{
    return {x * 6144 / 400, y * 8192 / 250 + 955, pressure};
}

// Signing on a pad while the window runs and paints between reports, as for
// an operator. The picture box repaints only the part a pen event drew into,
// so the screen must show, pixel for pixel, what a whole repaint gives. The
// pad's keys: re-sign clears the image and the engine's ink (the next pen
// event copies the engine's surface again, which must not bring the ink
// back) and repaints all of the box; OK closes the tablet.
TEST_F(Window, SigningOnPad)
{
    emu::Device &dev = plug(0x8420);
    probe.open();
    ASSERT_NE(probe.image(), nullptr);
    QImage &image = *probe.image();
    const QRect box(probe.box()->mapTo(&window, {}), probe.box()->size());
    auto write = [&](const std::vector<emu::Stroke> &strokes, QPoint last) {
        std::vector<emu::Bytes> reports;
        for (const emu::Stroke &s : strokes)
            for (const emu::Bytes &r : emu::encodeStroke(0x8420, s))
                reports.push_back(r);
        dev.pushPaced(reports, std::chrono::microseconds(4000));
        // The brush smooths the samples and trails the last one by a few pixels.
        const bool drawn = QTest::qWaitFor([&] { return !white(image, last.x(), last.y()) && probe.lastState() == 0; }, 10000);
        dev.waitPacedDone();
        return drawn;
    };
    // Down at x 20 (only opens the stroke), 100..150, a jump to 250..300 with
    // the pen down; a second stroke crossing the first steeply at x 200.
    emu::Stroke line, steep, dash;
    line.samples.push_back(at(20));
    for (int x = 100; x <= 300; x += 10)
        if (x <= 150 || x >= 250)
            line.samples.push_back(at(x));
    for (int i = 0; i <= 40; ++i)
        steep.samples.push_back(at(180 + i, 25 + i * 5, 300 + i * 20));
    ASSERT_TRUE(write({line, steep}, {212, 185}));
    for (int x : {100, 125, 150, 200, 250, 275})
        EXPECT_FALSE(white(image, x, 125)) << x;
    for (auto [x, y] : {std::pair{60, 125}, {350, 125}, {200, 60}, {200, 190}})
        EXPECT_TRUE(white(image, x, y)) << x << "," << y;
    EXPECT_TRUE(shownAsWholeRepaint(window));
    EXPECT_LT(qGray(window.grab().toImage().pixel(box.topLeft() + QPoint(200, 125))), 100);

    for (const auto &r : emu::encodeKey(0x8420, emu::PadKey::Resign))
        dev.push(r);
    ASSERT_TRUE(QTest::qWaitFor([&] { return probe.list().size() == 2; }, 10000));
    EXPECT_EQ(probe.list(), QStringList({"打开手写设备测试手写", "点击签名板【重签】按键"}));
    EXPECT_TRUE(allWhite(image));
    for (int x = 330; x <= 370; x += 10)
        dash.samples.push_back(at(x));
    ASSERT_TRUE(write({dash}, {350, 125}));
    for (int x : {100, 200, 275})
        EXPECT_TRUE(white(image, x, 125)) << x;
    // The list's new line is drawn differently on screen and by a grab.
    EXPECT_TRUE(shownAsWholeRepaint(window, box));

    for (const auto &r : emu::encodeKey(0x8420, emu::PadKey::Ok))
        dev.push(r);
    ASSERT_TRUE(QTest::qWaitFor([&] { return g_uDevinfo_index == -1; }, 10000));
    EXPECT_TRUE(probe.list().isEmpty());  // its own line too: the Close clears the list
    EXPECT_GE(beh->count(Command::Start), 1);
    EXPECT_FALSE(dev.claimed());
}

// The fingerprint button on KV-C5, a pad with a fingerprint mode. With a
// stand-in scanner (type 0, its library in lib/ beside this test) the dialog
// gets a captured picture while the pad is in fingerprint mode, and the pad
// returns to start mode after it. Without one the list says so and the pad
// stays in fingerprint mode. A pad that never confirms the mode gives -10:
// its box ("其它"), and the button goes on. With no tablet the mode switch
// answers 1: its box ("设备未连接") ends it there, though a scanner is there.
TEST_F(Window, FingerprintButton)
{
    const struct { bool tablet, scanner, padSilent; QStringList boxes, dialogs, list; } cases[] = {
        {false, true, false, {"设备未连接"}, {}, {}},
        {true, true, false, {}, {"CapFingerDlg"}, {"打开手写设备测试手写"}},
        {true, false, false, {}, {}, {"打开手写设备测试手写", "未连接指纹设备"}},
        {true, false, true, {"其它"}, {}, {"打开手写设备测试手写", "未连接指纹设备"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE((c.boxes.join("") + c.dialogs.join("")).toStdString());
        emu::Device *pad = c.tablet ? &plug(0x8807) : nullptr;
        if (c.padSilent)
            beh->plan(Command::Fingerprint, {emu::Answer::Silent});
        emu::Device *fpr = c.scanner ? &bed.add(emu::scannerSpec(0)) : nullptr;
        if (pad)
            probe.open();
        int startsWhileShown = -1;
        ModalWatcher boxes;
        boxes.ready = [&](QDialog *) {
            std::lock_guard<std::mutex> lock(g_FprImgLock);  // the worker builds it
            startsWhileShown = pad ? beh->count(Command::Start) : 0;
            return Fprimg && !Fprimg->isNull();
        };
        probe.fingerprint();
        EXPECT_EQ(boxes.texts, c.boxes);
        EXPECT_EQ(boxes.dialogs, c.dialogs);
        EXPECT_EQ(probe.list(), c.list);
        if (pad) {
            EXPECT_GE(beh->count(Command::Fingerprint), 1);
            EXPECT_EQ(beh->count(Command::Start) > 0, !c.dialogs.isEmpty());
            EXPECT_EQ(startsWhileShown, c.dialogs.isEmpty() ? -1 : 0);  // the picture came in fingerprint mode
        }
        probe.close();
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
    for (const char *path : {"logo/pxnewlogo256.png", "logo/tavrel.png", "logo/pxnewlogo128.png", "text/opendevice.png",
                             "text/title1.png", "text/closedevice.png", "text/zhiwenceshi.png",
                             "text/buttonSerial.png", "text/title.jpg", "TestTool.png"})
        EXPECT_FALSE(QImage(QString(":/src/") + path).isNull()) << path;
    QTextLayout layout("塔维手写设备测试程序设备信息：点击签名板【重签】按键未连接指纹手写测试清除", QApplication::font());
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    for (const QGlyphRun &run : layout.glyphRuns())
        EXPECT_FALSE(run.glyphIndexes().contains(0));
}

}  // namespace
