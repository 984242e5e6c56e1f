// Closing the device destroys the pen engine: an emulated pad through real
// libusb, the engine made on it, then CloseDevice. Under the sanitizers a
// missed destruction shows as a leak, a call reaching the freed engine as a
// use after free.
#include <vector>

#include "../tablet/e2e_support.h"
#include "pen/PX_PEN_API.h"

namespace {

using namespace e2e;

TEST_F(TabletTest, CloseDeviceDestroysTheEngine)
{
    std::shared_ptr<emu::TabletBehaviour> beh;
    emu::Device &dev = plug(0x8420, beh);
    ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
    std::vector<int> px(40 * 30);
    void *h = PXPenSet(40, 30, px.data(), 0, 3, 3.0f);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(g_be, h);

    EXPECT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
    EXPECT_EQ(g_be, nullptr);
    // The window's handle is stale now: strokes are ignored, the upper
    // layer refuses, and the caller's buffer keeps the fill of PXPenSet.
    int rect[4] = {-1, -1, -1, -1};
    PXBeginStroke(h);
    PXStrokePoint(h, rect, 20, 15, 1.0f);
    PXEndStroke(h, rect);
    EXPECT_EQ(rect[0], -1);
    EXPECT_EQ(PXSetBkColor(h, 0), 3);
    EXPECT_EQ(PXClearSign(), 3);
    EXPECT_EQ(PXPenSet(40, 30, px.data(), 0, 3, 3.0f), nullptr);
    for (int w : px)
        ASSERT_EQ((unsigned)w, 0x1FFFFFFFu);
}

}  // namespace
