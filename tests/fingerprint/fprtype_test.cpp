// Which scanner GetFprType reports for emulated buses, with its trace lines.
#include <sys/resource.h>

#include "../support/private_tmp.h"
#include "../tablet/transport_fixture.h"
#include "emulator/scanners.h"
#include "fingerprint/capfingerdlg.h"

using logtest::takeTrace;
using Lines = std::vector<std::string>;

// Types by hand from the scanner table. A bus without any device of class
// 0, 8 or 220 leaves the caller's value (preset to 9 here to tell it from
// the -1 written once a listing exists). Of two known scanners the one
// listed later decides (kLast: read from the listing's own order).
TEST_F(Bus, GetFprTypeFindsKnownScanners)
{
    const int kLast = -2;
    const struct { const char *what; std::vector<emu::DeviceSpec> devices; int result, type; } cases[] = {
        {"tablet only", {emu::DeviceSpec::tabletPid(0x8420)}, 1, 9},
        {"bitmap scanner", {emu::scannerSpec(0)}, 0, 0},
        {"raw scanner", {emu::scannerSpec(1)}, 0, 1},
        {"second raw scanner beside a tablet", {emu::DeviceSpec::tabletPid(0x8807), emu::scannerSpec(2)}, 0, 2},
        {"foreign scanner", {emu::DeviceSpec::other(0x2309, 0x0607, 0, 8)}, 1, -1},
        {"known ids of another class", {emu::DeviceSpec::other(0x2309, 0x0606, 0, 3)}, 1, 9},
        {"types 0 and 2", {emu::scannerSpec(0), emu::scannerSpec(2)}, 0, kLast},
        {"types 1 and 0", {emu::scannerSpec(1), emu::scannerSpec(0)}, 0, kLast},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        newBus();
        for (const emu::DeviceSpec &d : c.devices)
            bed->add(d);
        int want = c.type;
        struct usb_device_info *list = want == kLast ? usb_enumerate() : nullptr;
        for (auto *node = list; node != nullptr; node = node->next)
            for (const emu::DeviceSpec &d : c.devices)
                if (node->vendor_id == d.vendorId && node->product_id == d.productId)
                    want = d.vendorId == 0x2309 ? 0 : (d.vendorId == 0x28ED ? 1 : 2);
        usb_free_enumeration(list);
        takeTrace();
        int type = 9;
        EXPECT_EQ(GetFprType(&type), c.result);
        EXPECT_EQ(type, want);
        Lines lines{"@@@@@@@@[GetFprType]"};
        if (c.result == 0)
            lines.push_back(want == 0 ? "GetFprType:" : "GetFprType: " + std::to_string(want));
        EXPECT_EQ(takeTrace(), lines);
    }
}

// libusb cannot start when the process may not open another file: one
// descriptor is left for the trace file, none for libusb's own.
TEST_F(Bus, GetFprTypeWithoutUsbContext)
{
    bed->add(emu::scannerSpec(0));
    hid_exit();
    takeTrace();
    struct rlimit saved;
    getrlimit(RLIMIT_NOFILE, &saved);
    const int lowest = dup(0);
    close(lowest);
    struct rlimit tight = {rlim_t(lowest + 1), saved.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    int type = -1;
    const int result = GetFprType(&type);
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(result, 7);
    EXPECT_EQ(type, -1);
    EXPECT_EQ(takeTrace(), (Lines{"@@@@@@@@[GetFprType]", "GetFprType:hid_init fail"}));
}
