#include "check_steps.h"

#include <time.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "check_fpr.h"
#include "check_protocol.h"
#include "devices.h"
#include "exitcodes.h"
#include "interrupt.h"
#include "session.h"
#include "stats.h"

namespace cli {

namespace {

// A report as it arrived, kept until the reader takes it: its arrival time
// is what the report rate is judged on.
struct Arrival {
    uint64_t ns = 0;
    size_t length = 0;
    std::array<uint8_t, 64> bytes{};
};

struct Live {
    Session *session = nullptr;
    std::mutex m;  // guards what follows
    bool armed = false;
    std::deque<Arrival> arrivals;
    PenJudge *judge = nullptr;
    // Reader thread only: the arrival of the report whose events come next.
    uint64_t currentNs = 0;
};

Live g_live;

void onArrival(const unsigned char *data, size_t length, void *)
{
    Arrival a;
    a.ns = nowNs();
    a.length = std::min(length, a.bytes.size());
    std::memcpy(a.bytes.data(), data, a.length);
    std::lock_guard<std::mutex> lock(g_live.m);
    if (!g_live.armed)
        return;
    g_live.arrivals.push_back(a);
    if (g_live.arrivals.size() > 256)  // the transport queue holds 32
        g_live.arrivals.pop_front();
}

void onReport(const unsigned char *report, int length, void *)
{
    if (length < 0) {
        g_live.session->markGone();
        return;
    }
    uint64_t ns = 0;
    {
        std::lock_guard<std::mutex> lock(g_live.m);
        while (!g_live.arrivals.empty()) {
            const Arrival a = g_live.arrivals.front();
            g_live.arrivals.pop_front();
            if (std::memcmp(a.bytes.data(), report, std::min(a.length, size_t(length))) == 0) {
                ns = a.ns;
                break;
            }
        }
    }
    g_live.currentNs = ns ? ns : nowNs();
}

int onTouch(TOUCH_INFO t)
{
    std::lock_guard<std::mutex> lock(g_live.m);
    if (g_live.judge != nullptr)
        g_live.judge->event(t, g_live.currentNs);
    return 1;
}

std::string timestampNow()
{
    char buf[32];
    const time_t t = time(nullptr);
    tm utc;
    gmtime_r(&t, &utc);
    strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return buf;
}

double since(uint64_t startNs)
{
    return double(nowNs() - startNs) / 1e9;
}

std::string num(double v)
{
    return jsonNumber(v);
}

// One check of one tablet: its steps in order, each printed as it ends.
class TabletCheck {
public:
    TabletCheck(int row, const CheckSettings &settings, Console &console)
        : row_(Dev_info_px[row]), settings_(settings), console_(console)
    {
    }
    // False when Ctrl-C ended it.
    bool run(TabletResult *result);

private:
    StepResult &begin(const char *name)
    {
        result_->steps.push_back({});
        result_->steps.back().name = name;
        stepStart_ = nowNs();
        return result_->steps.back();
    }
    void end(StepResult &step, Verdict v, const std::string &reason = "")
    {
        step.verdict = v;
        step.reason = reason;
        step.seconds = since(stepStart_);
        char head[64];
        std::snprintf(head, sizeof head, "  %-12s %-8s ", step.name.c_str(), verdictText(v));
        console_.line(head + reason);
    }
    void notRun(const char *name, const std::string &why)
    {
        StepResult &s = begin(name);
        s.verdict = Verdict::NotRun;
        s.reason = why;
        char head[64];
        std::snprintf(head, sizeof head, "  %-12s %-8s ", name, "not run");
        console_.line(head + why);
    }
    void notRunFrom(size_t first, const std::string &why)
    {
        static const char *const kSteps[] = {"identity", "modes", "pen", "keys", "fingerprint"};
        for (size_t i = first; i < 5; ++i)
            notRun(kSteps[i], why);
    }
    bool identity();
    bool modes();
    // 1 done, 0 failed (the rest not run), -1 interrupted.
    int pen(Session &session);
    int keys(Session &session);
    void fingerprint();
    // Waits for `done`, the time limit, an unplug or Ctrl-C, redrawing
    // `status` on the way.
    enum class Ended { Done, TimeUp, Unplugged, Interrupted };
    template <typename Done, typename Status>
    Ended await(Session &session, Done done, Status status);
    // Fails a step that an unplug (0) or Ctrl-C (-1) ended; 1 when it ran
    // its course.
    int endedEarly(StepResult &step, Ended ended);

