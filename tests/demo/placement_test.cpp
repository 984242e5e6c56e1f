// The shipped signature on every model, through the tablet layer's own
// decoder: every touching sample must arrive as contact, every stroke must
// end, and what the program draws must lie in its picture with the shape of
// the file. The picture rules are the program's: px = 400 x / maxX and
// py = 250 y / maxY on a pad; on a display tablet the 1280 x 800 screen,
// whose picture ends 50 rows above the bottom.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "replay.h"
#include "tablet/catalogue.h"
#include "tablet/pxtablet.h"

namespace {

std::vector<TOUCH_INFO> g_events;

struct Box {
    double x0 = 1e9, y0 = 1e9, x1 = -1e9, y1 = -1e9;
    void add(double x, double y)
    {
        x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
    }
    double aspect() const { return (x1 - x0) / (y1 - y0); }
};

}  // namespace

TEST(DemoPlacement, EveryModelGetsTheWholeSignature)
{
    const auto signature = demo::loadSignature(SP_DEMO_SIGNATURE);
    size_t touching = 0;
    Box file;
    for (const auto &s : signature) {
        touching += s.samples.size();
        for (const auto &p : s.samples)
            file.add(p.x, p.y);
    }
    memset(Touchcallback, 0, sizeof Touchcallback);
    Touchcallback[0] = [](TOUCH_INFO t) { g_events.push_back(t); return 1; };

    for (int row = 0; row < kTabletCatalogueRows; ++row) {
        const DEV_INFO_PX &m = Dev_info_px[row];
        SCOPED_TRACE(m.model);
        g_uDevinfo_index = row;
        PXResetDecodeState();
        g_events.clear();
        TOUCH_INFO touch{};
        for (auto r : demo::replaySchedule(m.pid, signature)) {
            if (m.isPad) {
                Analize_TabletPacket(r.report.data(), int(r.report.size()), m.pid, &touch);
                g_events.push_back(touch);  // the reader dispatches its record after every report
            } else {
                r.report.resize(64, 0);
                PXHandleDisplayReport(r.report.data(), m.reportLen, m.devType, &touch);
            }
        }
        size_t down = 0, lifts = 0;
        int last = 0;
        Box drawn;
        for (const TOUCH_INFO &t : g_events) {
            down += t.state == 1;
            lifts += t.state == 0 && last == 1;
            last = t.state;
            if (t.state != 1)
                continue;
            const double px = m.isPad ? 400.0 * t.x / m.maxX : 1280.0 * t.x / m.maxX;
            const double py = m.isPad ? 250.0 * t.y / m.maxY : 800.0 * t.y / m.maxY;
            EXPECT_TRUE(px >= 0 && px < (m.isPad ? 400 : 1280) && py >= 0 && py < (m.isPad ? 250 : 750))
                << px << "," << py;
            drawn.add(px, py);
        }
        EXPECT_EQ(down, touching);
        EXPECT_EQ(lifts, signature.size());
        EXPECT_NEAR(drawn.aspect() / file.aspect(), 1.0, 0.03);
        // Large enough to read: at least half the picture's width.
        EXPECT_GT(drawn.x1 - drawn.x0, (m.isPad ? 400 : 1280) / 2.0);
    }
    memset(Touchcallback, 0, sizeof Touchcallback);
    g_uDevinfo_index = -1;
}
