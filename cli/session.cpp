#include "session.h"

#include <cstdio>

#include "devices.h"
#include "exitcodes.h"

namespace cli {

namespace {

std::string layerText(int code)
{
    char text[64] = {};
    GetErrorMessage(code, text);
    return std::string(text) + ", " + std::to_string(code);
}

void say(const std::string &text)
{
    std::fprintf(stderr, "slateprobe-cli: %s\n", text.c_str());
}

}  // namespace

Session::Session(hid_input_tap arrival, PXReportTap report, void *context)
{
    hid_set_input_tap(arrival, context);
    PXSetReportTap(report, context);
}

Session::~Session()
{
    if (open_)
        close();
    else
        CloseDevice();  // after a failed open: gives the USB context back
    hid_set_input_tap(nullptr, nullptr);
    PXSetReportTap(nullptr, nullptr);
}

std::string Session::name() const
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%s (%04x:%04x)", row().model, row().vid, row().pid);
    return buf;
}

std::string Session::describe() const
{
    char buf[192];
    int n = std::snprintf(buf, sizeof buf, "%s, %s, firmware %.4s", name().c_str(),
                          row().isPad ? "signature pad" : "display tablet", info_.firmware);
    if (g_nSerial >= 11 && n > 0 && n < (int)sizeof buf) {
        const unsigned char *s = info_.serial;
        const unsigned id = s[3] | (s[4] << 8) | (s[5] << 16) | (static_cast<unsigned>(s[6]) << 24);
        std::snprintf(buf + n, sizeof buf - n, ", category %u, pid %u, industry %d, number %d", s[2], id,
                      static_cast<int16_t>(s[7] | (s[8] << 8)), static_cast<int16_t>(s[9] | (s[10] << 8)));
    }
    return buf;
}

int Session::open(const std::string &model)
{
    if (!model.empty()) {
        const int want = rowOfModel(model);
        if (want < 0) {
            say("no model " + model + " in the catalogue (give a name such as KV-C1, or a product id such as 8420)");
            return kExitUsage;
        }
        if (FindTavrelTablet_Pid(0, Dev_info_px[want].pid) < 0) {
            char buf[64];
            std::snprintf(buf, sizeof buf, "no %s (%04x:%04x) attached", Dev_info_px[want].model,
                          kTavrelVendorId, Dev_info_px[want].pid);
            say(buf);
            return kExitNoTablet;
        }
    } else if (GetDeviceStatus() != 0) {
        say("no tablet attached");
        return kExitNoTablet;
    }
    row_ = g_uDevinfo_index;
    const bool pad = row().isPad == 1;
    const int res = runInterruptible(
        [] { return OpenDevice(); },
        pad ? "waiting for the tablet to enter sign mode" : "waiting for the tablet to answer",
        "slateprobe-cli: interrupted while opening " + name());
    switch (res) {
    case PX_OK:
        break;
    case PX_ERR_NO_DEVICE:
        say("no tablet attached");
        return kExitNoTablet;
    case PX_ERR_OPEN: {
        std::vector<UsbDevice> devices;
        std::string error;
        if (listDevices(&devices, &error)) {
            for (const UsbDevice &d : devices) {
                if (d.tablet && d.pid == row().pid && d.accessDenied) {
                    std::fputs(accessAdvice(d).c_str(), stderr);
                    return kExitNoAccess;
                }
            }
        }
        say("cannot open " + name() + " (" + layerText(res) + ")");
        return kExitNoAccess;
    }
    case PX_ERR_NO_ANSWER:
        say(name() + " did not take its identity and sign-mode commands (" + layerText(res) + ")");
        return kExitNoAccess;
    default:
        say("cannot open " + name() + " (" + layerText(res) + ")");
        return kExitNoAccess;
    }
    open_ = true;
    GetDeviceInfo(&info_);
    return kExitOk;
}

int Session::close()
{
    if (!open_)
        return kExitOk;
    open_ = false;
    const int res = runInterruptible([] { return CloseDevice(); },
                                     "waiting for the tablet to return to its start screen",
                                     "slateprobe-cli: interrupted; " + name() + " is left in sign mode");
    if (res != 0) {
        say(name() + " did not take the start-mode command (" + layerText(res) + ")");
        return kExitNoAccess;
    }
    return kExitOk;
}

void Session::markGone()
{
    std::lock_guard<std::mutex> lock(handleLock_);
    isGone_ = true;
    gone_.set();
}

bool Session::gone()
{
    std::lock_guard<std::mutex> lock(handleLock_);
    return isGone_;
}

bool Session::reportDescriptor(std::vector<uint8_t> *out)
{
    std::lock_guard<std::mutex> lock(handleLock_);
    if (isGone_ || hDev == nullptr)
        return false;
    unsigned char buf[4096];
    const int n = hid_get_report_descriptor(hDev, buf, sizeof buf);
    if (n <= 0)
        return false;
    out->assign(buf, buf + n);
    return true;
}

}  // namespace cli