    const DEV_INFO_PX &row_;
    const CheckSettings &settings_;
    Console &console_;
    TabletResult *result_ = nullptr;
    uint64_t stepStart_ = 0;
    unsigned long lostAtStart_ = 0;
    std::unique_ptr<PenJudge> judge_;
};

bool TabletCheck::identity()
{
    StepResult &step = begin("identity");
    unsigned short pid = row_.pid;
    std::memset(g_cFirmWareVersion, 0, sizeof g_cFirmWareVersion);
    if (FindTavrelTablet_Pid(0, row_.pid) < 0) {
        end(step, Verdict::Fail, "unplugged");
        return false;
    }
    hDev = hid_open(kTavrelVendorId, &pid, g_cFirmWareVersion);
    if (hDev == nullptr) {
        std::vector<UsbDevice> devices;
        std::string error;
        if (listDevices(&devices, &error))
            for (const UsbDevice &d : devices)
                if (d.tablet && d.pid == row_.pid && d.accessDenied)
                    std::fputs(accessAdvice(d).c_str(), stderr);
        end(step, Verdict::Fail, "cannot open the tablet");
        return false;
    }
    result_->firmware = std::string(g_cFirmWareVersion, strnlen(g_cFirmWareVersion, sizeof g_cFirmWareVersion));
    step.figures.push_back({"vid", jsonString("5e1b")});
    step.figures.push_back({"firmware", jsonString(result_->firmware)});
    // KV-B6 has no identity exchange: the window opens it with an empty
    // identity, and so does the check.
    if (catalogueTraitsOfPid(row_.pid).identity == PX_IDENTITY_NONE) {
        end(step, Verdict::Pass, "no identity command on this model");
        return true;
    }
    unsigned char block[11] = {};
    const Exchange e = Exchange(runInterruptible([&] { return int(readIdentity(hDev, row_, block)); }, "",
                                                 "slateprobe-cli: interrupted while reading the identity"));
    if (e == Exchange::Gone) {
        end(step, Verdict::Fail, "unplugged");
        return false;
    }
    if (e != Exchange::Answered) {
        end(step, Verdict::Fail, "no answer to the identity command");
        return false;
    }
    std::memcpy(g_bSerial, block, sizeof block);
    g_nSerial = sizeof block;
    const unsigned id = block[3] | (block[4] << 8) | (block[5] << 16) | (unsigned(block[6]) << 24);
    const int industry = int16_t(block[7] | (block[8] << 8)), number = int16_t(block[9] | (block[10] << 8));
    result_->serial = std::to_string(id);
    char hex[40] = {};
    for (int i = 0; i < 11; ++i)
        std::snprintf(hex + 2 * i, 3, "%02x", block[i]);
    result_->identity = {{"block", jsonString(hex)},
                         {"category", std::to_string(block[2])},
                         {"id", std::to_string(id)},
                         {"industry", std::to_string(industry)},
                         {"number", std::to_string(number)}};
    step.figures = result_->identity;
    char text[96];
    std::snprintf(text, sizeof text, "category %u, id %u, industry %d, number %d", block[2], id, industry, number);
    end(step, Verdict::Pass, text);
    return true;
}

bool TabletCheck::modes()
{
    StepResult &step = begin("modes");
    if (!row_.isPad) {
        end(step, Verdict::Skipped, "a display tablet has no modes");
        return true;
    }
    std::string said;
    // Fingerprint mode before start mode, so that the pad ends on its
    // start screen as after the window's fingerprint test.
    for (PadMode m : {PadMode::Sign, PadMode::Fingerprint, PadMode::Start}) {
        if (!hasMode(row_, m))
            continue;
        int used = 0;
        const Exchange e = Exchange(runInterruptible(
            [&] { return int(enterMode(hDev, row_.pid, m, settings_.modeAttempts, &used)); },
            std::string("waiting for ") + padModeName(m), "slateprobe-cli: interrupted while setting the modes"));
        const std::string name = padModeName(m);
        step.figures.push_back({name + " attempts", std::to_string(used)});
        step.figures.push_back({name, jsonString(e == Exchange::Answered ? "acknowledged" : "not acknowledged")});
        if (e == Exchange::Gone) {
            end(step, Verdict::Fail, "unplugged");
            return false;
        }
        if (e != Exchange::Answered) {
            end(step, Verdict::Fail,
                e == Exchange::SendFailed ? name + ": the command could not be sent"
                                          : name + " not acknowledged after " + std::to_string(used) +
                                                (used == 1 ? " attempt" : " attempts"));
            return false;
        }
        said += (said.empty() ? "" : ", ") + name + " (" + std::to_string(used) + ")";
    }
    end(step, Verdict::Pass, said + " acknowledged");
    return true;
}

template <typename Done, typename Status>
TabletCheck::Ended TabletCheck::await(Session &session, Done done, Status status)
{
    const int statusMs = console_.terminal() ? 250 : 1000;
    const uint64_t deadline = nowNs() + uint64_t(settings_.seconds * 1e9);
    uint64_t nextStatus = nowNs();
    for (;;) {
        if (done())
            return Ended::Done;
        const uint64_t now = nowNs();
        if (now >= deadline)
            return Ended::TimeUp;
        if (now >= nextStatus) {
            console_.status(status(double(deadline - now) / 1e9));
            nextStatus += uint64_t(statusMs) * 1000000;
        }
        const Wake w = waitFor(50, session.goneFd());
        if (w == Wake::Interrupt)
            return Ended::Interrupted;
        if (w == Wake::Ready)
            return Ended::Unplugged;
    }
}

int TabletCheck::endedEarly(StepResult &step, Ended ended)
{
    if (ended == Ended::Unplugged) {
        end(step, Verdict::Fail, "unplugged");
        return 0;
    }
    if (ended == Ended::Interrupted) {
        end(step, Verdict::Fail, "interrupted");
        return -1;
    }
    return 1;
}

int TabletCheck::pen(Session &session)
{
    StepResult &step = begin("pen");
    const int opened = session.open(row_.model);
    if (opened != kExitOk) {
        end(step, Verdict::Fail, session.gone() ? "unplugged" : "the tablet could not be opened for the pen test");
        return 0;
    }
    // Kept beyond the pen step: key presses during it count for the keys.
    judge_ = std::make_unique<PenJudge>(row_, settings_.limits);
    PenJudge &judge = *judge_;
    lostAtStart_ = hid_reports_dropped();
    {
        std::lock_guard<std::mutex> lock(g_live.m);
        g_live.judge = &judge;
    }
    RegisterTouchInfoCallBack(onTouch);
    char prompt[160];
    std::snprintf(prompt, sizeof prompt,
                  "  pen: draw over the whole writing area and press hard once (%.0f s)", settings_.seconds);
    console_.line(prompt);
    const auto figures = [&] {
        std::lock_guard<std::mutex> lock(g_live.m);
        return judge.figures(nowNs());
    };
    const uint64_t deadline = nowNs() + uint64_t(settings_.seconds * 1e9);
    const auto status = [&](double left) {
            const PenFigures f = figures();
            char line[160];
            std::snprintf(line, sizeof line, "pressure %.0f%% of %.0f%%, %d of %d cells, rate %s, lost %lu, %.0f s left",
                          f.pressureMax * 100, settings_.limits.pressure * 100, f.cellsReached, f.cells,
                          f.minRate < 0 ? "-" : (std::to_string(int(f.minRate)) + "/s").c_str(),
                          hid_reports_dropped() - lostAtStart_, left);
            if (!console_.terminal())
                return "pen: " + std::string(line);
            std::string block;
            for (const std::string &l : gridLines(f, settings_.limits.columns))
                block += "  " + l + "\n";
            return block + "    " + line;
        };
    const Ended ended = await(
        session,
        [&] {
            std::lock_guard<std::mutex> lock(g_live.m);
            return judge.gridAndPressureDone();
        },
        status);
    // The grid as it ended stays on a terminal.
    if (console_.terminal())
        console_.status(status(deadline > nowNs() ? double(deadline - nowNs()) / 1e9 : 0));
    console_.endStatus();
    const PenFigures f = figures();
    const unsigned long lost = hid_reports_dropped() - lostAtStart_;
    std::string grid;
    for (bool cell : f.grid)
        grid += cell ? '1' : '0';
    step.figures = {{"cells reached", std::to_string(f.cellsReached)},
                    {"cells", std::to_string(f.cells)},
                    {"grid", jsonString(grid)},
                    {"pressure min", num(f.pressureMin)},
                    {"pressure max", num(f.pressureMax)},
                    {"reports with the pen down", std::to_string(f.reports)},
                    {"lowest rate", f.minRate < 0 ? "null" : num(f.minRate)},
                    {"shortest gap ms", f.minGapMs < 0 ? "null" : num(f.minGapMs)},
                    {"longest gap ms", f.maxGapMs < 0 ? "null" : num(f.maxGapMs)},
                    {"beyond range", f.beyondRange ? jsonString(f.beyondWhat) : "null"},
                    {"lost", std::to_string(lost)}};
    if (const int r = endedEarly(step, ended); r != 1)
        return r;
    const std::string why = penFailure(f, settings_.limits, lost);
    if (!why.empty()) {
        end(step, Verdict::Fail, why);
        return 1;
    }
    char text[128];
    std::snprintf(text, sizeof text, "%d cells, pressure %.0f%%, lowest rate %s, lost 0", f.cells,
                  f.pressureMax * 100, f.minRate < 0 ? "-" : (std::to_string(int(f.minRate)) + "/s").c_str());
    end(step, Verdict::Pass, text);
    return 1;
}

int TabletCheck::keys(Session &session)
{
    StepResult &step = begin("keys");
    if (!row_.isPad) {
        end(step, Verdict::Skipped, "a display tablet has no keys");
        return 1;
    }
    PenJudge *judge = judge_.get();
    const auto seen = [&] {
        std::lock_guard<std::mutex> lock(g_live.m);
        return std::make_pair(judge->resignSeen(), judge->okSeen());
    };
    if (seen() != std::make_pair(true, true)) {
        char prompt[96];
        std::snprintf(prompt, sizeof prompt, "  keys: press the re-sign key and the OK key once each (%.0f s)",
                      settings_.seconds);
        console_.line(prompt);
    }
    const uint64_t deadline = nowNs() + uint64_t(settings_.seconds * 1e9);
    const auto status = [&](double left) {
        const auto k = seen();
        char line[96];
        std::snprintf(line, sizeof line, "re-sign %s, OK %s, %.0f s left", k.first ? "pressed" : "-",
                      k.second ? "pressed" : "-", left);
        return (console_.terminal() ? "    " : "keys: ") + std::string(line);
    };
    const Ended ended = await(
        session,
        [&] {
            std::lock_guard<std::mutex> lock(g_live.m);
            return judge->keysDone();
        },
        status);
    if (console_.terminal())
        console_.status(status(deadline > nowNs() ? double(deadline - nowNs()) / 1e9 : 0));
    console_.endStatus();
    const auto k = seen();
    step.figures = {{"re-sign", k.first ? "true" : "false"}, {"OK", k.second ? "true" : "false"}};
    if (const int r = endedEarly(step, ended); r != 1)
        return r;
    if (ended == Ended::TimeUp) {
        std::string missing = !k.first && !k.second ? "re-sign and OK" : !k.first ? "re-sign" : "OK";
        end(step, Verdict::Fail, "not pressed: " + missing);
        return 1;
    }
    end(step, Verdict::Pass, "re-sign and OK pressed");
    return 1;
}

void TabletCheck::fingerprint()
{
    StepResult &step = begin("fingerprint");
    if (!settings_.fingerprint) {
        end(step, Verdict::Skipped, "--no-fingerprint");
        return;
    }
    FingerprintResult r = captureFingerprint(settings_.seconds);
    step.figures = r.figures;
    end(step, r.verdict, r.reason);
}

bool TabletCheck::run(TabletResult *result)
{
    result_ = result;
    result->model = row_.model;
    result->vid = row_.vid;
    result->pid = row_.pid;
    result->timestamp = timestampNow();
    const uint64_t start = nowNs();
    console_.line(std::string("check of ") + row_.model + " (" + (row_.isPad ? "signature pad" : "display tablet") +
                  ")");
    bool interrupted = false;
    {
        Session session(onArrival, onReport, nullptr);
        g_live.session = &session;
        {
            std::lock_guard<std::mutex> lock(g_live.m);
            g_live.armed = true;
            g_live.arrivals.clear();
        }
        const bool known = identity();
        const bool moded = known && modes();
        if (!known || !moded) {
            // Left without a reader: the handle goes without the start-mode
            // loop, which a silent pad would hold for ever.
            hid_close(hDev);
            hDev = nullptr;
            const bool gone = result->steps.back().reason == "unplugged";
            notRunFrom(known ? 2 : 1, gone ? "the tablet was unplugged"
                                           : known ? "the modes step failed" : "the identity step failed");
        } else {
            const int p = pen(session);
            const int k = p == 1 ? keys(session) : p;
            UnregisterTouchInfoCallBack(onTouch);
            interrupted = p < 0 || k < 0;
            if (p != 1 || k != 1) {
                notRunFrom(p != 1 ? 3 : 4, interrupted ? "interrupted" : "the tablet was unplugged");
            }
            {
                std::lock_guard<std::mutex> lock(g_live.m);
                g_live.armed = false;
                g_live.judge = nullptr;
            }
            if (!interrupted && !session.gone())
                session.close();
            if (p == 1 && k == 1)
                fingerprint();
        }
        g_live.session = nullptr;
    }
    result->seconds = since(start);
    return !interrupted;
}

}  // namespace

bool checkTablet(int row, const CheckSettings &settings, Console &console, TabletResult *result)
{
    return TabletCheck(row, settings, console).run(result);
}

}  // namespace cli
