#include "check_fpr.h"

#include <dlfcn.h>

#include <cstdio>
#include <memory>

#include "devices.h"
#include "stats.h"

namespace cli {

namespace {

// Frames above this score count toward a capture; the fourth completes it.
constexpr int kQualityThreshold = 60;
constexpr int kCountedFrames = 4;

struct Library {
    explicit Library(const char *name) : handle(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}
    ~Library()
    {
        if (handle)
            dlclose(handle);
    }
    template <typename Fn>
    Fn get(const char *name) const
    {
        return handle ? reinterpret_cast<Fn>(dlsym(handle, name)) : nullptr;
    }
    void *handle;
};

// The last known scanner of the bus listing decides, as in the window; -1
// when there is none.
int scannerType()
{
    std::vector<UsbDevice> devices;
    std::string error;
    int type = -1;
    if (!listDevices(&devices, &error))
        return -1;
    for (const UsbDevice &d : devices)
        for (int t = 0; t < 3; ++t)
            if (!d.tablet && d.vid == kScannerIds[t].vid && d.pid == kScannerIds[t].pid)
                type = t;
    return type;
}

struct Tally {
    int frames = 0, counted = 0, failedCalls = 0, best = -1;
    bool scored = true;  // false: no quality score, the first frame completes
    void frame(int score)
    {
        ++frames;
        best = std::max(best, score);
        if (score > kQualityThreshold)
            ++counted;
    }
    bool complete() const { return !scored ? frames > 0 : counted >= kCountedFrames; }
};

FingerprintResult finish(int type, const Tally &t, double seconds, const std::string &failure)
{
    FingerprintResult r;
    r.figures = {{"scanner type", std::to_string(type)},
                 {"frames", std::to_string(t.frames)},
                 {"frames above 60", std::to_string(t.counted)},
                 {"best score", t.best < 0 ? "null" : std::to_string(t.best)},
                 {"failed calls", std::to_string(t.failedCalls)}};
    char buf[160];
    if (!failure.empty()) {
        r.verdict = Verdict::Fail;
        r.reason = failure;
    } else if (t.complete()) {
        r.verdict = Verdict::Pass;
        if (t.scored)
            std::snprintf(buf, sizeof buf, "%d frames above 60, best score %d", t.counted, t.best);
        else
            std::snprintf(buf, sizeof buf, "a frame (the scanner has no quality score)");
        r.reason = buf;
    } else if (t.frames == 0) {
        r.verdict = Verdict::Fail;
        std::snprintf(buf, sizeof buf, "no frame in %.0f s (%d failed calls)", seconds, t.failedCalls);
        r.reason = buf;
    } else {
        r.verdict = Verdict::Fail;
        std::snprintf(buf, sizeof buf, "poor frames: %d of %d above 60 in %.0f s, best score %d", t.counted,
                      t.frames, seconds, t.best);
        r.reason = buf;
    }
    return r;
}

typedef int (*NoArg)();
typedef int (*Channel)(int);
typedef int (*ImageInfo)(int, int *, int *);
typedef int (*BmpData)(int, unsigned char *);
typedef int (*Quality)(unsigned char *, unsigned char *);

FingerprintResult captureBitmap(double seconds)
{
    Tally t;
    Library cap("ID_FprCap.so");
    if (!cap.handle)
        return finish(0, t, seconds, "no scanner library ID_FprCap.so in lib/ beside the program");
    const auto init = cap.get<NoArg>("LIVESCAN_Init");
    const auto close = cap.get<NoArg>("LIVESCAN_Close");
    const auto channels = cap.get<NoArg>("LIVESCAN_GetChannelCount");
    const auto info = cap.get<ImageInfo>("LIVESCAN_GetMaxImageSize");
    const auto begin = cap.get<Channel>("LIVESCAN_BeginCapture");
    const auto bmp = cap.get<BmpData>("LIVESCAN_GetFPBmpData_Red");
    const auto end = cap.get<Channel>("LIVESCAN_EndCapture");
    if (!init || !close || !channels || !info || !begin || !bmp || !end)
        return finish(0, t, seconds, "ID_FprCap.so lacks an entry point");
    // Optional, as in the window: without it the first frame is taken.
    Library scoring("ID_Fpr.so");
    const auto quality = scoring.get<Quality>("FP_GetQualityScore");
    t.scored = quality != nullptr;
    if (init() != 1)
        return finish(0, t, seconds, "the scanner does not initialise");
    // The channel count is the channel number, as the scanner is driven.
    const int channel = channels();
    int width = 0, height = 0;
    if (channel <= 0 || info(channel, &width, &height) < 0 || width <= 0 || height <= 0 || width > 4096 ||
        height > 4096) {
        close();
        return finish(0, t, seconds, channel <= 0 ? "the scanner has no channel" : "the scanner gives no image size");
    }
    std::vector<unsigned char> frame(size_t(width) * size_t(height) + 1078);
    const uint64_t deadline = nowNs() + uint64_t(seconds * 1e9);
    while (!t.complete() && nowNs() < deadline) {
        if (begin(channel) != 1 || bmp(channel, frame.data()) != 1) {
            ++t.failedCalls;
            continue;
        }
        unsigned char score = 0;
        if (!t.scored || quality(frame.data(), &score) == 0) {
            t.scored = false;  // a score that fails counts as none: the frame completes it
            t.frame(-1);
            break;
        }
        t.frame(score);
    }
    end(channel);
    close();
    return finish(0, t, seconds, "");
}

typedef int (*AraCount)(int *);
typedef int (*AraOpen)(void **, int);
typedef int (*AraClose)(void **);
typedef int (*AraImgInfo)(void *, int *, int *, int *);
typedef int (*AraRaw)(void *, int, unsigned char *);
typedef int (*AraQuality)(int, int, unsigned char *, unsigned char *);

FingerprintResult captureRaw(int type, double seconds)
{
    Tally t;
    Library lib("libAraTrustFinger.so");
    if (!lib.handle)
        return finish(type, t, seconds, "no scanner library libAraTrustFinger.so in lib/ beside the program");
    const auto init = lib.get<NoArg>("ARAFPSCAN_GlobalInit");
    const auto release = lib.get<NoArg>("ARAFPSCAN_GlobalFree");
    const auto count = lib.get<AraCount>("ARAFPSCAN_GetDeviceCount");
    const auto open = lib.get<AraOpen>("ARAFPSCAN_OpenDevice");
    const auto close = lib.get<AraClose>("ARAFPSCAN_CloseDevice");
    const auto info = lib.get<AraImgInfo>("ARAFPSCAN_GetImageInfo");
    const auto raw = lib.get<AraRaw>("ARAFPSCAN_CaptureRawData");
    const auto quality = lib.get<AraQuality>("ARAFPSCAN_ImgQuality");
    if (!init || !release || !count || !open || !close || !info || !raw || !quality)
        return finish(type, t, seconds, "libAraTrustFinger.so lacks an entry point");
    if (init() != 0)
        return finish(type, t, seconds, "the scanner does not initialise");
    int devices = 0;
    void *handle = nullptr;
    if (count(&devices) != 0 || devices < 1 || open(&handle, 0) != 0) {
        release();
        return finish(type, t, seconds, "the scanner cannot be opened");
    }
    int width = 0, height = 0, unused = 0;
    if (info(handle, &width, &height, &unused) != 0 || width <= 0 || height <= 0 || width > 4096 || height > 4096) {
        close(&handle);
        release();
        return finish(type, t, seconds, "the scanner gives no image size");
    }
    std::vector<unsigned char> frame(size_t(width) * size_t(height));
    const uint64_t deadline = nowNs() + uint64_t(seconds * 1e9);
    while (!t.complete() && nowNs() < deadline) {
        unsigned char score = 0;
        if (raw(handle, 8, frame.data()) != 0 || quality(width, height, frame.data(), &score) != 0) {
            ++t.failedCalls;
            continue;
        }
        t.frame(score);
    }
    close(&handle);
    release();
    return finish(type, t, seconds, "");
}

}  // namespace

FingerprintResult captureFingerprint(double seconds)
{
    const int type = scannerType();
    if (type < 0) {
        FingerprintResult r;
        r.reason = "no scanner attached";
        return r;
    }
    return type == 0 ? captureBitmap(seconds) : captureRaw(type, seconds);
}

}  // namespace cli
