// The events of a recording as the tablet layer's reader would dispatch
// them, for `replay --decode` and for comparing a replay with its original.
#include "recording/hidrec.h"

#include <algorithm>
#include <cstring>

#include "tablet/catalogue.h"

namespace hidrec {

namespace {

constexpr size_t kMultiTouchLen = 52;
constexpr uint8_t kMultiTouchReportId = 14;
// The reader reads the rest of a multi-touch report into this byte on.
constexpr size_t kMultiTouchRestAt = 10;

// Where the capturing callbacks put what the decoder dispatches.
std::vector<Decoded> *g_sink = nullptr;
uint64_t g_sinkUsec = 0;

int captureTouch(TOUCH_INFO t)
{
    Decoded d;
    d.usec = g_sinkUsec;
    d.touch = t;
    g_sink->push_back(d);
    return 1;
}

int captureMulti(MULTITOUCH_INFO mt)
{
    Decoded d;
    d.usec = g_sinkUsec;
    d.multi = true;
    d.multiTouch = mt;
    g_sink->push_back(d);
    return 1;
}

}  // namespace

// The process-wide state the decoder borrows.
struct Decoder::Saved {
    TouchInfoCallBack touch[kCallbackSlots];
    MultiTouchInfoCallBack multi[kCallbackSlots];
    PXDecodeState decoding;
};

Decoder::Decoder(uint16_t pid) : saved_(new Saved), row_(catalogueRowOfPid(pid))
{
    PXGetDecodeState(&saved_->decoding);
    std::memcpy(saved_->touch, Touchcallback, sizeof saved_->touch);
    std::memcpy(saved_->multi, MultiTouchcallback, sizeof saved_->multi);
    PXResetDecodeState();
    std::fill(std::begin(Touchcallback), std::end(Touchcallback), nullptr);
    std::fill(std::begin(MultiTouchcallback), std::end(MultiTouchcallback), nullptr);
    Touchcallback[0] = captureTouch;
    MultiTouchcallback[0] = captureMulti;
    readLen_ = row_ >= 0 ? Dev_info_px[row_].reportLen : 0;
}

Decoder::~Decoder()
{
    std::memcpy(Touchcallback, saved_->touch, sizeof saved_->touch);
    std::memcpy(MultiTouchcallback, saved_->multi, sizeof saved_->multi);
    PXSetDecodeState(&saved_->decoding);
    delete saved_;
}

// One report as one read of the reader thread gets it: at most the length
// it asked for, the reader's steps after that.
void Decoder::feed(uint64_t usec, const uint8_t *bytes, size_t length, std::vector<Decoded> *out)
{
    if (row_ < 0 || length == 0)
        return;
    const DEV_INFO_PX &row = Dev_info_px[row_];
    g_sink = out;
    g_sinkUsec = usec;
    if (row.isPad) {
        // Every pad report is dispatched, also one that leaves the record.
        const size_t n = std::min(length, size_t(readLen_));
        std::memcpy(buffer_, bytes, n);
        Analize_TabletPacket(buffer_, int(n), row.pid, &touch_);
        disptchEvent(touch_);
    } else if (have_) {
        // The second read of a multi-touch report.
        const size_t n = std::min(length, kMultiTouchLen - have_);
        std::memcpy(buffer_ + kMultiTouchRestAt, bytes, n);
        const size_t total = have_ + n;
        have_ = 0;
        readLen_ = int(kMultiTouchLen);
        if (total >= kMultiTouchLen)
            PXHandleDisplayReport(buffer_, row.reportLen, row.devType, &touch_);
    } else {
        const size_t n = std::min(length, size_t(readLen_));
        std::memcpy(buffer_, bytes, n);
        if (buffer_[0] == kMultiTouchReportId && readLen_ != int(kMultiTouchLen)) {
            have_ = n;  // the rest comes with the next report
        } else {
            readLen_ = row.reportLen;
            if (n >= size_t(readLen_))
                PXHandleDisplayReport(buffer_, row.reportLen, row.devType, &touch_);
        }
    }
    g_sink = nullptr;
}

namespace {

// One line of the listing, straight into the stream: the decoder's own
// line for the OK key ("read btn ...", on standard output) then stays in its
// place among the events.
void printLine(std::FILE *out, uint64_t usec, const std::string &text)
{
    std::fprintf(out, "%06llu.%06llu %s\n", static_cast<unsigned long long>(usec / 1000000),
                 static_cast<unsigned long long>(usec % 1000000), text.c_str());
}

}  // namespace

long long printDecoded(const std::string &path, std::FILE *out, Error *error)
{
    Header header;
    std::vector<Event> events;
    if (!readFile(path, &header, &events, error))
        return -1;
    Decoder decoder(header.pid);
    std::vector<Decoded> decoded;
    long long count = 0;
    for (const Event &e : events) {
        decoded.clear();
        decoder.feed(e.usec, e.bytes.data(), e.bytes.size(), &decoded);
        for (const Decoded &d : decoded)
            printLine(out, d.usec, d.multi ? formatMultiTouch(d.multiTouch) : formatTouch(d.touch));
        count += static_cast<long long>(decoded.size());
    }
    return count;
}

}  // namespace hidrec
