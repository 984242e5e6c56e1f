// What a host sees of emulated devices before it transfers anything:
// the bus, the descriptors, the strings, hot-plugged arrivals.
#include "usb_host.h"

#include <set>

using emu::Bytes;
using emu::DeviceSpec;
using emutest::Host;

namespace {

struct Seen {
    libusb_device_descriptor dev{};
    std::vector<int> ifClass, ifAlt, inSize, outSize, hidExtra;
};

Seen describe(libusb_device *d)
{
    Seen s;
    EXPECT_EQ(libusb_get_device_descriptor(d, &s.dev), 0);
    libusb_config_descriptor *cfg = nullptr;
    EXPECT_EQ(libusb_get_active_config_descriptor(d, &cfg), 0);
    if (!cfg)
        return s;
    EXPECT_EQ(cfg->bNumInterfaces, 1);
    for (int a = 0; a < cfg->interface[0].num_altsetting; ++a) {
        const libusb_interface_descriptor &alt = cfg->interface[0].altsetting[a];
        s.ifClass.push_back(alt.bInterfaceClass);
        s.ifAlt.push_back(alt.bAlternateSetting);
        s.hidExtra.push_back(alt.extra_length);
        int in = 0, out = 0;
        for (int e = 0; e < alt.bNumEndpoints; ++e) {
            const libusb_endpoint_descriptor &ep = alt.endpoint[e];
            EXPECT_EQ(ep.bmAttributes & 3, LIBUSB_TRANSFER_TYPE_INTERRUPT);
            (ep.bEndpointAddress & 0x80 ? in : out) = ep.wMaxPacketSize;
        }
        s.inSize.push_back(in);
        s.outSize.push_back(out);
    }
    libusb_free_config_descriptor(cfg);
    return s;
}

} // namespace

// Several devices on one bus at once, each with its own descriptors.
// Expected sizes are the catalogue's report lengths written out by hand.
TEST(EmulatorEnumeration, ManyDevicesWithTheirDescriptors)
{
    struct Case {
        DeviceSpec profile;
        uint16_t vid, pid, bcd;
        int devClass, ifClass, alts, in, out;
        bool hid;
    };
    DeviceSpec bcd = DeviceSpec::tabletPid(0x8420);
    bcd.bcdDevice = 0x0102;
    DeviceSpec alts = DeviceSpec::other(0x1234, 0x0042, 0, 3);
    alts.altSettings = 3;
    alts.inPacketSize = 16;
    alts.outPacketSize = 32;
    const std::vector<Case> cases = {
        {DeviceSpec::tabletRow(0), 0x5E1B, 0x3101, 0x0100, 0, 3, 1, 20, 0, true},
        {DeviceSpec::tabletRow(1, true), 0x5E1B, 0x3102, 0x0100, 0, 3, 1, 10, 10, true},
        {DeviceSpec::tabletPid(0x880F), 0x5E1B, 0x880F, 0x0100, 0, 3, 1, 64, 0, true},
        {bcd, 0x5E1B, 0x8420, 0x0102, 0, 3, 1, 8, 0, true},
        {alts, 0x1234, 0x0042, 0x0100, 0, 3, 3, 16, 32, true},
        {DeviceSpec::other(0x2109, 0x7638, 0, 0), 0x2109, 0x7638, 0x0100, 0, 0, 1, 64, 0, false},
        {DeviceSpec::other(0x2109, 0x7639, 0, 8), 0x2109, 0x7639, 0x0100, 0, 8, 1, 64, 0, false},
        {DeviceSpec::other(0x2109, 0x763a, 220, 0xff), 0x2109, 0x763a, 0x0100, 220, 0xff, 1, 64, 0, false},
    };

    emu::Testbed tb;
    std::vector<emu::Device *> devs;
    for (const Case &c : cases)
        devs.push_back(&tb.add(c.profile));
    Host host;

    std::set<int> addresses;
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const Case &c = cases[i];
        libusb_device *d = host.find(*devs[i]);
        ASSERT_NE(d, nullptr);
        addresses.insert(libusb_get_device_address(d));
        const Seen s = describe(d);
        libusb_unref_device(d);
        EXPECT_EQ(s.dev.idVendor, c.vid);
        EXPECT_EQ(s.dev.idProduct, c.pid);
        EXPECT_EQ(s.dev.bcdDevice, c.bcd);
        EXPECT_EQ(s.dev.bDeviceClass, c.devClass);
        ASSERT_EQ(int(s.ifClass.size()), c.alts);
        for (int a = 0; a < c.alts; ++a) {
            EXPECT_EQ(s.ifClass[a], c.ifClass);
            EXPECT_EQ(s.ifAlt[a], a);
            EXPECT_EQ(s.inSize[a], c.in);
            EXPECT_EQ(s.outSize[a], c.out);
            EXPECT_EQ(s.hidExtra[a], c.hid ? 9 : 0); // the HID class descriptor
        }
    }
    EXPECT_EQ(addresses.size(), cases.size());
}

