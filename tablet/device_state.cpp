// The selected-device state of the layer (one tablet at a time) and the
// selection of a row from what discovery finds.
#include <stdio.h>

#include "discovery.h"
#include "log/writelog.h"
#include "tablet/deviceRead.h"

std::atomic<int> g_uDevinfo_index{-1};
std::atomic<hid_device *> hDev{nullptr};
unsigned char g_bSerial[64];
int g_nSerial = 0;
char g_cFirmWareVersion[6];
unsigned char g_bHidInit = 0;

int FindTavrelTablet_Pid(unsigned short vid, unsigned short pid)
{
    char line[128];
    snprintf(line, sizeof line, "FindTavrelTablet_Pid: %x", pid);
    WriteLog(line, 0);

    g_uDevinfo_index = -1;
    g_uDevinfo_index = discoverCatalogueRow(vid, pid, g_bHidInit != 0);
    return g_uDevinfo_index;
}

int GetDeviceStatus(void)
{
    WriteLog("!!!!!!!!!![GetDeviceStatus]", 0);
    if (g_uDevinfo_index == -1)
        g_uDevinfo_index = FindTavrelTablet_Pid(0, 0);
    // A selected row is trusted: the bus is not looked at again.
    if (g_uDevinfo_index >= 0)
        return 0;
    WriteLog("GetDeviceStatus:手与设备没有连接到电脑", 0);
    g_uDevinfo_index = -1;
    return 1;
}
