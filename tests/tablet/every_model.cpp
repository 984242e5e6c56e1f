// Every catalogue model end to end, from one table: through real libusb
// against the emulator (open with its identity read and mode command, one
// stroke of many samples to a registered callback, the pads' keys, close);
// the demo signature through the decoder onto the window's picture; and one
// model per family of reports signing under the demo launcher.
//
// The expected events are computed here from the layout and pressure rules
// of each family (not by running the decoder): display tablets scale raw
// pressure by 1/2048 and the pen scale 0.6 and touch from raw 43 with a 0.1
// floor on contact; pads scale by 1/1024 and 0.6, touch from raw 44, clip Y
// to the pad's writing area and floor every sample at 0.1.
#include "e2e_support.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <tuple>

#include "replay.h"

namespace {

using namespace e2e;
using emu::Command;

struct Model {
    int row;            // of the catalogue: pid, report length, pad or not
    bool identity;      // reads an identity block at open
    bool scrambled;     // the block comes scrambled (display: our choice)
    const DEV_INFO_PX &info() const { return Dev_info_px[row]; }
};

// Rows 0..15: KV-A1..A5, KV-B1..B6, KV-C1..C5.
const Model kModels[] = {
    {0, true, false},  {1, true, true},   {2, true, false},  {3, true, true},  {4, true, true},   {5, true, false},
    {6, true, true},   {7, true, false},  {8, true, true},   {9, true, false}, {10, false, false}, {11, true, false},
    {12, true, false}, {13, true, false}, {14, true, true},  {15, true, true},
};

std::string nameOf(const ::testing::TestParamInfo<Model> &info)
{
    std::string n = info.param.info().model;
    n.erase(std::remove(n.begin(), n.end(), '-'), n.end());
    return n;
}

// The stroke every model plays: a diagonal with rising pressure, and a few
// samples on the edges of the rules (hover, thresholds 42..44, outside the
// pads' Y windows, the 64-byte pads' X edge).
emu::Stroke theStroke()
{
    emu::Stroke s;
    s.interval = std::chrono::microseconds(2000);  // well inside what the 32-report queue absorbs while the reader sleeps 10 ms
    s.samples = {{1500, 2000, 0}, {1510, 2010, 20}, {1520, 2020, 42}, {1530, 2030, 43}, {1540, 2040, 44},
                 {1550, 900, 700}, {1560, 6000, 700}, {10206, 3000, 900}};
    for (int i = 0; i < 40; ++i)
        s.samples.push_back({2000 + 50 * i, 1300 + 90 * i, 60 + 49 * i});
    return s;
}

float padFloor(float p)
{
    return p * 0.6f < 0.1 ? 0.1f : p * 0.6f;
}

std::vector<TOUCH_INFO> expectedStroke(const Model &m, const emu::Stroke &s)
{
    std::vector<TOUCH_INFO> out;
    if (!m.info().isPad) {
        for (const auto &p : s.samples) {
            const float scaled = p.pressure / 2048.0f * 0.6f;
            out.push_back({p.x, p.y, p.pressure > 42 && scaled < 0.1 ? 0.1f : scaled, p.pressure > 42, 0});
        }
        if (s.samples.back().pressure > 0)
            out.push_back({s.samples.back().x, s.samples.back().y, 0.0f, 0, 0});
        return out;
    }
    if (m.info().reportLen == 64) {
        for (const auto &p : s.samples) {
            const bool outside = p.x == 10206 || p.y > 6493;
            out.push_back({p.x, p.y, padFloor(outside ? 0.0f : p.pressure / 1024.0f), !outside && p.pressure > 43, 0});
        }
        out.push_back({s.samples.back().x, s.samples.back().y, 0.0f, 0, 0});  // pen away
        out.push_back({0, 0, 0.0f, 0, 0});                                    // out of range
        return out;
    }
    // The 8-byte pads' writing area, from the catalogue.
    const int floor = Dev_traits_px[m.row].yFloor, ceiling = Dev_traits_px[m.row].yCeiling;
    for (const auto &p : s.samples) {
        const bool inside = p.y > floor && p.y < ceiling;
        const int y = inside ? p.y - floor : p.y <= floor ? 0 : ceiling - floor, raw = inside ? p.pressure : 0;
        // Hover samples (no pressure) go out with status A0: pressure 0.
        const bool hover = p.pressure == 0;
        out.push_back({p.x, y, padFloor(hover ? 0.0f : raw / 1024.0f), !hover && raw > 43, 0});
    }
    // The lift closes the stroke at the last position after contact.
    const TOUCH_INFO last = out.back();
    out.push_back(last.state == 1 ? TOUCH_INFO{last.x, last.y, 0.0f, 0, 0} : last);
    return out;
}

void expectSame(const std::vector<TOUCH_INFO> &got, const std::vector<TOUCH_INFO> &want)
{
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        const TOUCH_INFO &g = got[i], &w = want[i];
        EXPECT_EQ(std::make_tuple(g.x, g.y, g.state, g.key), std::make_tuple(w.x, w.y, w.state, w.key)) << i;
        EXPECT_FLOAT_EQ(g.pressure, w.pressure) << i;
    }
}

