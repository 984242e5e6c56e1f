// Which fingerprint scanner is on the bus.
#include "fingerprint/capfingerdlg.h"
#include "log/writelog.h"
#include "tablet/sphid.h"

const FprInfo g_pFpr_Info[3] = {
    {0x2309, 0x0606, {}},  // ID_FprCap.so
    {0x28ED, 0x2043, {}},  // libAraTrustFinger.so
    {0x0453, 0x9005, {}},  // libAraTrustFinger.so
};

extern "C" int GetFprType(int *type)
{
    WriteLog("@@@@@@@@[GetFprType]", 0);
    if (hid_init() != 0) {
        WriteLog("GetFprType:hid_init fail", 0);
        return 7;
    }
    struct usb_device_info *list = usb_enumerate();
    if (list == nullptr)
        return 1;

    // Every device is compared and the walk goes on: the last known scanner
    // of the listing decides.
    *type = -1;
    for (struct usb_device_info *node = list; node != nullptr; node = node->next) {
        for (int row = 0; row < 3; ++row) {
            if (node->vendor_id == g_pFpr_Info[row].vid && node->product_id == g_pFpr_Info[row].pid) {
                *type = row;
                break;
            }
        }
    }
    usb_free_enumeration(list);

    if (*type < 0)
        return 1;
    WriteLog("GetFprType:", *type);  // type 0 logs no number
    return 0;
}
