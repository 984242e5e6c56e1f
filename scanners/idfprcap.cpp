// Stand-in for "ID_FprCap.so": a scanner that delivers 8-bit bitmap files.
// Every call returns 1 on success. The frame number and the scripted score
// travel in the two reserved words of the bitmap file header, where the
// quality stand-in ("ID_Fpr.so") reads them.
#include <string.h>

#include "standin.h"

using standin::Scanner;

namespace {

Scanner scanner;
constexpr int kWidth = 256;   // the family's own frame size
constexpr int kHeight = 360;

int width(const standin::Script &s) { return s.width > 0 ? s.width : kWidth; }
int height(const standin::Script &s) { return s.height > 0 ? s.height : kHeight; }

// The tool passes the channel count as the channel, so 0 up to the count
// are taken.
bool validChannel(int channel) { return channel >= 0 && channel <= scanner.script.channels; }

} // namespace

STANDIN_EXPORT int LIVESCAN_Init()
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.reset();
    scanner.note("LIVESCAN_Init");
    if (scanner.script.fails("LIVESCAN_Init"))
        return -1;
    scanner.open = true;
    return 1;
}

STANDIN_EXPORT int LIVESCAN_Close()
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("LIVESCAN_Close");
    scanner.open = false;
    return 1;
}

STANDIN_EXPORT int LIVESCAN_GetChannelCount()
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("LIVESCAN_GetChannelCount");
    if (!scanner.open || scanner.script.fails("LIVESCAN_GetChannelCount"))
        return -1;
    return scanner.script.channels;
}

STANDIN_EXPORT int LIVESCAN_GetMaxImageSize(int channel, int *w, int *h)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("LIVESCAN_GetMaxImageSize " + std::to_string(channel));
    if (!scanner.open || scanner.script.fails("LIVESCAN_GetMaxImageSize") || !validChannel(channel))
        return -1;
    *w = width(scanner.script);
    *h = height(scanner.script);
    return 1;
}

STANDIN_EXPORT int LIVESCAN_BeginCapture(int channel)
{
    standin::Script script;
    {
        std::lock_guard<std::mutex> guard(scanner.lock);
        scanner.note("LIVESCAN_BeginCapture " + std::to_string(channel));
        if (scanner.open && !scanner.script.fails("LIVESCAN_BeginCapture") && validChannel(channel))
            return 1;
        script = scanner.script;
    }
    standin::frameDelay(script);  // a failure takes as long as a frame
    return -1;
}

STANDIN_EXPORT int LIVESCAN_GetFPBmpData_Red(int channel, unsigned char *buffer)
{
    standin::Script script;
    int index = 0;
    {
        std::lock_guard<std::mutex> guard(scanner.lock);
        scanner.note("LIVESCAN_GetFPBmpData_Red " + std::to_string(channel));
        script = scanner.script;
        if (!scanner.open || script.fails("LIVESCAN_GetFPBmpData_Red") || !validChannel(channel)) {
            index = -1;
        } else {
            index = scanner.frames++;
        }
    }
    standin::frameDelay(script);
    if (index < 0)
        return -1;
    std::vector<uint8_t> file = standin::renderBitmapFile(width(script), height(script), index);
    const int score = script.qualityOf(index);
    const unsigned stampIndex = unsigned(index + 1) & 0xffff;
    const unsigned stampScore = score < 0 ? 0xffff : unsigned(score);
    file[6] = uint8_t(stampIndex);
    file[7] = uint8_t(stampIndex >> 8);
    file[8] = uint8_t(stampScore);
    file[9] = uint8_t(stampScore >> 8);
    memcpy(buffer, file.data(), file.size());
    return 1;
}

#ifndef OMIT_LIVESCAN_EndCapture
STANDIN_EXPORT int LIVESCAN_EndCapture(int channel)
{
    std::lock_guard<std::mutex> guard(scanner.lock);
    scanner.note("LIVESCAN_EndCapture " + std::to_string(channel));
    return 1;
}
#endif
