// Discovery of an attached tablet: which catalogue row the bus holds.
#include "discovery.h"

#include <stdio.h>

#include "log/writelog.h"
#include "tablet/catalogue.h"
#include "tablet/sphid.h"

int discoverCatalogueRow(unsigned short vid, unsigned short pid, bool contextReady)
{
    char line[128];
    if (!contextReady && hid_init() != 0) {
        WriteLog("FindTavrelTablet_Pid:hid_init 失败", 0);
        return -1;
    }

    struct hid_device_info *devs = hid_enumerate(vid, pid);
    if (devs == nullptr) {
        WriteLog("FindTavrelTablet_Pid: hid_enumerate fail", 0);
        return -1;
    }

    // Only the product id is compared, and the last matching device wins:
    // the vendor is checked later, by hid_open.
    int found = -1;
    for (struct hid_device_info *dev = devs; dev != nullptr; dev = dev->next) {
        const int row = catalogueRowOfPid(dev->product_id);
        if (row >= 0)
            found = row;
    }
    hid_free_enumeration(devs);

    if (found == -1) {
        snprintf(line, sizeof line, "FindTavrelTablet_Pid：%xfail", pid);
        WriteLog(line, 0);
    }
    return found;
}
