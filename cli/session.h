// The tablet in use by a command, opened and closed the way the window does
// it: discovery, identity, sign mode for a pad, the reader thread; at the end
// start mode and release. Taps on the transport and the reader let the
// command see every report; the tablet layer itself stays as the window has it.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "interrupt.h"
#include "tablet/pxtablet.h"

namespace cli {

class Session {
public:
    // The taps are set before the open and cleared after the close.
    Session(hid_input_tap arrival, PXReportTap report, void *context);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Selects the tablet (the model given, or the one discovery picks) and
    // opens it. Ctrl-C while the tablet keeps the open waiting ends the
    // process. kExitOk, or an exit code after saying why on standard error.
    int open(const std::string &model);
    // Closes the tablet (start mode for a pad); Ctrl-C while the pad keeps
    // the close waiting ends the process. kExitOk, or kExitNoAccess when the
    // pad did not take start mode.
    int close();

    const DEV_INFO_PX &row() const { return Dev_info_px[row_]; }
    const DEVICE_INFO &info() const { return info_; }
    // "KV-C1 (5e1b:8420)"
    std::string name() const;
    // One line: model, ids, firmware and identity.
    std::string describe() const;

    // For the report tap: call with (null, -1) from the reader when the
    // tablet is gone. Wakes the main thread and waits until it has left the
    // transport handle alone.
    void markGone();
    int goneFd() const { return gone_.fd(); }
    bool gone();
    // The report descriptor of the open tablet; false if it is gone or does
    // not give it.
    bool reportDescriptor(std::vector<uint8_t> *out);

private:
    int row_ = -1;
    bool open_ = false;
    DEVICE_INFO info_{};
    Wakeup gone_;
    std::mutex handleLock_;  // held while the main thread uses hDev
    bool isGone_ = false;
};

}  // namespace cli