class EveryModel : public TabletTest, public ::testing::WithParamInterface<Model> {};

TEST_P(EveryModel, OpensStreamsAndCloses)
{
    const Model m = GetParam();
    const uint16_t pid = m.info().pid;
    std::shared_ptr<emu::TabletBehaviour> beh;
    emu::Device &dev = plug(pid, beh);
    beh->identity = {0x21, 0x561234, 0x45, 0x0302};
    beh->scrambledCustomId = m.scrambled;

    ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
    ASSERT_NE(hDev, nullptr);
    EXPECT_EQ(g_uDevinfo_index, m.row);
    ASSERT_EQ(RegisterTouchInfoCallBack(recordTouch), 0);

    // Identity: category 21, pid 34 12 (+56 scrambled), industry 45, number 02 03; none on KV-B6.
    const unsigned char id[11] = {0x02, 0x88, 0x21, 0x34, 0x12, 0, 0, 0x45, 0, 0x02, 0x03};
    std::vector<unsigned char> wantId(id, id + (m.identity ? 11 : 0));
    if (m.identity && m.scrambled)
        wantId[5] = 0x56;
    EXPECT_EQ(std::vector<unsigned char>(g_bSerial, g_bSerial + g_nSerial), wantId);
    if (!m.identity) {
        EXPECT_EQ(beh->count(Command::CustomIdAck) + beh->count(Command::Identity), 0);
    }
    EXPECT_EQ(beh->count(Command::Sign), m.info().isPad ? 1 : 0);

    const emu::Stroke stroke = theStroke();
    const std::vector<TOUCH_INFO> want = expectedStroke(m, stroke);
    dev.pushPaced(emu::encodeStroke(pid, stroke), stroke.interval);
    dev.waitPacedDone();
    ASSERT_TRUE(recorder().waitTouches(want.size())) << recorder().touches.size();
    expectSame(recorder().takeTouches(), want);

    if (m.info().isPad) {
        // Re-sign, then OK; the 64-byte pads' first OK report repeats the
        // previous event.
        std::vector<TOUCH_INFO> keys = {{0, 0, 0.0f, 0, 16}};
        if (m.info().reportLen == 64)
            keys.push_back(keys.back());
        keys.push_back({0, 0, 0.0f, 0, 32});
        for (auto k : {emu::PadKey::Resign, emu::PadKey::Ok})
            for (const auto &r : emu::encodeKey(pid, k))
                dev.push(r);
        ASSERT_TRUE(recorder().waitTouches(keys.size()));
        expectSame(recorder().takeTouches(), keys);
    }

    EXPECT_EQ(UnregisterTouchInfoCallBack(recordTouch), 0);
    EXPECT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
    EXPECT_EQ(hDev, nullptr);
    EXPECT_EQ(g_uDevinfo_index, -1);
    EXPECT_EQ(beh->count(Command::Start), m.info().isPad ? 1 : 0);
    EXPECT_FALSE(dev.claimed());
}

