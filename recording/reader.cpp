// Reading a recording: line by line through a fixed buffer, every field
// checked, the first problem reported with its line.
#include "recording/hidrec.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tablet/catalogue.h"

namespace hidrec {

namespace {

// Longest line taken: an R: line of a 4096-byte descriptor needs 12 KiB, an
// E: line of 64 bytes about 220. A longer line is refused once this much of
// it has been seen, so a file without line ends costs no memory.
constexpr size_t kMaxLine = 16 * 1024;
constexpr size_t kReadChunk = 64 * 1024;
constexpr size_t kMaxReport = 64;      // the longest input report of the family
constexpr size_t kMaxDescriptor = 4096;

// Line source over a file descriptor with a bounded line buffer.
class Lines {
public:
    explicit Lines(int fd) : fd_(fd), buf_(kReadChunk) {}

    // Next line without its end in *line; false at the end of the file.
    // *tooLong is set for a line over kMaxLine (nothing more is read then).
    bool next(const char **line, size_t *length, bool *tooLong, int *readError)
    {
        *tooLong = false;
        for (;;) {
            const char *start = buf_.data() + pos_;
            const void *nl = std::memchr(start, '\n', end_ - pos_);
            if (nl) {
                const size_t n = size_t(static_cast<const char *>(nl) - start);
                pos_ += n + 1;
                return give(start, n, line, length, tooLong);
            }
            if (end_ - pos_ > kMaxLine) {
                *tooLong = true;
                return true;
            }
            if (eof_) {
                if (pos_ == end_)
                    return false;
                const size_t n = end_ - pos_;
                pos_ = end_;
                return give(start, n, line, length, tooLong);
            }
            // Keep the partial line at the front and fill the rest.
            std::memmove(buf_.data(), start, end_ - pos_);
            end_ -= pos_;
            pos_ = 0;
            if (buf_.size() - end_ < kReadChunk / 2)
                buf_.resize(end_ + kReadChunk);
            ssize_t n;
            do {
                n = ::read(fd_, buf_.data() + end_, buf_.size() - end_);
            } while (n < 0 && errno == EINTR);
            if (n < 0) {
                *readError = errno;
                return false;
            }
            if (n == 0)
                eof_ = true;
            end_ += size_t(n);
        }
    }

private:
    bool give(const char *start, size_t n, const char **line, size_t *length, bool *tooLong)
    {
        if (n > kMaxLine) {
            *tooLong = true;
            return true;
        }
        // Lines written on another system may end in CR LF.
        if (n && start[n - 1] == '\r')
            --n;
        *line = start;
        *length = n;
        return true;
    }

    int fd_;
    std::vector<char> buf_;
    size_t pos_ = 0, end_ = 0;
    bool eof_ = false;
};

// Cursor over one line's fields, separated by single spaces.
struct Fields {
    const char *p;
    const char *end;

    bool atEnd() const { return p == end; }
    // A space, then a field up to the next space or the end.
    bool field(const char **start, size_t *n)
    {
        if (p == end || *p != ' ')
            return false;
        ++p;
        *start = p;
        while (p != end && *p != ' ')
            ++p;
        *n = size_t(p - *start);
        return *n > 0;
    }
};

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool parseHex(const char *s, size_t n, uint32_t max, uint32_t *out)
{
    if (n == 0 || n > 8)
        return false;
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) {
        const int d = hexDigit(s[i]);
        if (d < 0)
            return false;
        v = v * 16 + unsigned(d);
    }
    if (v > max)
        return false;
    *out = uint32_t(v);
    return true;
}

bool parseDec(const char *s, size_t n, size_t maxDigits, uint64_t *out)
{
    if (n == 0 || n > maxDigits)
        return false;
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) {
        if (s[i] < '0' || s[i] > '9')
            return false;
        v = v * 10 + unsigned(s[i] - '0');
    }
    *out = v;
    return true;
}

std::string quoted(const char *s, size_t n)
{
    return "\"" + std::string(s, n < 16 ? n : 16) + (n > 16 ? "...\"" : "\"");
}

// "N bytes" after a length field: exactly that many two-digit hex bytes.
bool parseBytes(Fields &f, uint64_t count, std::vector<uint8_t> *out, std::string *what)
{
    out->clear();
    out->reserve(count);
    const char *s;
    size_t n;
    while (f.field(&s, &n)) {
        if (n != 2 || hexDigit(s[0]) < 0 || hexDigit(s[1]) < 0) {
            *what = "byte " + std::to_string(out->size() + 1) + " is not two hex digits: " + quoted(s, n);
            return false;
        }
        if (out->size() == count) {
            *what = "length field says " + std::to_string(count) + " bytes, the line has more";
            return false;
        }
        out->push_back(uint8_t(hexDigit(s[0]) * 16 + hexDigit(s[1])));
    }
    if (!f.atEnd()) {
        *what = "fields must be separated by single spaces";
        return false;
    }
    if (out->size() != count) {
        *what = "length field says " + std::to_string(count) + " bytes, the line has " +
                std::to_string(out->size());
        return false;
    }
    return true;
}

bool parseDescriptor(Fields f, Header *h, std::string *what)
{
    const char *s;
    size_t n;
    uint64_t len;
    if (!f.field(&s, &n) || !parseDec(s, n, 5, &len)) {
        *what = "R: needs a decimal length first";
        return false;
    }
    if (len == 0 || len > kMaxDescriptor) {
        *what = "descriptor length " + std::to_string(len) + " is outside 1 to 4096";
        return false;
    }
    return parseBytes(f, len, &h->descriptor, what);
}

