// Open and close of the selected tablet and the pads' mode switch.
#include <unistd.h>

#include "tablet/pxtablet.h"
#include "log/writelog.h"
#include "pen/PX_PEN_API.h"

unsigned char g_EnableMouse = 0;

namespace {

// Whether ReaderThread_id names a thread nobody has joined yet: SetMode can
// open the transport without a reader, and joining a stale id is undefined.
bool g_readerJoinable = false;

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
    hid_close(hDev);
    hDev = nullptr;
    g_uDevinfo_index = -1;
    WriteLog("openDevice return err", code);
    return code;
}

}  // namespace

// Opens the selected (or first found) tablet: transport, identity, sign mode
// for pads, then the reader thread. 0 or a result code.
int OpenDevice(void)
{
    WriteLog("#############[OpenDevice]", 0);
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
    } else if (row.devType == 6 || row.devType == 8 || row.pid == 0x8826) {
        // A display tablet without a readable identity opens all the same,
        // with an empty serial.
        GetCustumID(hDev, row.pid, g_bSerial, g_nSerial);
    }
    hid_set_nonblocking(hDev, 1);
    exit_flag = 0;
    if (pthread_create(&ReaderThread_id, nullptr, reader_loop, nullptr) != 0)
        return failOpen(PX_ERR_THREAD);
    g_readerJoinable = true;
    usleep(1000);
    return 0;
}

// Stops the reader, returns a pad to start mode and releases the transport,
// the USB context and the pen engine. 0, or -10 when the pad did not answer.
int CloseDevice(void)
{
    int result = 0;
    g_EnableMouse = 0;
    if (g_uDevinfo_index >= 0) {
        exit_flag = 1;
        // From a callback this runs on the reader itself: there is no join,
        // and the loop ends when the callback returns.
        if (g_readerJoinable && !pthread_equal(ReaderThread_id, pthread_self())) {
            pthread_join(ReaderThread_id, nullptr);
            g_readerJoinable = false;
        }
        const DEV_INFO_PX &row = selectedRow();
        // A pad that was only selected (GetDeviceStatus, or SetMode on
        // another model) has no handle to send start mode on.
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
    if (g_be) {
        API_DestroyEngine(g_be);
        g_be = nullptr;
    }
    WriteLog("~~~~~~~~[CloseDevice]\n", 0);
    return result;
}

// Switches KV-C1 and KV-C5 between sign (1), fingerprint (2) and start (3)
// mode; every other model is left alone with 0.
int SetMode(int mode)
{
    WriteLog("~~~~~~~~~SetMode", mode);
    if (g_uDevinfo_index == -1 && GetDeviceStatus() != 0)
        return PX_ERR_NO_DEVICE;
    const unsigned short pid = selectedRow().pid;
    if (pid != 0x8420 && pid != 0x8807)
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
