// The display tablet's dialog on a desktop of several screens (a private
// Xorg, started by with-xorg.sh with the layout of SP_SCREENS, the first
// screen primary), the tablet from the emulator through real libusb.
#include "emulator/tablet_protocol.h"
#include "window_support.h"

namespace {

QVector<QSize> layout()
{
    QVector<QSize> sizes;
    for (const QString &s : QString(qgetenv("SP_SCREENS")).split(',', Qt::SkipEmptyParts))
        sizes << QSize(s.section('x', 0, 0).toInt(), s.section('x', 1, 1).toInt());
    return sizes;
}

class Screens : public ::testing::Test {
protected:
    Screens()
    {
        window.show();
        probe.open();
    }
    emu::Testbed bed;
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x3101), std::make_shared<emu::TabletBehaviour>(0x3101));
    QApplication &application = app();  // KV-A1 above: 56296 x 31667
    MainWindow window;
    WindowProbe probe{window};
};

// By hand from the walk: with the primary first, the last screen is taken.
// The image is as wide as the screen (a multiple of 4 here) and 50 rows short.
TEST_F(Screens, DialogOnTheLastScreen)
{
    ASSERT_EQ(QGuiApplication::screens().size(), layout().size());
    int left = 0;
    for (int i = 0; i + 1 < layout().size(); ++i)
        left += layout()[i].width();
    ASSERT_NE(probe.signDlg(), nullptr);
    EXPECT_TRUE(probe.signDlg()->isVisible());
    EXPECT_EQ(probe.signDlg()->geometry(), QRect(QPoint(left, 0), layout().last()));
    EXPECT_EQ(WindowProbe::image(*probe.signDlg())->size(), layout().last() - QSize(0, 50));
}

// Tablet units for a pixel of the 1280x800 screen at x 1920: the dialog maps
// x * 1280 / 56296 and y * 800 / 31667, truncating; these round up so that
// the mapping gives the pixel back.
emu::StrokeSample px(int lx, int ly)
{
    return {(lx * 56296 + 1279) / 1280, (ly * 31667 + 799) / 800, 1200};
}

TEST_F(Screens, SigningInTheDialog)
{
    ASSERT_EQ(probe.signDlg()->geometry(), QRect(1920, 0, 1280, 800)) << "layout SP_SCREENS=1920x1080,1280x800";
    emu::Stroke s;
    s.samples.push_back(px(100, 300));  // opens the stroke only
    for (int lx = 200; lx <= 300; lx += 20)
        s.samples.push_back(px(lx, 300));
    s.samples.push_back(px(350, 780));  // below the writing area, pen down
    for (int lx = 500; lx <= 600; lx += 20)
        s.samples.push_back(px(lx, 300));  // back: the stroke goes on
    dev.pushPaced(emu::encodeStroke(0x3101, s), std::chrono::microseconds(2000));
    dev.waitPacedDone();
    QImage &image = *WindowProbe::image(*probe.signDlg());
    // The brush trails the last sample by a few pixels.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !white(image, 560, 300); }, 10000));
    QTest::qWait(50);  // the lift report
    for (int lx : {200, 250, 300, 400, 550})
        EXPECT_FALSE(white(image, lx, 300)) << lx;
    for (auto [x, y] : {std::pair{150, 300}, {700, 300}, {400, 500}, {350, 740}})
        EXPECT_TRUE(white(image, x, y)) << x << "," << y;

    // The pen pressed on the clear area (x 590..689, y 759..788) wipes it.
    dev.pushPaced(emu::encodeStroke(0x3101, {{px(640, 775)}, std::chrono::microseconds(2000)}), {});
    dev.waitPacedDone();
    EXPECT_TRUE(QTest::qWaitFor([&] { return allWhite(image); }, 10000));
}

}  // namespace