// Descriptors read over the control pipe agree with what libusb took from
// sysfs; strings come back as UTF-16LE in the requested language list.
TEST(EmulatorEnumeration, DescriptorsOverTheControlPipe)
{
    DeviceSpec profile = DeviceSpec::tabletRow(11);
    profile.serial = "签名板"; // U+7B7E U+540D U+677F
    profile.languages = {0x0409, 0x0804};
    emu::Testbed tb;
    emu::Device &dev = tb.add(profile);
    Host host;
    libusb_device_handle *h = host.open(dev);
    ASSERT_NE(h, nullptr);

    unsigned char buf[512];
    ASSERT_EQ(libusb_get_descriptor(h, LIBUSB_DT_DEVICE, 0, buf, 18), 18);
    EXPECT_EQ(buf[8] | buf[9] << 8, 0x5E1B);
    EXPECT_EQ(buf[10] | buf[11] << 8, 0x8420);
    EXPECT_EQ(buf[14], 1); // manufacturer, product and serial strings
    EXPECT_EQ(buf[15], 2);
    EXPECT_EQ(buf[16], 3);

    // Configuration: 9 + interface 9 + HID 9 + one endpoint 7 = 34 bytes.
    ASSERT_EQ(libusb_get_descriptor(h, LIBUSB_DT_CONFIG, 0, buf, sizeof buf), 34);
    EXPECT_EQ(buf[2] | buf[3] << 8, 34);
    EXPECT_EQ(libusb_get_descriptor(h, LIBUSB_DT_CONFIG, 0, buf, 9), 9); // short read as libusb does first

    ASSERT_EQ(libusb_get_string_descriptor(h, 0, 0, buf, 255), 6);
    EXPECT_EQ(buf[2] | buf[3] << 8, 0x0409);
    EXPECT_EQ(buf[4] | buf[5] << 8, 0x0804);
    ASSERT_EQ(libusb_get_string_descriptor(h, 3, 0x0409, buf, 255), 8);
    EXPECT_EQ(buf[2] | buf[3] << 8, 0x7B7E);
    EXPECT_EQ(buf[4] | buf[5] << 8, 0x540D);
    EXPECT_EQ(buf[6] | buf[7] << 8, 0x677F);
    ASSERT_EQ(libusb_get_string_descriptor_ascii(h, 2, buf, 255), 5);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(buf), 5), "KV-C1");
    EXPECT_EQ(libusb_get_string_descriptor(h, 9, 0x0409, buf, 255), LIBUSB_ERROR_PIPE);

    // HID report descriptor, as long as the HID class descriptor announces.
    libusb_config_descriptor *cfg = nullptr;
    ASSERT_EQ(libusb_get_active_config_descriptor(libusb_get_device(h), &cfg), 0);
    const unsigned char *hid = cfg->interface[0].altsetting[0].extra;
    const int announced = hid[7] | hid[8] << 8;
    libusb_free_config_descriptor(cfg);
    EXPECT_EQ(libusb_control_transfer(h, 0x81, 6, 0x2200, 0, buf, sizeof buf, 1000), announced);
    libusb_close(h);
}

// A device added after libusb_init arrives through the "add" uevent.
TEST(EmulatorEnumeration, HotplugArrival)
{
    emu::Testbed tb;
    emu::Device &first = tb.add(DeviceSpec::tabletRow(3));
    Host host;
    ASSERT_TRUE(host.sees(first));
    emu::Device &late = tb.add(DeviceSpec::other(0x0bda, 0x0001, 220, 0));
    ASSERT_TRUE(emutest::eventually([&] { return host.sees(late); }));
    EXPECT_NE(late.devnum(), first.devnum());
    libusb_device_handle *h = host.open(late);
    ASSERT_NE(h, nullptr);
    libusb_close(h);
    EXPECT_EQ(tb.devices().size(), 2u);
}
