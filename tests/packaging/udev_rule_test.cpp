// The packaged udev rule grants access to exactly the devices the code knows:
// the sixteen tablets of the catalogue and the three fingerprint scanners.
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

TEST(UdevRule, NamesEveryTabletAndScannerAndNothingElse) {
    std::set<Id> expected;
    for (const DEV_INFO_PX& row : Dev_info_px)
        expected.insert({row.vid, row.pid});
    for (const FprInfo& row : g_pFpr_Info)
        expected.insert({row.vid, row.pid});
    ASSERT_EQ(expected.size(), 19u);

    int uaccess_lines = 0;
    std::set<Id> ids = idsOfRule(std::getenv("SP_UDEV_RULE"), &uaccess_lines);
    EXPECT_EQ(ids, expected);
    // A line that grants access in some other spelling would escape the
    // comparison above.
    EXPECT_EQ(uaccess_lines, 19);
}

}  // namespace
