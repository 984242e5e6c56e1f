// slateprobe-cli list on an emulated bus, run as a child process the way a
// technician runs it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "child.h"
#include "emulator/emulator.h"
#include "emulator/scanners.h"

namespace {

std::string busAddress(emu::Device &d)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "%03d:%03d", d.busnum(), d.devnum());
    return buf;
}

class ListTest : public ::testing::Test {
protected:
    void SetUp() override { bed = std::make_unique<emu::Testbed>(); }
    std::unique_ptr<emu::Testbed> bed;
};

TEST_F(ListTest, TabletAndScannersOneLineEach)
{
    emu::Device &pad = bed->add(emu::DeviceSpec::tabletPid(0x8420));
    // Not of the catalogue: another vendor with a catalogued product id.
    bed->add(emu::DeviceSpec::other(0x1234, 0x8421, 0, 3));
    std::vector<emu::Device *> scanners;
    for (int type = 0; type < 3; ++type)
        scanners.push_back(&bed->add(emu::scannerSpec(type)));

    Child list({SP_CLI, "list"});
    ASSERT_EQ(list.wait(), 0) << list.err;
    EXPECT_NE(list.out.find(busAddress(pad) + "  5e1b:8420  tablet   KV-C1"), std::string::npos) << list.out;
    // Ids of the three known scanners, written down from the scanner table.
    const char *ids[] = {"2309:0606", "28ed:2043", "0453:9005"};
    for (int type = 0; type < 3; ++type)
        EXPECT_NE(list.out.find(busAddress(*scanners[type]) + "  " + ids[type] + "  scanner  fingerprint scanner, type " +
                                std::to_string(type)),
                  std::string::npos)
            << list.out;
    EXPECT_EQ(list.out.find("1234:"), std::string::npos) << list.out;
    EXPECT_EQ(std::count(list.out.begin(), list.out.end(), '\n'), 4) << list.out;

    Child json({SP_CLI, "list", "--json"});
    ASSERT_EQ(json.wait(), 0) << json.err;
    EXPECT_EQ(json.out.front(), '[');
    EXPECT_NE(json.out.find("{\"kind\": \"tablet\", \"bus\": " + std::to_string(pad.busnum()) +
                            ", \"address\": " + std::to_string(pad.devnum()) + ", \"node\": \"" + pad.devnode() +
                            "\", \"vid\": \"5e1b\", \"pid\": \"8420\", \"model\": \"KV-C1\", \"access\": true, "
                            "\"error\": null}"),
              std::string::npos)
        << json.out;
    EXPECT_EQ(std::count(json.out.begin(), json.out.end(), '{'), 4);
}

TEST_F(ListTest, NoTabletSaysSo)
{
    bed->add(emu::scannerSpec(1));
    Child list({SP_CLI, "list"});
    EXPECT_EQ(list.wait(), 1);
    EXPECT_NE(list.err.find("no tablet attached"), std::string::npos) << list.err;

    Child json({SP_CLI, "list", "--json"});
    EXPECT_EQ(json.wait(), 1);
    EXPECT_EQ(std::count(json.out.begin(), json.out.end(), '{'), 1) << json.out;
}

// A node this user may not open: the words a technician acts on.
TEST_F(ListTest, NodeWithoutPermissionGivesTheUdevWords)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to run the program as another user";
    emu::Device &pad = bed->add(emu::DeviceSpec::tabletPid(0x880F));
    // The test bed is private to root: nobody must see the bus (and reach the
    // emulator's sockets), only not open the node.
    ASSERT_EQ(system(("chmod -R a+rwX " + bed->rootDir()).c_str()), 0);
    const std::string node = bed->rootDir() + pad.devnode();
    ASSERT_EQ(chmod(node.c_str(), 0600), 0);

    Child list({"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", SP_CLI, "list"});
    EXPECT_EQ(list.wait(), 5) << list.err;
    EXPECT_NE(list.out.find("KV-C4"), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("may not open: permission denied"), std::string::npos) << list.out;
    for (const char *words : {"70-slateprobe.rules is missing or not applied",
                              "cp packaging/70-slateprobe.rules /etc/udev/rules.d/",
                              "udevadm control --reload && udevadm trigger"})
        EXPECT_NE(list.err.find(words), std::string::npos) << words << "\n" << list.err;
    EXPECT_NE(list.err.find(pad.devnode() + " (KV-C4, 5e1b:880f)"), std::string::npos) << list.err;
}

}  // namespace
