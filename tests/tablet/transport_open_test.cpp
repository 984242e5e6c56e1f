// Enumeration, the class listing of usb_enumerate, and open/close of an
// interface (detach, claim, firmware text, product id rule, re-attach).
#include <stdio.h>

#include <set>
#include <string>
#include <tuple>

#include "transport_fixture.h"

using transporttest::Bus;
using transporttest::foreignHid;

namespace {

std::string pathOf(emu::Device &dev, int interface_number)
{
    char text[64];
    snprintf(text, sizeof text, "%04x:%04x:%02x", dev.busnum(), dev.devnum(), interface_number);
    return text;
}

emu::DeviceSpec nonHid(uint16_t vid, uint16_t pid, uint8_t deviceClass, uint8_t interfaceClass,
                       uint8_t altSettings = 1)
{
    emu::DeviceSpec spec = emu::DeviceSpec::other(vid, pid, deviceClass, interfaceClass);
    spec.altSettings = altSettings;
    return spec;
}

} // namespace

// Filters of hid_enumerate on a bus of two tablets, a foreign HID device with
// a catalogue product id and a non-HID device: counts by hand from the ids.
TEST_F(Bus, EnumerateFiltersByVendorAndProduct)
{
    emu::DeviceSpec c5 = emu::DeviceSpec::tabletPid(0x8807);
    c5.bcdDevice = 0x0102;
    emu::Device &tablet = bed->add(c5);
    bed->add(emu::DeviceSpec::tabletPid(0x3101));
    bed->add(foreignHid(0x1234, 0x8807));
    bed->add(nonHid(0x2309, 0x0606, 0, 8));

    struct Case {
        unsigned short vid, pid;
        size_t count;
    } cases[] = {
        {0, 0, 3},
        {0x5E1B, 0, 2},
        {0, 0x8807, 2},
        {0x5E1B, 0x8807, 1},
        {0x1234, 0x3101, 0},
        {0x2309, 0x0606, 0},   // not a HID interface
    };
    for (const Case &c : cases) {
        struct hid_device_info *list = hid_enumerate(c.vid, c.pid);
        size_t count = 0;
        for (auto *node = list; node != nullptr; node = node->next) {
            ++count;
            EXPECT_TRUE(c.vid == 0 || node->vendor_id == c.vid);
            EXPECT_TRUE(c.pid == 0 || node->product_id == c.pid);
            // Strings are never read by the enumeration.
            EXPECT_EQ(node->manufacturer_string, nullptr);
            EXPECT_EQ(node->serial_number, nullptr);
        }
        EXPECT_EQ(count, c.count) << std::hex << c.vid << ":" << c.pid;
        EXPECT_EQ(list == nullptr, c.count == 0);
        hid_free_enumeration(list);
    }

    struct hid_device_info *one = hid_enumerate(0x5E1B, 0x8807);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(std::string(one->path), pathOf(tablet, 0));
    EXPECT_EQ(one->release_number, 0x0102);
    EXPECT_EQ(one->interface_number, 0);
    hid_free_enumeration(one);
    hid_free_enumeration(nullptr);
}

// Each alternate setting of a HID interface is its own node.
TEST_F(Bus, EnumerateListsEveryAlternateSetting)
{
    emu::DeviceSpec spec = emu::DeviceSpec::tabletPid(0x8420);
    spec.altSettings = 3;
    bed->add(spec);
    struct hid_device_info *list = hid_enumerate(0, 0);
    int count = 0;
    for (auto *node = list; node != nullptr; node = node->next)
        ++count;
    EXPECT_EQ(count, 3);
    hid_free_enumeration(list);
}

// The class of a node is bDeviceClass, or the interface class where the
// device says 0; only 0, 8 and 220 are listed, once per alternate setting.
TEST_F(Bus, UsbEnumerateListsScannerClasses)
{
    struct Dev {
        uint16_t pid;
        uint8_t deviceClass, interfaceClass, alts;
        int nodes;       // expected nodes
        int nodeClass;   // expected class of those nodes
    } devs[] = {
        {0x0001, 0, 8, 1, 1, 8},
        {0x0002, 220, 255, 1, 1, 220},
        {0x0003, 0, 0, 1, 1, 0},
        {0x0004, 8, 3, 1, 1, 8},       // the device class wins over HID
        {0x0005, 0, 220, 2, 2, 220},   // listed twice
        {0x0006, 0, 255, 1, 0, -1},    // vendor class
        {0x0007, 0xEF, 0, 1, 0, -1},   // device class that is not listed
    };
    for (const Dev &d : devs) {
        emu::DeviceSpec spec = nonHid(0x0453, d.pid, d.deviceClass, d.interfaceClass, d.alts);
        spec.bcdDevice = 0x0200 + d.pid;
        bed->add(spec);
    }
    bed->add(emu::DeviceSpec::tabletPid(0x8807));  // plain HID: not listed

    std::multiset<std::tuple<int, int, int>> got;  // pid, release, class
    struct usb_device_info *list = usb_enumerate();
    for (auto *node = list; node != nullptr; node = node->next) {
        EXPECT_EQ(node->vendor_id, 0x0453);
        got.insert({node->product_id, node->release_number, node->device_class});
    }
    usb_free_enumeration(list);

    std::multiset<std::tuple<int, int, int>> want;
    for (const Dev &d : devs) {
        for (int i = 0; i < d.nodes; ++i)
            want.insert({d.pid, 0x0200 + d.pid, d.nodeClass});
    }
    EXPECT_EQ(got, want);
    usb_free_enumeration(nullptr);
}

