// Open and close of the selected tablet and the pads' mode switch.
#include <string.h>
#include <unistd.h>

#include <cstddef>
#include <mutex>
#include <vector>

#include "decode_state.h"
#include "tablet/pxtablet.h"
#include "log/writelog.h"

unsigned char g_EnableMouse = 0;

namespace {

// Set from the interface thread, run from CloseDevice, which may run on the
// reader thread (a callback closing on the OK key).
std::atomic<PXCloseHook> g_closeHook{nullptr};

// Readers started and not joined yet. A reader that finds its tablet gone,
// or that is stopped from one of its own callbacks, cannot join itself; left
// alone, each unplug would keep a thread's stack (8 MiB) mapped for the rest
// of the run. The next CloseDevice joins them all, the next OpenDevice those
// that exit_flag has stopped. Each id is joined once and then forgotten, so
// a stale ReaderThread_id (SetMode opens without a reader) is never joined.
std::mutex g_readersLock;
std::vector<pthread_t> g_readers;

// Joins every pending reader except the calling thread. The lock is not held
// while joining: a reader may be inside a callback that closes the device.
void joinReaders()
{
    std::vector<pthread_t> others;
    {
        std::lock_guard<std::mutex> lock(g_readersLock);
        for (auto it = g_readers.begin(); it != g_readers.end();) {
            if (pthread_equal(*it, pthread_self())) {
                ++it;
            } else {
                others.push_back(*it);
                it = g_readers.erase(it);
            }
        }
    }
    for (pthread_t t : others)
        pthread_join(t, nullptr);
}

bool othersPending()
{
    std::lock_guard<std::mutex> lock(g_readersLock);
    for (pthread_t t : g_readers)
        if (!pthread_equal(t, pthread_self()))
            return true;
    return false;
}

const DEV_INFO_PX &selectedRow()
{
    return Dev_info_px[g_uDevinfo_index];
}

// hid_open of the selected row into hDev; 0, or 2 with the selection cleared.
int openTransport()
{
    unsigned short pid = selectedRow().pid;
    for (char &c : g_cFirmWareVersion)
        c = 0;
    hDev = hid_open(kTavrelVendorId, &pid, g_cFirmWareVersion);
    if (!hDev) {
        WriteLog("hid_open fail", 0);
        g_uDevinfo_index = -1;
        return PX_ERR_OPEN;
    }
    return 0;
}

int failOpen(int code)
{
    // An open over a running reader (a second OpenDevice) would close the
    // handle under it, and its next read then crashed the process: it is
    // stopped and joined first.
    if (othersPending()) {
        exit_flag = 1;
        joinReaders();
    }
    hid_close(hDev);
    hDev = nullptr;
    g_uDevinfo_index = -1;
    WriteLog("openDevice return err", code);
    return code;
}

}  // namespace

// GetDeviceInfo copies manufacturer..isPad as one block: both records must
// lay these fields out alike.
static_assert(offsetof(DEVICE_INFO, isPad) - offsetof(DEVICE_INFO, manufacturer) ==
                  offsetof(DEV_INFO_PX, isPad) - offsetof(DEV_INFO_PX, manufacturer),
              "DEVICE_INFO must mirror the catalogue row");
static_assert(offsetof(DEVICE_INFO, minX) - offsetof(DEVICE_INFO, manufacturer) ==
                  offsetof(DEV_INFO_PX, minX) - offsetof(DEV_INFO_PX, manufacturer),
              "DEVICE_INFO must mirror the catalogue row");

static const size_t kRowCopyBytes =
    offsetof(DEV_INFO_PX, isPad) + sizeof(int32_t) - offsetof(DEV_INFO_PX, manufacturer);

// Opens the selected (or first found) tablet: transport, identity, sign mode
// for pads, then the reader thread. 0 or a result code.
int OpenDevice(void)
{
    WriteLog("#############[OpenDevice]", 0);
    // Readers that exit_flag has stopped (an unplug, a close from a callback)
    // are reaped before exit_flag is cleared for the next one.
    if (exit_flag == 1)
        joinReaders();
    if (!hDev) {
        if (g_uDevinfo_index == -1 && GetDeviceStatus() != 0)
            return PX_ERR_NO_DEVICE;
        if (!hDev) {
            int r = openTransport();
            if (r != 0)
                return r;
        }
    }
    const DEV_INFO_PX &row = selectedRow();
    if (row.isPad == 1) {
        if (getSerial(hDev, row.pid, g_bSerial, g_nSerial) != 0)
            return failOpen(PX_ERR_NO_ANSWER);
    } else if (catalogueTraitsOfPid(row.pid).identity == PX_IDENTITY_CUSTOM) {
        // A display tablet without a readable identity opens all the same,
        // with an empty serial.
        GetCustumID(hDev, row.pid, g_bSerial, g_nSerial);
    }
    hid_set_nonblocking(hDev, 1);
    exit_flag = 0;
    if (pthread_create(&ReaderThread_id, nullptr, reader_loop, nullptr) != 0)
        return failOpen(PX_ERR_THREAD);
    {
        std::lock_guard<std::mutex> lock(g_readersLock);
        g_readers.push_back(ReaderThread_id);
    }
    usleep(1000);
    return 0;
}