bool parseIds(Fields f, Header *h, std::string *what)
{
    const char *s[3];
    size_t n[3];
    uint32_t v[3];
    const char *names[3] = {"bus", "vendor id", "product id"};
    for (int i = 0; i < 3; ++i) {
        if (!f.field(&s[i], &n[i])) {
            *what = "I: needs bus, vendor id and product id";
            return false;
        }
        if (!parseHex(s[i], n[i], 0xFFFF, &v[i])) {
            *what = std::string(names[i]) + " is not a hex number up to ffff: " + quoted(s[i], n[i]);
            return false;
        }
    }
    if (!f.atEnd()) {
        *what = "I: has more than three fields";
        return false;
    }
    char text[96];
    if (v[0] != 3) {
        std::snprintf(text, sizeof text, "bus %x is not USB (3)", v[0]);
        *what = text;
        return false;
    }
    if (v[1] != kTavrelVendorId) {
        std::snprintf(text, sizeof text, "vendor id %04x is not a tablet's (5e1b)", v[1]);
        *what = text;
        return false;
    }
    if (catalogueRowOfPid(uint16_t(v[2])) < 0) {
        std::snprintf(text, sizeof text, "product id %04x is not one of the sixteen tablets", v[2]);
        *what = text;
        return false;
    }
    h->bus = v[0];
    h->vid = uint16_t(v[1]);
    h->pid = uint16_t(v[2]);
    return true;
}

// E: SSSSSS.UUUUUU LEN bytes
bool parseEvent(Fields f, uint64_t *usec, std::vector<uint8_t> *bytes, std::string *what)
{
    const char *s;
    size_t n;
    if (!f.field(&s, &n)) {
        *what = "E: needs a time, a length and the bytes";
        return false;
    }
    const char *dot = static_cast<const char *>(std::memchr(s, '.', n));
    uint64_t sec, us, len;
    if (!dot || !parseDec(s, size_t(dot - s), 12, &sec) ||
        !parseDec(dot + 1, size_t(s + n - dot - 1), 6, &us)) {
        *what = "time is not seconds.microseconds: " + quoted(s, n);
        return false;
    }
    if (s + n - dot - 1 != 6) {
        // hid-replay reads "0.5" as five microseconds; only six digits are
        // unambiguous.
        *what = "time needs six digits of microseconds: " + quoted(s, n);
        return false;
    }
    if (!f.field(&s, &n) || !parseDec(s, n, 3, &len)) {
        *what = "E: needs a decimal length after the time";
        return false;
    }
    if (len == 0 || len > kMaxReport) {
        *what = "report length " + std::to_string(len) + " is outside 1 to 64";
        return false;
    }
    *usec = sec * 1000000 + us;
    return parseBytes(f, len, bytes, what);
}

}  // namespace

bool readFile(const std::string &path, Header *header, std::vector<Event> *events, Error *error)
{
    Error err;
    err.file = path;
    auto fail = [&](size_t line, const std::string &what) {
        err.line = line;
        err.what = what;
        if (error)
            *error = err;
        return false;
    };

    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return fail(0, std::string("cannot open: ") + std::strerror(errno));
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};

    Header h;
    bool haveR = false, haveI = false;
    std::vector<Event> out;
    uint64_t first = 0, last = 0;
    Lines lines(fd);
    const char *text;
    size_t length = 0, lineNo = 0;
    bool tooLong = false;
    int readError = 0;
    std::string what;
    while (lines.next(&text, &length, &tooLong, &readError)) {
        ++lineNo;
        if (tooLong)
            return fail(lineNo, "line longer than " + std::to_string(kMaxLine) + " bytes");
        if (length < 2 || text[1] != ':' || text[0] == '#')
            continue;  // comments and what no reader of the format takes
        Fields f{text + 2, text + length};
        switch (text[0]) {
        case 'R':
            if (haveR)
                return fail(lineNo, "a second R: line (one device per recording)");
            if (!parseDescriptor(f, &h, &what))
                return fail(lineNo, what);
            haveR = true;
            break;
        case 'I':
            if (haveI)
                return fail(lineNo, "a second I: line (one device per recording)");
            if (!parseIds(f, &h, &what))
                return fail(lineNo, what);
            haveI = true;
            break;
        case 'N':
            h.name = length > 3 ? std::string(text + 3, length - 3) : std::string();
            break;
        case 'D':
            if (length != 4 || text[2] != ' ' || text[3] != '0')
                return fail(lineNo, "recordings of more than one device are not supported");
            break;
        case 'E': {
            if (!haveR || !haveI)
                return fail(lineNo, std::string("no header: a report before the ") +
                                        (haveR ? "I:" : haveI ? "R:" : "R: and I:") + " line");
            Event e;
            uint64_t usec;
            if (!parseEvent(f, &usec, &e.bytes, &what))
                return fail(lineNo, what);
            if (out.empty())
                first = last = usec;
            if (usec < last) {
                char t[96];
                std::snprintf(t, sizeof t, "time goes backwards: %llu.%06llu after %llu.%06llu",
                              static_cast<unsigned long long>(usec / 1000000),
                              static_cast<unsigned long long>(usec % 1000000),
                              static_cast<unsigned long long>(last / 1000000),
                              static_cast<unsigned long long>(last % 1000000));
                return fail(lineNo, t);
            }
            last = usec;
            e.usec = usec - first;
            e.line = lineNo;
            out.push_back(std::move(e));
            break;
        }
        default:
            break;  // P: and other kinds: skipped, as hid-tools does
        }
    }
    if (readError)
        return fail(lineNo + 1, std::string("cannot read: ") + std::strerror(readError));
    if (!haveR || !haveI)
        return fail(lineNo ? lineNo : 1, std::string("no header: no ") +
                                             (haveR ? "I:" : haveI ? "R:" : "R: and I:") + " line");
    if (header)
        *header = std::move(h);
    if (events)
        *events = std::move(out);
    return true;
}

}  // namespace hidrec