TEST_F(Bus, UsbEnumerateIsNullOnHidOnlyBus)
{
    bed->add(emu::DeviceSpec::tabletPid(0x8807));
    bed->add(foreignHid(0x1234, 0x0001));
    EXPECT_EQ(usb_enumerate(), nullptr);
}

// hid_open: the firmware text is bcdDevice with its bytes swapped; without a
// firmware buffer *pid receives the product id of the device opened.
TEST_F(Bus, OpenFirmwareTextAndProductIdRule)
{
    struct Case {
        uint16_t bcd;
        bool withFirmware;
        const char *firmware;  // expected, by swapping the bytes by hand
    } cases[] = {
        {0x0102, true, "0201"},
        {0x1234, true, "3412"},
        {0x00ff, true, "ff00"},
        {0xab00, true, "00ab"},
        {0x0102, false, nullptr},
    };
    for (const Case &c : cases) {
        emu::DeviceSpec spec = emu::DeviceSpec::tabletPid(0x880F);
        spec.bcdDevice = c.bcd;
        hid_exit();
        bed.reset();
        bed = std::make_unique<emu::Testbed>();
        bed->add(spec);

        unsigned short pid = 0;
        char firmware[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
        hid_device *dev = hid_open(0x5E1B, &pid, c.withFirmware ? firmware : nullptr);
        ASSERT_NE(dev, nullptr) << std::hex << c.bcd;
        if (c.withFirmware) {
            EXPECT_STREQ(firmware, c.firmware);
            EXPECT_EQ(pid, 0) << "with a firmware buffer *pid stays";
        } else {
            EXPECT_EQ(pid, 0x880F);
            EXPECT_EQ(firmware[0], 'x');
        }
        hid_close(dev);
    }
}

TEST_F(Bus, OpenFailures)
{
    bed->add(emu::DeviceSpec::tabletPid(0x8807));
    bed->add(foreignHid(0x1234, 0x8420));
    unsigned short pid = 0x8420;
    char firmware[6] = {};
    // The catalogue pid alone is not enough: the vendor must be 0x5E1B.
    EXPECT_EQ(hid_open(0x5E1B, &pid, firmware), nullptr);
    pid = 0x9999;
    EXPECT_EQ(hid_open(0x5E1B, &pid, nullptr), nullptr);
    EXPECT_EQ(pid, 0x9999);
    EXPECT_EQ(hid_open_path("00ff:00ff:00"), nullptr);
    hid_close(nullptr);
    EXPECT_EQ(hid_error(nullptr), nullptr);
}

// Open detaches the kernel driver and claims the interface; close releases
// it and attaches the driver again, also when none was bound at open.
TEST_F(Bus, OpenClaimsAndCloseReattaches)
{
    for (bool boundAtPlug : {true, false}) {
        hid_exit();
        bed.reset();
        bed = std::make_unique<emu::Testbed>();
        emu::DeviceSpec spec = emu::DeviceSpec::tabletPid(0x8421);
        spec.kernelDriverBound = boundAtPlug;
        emu::Device &tablet = bed->add(spec);
        ASSERT_EQ(tablet.kernelDriverBound(), boundAtPlug);

        hid_device *dev = hid_open_path(pathOf(tablet, 0).c_str());
        ASSERT_NE(dev, nullptr);
        EXPECT_TRUE(tablet.claimed());
        EXPECT_FALSE(tablet.kernelDriverBound());
        EXPECT_TRUE(transporttest::waitFor([&] { return tablet.pendingInTransfers() == 1; }))
            << "one read transfer in flight";

        hid_close(dev);
        EXPECT_FALSE(tablet.claimed());
        EXPECT_TRUE(tablet.kernelDriverBound());
        EXPECT_EQ(tablet.pendingInTransfers(), 0);
    }
}