int GetDeviceInfo(struct DEVICE_INFO *info)
{
    WriteLog("@@@@@@@@@[GetDeviceInfo]", g_uDevinfo_index);
    if (g_uDevinfo_index == -1) {
        if (hDev != nullptr)
            return 1;
        // Nothing selected: open on demand. With a null info the device
        // stays open and the caller still gets 1.
        int result = OpenDevice();
        if (result != 0)
            return result;
        if (info == nullptr || g_uDevinfo_index == -1)
            return 1;
    }
    if (info == nullptr)
        return 1;

    // The version's four bytes with its NUL; the rest of the field is the
    // caller's.
    memcpy(info->version, PX_API_VERSION, sizeof PX_API_VERSION);
    memcpy(info->manufacturer, Dev_info_px[g_uDevinfo_index].manufacturer, kRowCopyBytes);
    memcpy(info->serial, g_bSerial, (size_t)g_nSerial);
    memcpy(info->firmware, g_cFirmWareVersion, sizeof info->firmware);
    return 0;
}

// Stops the reader, returns a pad to start mode and releases the transport,
// the USB context and the pen engine. 0, or -10 when the pad did not answer.
int CloseDevice(void)
{
    int result = 0;
    g_EnableMouse = 0;
    const int index = g_uDevinfo_index;
    if (index >= 0)
        exit_flag = 1;
    // Every reader is joined before hDev is looked at, also one that ended by
    // itself after an unplug (the row then reads -1 already). That reader
    // closes the handle it found gone and clears the row before it clears
    // hDev; a close from here in between closed the same handle a second
    // time, concurrently, and libusb aborted. From a callback this runs on
    // the reader itself, which is left to the next close or open to join;
    // the loop ends when the callback returns.
    if (othersPending()) {
        exit_flag = 1;
        joinReaders();
    }
    if (index >= 0) {
        const DEV_INFO_PX &row = Dev_info_px[index];
        // A pad that was only selected (GetDeviceStatus, or SetMode on
        // another model), or whose reader found it gone, has no handle to
        // send start mode on.
        if (row.isPad == 1 && hDev) {
            hid_set_nonblocking(hDev, 0);
            if (PXClose(hDev, row.pid) != 0)
                result = PX_ERR_NO_ANSWER;
        }
    }
    if (hDev) {
        hid_close(hDev);
        hDev = nullptr;
    }
    g_uDevinfo_index = -1;
    hid_exit();
    g_bHidInit = 0;
    // The pen engine goes with the device; a window's handle is stale from here.
    if (PXCloseHook hook = g_closeHook.load())
        hook();
    WriteLog("~~~~~~~~[CloseDevice]\n", 0);
    return result;
}

void PXSetCloseHook(PXCloseHook hook)
{
    g_closeHook = hook;
}

// Switches KV-C1 and KV-C5 between sign (1), fingerprint (2) and start (3)
// mode; every other model is left alone with 0.
int SetMode(int mode)
{
    WriteLog("~~~~~~~~~SetMode", mode);
    if (g_uDevinfo_index == -1 && GetDeviceStatus() != 0)
        return PX_ERR_NO_DEVICE;
    const unsigned short pid = selectedRow().pid;
    if (!catalogueTraitsOfPid(pid).fprMode)
        return 0;
    if (!hDev) {
        int r = openTransport();
        if (r != 0)
            return r;
        if (g_uDevinfo_index < 0)
            return PX_ERR_NOT_OPEN;
    }
    int r = 0;
    if (mode == 2)
        r = PXFprMode(hDev, pid);
    else if (mode == 1)
        r = PXSignMode(hDev, pid);
    else if (mode == 3)
        r = PXStartMode(hDev, pid);
    return r != 0 ? PX_ERR_NO_ANSWER : 0;
}
