// The way of each report into a recording: its arrival at the transport
// (time, bytes), the reader thread (the decoded words: the decoder's state
// may be used only there while the reader runs) and the main thread, which
// writes what is ready, in arrival order.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace cli {

struct Received {
    uint64_t ns = 0;  // arrival, monotonic clock
    std::vector<uint8_t> bytes;
    std::string comment;
};

class ReportTrail {
public:
    explicit ReportTrail(uint16_t pid) : pid_(pid) {}
    void setPid(uint16_t pid) { pid_ = pid; }

    // Taps for the transport (hid_set_input_tap) and the reader
    // (PXSetReportTap), with this trail as context. The reader tap's
    // (null, -1) is left to the caller, in `gone`.
    static void arrivalTap(const unsigned char *data, size_t length, void *trail);
    static void readerTap(const unsigned char *report, int length, void *trail);
    void (*gone)(void *context) = nullptr;
    void *goneContext = nullptr;

    // Only reports that arrive while armed are kept.
    void arm(bool on);
    // Commented reports, oldest first.
    std::vector<Received> takeReady();
    bool arrivalsLeft();
    // At the end: what the reader did not take. With the reader gone (or
    // stopped) it is decoded here, else kept with a note instead of words.
    void flush(bool readerStopped);

private:
    void take(const unsigned char *report, int length);
    uint16_t pid_;
    std::mutex m_;  // guards what follows
    bool armed_ = false;
    std::deque<Received> arrived_;  // not taken by the reader yet
    std::vector<Received> ready_;
};

}  // namespace cli
