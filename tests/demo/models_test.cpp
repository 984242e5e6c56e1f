// Choosing a model by name or id, and finding a real tablet in a sysfs tree
// built in a temporary folder (the kernel writes ids in lower case with a
// newline; devices are links, interfaces have no idVendor).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "models.h"

namespace fs = std::filesystem;

TEST(DemoModels, ByNameOrProductId)
{
    const struct {
        const char *name;
        int row;  // from the catalogue's table
    } cases[] = {
        {"KV-C1", 11}, {"kv-c1", 11}, {"8420", 11}, {"0x8420", 11}, {"0X8420", 11},
        {"KV-A1", 0},  {"3101", 0},   {"880c", 8},  {"KV-C5", 15},  {"KV-Z9", -1},
        {"", -1},      {"0x", -1},    {"18420", -1}, {"5E1B", -1},  {"84 20", -1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(demo::modelRow(c.name), c.row) << c.name;
}

TEST(DemoModels, RealTabletInSysfs)
{
    const struct {
        const char *vendor;  // idVendor of device 1-2, reached through a link
        bool found;
    } cases[] = {{"5e1b\n", true}, {"5E1B", true}, {"5e1c\n", false}, {"05e1b\n", false}, {nullptr, false}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.vendor ? c.vendor : "none");
        const fs::path root = fs::path(testing::TempDir()) / "demo_sysfs";
        fs::remove_all(root);
        const fs::path devices = root / "bus/usb/devices", real = root / "devices/usb1";
        fs::create_directories(devices);
        fs::create_directories(real / "1-1:1.0");
        fs::create_directories(real / "1-2");
        std::ofstream(real / "idVendor") << "1d6b\n";
        fs::create_directory_symlink(real, devices / "usb1");
        fs::create_directory_symlink(real / "1-1:1.0", devices / "1-1:1.0");
        if (c.vendor) {
            std::ofstream(real / "1-2/idVendor") << c.vendor;
            fs::create_directory_symlink(real / "1-2", devices / "1-2");
        }
        const std::string found = demo::attachedTablet(devices.string());
        EXPECT_EQ(found, c.found ? (devices / "1-2").string() : "");
    }
    EXPECT_EQ(demo::attachedTablet("/nonexistent/sysfs"), "");
}
