// Stands in for slateprobe in the launcher's test: opens the tablet through
// the tablet layer as the program does, counts what is signed on it, and
// ends after SP_DEMO_CLIENT_STROKES pen lifts (0: runs until it is ended).
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "tablet/pxtablet.h"

namespace {

std::atomic<int> g_down{0}, g_lifts{0};
int g_lastState = 0;

int count(TOUCH_INFO t)
{
    if (t.key)
        return 1;
    if (t.state == 1)
        ++g_down;
    else if (g_lastState == 1)
        ++g_lifts;
    g_lastState = t.state;
    return 1;
}

}  // namespace

int main()
{
    const char *want = std::getenv("SP_DEMO_CLIENT_STROKES");
    const int strokes = want ? std::atoi(want) : 0;
    if (GetDeviceStatus() != 0 || OpenDevice() != 0) {
        std::printf("client: no tablet\n");
        return 3;
    }
    RegisterTouchInfoCallBack(count);
    std::printf("client: open\n");
    std::fflush(stdout);
    // Bounded: 30 s is five times the demo signature.
    for (int i = 0; i < 3000 && (strokes == 0 || g_lifts < strokes); ++i)
        usleep(10 * 1000);
    UnregisterTouchInfoCallBack(count);
    CloseDevice();
    std::printf("client: down=%d strokes=%d\n", g_down.load(), g_lifts.load());
    return g_lifts >= strokes ? 0 : 1;
}
