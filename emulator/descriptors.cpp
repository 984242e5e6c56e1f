// USB descriptors and the umockdev record of a virtual device.
#include "device_impl.h"

#include <glib.h>

#include <cstdio>

namespace emu {
namespace desc {
namespace {

void put16(Bytes &b, uint16_t v)
{
    b.push_back(uint8_t(v & 0xff));
    b.push_back(uint8_t(v >> 8));
}

bool isHid(const DeviceSpec &profile) { return profile.interfaceClass == 3; }

uint8_t stringIndex(const std::string &text, uint8_t index) { return text.empty() ? 0 : index; }

} // namespace

Bytes reportDescriptor(const DeviceSpec &profile)
{
    if (!profile.reportDescriptor.empty())
        return profile.reportDescriptor;
    // Vendor page, one application collection, byte-wide input and output
    // items as long as the endpoints' packets.
    Bytes r = {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x26, 0xff, 0x00, 0x75, 0x08};
    if (profile.inPacketSize) {
        r.insert(r.end(), {0x96});
        put16(r, profile.inPacketSize);
        r.insert(r.end(), {0x09, 0x01, 0x81, 0x02});
    }
    if (profile.outPacketSize) {
        r.insert(r.end(), {0x96});
        put16(r, profile.outPacketSize);
        r.insert(r.end(), {0x09, 0x01, 0x91, 0x02});
    }
    r.push_back(0xc0);
    return r;
}

Bytes deviceAndConfig(const DeviceSpec &profile, const Bytes &reportDesc)
{
    Bytes d = {18, 1};
    put16(d, 0x0200);
    d.insert(d.end(), {profile.deviceClass, 0, 0, 64});
    put16(d, profile.vendorId);
    put16(d, profile.productId);
    put16(d, profile.bcdDevice);
    d.insert(d.end(), {stringIndex(profile.manufacturer, 1), stringIndex(profile.product, 2),
                       stringIndex(profile.serial, 3), 1});

    const uint8_t endpoints = uint8_t((profile.inPacketSize ? 1 : 0) + (profile.outPacketSize ? 1 : 0));
    Bytes c = {9, 2, 0, 0, 1, 1, 0, 0x80, 50};
    const int alts = profile.altSettings ? profile.altSettings : 1;
    for (int alt = 0; alt < alts; ++alt) {
        c.insert(c.end(), {9, 4, 0, uint8_t(alt), endpoints, profile.interfaceClass, 0, 0, 0});
        if (isHid(profile)) {
            c.insert(c.end(), {9, 0x21, 0x11, 0x01, 0, 1, 0x22});
            put16(c, uint16_t(reportDesc.size()));
        }
        if (profile.inPacketSize) {
            c.insert(c.end(), {7, 5, kInEndpoint, 3});
            put16(c, profile.inPacketSize);
            c.push_back(1);
        }
        if (profile.outPacketSize) {
            c.insert(c.end(), {7, 5, kOutEndpoint, 3});
            put16(c, profile.outPacketSize);
            c.push_back(1);
        }
    }
    c[2] = uint8_t(c.size() & 0xff);
    c[3] = uint8_t(c.size() >> 8);
    d.insert(d.end(), c.begin(), c.end());
    return d;
}

std::optional<Bytes> string(const DeviceSpec &profile, uint8_t index)
{
    if (index == 0) {
        if (profile.languages.empty())
            return std::nullopt;
        Bytes b = {uint8_t(2 + 2 * profile.languages.size()), 3};
        for (uint16_t lang : profile.languages)
            put16(b, lang);
        return b;
    }
    const std::string *text = index == 1 ? &profile.manufacturer
                              : index == 2 ? &profile.product
                              : index == 3 ? &profile.serial
                                           : nullptr;
    if (!text || text->empty())
        return std::nullopt;
    glong units = 0;
    gunichar2 *utf16 = g_utf8_to_utf16(text->c_str(), -1, nullptr, &units, nullptr);
    if (!utf16)
        return std::nullopt;
    if (units > 126) // a descriptor's length is one byte
        units = 126;
    Bytes b = {uint8_t(2 + 2 * units), 3};
    for (glong i = 0; i < units; ++i)
        put16(b, utf16[i]);
    g_free(utf16);
    return b;
}

std::string umockdevRecord(const DeviceSpec &profile, const std::string &syspath, uint8_t busnum,
                           uint8_t devnum, const Bytes &descriptors)
{
    char buf[512];
    std::snprintf(buf, sizeof buf,
                  "P: %s\n"
                  "E: SUBSYSTEM=usb\n"
                  "E: DEVTYPE=usb_device\n"
                  "E: DEVNAME=/dev/bus/usb/%03u/%03u\n"
                  "E: BUSNUM=%03u\n"
                  "E: DEVNUM=%03u\n"
                  "E: PRODUCT=%x/%x/%x\n"
                  "A: busnum=%u\\n\n"
                  "A: devnum=%u\\n\n"
                  "A: bConfigurationValue=1\\n\n"
                  "A: bNumConfigurations=1\\n\n"
                  "A: speed=12\\n\n"
                  "A: idVendor=%04x\\n\n"
                  "A: idProduct=%04x\\n\n"
                  "A: bcdDevice=%04x\\n\n"
                  "A: bDeviceClass=%02x\\n\n",
                  syspath.c_str() + (syspath.rfind("/sys", 0) == 0 ? 4 : 0), busnum, devnum, busnum, devnum, profile.vendorId, profile.productId,
                  profile.bcdDevice, busnum, devnum, profile.vendorId, profile.productId, profile.bcdDevice,
                  profile.deviceClass);
    std::string rec = buf;
    rec += "H: descriptors=";
    static const char hex[] = "0123456789ABCDEF";
    for (uint8_t b : descriptors) {
        rec += hex[b >> 4];
        rec += hex[b & 15];
    }
    rec += "\n";
    return rec;
}

} // namespace desc

Bytes DeviceSpec::hidReportDescriptor() const
{
    return desc::reportDescriptor(*this);
}
} // namespace emu
