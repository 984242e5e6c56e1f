// slateprobe-cli list: the tablets of the catalogue and the known scanners on
// the bus, and whether this user may open each.
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "devices.h"
#include "exitcodes.h"
#include "options.h"

using namespace cli;

namespace {

const char kUsage[] =
    "Usage: slateprobe-cli list [--json]\n"
    "\n"
    "One line per attached tablet of the catalogue and per known fingerprint\n"
    "scanner: bus:address, vendor:product, the model, and whether this user may\n"
    "open it. For a device node this user may not open it says which node and\n"
    "how to fix the udev rule.\n"
    "\n"
    "  --json       the same as one JSON array of objects with the keys kind\n"
    "               (\"tablet\" or \"scanner\"), bus, address, node, vid, pid\n"
    "               (4-digit hex text), model, access (true/false) and error\n"
    "  -h, --help   this text\n"
    "\n"
    "Exit: 0 a tablet is there and every device listed may be opened, 1 no\n"
    "tablet, 2 bad command line, 5 a device listed may not be opened.\n";

std::string jsonText(const std::string &s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string ids(const UsbDevice &d)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "%04x:%04x", d.vid, d.pid);
    return buf;
}

}  // namespace

int cmd_list(int argc, char **argv)
{
    Options opts;
    opts.flag("--help");
    opts.flag("--json");
    std::string error;
    if (!opts.parse(argc, argv, &error) || !opts.positional().empty()) {
        std::fprintf(stderr, "slateprobe-cli list: %s\n%s", error.empty() ? "takes no arguments" : error.c_str(),
                     kUsage);
        return kExitUsage;
    }
    if (opts.has("--help")) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    std::vector<UsbDevice> devices;
    if (!listDevices(&devices, &error)) {
        std::fprintf(stderr, "slateprobe-cli: %s\n", error.c_str());
        return kExitNoAccess;
    }

    const bool json = opts.has("--json");
    bool tablet = false, denied = false;
    if (json)
        std::fputs("[", stdout);
    for (size_t i = 0; i < devices.size(); ++i) {
        const UsbDevice &d = devices[i];
        tablet = tablet || d.tablet;
        denied = denied || !d.mayOpen;
        if (json) {
            std::printf("%s\n  {\"kind\": \"%s\", \"bus\": %d, \"address\": %d, \"node\": %s, \"vid\": \"%04x\", "
                        "\"pid\": \"%04x\", \"model\": %s, \"access\": %s, \"error\": %s}",
                        i ? "," : "", d.tablet ? "tablet" : "scanner", d.bus, d.address, jsonText(d.node).c_str(),
                        d.vid, d.pid, jsonText(d.model).c_str(), d.mayOpen ? "true" : "false",
                        d.mayOpen ? "null" : jsonText(d.problem).c_str());
        } else {
            std::printf("%03d:%03d  %s  %-7s  %-28s  %s\n", d.bus, d.address, ids(d).c_str(),
                        d.tablet ? "tablet" : "scanner", d.model.c_str(),
                        d.mayOpen ? "may open" : ("may not open: " + d.problem).c_str());
        }
    }
    if (json)
        std::fputs(devices.empty() ? "]\n" : "\n]\n", stdout);
    std::fflush(stdout);

    for (const UsbDevice &d : devices) {
        if (d.accessDenied)
            std::fputs(accessAdvice(d).c_str(), stderr);
        else if (!d.mayOpen)
            std::fprintf(stderr, "slateprobe-cli: %s (%s, %s) cannot be opened: %s\n", d.node.c_str(),
                         d.model.c_str(), ids(d).c_str(), d.problem.c_str());
    }
    if (!tablet)
        std::fputs("slateprobe-cli: no tablet attached\n", stderr);
    if (denied)
        return kExitNoAccess;
    return tablet ? kExitOk : kExitNoTablet;
}
