// Recordings of a tablet's input reports in the text format of hid-tools'
// hid-recorder: a '#' comment header, R: (report descriptor), N: (name),
// I: (bus vendor product, hex), then one E: line per report, each after a
// '#' line with the report as our decoder reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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
    bool finish(std::string *error);
    bool diskFull() const { return diskFull_; }
    size_t events() const { return events_; }

private:
    int fd_ = -1;
    std::string path_, temp_;
    std::string pending_;
    bool diskFull_ = false;
    size_t events_ = 0;
};

// Reads a whole recording; lines are bounded, so a huge line is refused
// without being held in memory. False with *error set at the first problem.
bool readFile(const std::string &path, Header *header, std::vector<Event> *events, Error *error);

// One report decoded for the model with this product id, as one line of
// text (the same text in recordings, in `watch` and in `replay --decode`).
std::string describe(uint16_t pid, const uint8_t *bytes, size_t length);

}  // namespace hidrec
