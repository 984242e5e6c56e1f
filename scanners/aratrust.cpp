// Stand-in for "libAraTrustFinger.so": a scanner that delivers raw frames,
// rows top-down. Every call returns 0 on success. The device handle is the
// address of the one device this library knows.
#include <stdio.h>
#include <string.h>

#include "standin.h"

using standin::Scanner;

namespace {

Scanner scanner;
struct Device {
    int index = 0;
} device;
int lastFrame = -1;            // frame of the last raw capture
constexpr int kWidth = 256;    // the family's own frame size
constexpr int kHeight = 288;

int width(const standin::Script &s) { return s.width > 0 ? s.width : kWidth; }
int height(const standin::Script &s) { return s.height > 0 ? s.height : kHeight; }

std::string pointer(const void *p)
{
    return p == &device ? "device" : (p == nullptr ? "null" : "other");
}

} // namespace

STANDIN_EXPORT int ARAFPSCAN_GlobalInit()
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.reset();
    lastFrame = -1;
    scanner.note("ARAFPSCAN_GlobalInit");
    return scanner.script.fails("ARAFPSCAN_GlobalInit") ? -1 : 0;
}

STANDIN_EXPORT int ARAFPSCAN_GlobalFree()
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("ARAFPSCAN_GlobalFree");
    scanner.open = false;
    return 0;
}

STANDIN_EXPORT int ARAFPSCAN_GetDeviceCount(int *count)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("ARAFPSCAN_GetDeviceCount");
    if (scanner.script.fails("ARAFPSCAN_GetDeviceCount"))
        return -1;
    *count = scanner.script.channels;
    return 0;
}

STANDIN_EXPORT int ARAFPSCAN_OpenDevice(void **handle, int index)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("ARAFPSCAN_OpenDevice " + std::to_string(index));
    if (scanner.script.fails("ARAFPSCAN_OpenDevice") || index < 0 || index >= scanner.script.channels)
        return -1;
    device.index = index;
    scanner.open = true;
    *handle = &device;
    return 0;
}

// Takes the address of the handle variable, unlike the calls below.
STANDIN_EXPORT int ARAFPSCAN_CloseDevice(void **handle)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("ARAFPSCAN_CloseDevice " + pointer(handle != nullptr ? *handle : nullptr));
    scanner.open = false;
    return 0;
}

STANDIN_EXPORT int ARAFPSCAN_GetImageInfo(void *handle, int *w, int *h, int *dpi)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("ARAFPSCAN_GetImageInfo " + pointer(handle));
    if (scanner.script.fails("ARAFPSCAN_GetImageInfo") || handle != &device || !scanner.open)
        return -1;
    *w = width(scanner.script);
    *h = height(scanner.script);
    *dpi = 500;
    return 0;
}

STANDIN_EXPORT int ARAFPSCAN_CaptureRawData(void *handle, int mode, unsigned char *buffer)
{
    standin::Script script;
    int index = -1;
    {
        std::lock_guard<std::mutex> guard(scanner.lock);
        scanner.note("ARAFPSCAN_CaptureRawData " + pointer(handle) + " " + std::to_string(mode));
        script = scanner.script;
        if (!script.fails("ARAFPSCAN_CaptureRawData") && handle == &device && scanner.open)
            index = lastFrame = scanner.frames++;
    }
    standin::frameDelay(script);  // a failure takes as long as a frame
    if (index < 0)
        return -1;
    const std::vector<uint8_t> frame = standin::renderFrame(width(script), height(script), index);
    memcpy(buffer, frame.data(), frame.size());
    return 0;
}

#ifndef OMIT_ARAFPSCAN_ImgQuality
// Scores the last captured frame with the scripted score.
STANDIN_EXPORT int ARAFPSCAN_ImgQuality(int w, int h, unsigned char *frame, unsigned char *quality)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    if (frame == nullptr || w != width(scanner.script) || h != height(scanner.script) || lastFrame < 0)
        return -1;
    const int score = scanner.script.qualityOf(lastFrame);
    if (score < 0 || scanner.script.fails("ARAFPSCAN_ImgQuality"))
        return -1;
    *quality = static_cast<unsigned char>(score);
    return 0;
}
#endif

#ifndef OMIT_ARAFPSCAN_GetErrorInfo
STANDIN_EXPORT int ARAFPSCAN_GetErrorInfo(int code, char *text)
{
    if (text != nullptr)
        snprintf(text, 64, "stand-in scanner error %d", code);
    return 0;
}
#endif
