// Recordings of a tablet's input reports in the text format of hid-tools'
// hid-recorder: a '#' comment header, R: (report descriptor), N: (name),
// I: (bus vendor product, hex), then one E: line per report, each after a
// '#' line with the report as our decoder reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tablet/pxtablet.h"

namespace hidrec {

struct Header {
    std::string name;                 // N:
    uint32_t bus = 3;                 // I: (3 = USB)
    uint16_t vid = 0x5e1b;
    uint16_t pid = 0;
    std::vector<uint8_t> descriptor;  // R:
};

struct Event {
    uint64_t usec = 0;                // since the first report
    std::vector<uint8_t> bytes;
    size_t line = 0;                  // line number of the E: line (reader)
};

// One problem in a file: "FILE:LINE: what".
struct Error {
    std::string file;
    size_t line = 0;
    std::string what;
    std::string message() const;
};

// Writes to a temporary file beside the target and renames it on finish(),
// so the target is either absent or a complete file. Every write is checked;
// a full disk ends the recording with diskFull() set.
class Writer {
public:
    Writer() = default;
    ~Writer();                        // abandons an unfinished file
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    bool open(const std::string &path, const Header &header, std::string *error);
    // usec: time since the first report; comment: the decoded report (one line).
    bool add(uint64_t usec, const uint8_t *bytes, size_t length, const std::string &comment, std::string *error);
    // Flushes, syncs and renames; the file then holds every report added.
    // After a full disk it still renames the complete lines written before
    // it, and returns false with diskFull() set.
    bool finish(std::string *error);
    bool diskFull() const { return diskFull_; }
    size_t events() const { return events_; }

private:
    bool flush(std::string *error);

    int fd_ = -1;
    std::string path_, temp_;
    std::string pending_;             // whole lines not yet written
    long long written_ = 0;           // bytes of the file that hold whole lines
    uint64_t lastUsec_ = 0;
    bool diskFull_ = false;
    size_t events_ = 0;
};

// Reads a whole recording; lines are bounded, so a huge line is refused
// without being held in memory. False with *error set at the first problem.
bool readFile(const std::string &path, Header *header, std::vector<Event> *events, Error *error);

// One report decoded for the model with this product id, as one line of
// text: the event the tablet layer's decoder makes of this report alone,
// from its start state ("x=.. y=.. pressure=.. state=.. key=.."), or what
// the report is when it yields none. It leaves the decoding state as it
// found it, but it uses it: call it on the thread that decodes (the
// reader's callbacks) or where no reader runs.
std::string describe(uint16_t pid, const uint8_t *bytes, size_t length);

// The text of one event, as describe() and the decoded listing write it.
std::string formatTouch(const TOUCH_INFO &touch);
std::string formatMultiTouch(const MULTITOUCH_INFO &mt);

// One event as the tablet layer's reader dispatches it.
struct Decoded {
    uint64_t usec = 0;                // of the report that produced it
    bool multi = false;               // multiTouch rather than touch
    TOUCH_INFO touch{};
    MULTITOUCH_INFO multiTouch{};
};

// The events of a stream of reports of one model, in the order and with
// the values the reader thread would dispatch them: the same decoding steps
// and state, the multi-touch report put together from its two reads. It
// works on the tablet layer's process-wide decoding state and callback
// tables (saved on construction, put back on destruction), so it runs only
// where no tablet is open and only one at a time.
class Decoder {
public:
    explicit Decoder(uint16_t pid);
    ~Decoder();
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    void feed(uint64_t usec, const uint8_t *bytes, size_t length, std::vector<Decoded> *out);

private:
    struct Saved;
    Saved *saved_;
    int row_;
    int readLen_;
    unsigned char buffer_[64] = {};
    size_t have_ = 0;                 // bytes of a multi-touch report read so far
    TOUCH_INFO touch_{};
};

// `replay --decode`: reads the file and prints one line per event,
// "SSSSSS.UUUUUU " and the event's text. Nothing is printed from a file
// that does not read cleanly. Returns the number of events or -1.
long long printDecoded(const std::string &path, std::FILE *out, Error *error);

}  // namespace hidrec
