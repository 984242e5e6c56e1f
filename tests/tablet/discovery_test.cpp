// Discovery against emulated buses (the last catalogued device wins, the
// vendor is not compared), the device record, the message tables, and the
// trace lines read back from a private /tmp.
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "../log/private_tmp.h"
#include "tablet/deviceRead.h"
#include "transport_fixture.h"

using transporttest::foreignHid;

namespace {

const char *kTrace = "/tmp/PXSlateProbe.log";

// The texts of the trace lines written so far, stamps (18 bytes) removed.
std::vector<std::string> traceTexts()
{
    std::ifstream in(kTrace);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line))
        lines.push_back(line.size() >= 18 ? line.substr(18) : line);
    return lines;
}

class Discovery : public transporttest::Bus {
protected:
    void SetUp() override
    {
        Bus::SetUp();
        unlink(kTrace);
        g_uDevinfo_index = -1;
        hDev = nullptr;
        g_nSerial = 0;
    }
};

} // namespace

// Which row a bus selects. Expected rows from the catalogue by hand
// (0x8807 row 15, 0x3105 row 3, 0x8420 row 11, 0x8534 row 10).
TEST_F(Discovery, SelectsByProductIdAlone)
{
    struct Case {
        const char *what;
        std::vector<emu::DeviceSpec> devices;
        int row;
    } cases[] = {
        {"one tablet", {emu::DeviceSpec::tabletPid(0x8807)}, 15},
        {"foreign vendor, catalogue pid", {foreignHid(0x1234, 0x8420)}, 11},
        {"tablet beside an unknown HID device",
         {emu::DeviceSpec::tabletPid(0x8534), foreignHid(0x1234, 0x0001)}, 10},
        {"no tablet", {foreignHid(0x1234, 0x0001)}, -1},
        {"catalogue pid on a non-HID device", {emu::DeviceSpec::other(0x5E1B, 0x3105, 0, 8)}, -1},
    };
    for (const Case &c : cases) {
        hid_exit();
        bed.reset();
        bed = std::make_unique<emu::Testbed>();
        for (const emu::DeviceSpec &spec : c.devices)
            bed->add(spec);
        g_uDevinfo_index = -1;
        EXPECT_EQ(GetDeviceStatus(), c.row < 0 ? 1 : 0) << c.what;
        EXPECT_EQ(g_uDevinfo_index, c.row) << c.what;
    }
}

// With two catalogued tablets the one listed last wins, whatever the rows:
// expected from the order of the HID listing.
TEST_F(Discovery, LastListedTabletWins)
{
    bed->add(emu::DeviceSpec::tabletPid(0x3105));
    bed->add(emu::DeviceSpec::tabletPid(0x8807));
    int lastRow = -1;
    struct hid_device_info *list = hid_enumerate(0, 0);
    for (auto *node = list; node != nullptr; node = node->next) {
        if (node->product_id == 0x3105)
            lastRow = 3;
        else if (node->product_id == 0x8807)
            lastRow = 15;
    }
    hid_free_enumeration(list);
    ASSERT_NE(lastRow, -1);

    EXPECT_EQ(FindTavrelTablet_Pid(0, 0), lastRow);
    EXPECT_EQ(g_uDevinfo_index, lastRow);
    // Filtering by pid selects that tablet alone.
    EXPECT_EQ(FindTavrelTablet_Pid(0, 0x3105), 3);
    EXPECT_EQ(FindTavrelTablet_Pid(0x5E1B, 0x8807), 15);
}

// A selected row is trusted: GetDeviceStatus does not look at the bus again.
TEST_F(Discovery, SelectedRowOutlivesUnplug)
{
    emu::Device &tablet = bed->add(emu::DeviceSpec::tabletPid(0x8421));
    ASSERT_EQ(GetDeviceStatus(), 0);
    EXPECT_EQ(g_uDevinfo_index, 12);
    tablet.unplug();
    ASSERT_TRUE(transporttest::waitFor([] {
        struct hid_device_info *list = hid_enumerate(0, 0);
        hid_free_enumeration(list);
        return list == nullptr;
    }));
    EXPECT_EQ(GetDeviceStatus(), 0);
    EXPECT_EQ(g_uDevinfo_index, 12);
    // A new search does see the empty bus.
    EXPECT_EQ(FindTavrelTablet_Pid(0, 0), -1);
}

// Trace lines of each outcome, written by hand from the log texts.
TEST_F(Discovery, TraceLines)
{
    bed->add(foreignHid(0x1234, 0x0001));
    EXPECT_EQ(GetDeviceStatus(), 1);

    hid_exit();
    bed.reset();
    bed = std::make_unique<emu::Testbed>();
    bed->add(foreignHid(0x1234, 0x0001));
    bed->add(emu::DeviceSpec::tabletPid(0x880C));
    EXPECT_EQ(FindTavrelTablet_Pid(0x5E1B, 0x8826), -1);  // enumeration empty
    EXPECT_EQ(FindTavrelTablet_Pid(0x1234, 0), -1);       // listed, not catalogued
    EXPECT_EQ(GetDeviceStatus(), 0);
    EXPECT_EQ(g_uDevinfo_index, 8);
    std::vector<std::string> want = {
        "!!!!!!!!!![GetDeviceStatus]",
        "FindTavrelTablet_Pid: 0",
        "FindTavrelTablet_Pid：0fail",
        "GetDeviceStatus:手与设备没有连接到电脑",
        "FindTavrelTablet_Pid: 8826",
        "FindTavrelTablet_Pid: hid_enumerate fail",
        "FindTavrelTablet_Pid: 0",
        "FindTavrelTablet_Pid：0fail",
        "!!!!!!!!!![GetDeviceStatus]",
        "FindTavrelTablet_Pid: 0",
    };
    EXPECT_EQ(traceTexts(), want);
}

