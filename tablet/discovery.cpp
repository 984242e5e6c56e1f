// Discovery of an attached tablet, the selected-device state, the public
// device record and the message tables of the result codes.
#include <stdio.h>
#include <string.h>

#include <cstddef>

#include "log/writelog.h"
#include "tablet/deviceRead.h"

std::atomic<int> g_uDevinfo_index{-1};
std::atomic<hid_device *> hDev{nullptr};
unsigned char g_bSerial[64];
int g_nSerial = 0;
char g_cFirmWareVersion[6];
unsigned char g_bHidInit = 0;

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

int FindTavrelTablet_Pid(unsigned short vid, unsigned short pid)
{
    char line[128];
    snprintf(line, sizeof line, "FindTavrelTablet_Pid: %x", pid);
    WriteLog(line, 0);

    g_uDevinfo_index = -1;
    if (!g_bHidInit && hid_init() != 0) {
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
        for (int row = 0; row < kTabletCatalogueRows; ++row) {
            if (Dev_info_px[row].pid == dev->product_id) {
                found = row;
                break;
            }
        }
    }
    if (found >= 0)
        g_uDevinfo_index = found;
    hid_free_enumeration(devs);

    if (g_uDevinfo_index == -1) {
        snprintf(line, sizeof line, "FindTavrelTablet_Pid：%xfail", pid);
        WriteLog(line, 0);
    }
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

static void copyText(char *text, const char *message)
{
    if (text != nullptr)
        strcpy(text, message);
}

void GetErrorMessage(int code, char *text)
{
    const char *message;
    // No own text for -10 and -14: both read "其它", like unknown codes.
    switch (code) {
    case PX_ERR_NO_DEVICE: message = "设备未连接"; break;
    case PX_ERR_OPEN: message = "打开手写设备失败"; break;
    case PX_ERR_NOT_OPEN: message = "未打开手写设备"; break;
    case PX_ERR_THREAD: message = "创建读取线程失败"; break;
    case PX_ERR_NOT_UNREGISTERED: message = "未反注册回调函数"; break;
    case PX_ERR_NOT_REGISTERED: message = "未注册回调函数"; break;
    case PX_ERR_CALLBACK_FULL: message = "回调函数超数量"; break;
    case PX_ERR_NULL_ARG: message = "无效值"; break;
    default: message = "其它"; break;
    }
    copyText(text, message);
}

void PXGetErrorMessage(int code, char *text)
{
    const char *message;
    switch (code) {
    case PX_ERR_NO_DEVICE: message = "设备未连接"; break;
    case PX_ERR_OPEN: message = "打开设备失败"; break;
    case PX_ERR_THREAD: message = "创建读线程失败"; break;
    case PX_ERR_NO_ANSWER: message = "设备通信失败"; break;
    case PX_ERR_NULL_ARG: message = "无效的值"; break;
    case PX_ERR_SEND: message = "下发命令失败"; break;
    default: message = "其它返回值"; break;
    }
    copyText(text, message);
}
