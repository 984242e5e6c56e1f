// Which scanner GetFprType reports for emulated buses, with its trace lines.
#include <sys/resource.h>
#include <unistd.h>

#include "../log/private_tmp.h"
#include "../tablet/transport_fixture.h"
#include "emulator/scanners.h"
#include "fingerprint/capfingerdlg.h"

namespace {

// Trace texts since the last reset, stamps removed.
std::vector<std::string> trace()
{
    std::vector<std::string> lines;
    std::istringstream in(logtest::readFile("/tmp/PXSlateProbe.log"));
    for (std::string line; std::getline(in, line);)
        lines.push_back(line.substr(18));
    unlink("/tmp/PXSlateProbe.log");
    return lines;
}

const std::string kHead = "@@@@@@@@[GetFprType]";

} // namespace

// Types by hand from the scanner table. A bus without any device of class
// 0, 8 or 220 leaves the caller's value (preset to 9 here to tell it from
// the -1 written once a listing exists).
TEST_F(Bus, GetFprTypeFindsKnownScanners)
{
    struct Case {
        const char *what;
        std::vector<emu::DeviceSpec> devices;
        int result;
        int type;
        std::vector<std::string> lines;
    } cases[] = {
        {"empty bus", {}, 1, 9, {kHead}},
        {"tablet only", {emu::DeviceSpec::tabletPid(0x8420)}, 1, 9, {kHead}},
        {"bitmap scanner", {emu::scannerSpec(0)}, 0, 0, {kHead, "GetFprType:"}},
        {"raw scanner", {emu::scannerSpec(1)}, 0, 1, {kHead, "GetFprType: 1"}},
        {"second raw scanner", {emu::scannerSpec(2)}, 0, 2, {kHead, "GetFprType: 2"}},
        {"beside a tablet", {emu::DeviceSpec::tabletPid(0x8807), emu::scannerSpec(1)}, 0, 1,
         {kHead, "GetFprType: 1"}},
        {"foreign scanner", {emu::DeviceSpec::other(0x2309, 0x0607, 0, 8)}, 1, -1, {kHead}},
        {"known ids of another class", {emu::DeviceSpec::other(0x2309, 0x0606, 0, 3)}, 1, 9, {kHead}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        newBus();
        for (const emu::DeviceSpec &d : c.devices)
            bed->add(d);
        trace();
        int type = 9;
        EXPECT_EQ(GetFprType(&type), c.result);
        EXPECT_EQ(type, c.type);
        EXPECT_EQ(trace(), c.lines);
    }
}

// Of two known scanners the one listed later decides, whatever their rows:
// the expected type follows the order of the listing itself.
TEST_F(Bus, GetFprTypeLastListedScannerWins)
{
    for (const auto &pair : {std::make_pair(0, 2), std::make_pair(2, 0), std::make_pair(1, 0)}) {
        newBus();
        bed->add(emu::scannerSpec(pair.first));
        bed->add(emu::scannerSpec(pair.second));
        int last = -1;
        struct usb_device_info *list = usb_enumerate();
        for (auto *node = list; node != nullptr; node = node->next)
            for (int row = 0; row < 3; ++row)
                if (node->vendor_id == g_pFpr_Info[row].vid && node->product_id == g_pFpr_Info[row].pid)
                    last = row;
        usb_free_enumeration(list);
        int type = -1;
        EXPECT_EQ(GetFprType(&type), 0);
        EXPECT_EQ(type, last);
    }
}

// libusb cannot start when the process may not open another file: one
// descriptor is left for the trace file, none for libusb's own.
TEST_F(Bus, GetFprTypeWithoutUsbContext)
{
    bed->add(emu::scannerSpec(0));
    hid_exit();
    trace();
    struct rlimit saved;
    getrlimit(RLIMIT_NOFILE, &saved);
    const int lowest = dup(0);
    close(lowest);
    struct rlimit tight = saved;
    tight.rlim_cur = lowest + 1;
    setrlimit(RLIMIT_NOFILE, &tight);
    int type = -1;
    const int result = GetFprType(&type);
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(result, 7);
    EXPECT_EQ(type, -1);
    EXPECT_EQ(trace(), (std::vector<std::string>{kHead, "GetFprType:hid_init fail"}));
}