// The record: "1.4" with its NUL and nothing more of version, the row from
// manufacturer to isPad, g_nSerial bytes of the identity, six firmware bytes.
// Row 14 values copied by hand from the model table (KV-C4).
TEST_F(Discovery, DeviceInfoFill)
{
    const unsigned char identity[11] = {0x02, 0x88, 0x03, 0x10, 0x27, 0x00, 0x00, 0x05, 0x00, 0x2A, 0x00};
    struct Case {
        int nSerial;
        int serialBytes;  // bytes of serial written
    } cases[] = {{11, 11}, {0, 0}};
    for (const Case &c : cases) {
        g_uDevinfo_index = 14;
        memset(g_bSerial, 0, sizeof g_bSerial);
        memcpy(g_bSerial, identity, sizeof identity);
        g_nSerial = c.nSerial;
        memcpy(g_cFirmWareVersion, "0201\0z", 6);

        DEVICE_INFO info;
        memset(&info, 0xCC, sizeof info);
        ASSERT_EQ(GetDeviceInfo(&info), 0);
        EXPECT_EQ(memcmp(info.version, "1.4", 4), 0);
        for (int i = 4; i < 12; ++i)
            EXPECT_EQ((unsigned char)info.version[i], 0xCC) << i;
        EXPECT_STREQ(info.manufacturer, "Tavrel Technologh");
        EXPECT_EQ(info.manufacturer[51], 0);
        EXPECT_STREQ(info.model, "KV-C4");
        EXPECT_EQ(info.vid, 0x5E1B);
        EXPECT_EQ(info.pid, 0x880F);
        EXPECT_EQ(info.minX, 0);
        EXPECT_EQ(info.minY, 0);
        EXPECT_EQ(info.maxX, 10206);
        EXPECT_EQ(info.maxY, 7422);
        EXPECT_EQ(info.pressureLevels, 2048);
        EXPECT_EQ(info.isPad, 1);
        for (int i = 0; i < 32; ++i) {
            unsigned char want = i < c.serialBytes ? identity[i] : 0xCC;
            EXPECT_EQ(info.serial[i], want) << i;
        }
        EXPECT_EQ(memcmp(info.firmware, "0201\0z", 6), 0);
    }
    EXPECT_EQ(traceTexts().back(), "@@@@@@@@@[GetDeviceInfo] 14");
}

TEST_F(Discovery, DeviceInfoRefusals)
{
    DEVICE_INFO info;
    memset(&info, 0xCC, sizeof info);
    // Selected row but no record to fill.
    g_uDevinfo_index = 0;
    EXPECT_EQ(GetDeviceInfo(nullptr), 1);
    // Nothing selected while a handle is open: no open on demand.
    g_uDevinfo_index = -1;
    hDev = reinterpret_cast<hid_device *>(&info);
    EXPECT_EQ(GetDeviceInfo(&info), 1);
    hDev = nullptr;
    EXPECT_EQ((unsigned char)info.version[0], 0xCC);
    std::vector<std::string> want = {"@@@@@@@@@[GetDeviceInfo]", "@@@@@@@@@[GetDeviceInfo] -1"};
    EXPECT_EQ(traceTexts(), want);
}

// Both message tables, copied by hand from the code list; codes outside it
// read "其它" and "其它返回值". Every text fits the caller's 25 bytes.
TEST(ErrorMessages, BothTables)
{
    struct Case {
        int code;
        const char *plain;
        const char *px;
    } cases[] = {
        {0, "其它", "其它返回值"},
        {1, "设备未连接", "设备未连接"},
        {2, "打开手写设备失败", "打开设备失败"},
        {3, "未打开手写设备", "其它返回值"},
        {5, "创建读取线程失败", "创建读线程失败"},
        {10, "未反注册回调函数", "其它返回值"},
        {11, "未注册回调函数", "其它返回值"},
        {13, "回调函数超数量", "其它返回值"},
        {-10, "其它", "设备通信失败"},
        {-11, "无效值", "无效的值"},
        {-14, "其它", "下发命令失败"},
        {4, "其它", "其它返回值"},
        {99, "其它", "其它返回值"},
        {-1, "其它", "其它返回值"},
    };
    for (const Case &c : cases) {
        char text[25];
        memset(text, 'q', sizeof text);
        GetErrorMessage(c.code, text);
        EXPECT_STREQ(text, c.plain) << c.code;
        memset(text, 'q', sizeof text);
        PXGetErrorMessage(c.code, text);
        EXPECT_STREQ(text, c.px) << c.code;
    }
    GetErrorMessage(1, nullptr);
    PXGetErrorMessage(1, nullptr);
}
