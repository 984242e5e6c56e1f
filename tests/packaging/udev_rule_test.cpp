// The packaged udev rule grants access to exactly the devices the code knows
// (the sixteen tablets of the catalogue and the three fingerprint scanners),
// and the package announces the same devices to software centres.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <utility>

#include "fingerprint/capfingerdlg.h"
#include "tablet/catalogue.h"

namespace {

using Id = std::pair<unsigned, unsigned>;

std::set<Id> idsOfRule(const char* path, int* uaccess_lines) {
    std::ifstream in(path);
    EXPECT_TRUE(in) << path;
    std::set<Id> ids;
    std::regex match(R"re(ATTR\{idVendor\}=="([0-9a-f]{4})", ATTR\{idProduct\}=="([0-9a-f]{4})", TAG\+="uaccess")re");
    std::string line;
    *uaccess_lines = 0;
    while (std::getline(in, line)) {
        std::smatch m;
        if (line.rfind("#", 0) != 0 && line.find("uaccess") != std::string::npos)
            ++*uaccess_lines;
        if (std::regex_search(line, m, match))
            ids.insert({std::stoul(m[1], nullptr, 16), std::stoul(m[2], nullptr, 16)});
    }
    return ids;
}

std::set<Id> modaliasesOf(const char* path) {
    std::ifstream in(path);
    EXPECT_TRUE(in) << path;
    std::set<Id> ids;
    std::regex match(R"re(<modalias>usb:v([0-9A-F]{4})p([0-9A-F]{4})d\*</modalias>)re");
    std::string line;
    while (std::getline(in, line)) {
        std::smatch m;
        if (std::regex_search(line, m, match))
            ids.insert({std::stoul(m[1], nullptr, 16), std::stoul(m[2], nullptr, 16)});
    }
    return ids;
}

std::set<Id> knownDevices() {
    std::set<Id> ids;
    for (const DEV_INFO_PX& row : Dev_info_px)
        ids.insert({row.vid, row.pid});
    for (const FprInfo& row : g_pFpr_Info)
        ids.insert({row.vid, row.pid});
    return ids;
}

TEST(UdevRule, NamesEveryTabletAndScannerAndNothingElse) {
    std::set<Id> expected = knownDevices();
    ASSERT_EQ(expected.size(), 19u);

    int uaccess_lines = 0;
    std::set<Id> ids = idsOfRule(std::getenv("SP_UDEV_RULE"), &uaccess_lines);
    EXPECT_EQ(ids, expected);
    // A line that grants access in some other spelling would escape the
    // comparison above.
    EXPECT_EQ(uaccess_lines, 19);
}

// The hardware the package announces to software centres is the same list.
TEST(Metainfo, AnnouncesEveryTabletAndScanner) {
    EXPECT_EQ(modaliasesOf(std::getenv("SP_METAINFO")), knownDevices());
}

}  // namespace
