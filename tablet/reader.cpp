// The reader thread: polls the transport without blocking and turns each
// input report into events for the callbacks.
#include <unistd.h>

#include "tablet/pxtablet.h"
#include "log/writelog.h"

std::atomic<unsigned char> exit_flag{0};
pthread_t ReaderThread_id;

namespace {
constexpr int kMultiTouchLen = 52;
constexpr int kMultiTouchReportId = 14;
constexpr useconds_t kIdleSleepUs = 10000;

// Set while no reader runs, read by the reader.
PXReportTap g_reportTap = nullptr;
void *g_reportTapContext = nullptr;

void tapReport(const unsigned char *report, int length)
{
    if (g_reportTap != nullptr)
        g_reportTap(report, length, g_reportTapContext);
}
}  // namespace

void PXSetReportTap(PXReportTap tap, void *context)
{
    g_reportTap = tap;
    g_reportTapContext = context;
}

// Thread function started by OpenDevice; its argument is not used.
void *reader_loop(void *)
{
    const DEV_INFO_PX &row = Dev_info_px[g_uDevinfo_index];
    const int devType = row.devType;
    int readLen = row.reportLen;
    unsigned char buffer[64] = {};
    // Not cleared between reports: a display tablet's record keeps its
    // former values where a report does not set them.
    TOUCH_INFO touch = {};

    while (exit_flag != 1) {
        int n = hid_read(hDev, buffer, readLen);
        if (n == 0) {
            usleep(kIdleSleepUs);
            continue;
        }
        if (n == -1) {
            tapReport(nullptr, -1);
            // Unplugged: nothing tells the application, which finds out from
            // GetDeviceStatus on its next action.
            WriteLog("reader_loop:手写设备拔掉", 0);
            g_uDevinfo_index = -1;
            exit_flag = 1;
            hid_close(hDev);
            hDev = nullptr;
            WriteLog("reader_loop: exit", 0);
            return nullptr;
        }
        tapReport(buffer, n);
        if (row.isPad == 1) {
            // Every pad report is dispatched, also one that carried nothing new.
            Analize_TabletPacket(buffer, n, row.pid, &touch);
            disptchEvent(touch);
            continue;
        }
        if (buffer[0] == kMultiTouchReportId && readLen != kMultiTouchLen) {
            // The rest of a multi-touch report follows. It always lands at
            // byte 10, so on a 20-byte row it overlaps the first part.
            const int rest = hid_read(hDev, buffer + 10, kMultiTouchLen - n);
            if (rest > 0)
                tapReport(buffer + 10, rest);
            n += rest;
            readLen = kMultiTouchLen;
        } else {
            readLen = row.reportLen;
        }
        if (n < readLen)
            continue;
        PXHandleDisplayReport(buffer, row.reportLen, devType, &touch);
    }
    return nullptr;
}