struct Box {
    double x0 = 1e9, y0 = 1e9, x1 = -1e9, y1 = -1e9;
    void add(double x, double y)
    {
        x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
    }
    double aspect() const { return (x1 - x0) / (y1 - y0); }
};

// The shipped demo signature through the layer's own decoder: every touching
// sample arrives as contact, every stroke ends, and what the program draws
// lies in its picture with the shape of the file. The picture rules are the
// program's: px = 400 x / maxX and py = 250 y / maxY on a pad; on a display
// tablet the 1280 x 800 screen, whose picture ends 50 rows above the bottom.
TEST_P(EveryModel, DrawsTheDemoSignatureWhole)
{
    const DEV_INFO_PX &m = GetParam().info();
    const auto signature = demo::loadSignature(SP_DEMO_SIGNATURE);
    size_t touching = 0;
    Box file;
    for (const auto &s : signature) {
        touching += s.samples.size();
        for (const auto &p : s.samples)
            file.add(p.x, p.y);
    }
    Touchcallback[0] = recordTouch;  // no device to open: the table is filled directly
    g_uDevinfo_index = GetParam().row;
    TOUCH_INFO touch{};
    for (auto r : demo::replaySchedule(m.pid, signature)) {
        if (m.isPad) {
            Analize_TabletPacket(r.report.data(), int(r.report.size()), m.pid, &touch);
            disptchEvent(touch);  // the reader dispatches its record after every report
        } else {
            r.report.resize(64, 0);
            PXHandleDisplayReport(r.report.data(), m.reportLen, m.devType, &touch);
        }
    }
    g_uDevinfo_index = -1;
    size_t down = 0, lifts = 0;
    int last = 0;
    Box drawn;
    for (const TOUCH_INFO &t : recorder().takeTouches()) {
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

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryModel, ::testing::ValuesIn(kModels), nameOf);

// ---- the demo launcher -------------------------------------------------------
// It makes its own test bed, starts a program under the preload, notices the
// open and signs; the program (demo_client) counts what arrives through real
// libusb. Expected counts are read off the hand-written file: 3 + 2 touching
// samples in 2 strokes.

const char *kSignature =
    "0 100 100 0.5\n8 120 110 0.5\n16 140 120 0.5\n40 140 120 0\n"
    "200 200 100 0.6\n208 220 90 0.6\n230 220 90 0\n";

struct Launched {
    pid_t pid;
    FILE *out;
};

// Starts the launcher with its output on a pipe, outside this test's bed.
Launched launch(const std::string &model, const std::string &strokes, const char *signature = kSignature)
{
    const std::string file = testing::TempDir() + "demo_launcher_signature.txt";
    std::ofstream(file) << signature;
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        dup2(fds[1], 2);
        close(fds[0]);
        unsetenv("LD_PRELOAD");
        unsetenv("UMOCKDEV_DIR");
        setenv("SP_DEMO_CLIENT_STROKES", strokes.c_str(), 1);
        execl(SP_DEMO_LAUNCHER, SP_DEMO_LAUNCHER, "--model", model.c_str(), "--program", SP_DEMO_CLIENT,
              "--signature", file.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    return {pid, fdopen(fds[0], "r")};
}

// Reads lines until one contains `what` (or the output ends); all read so far.
std::string readUntil(FILE *out, const std::string &what)
{
    std::string all;
    char line[512];
    while (fgets(line, sizeof line, out)) {
        all += line;
        if (std::string(line).find(what) != std::string::npos)
            break;
    }
    return all;
}

int finish(Launched &r)
{
    int status = 0;
    waitpid(r.pid, &status, 0);
    fclose(r.out);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Ended by a signal, the launcher ends its program and reports success.
TEST(DemoLauncher, EndsItsProgramOnTerm)
{
    Launched r = launch("KV-C2", "0");
    const std::string opened = readUntil(r.out, "client: open");
    ASSERT_NE(opened.find("client: open"), std::string::npos) << opened;
    kill(r.pid, SIGTERM);
    const std::string out = readUntil(r.out, "slateprobe-demo: ended");
    EXPECT_NE(out.find("slateprobe-demo: ended"), std::string::npos) << out;
    EXPECT_EQ(finish(r), 0);
}

// One model per family of reports signs the file: 8-byte pad, 64-byte pad
// (two lift reports), 20-byte and 10-byte display tablets (the last with no
// identity exchange, so only the claim tells that it was opened). Samples
// sharing a time stamp are all signed (the pacer sends them back to back); a
// file whose time goes back stops the launcher at once with the line.
TEST(DemoLauncher, SignsTheFile)
{
    const char *shared = "0 100 100 0.5\n0 120 110 0.5\n16 140 120 0.5\n16 140 120 0\n"
                         "200 200 100 0.6\n200 220 90 0.6\n200 220 90 0\n";
    const char *backward = "0 100 100 0.5\n8 120 110 0.5\n8 140 120 0.5\n7 140 120 0\n";
    const struct {
        const char *model, *signature;
        int exit;
        const char *line;
    } cases[] = {
        {"KV-C1", kSignature, 0, "client: down=5 strokes=2"}, {"KV-C5", kSignature, 0, "client: down=5 strokes=2"},
        {"KV-A1", kSignature, 0, "client: down=5 strokes=2"}, {"KV-B6", kSignature, 0, "client: down=5 strokes=2"},
        {"KV-C1", shared, 0, "client: down=5 strokes=2"},     {"KV-C1", backward, 2, "line 4: time goes back"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.model) + " " + c.line);
        Launched r = launch(c.model, "2", c.signature);
        // A launcher that stops early prints no end line: read to the end.
        const std::string out = readUntil(r.out, c.exit ? "never printed" : "slateprobe-demo: ended");
        EXPECT_EQ(finish(r), c.exit) << out;
        EXPECT_NE(out.find(c.line), std::string::npos) << out;
    }
}

// Multi-touch frames arrive in two parts; the reader reads the second part
// without waiting, so a frame whose tail is late is dropped. The frame is
// repeated until one arrives (bounded); its content is exact.
TEST_F(TabletTest, MultiTouchFramesInTwoParts)
{
    for (uint16_t pid : {0x3101, 0x3102}) {
        SCOPED_TRACE(pid);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(pid, beh, 64);
        ASSERT_EQ(OpenDevice(), 0);
        ASSERT_EQ(RegisterMultiTouchInfoCallBack(recordMulti), 0);
        // 8191*56296/16383 = 28146.3 -> 28146; 4000*31667/9599 = 13195.96 -> 13195
        const auto frame = emu::encodeMultiTouch(pid, {{true, 8191, 4000}, {false, 0, 0}, {true, 0, 9599}});
        ASSERT_TRUE(waitFor([&] {
            for (const auto &part : frame)
                dev.push(part);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));  // one frame at a time
            std::lock_guard<std::mutex> lock(recorder().m);
            return !recorder().multis.empty();
        }));
        // Under the lock: frames still pushed may grow the list meanwhile.
        const MULTITOUCH_INFO mt = [] {
            std::lock_guard<std::mutex> lock(recorder().m);
            return recorder().multis.front();
        }();
        // 9599*31667 rounds down in single precision: 31666
        EXPECT_EQ(std::make_tuple(mt.count, mt.points[0].x, mt.points[0].y, mt.points[1].x, mt.points[1].y, mt.points[1].state),
                  std::make_tuple(2, 28146, 13195, 0, 31666, 0x80));
        EXPECT_EQ(UnregisterMultiTouchInfoCallBack(recordMulti), 0);
        EXPECT_EQ(CloseDevice(), 0);
        dev.unplug();
        recorder().multis.clear();
    }
}

}  // namespace
