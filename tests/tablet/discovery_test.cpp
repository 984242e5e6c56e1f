// Discovery against emulated buses (the last listed catalogued device wins,
// the vendor is not compared), the device record and the message tables.
#include <string.h>

#include <string>
#include <vector>

#include "../log/private_tmp.h"
#include "tablet/deviceRead.h"
#include "transport_fixture.h"

namespace {

class Discovery : public Bus {
protected:
    void SetUp() override
    {
        Bus::SetUp();
        g_uDevinfo_index = -1;
        g_nSerial = 0;
    }
};

} // namespace

// Rows by hand from the catalogue: 0x8807 row 15, 0x8420 row 11, 0x8534 row
// 10, 0x3105 row 3. Of two tablets the one listed last wins, whatever the
// rows (kLast: read from the order of the HID listing).
TEST_F(Discovery, SelectsByProductIdAlone)
{
    const int kLast = -2;
    struct Case {
        const char *what;
        std::vector<emu::DeviceSpec> devices;
        int row;
    } cases[] = {
        {"one tablet", {emu::DeviceSpec::tabletPid(0x8807)}, 15},
        {"other vendor, catalogue pid", {foreignHid(0x1234, 0x8420)}, 11},
        {"tablet and unknown HID", {emu::DeviceSpec::tabletPid(0x8534), foreignHid(0x1234, 1)}, 10},
        {"no tablet", {foreignHid(0x1234, 1)}, -1},
        {"catalogue pid, not HID", {emu::DeviceSpec::other(0x5E1B, 0x3105, 0, 8)}, -1},
        {"two tablets", {emu::DeviceSpec::tabletPid(0x3105), emu::DeviceSpec::tabletPid(0x8807)}, kLast},
    };
    for (const Case &c : cases) {
        newBus();
        for (const emu::DeviceSpec &profile : c.devices)
            bed->add(profile);
        int want = c.row;
        if (want == kLast) {
            struct hid_device_info *list = hid_enumerate(0, 0);
            for (auto *node = list; node != nullptr; node = node->next)
                want = node->product_id == 0x3105 ? 3 : 15;
            hid_free_enumeration(list);
        }
        g_uDevinfo_index = -1;
        EXPECT_EQ(GetDeviceStatus(), want < 0 ? 1 : 0) << c.what;
        EXPECT_EQ(g_uDevinfo_index, want) << c.what;
    }
}

// A selected row is trusted: GetDeviceStatus does not look at the bus again.
TEST_F(Discovery, SelectedRowOutlivesUnplug)
{
    emu::Device &tablet = bed->add(emu::DeviceSpec::tabletPid(0x8421));
    ASSERT_EQ(GetDeviceStatus(), 0);
    tablet.unplug();
    ASSERT_TRUE(waitFor([] {
        struct hid_device_info *list = hid_enumerate(0, 0);
        hid_free_enumeration(list);
        return list == nullptr;
    }));
    EXPECT_EQ(GetDeviceStatus(), 0);
    EXPECT_EQ(g_uDevinfo_index, 12);
    EXPECT_EQ(FindTavrelTablet_Pid(0, 0), -1);
}

// "1.4" with its NUL and no more of version, the row from manufacturer to
// isPad (KV-C4 by hand), g_nSerial identity bytes, six firmware bytes; the
// rest stays as the caller had it. Refusals touch nothing.
TEST_F(Discovery, DeviceInfo)
{
    const unsigned char id[11] = {0x02, 0x88, 3, 0x10, 0x27, 0, 0, 5, 0, 0x2A, 0};
    for (int nSerial : {11, 0}) {
        g_uDevinfo_index = 14;
        memcpy(g_bSerial, id, sizeof id);
        g_nSerial = nSerial;
        memcpy(g_cFirmWareVersion, "0201\0z", 6);
        DEVICE_INFO info;
        memset(&info, 0xCC, sizeof info);
        ASSERT_EQ(GetDeviceInfo(&info), 0);
        EXPECT_EQ(memcmp(info.version, "1.4\0\xCC\xCC\xCC\xCC\xCC\xCC\xCC\xCC", 12), 0);
        EXPECT_STREQ(info.manufacturer, "Tavrel Technologh");
        EXPECT_STREQ(info.model, "KV-C4");
        EXPECT_EQ(std::vector<int>({info.vid, info.pid, info.minX, info.minY, info.maxX, info.maxY,
                                    info.pressureLevels, info.isPad}),
                  std::vector<int>({0x5E1B, 0x880F, 0, 0, 10206, 7422, 2048, 1}));
        for (int i = 0; i < 32; ++i)
            EXPECT_EQ(info.serial[i], i < nSerial ? id[i] : 0xCC) << i;
        EXPECT_EQ(memcmp(info.firmware, "0201\0z", 6), 0);
    }
    DEVICE_INFO info;
    memset(&info, 0xCC, sizeof info);
    g_uDevinfo_index = 0;
    EXPECT_EQ(GetDeviceInfo(nullptr), 1);
    g_uDevinfo_index = -1;
    hDev = reinterpret_cast<hid_device *>(&info);  // open handle, nothing selected
    EXPECT_EQ(GetDeviceInfo(&info), 1);
    hDev = nullptr;
    EXPECT_EQ((unsigned char)info.version[0], 0xCC);
}

// Both tables by hand from the code list; unlisted codes read "其它" and
// "其它返回值"; every text fits the caller's 25 bytes.
TEST(ErrorMessages, BothTables)
{
    struct Case {
        int code;
        const char *plain, *px;
    } cases[] = {
        {0, "其它", "其它返回值"},         {2, "打开手写设备失败", "打开设备失败"},
        {3, "未打开手写设备", "其它返回值"}, {5, "创建读取线程失败", "创建读线程失败"},
        {-10, "其它", "设备通信失败"},     {-11, "无效值", "无效的值"},
    };
    for (const Case &c : cases) {
        char text[25];
        GetErrorMessage(c.code, text);
        EXPECT_STREQ(text, c.plain) << c.code;
        PXGetErrorMessage(c.code, text);
        EXPECT_STREQ(text, c.px) << c.code;
    }
    GetErrorMessage(1, nullptr);
    PXGetErrorMessage(1, nullptr);
}
