// What a host sees of emulated devices before it transfers anything:
// the bus, the descriptors, the strings.
#include "usb_host.h"

#include <array>
#include <tuple>

using namespace emutest;

namespace {

// Per alternate setting: interface class, setting number, IN and OUT packet
// sizes (0: none) and the length of the class descriptor after it.
std::vector<std::array<int, 5>> interfaceOf(libusb_device *d)
{
    std::vector<std::array<int, 5>> alts;
    libusb_config_descriptor *cfg = nullptr;
    if (libusb_get_active_config_descriptor(d, &cfg) != 0)
        return alts;
    EXPECT_EQ(cfg->bNumInterfaces, 1);
    for (int a = 0; a < cfg->interface[0].num_altsetting; ++a) {
        const libusb_interface_descriptor &alt = cfg->interface[0].altsetting[a];
        std::array<int, 5> row{alt.bInterfaceClass, alt.bAlternateSetting, 0, 0, alt.extra_length};
        for (int e = 0; e < alt.bNumEndpoints; ++e) {
            EXPECT_EQ(alt.endpoint[e].bmAttributes & 3, LIBUSB_TRANSFER_TYPE_INTERRUPT);
            row[alt.endpoint[e].bEndpointAddress & 0x80 ? 2 : 3] = alt.endpoint[e].wMaxPacketSize;
        }
        alts.push_back(row);
    }
    libusb_free_config_descriptor(cfg);
    return alts;
}

} // namespace

// Several devices on one bus at once, each with its own descriptors. Sizes are the catalogue's report lengths written out by hand; a
// HID interface carries the 9-byte HID class descriptor.
TEST(EmulatorEnumeration, ManyDevicesWithTheirDescriptors)
{
    DeviceSpec bcd = DeviceSpec::tabletPid(0x8420), alts = DeviceSpec::other(0x1234, 0x0042, 0, 3);
    bcd.bcdDevice = 0x0102;
    alts.altSettings = 3;
    alts.inPacketSize = 16;
    alts.outPacketSize = 32;
    struct Case {
        DeviceSpec profile;
        int vid, pid, bcd, devClass, ifClass, alts, in, out;
    } cases[] = {
        {DeviceSpec::tabletRow(0), 0x5E1B, 0x3101, 0x0100, 0, 3, 1, 20, 0},
        {DeviceSpec::tabletRow(1, true), 0x5E1B, 0x3102, 0x0100, 0, 3, 1, 10, 10},
        {DeviceSpec::tabletPid(0x880F), 0x5E1B, 0x880F, 0x0100, 0, 3, 1, 64, 0},
        {bcd, 0x5E1B, 0x8420, 0x0102, 0, 3, 1, 8, 0},
        {alts, 0x1234, 0x0042, 0x0100, 0, 3, 3, 16, 32},
        {DeviceSpec::other(0x2109, 0x7638, 0, 0), 0x2109, 0x7638, 0x0100, 0, 0, 1, 64, 0},
        {DeviceSpec::other(0x2109, 0x7639, 0, 8), 0x2109, 0x7639, 0x0100, 0, 8, 1, 64, 0},
        {DeviceSpec::other(0x2109, 0x763a, 220, 0xff), 0x2109, 0x763a, 0x0100, 220, 0xff, 1, 64, 0},
    };
    emu::Testbed tb;
    std::vector<emu::Device *> devs;
    for (const Case &c : cases)
        devs.push_back(&tb.add(c.profile));
    Host host;
    for (size_t i = 0; i < devs.size(); ++i) {
        const Case &c = cases[i];
        std::vector<std::array<int, 5>> want;
        for (int a = 0; a < c.alts; ++a)
            want.push_back({c.ifClass, a, c.in, c.out, c.ifClass == 3 ? 9 : 0});
        ASSERT_TRUE(host.at(*devs[i], [&](libusb_device *d) {
            libusb_device_descriptor dd{};
            EXPECT_EQ(libusb_get_device_descriptor(d, &dd), 0);
            EXPECT_EQ(std::make_tuple(dd.idVendor, dd.idProduct, dd.bcdDevice, dd.bDeviceClass),
                      std::make_tuple(c.vid, c.pid, c.bcd, c.devClass)) << i;
            EXPECT_EQ(interfaceOf(d), want) << i;
        }));
    }
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
    // Vendor, product, bcdDevice 0x0100, then string indexes 1, 2, 3; all little-endian.
    ASSERT_EQ(libusb_get_descriptor(h, LIBUSB_DT_DEVICE, 0, buf, 18), 18);
    EXPECT_EQ(Bytes(buf + 8, buf + 17), (Bytes{0x1B, 0x5E, 0x20, 0x84, 0x00, 0x01, 1, 2, 3}));
    // Configuration: 9 + interface 9 + HID 9 + one endpoint 7 = 34 bytes; the
    // HID descriptor gives the report descriptor's length in its bytes 7 and 8.
    ASSERT_EQ(libusb_get_descriptor(h, LIBUSB_DT_CONFIG, 0, buf, sizeof buf), 34);
    const int announced = buf[18 + 7] | buf[18 + 8] << 8;

    ASSERT_EQ(libusb_get_string_descriptor(h, 0, 0, buf, 255), 6);
    EXPECT_EQ(Bytes(buf, buf + 6), (Bytes{6, 3, 0x09, 0x04, 0x04, 0x08}));
    ASSERT_EQ(libusb_get_string_descriptor(h, 3, 0x0409, buf, 255), 8);
    EXPECT_EQ(Bytes(buf, buf + 8), (Bytes{8, 3, 0x7E, 0x7B, 0x0D, 0x54, 0x7F, 0x67}));
    ASSERT_EQ(libusb_get_string_descriptor_ascii(h, 2, buf, 255), 5);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(buf), 5), "KV-C1");
    EXPECT_EQ(libusb_get_string_descriptor(h, 9, 0x0409, buf, 255), LIBUSB_ERROR_PIPE);

    EXPECT_EQ(libusb_control_transfer(h, 0x81, 6, 0x2200, 0, buf, sizeof buf, 1000), announced);
    libusb_close(h);
}
