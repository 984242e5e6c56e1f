// Model names and the look for a real tablet in sysfs.
#include "models.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tablet/catalogue.h"

namespace demo {

namespace {

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

}  // namespace

int modelRow(const std::string &name)
{
    const std::string want = lower(name);
    for (int row = 0; row < kTabletCatalogueRows; ++row) {
        if (lower(Dev_info_px[row].model) == want)
            return row;
    }
    std::string digits = want.rfind("0x", 0) == 0 ? want.substr(2) : want;
    if (digits.empty() || digits.size() > 4 || !std::all_of(digits.begin(), digits.end(), ::isxdigit))
        return -1;
    return catalogueRowOfPid(uint16_t(std::strtoul(digits.c_str(), nullptr, 16)));
}

std::string attachedTablet(const std::string &devicesDir)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    std::vector<fs::path> entries;
    for (const auto &entry : fs::directory_iterator(devicesDir, ec))
        entries.push_back(entry.path());
    std::sort(entries.begin(), entries.end());
    for (const fs::path &dev : entries) {
        // Devices are links to folders; interfaces ("1-1:1.0") have no idVendor.
        std::ifstream in(dev / "idVendor");
        std::string vendor;
        if (in >> vendor && lower(vendor) == "5e1b")
            return dev.string();
    }
    return "";
}

}  // namespace demo
