// Writing a recording: a temporary file beside the target, complete lines
// only, renamed into place at the end.
#include "recording/hidrec.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace hidrec {

namespace {

// Pending text is written out once it passes this size (and at finish()),
// so a recording that is cut short loses at most this much.
constexpr size_t kFlushAt = 16 * 1024;

// hid-replay reads the length field with at most two digits.
constexpr size_t kMaxReportBytes = 99;

const char kHex[] = "0123456789abcdef";

void appendHexByte(std::string &s, uint8_t b)
{
    s.push_back(kHex[b >> 4]);
    s.push_back(kHex[b & 15]);
}

// A comment or name must stay on its line.
std::string oneLine(const std::string &text)
{
    std::string s = text;
    for (char &c : s) {
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    return s;
}

void setError(std::string *error, const std::string &text)
{
    if (error)
        *error = text;
}

std::string dirOf(const std::string &path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string Error::message() const
{
    return file + ":" + std::to_string(line) + ": " + what;
}

Writer::~Writer()
{
    if (fd_ >= 0) {
        ::close(fd_);
        ::unlink(temp_.c_str());
    }
}

bool Writer::open(const std::string &path, const Header &header, std::string *error)
{
    if (fd_ >= 0) {
        setError(error, "a recording is already open");
        return false;
    }
    path_ = path;
    temp_ = path + ".XXXXXX";
    std::vector<char> name(temp_.begin(), temp_.end());
    name.push_back('\0');
    fd_ = ::mkstemp(name.data());
    if (fd_ < 0) {
        setError(error, "cannot create a file in " + dirOf(path) + ": " + std::strerror(errno));
        return false;
    }
    temp_ = name.data();
    ::fchmod(fd_, 0644);  // mkstemp makes it 0600; a recording is meant to be passed on
    diskFull_ = false;
    events_ = 0;
    lastUsec_ = 0;

    // The comment block: the name and the descriptor bytes, as hid-recorder
    // starts its files.
    pending_ = "# " + oneLine(header.name) + "\n";
    for (size_t i = 0; i < header.descriptor.size(); i += 16) {
        pending_ += "#";
        for (size_t j = i; j < header.descriptor.size() && j < i + 16; ++j) {
            pending_ += " 0x";
            appendHexByte(pending_, header.descriptor[j]);
            pending_ += ",";
        }
        pending_ += "\n";
    }
    pending_ += "#\nR: " + std::to_string(header.descriptor.size());
    for (uint8_t b : header.descriptor) {
        pending_ += ' ';
        appendHexByte(pending_, b);
    }
    char ids[48];
    std::snprintf(ids, sizeof ids, "I: %x %04x %04x\n", unsigned(header.bus), unsigned(header.vid),
                  unsigned(header.pid));
    pending_ += "\nN: " + oneLine(header.name) + "\n" + ids;
    // The header goes out now: a file without it would be no recording.
    if (!flush(error)) {
        ::close(fd_);
        ::unlink(temp_.c_str());
        fd_ = -1;
        return false;
    }
    return true;
}

bool Writer::add(uint64_t usec, const uint8_t *bytes, size_t length, const std::string &comment, std::string *error)
{
    if (fd_ < 0 || diskFull_) {
        setError(error, diskFull_ ? "the disk is full" : "no recording is open");
        return false;
    }
    if (length == 0 || length > kMaxReportBytes) {
        setError(error, "a report of " + std::to_string(length) + " bytes cannot be recorded (1 to 99)");
        return false;
    }
    // Times never go backwards in a recording; a clock that steps back is
    // held at the last time rather than losing the report.
    if (usec < lastUsec_)
        usec = lastUsec_;
    lastUsec_ = usec;

    pending_ += "# ";
    pending_ += oneLine(comment);
    char stamp[48];
    std::snprintf(stamp, sizeof stamp, "\nE: %06llu.%06llu %zu", static_cast<unsigned long long>(usec / 1000000),
                  static_cast<unsigned long long>(usec % 1000000), length);
    pending_ += stamp;
    for (size_t i = 0; i < length; ++i) {
        pending_ += ' ';
        appendHexByte(pending_, bytes[i]);
    }
    pending_ += '\n';
    ++events_;
    if (pending_.size() >= kFlushAt)
        return flush(error);
    return true;
}

// Writes the pending text, which holds whole lines only. On a short or failed
// write the file is cut back to its last complete line, so it stays valid.
bool Writer::flush(std::string *error)
{
    size_t done = 0;
    while (done < pending_.size()) {
        const ssize_t n = ::write(fd_, pending_.data() + done, pending_.size() - done);
        if (n > 0) {
            done += size_t(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        const int err = n < 0 ? errno : ENOSPC;
        const size_t lastLine = pending_.rfind('\n', done ? done - 1 : 0);
        const size_t keep = (done && lastLine != std::string::npos) ? lastLine + 1 : 0;
        if (::ftruncate(fd_, written_ + static_cast<long long>(keep)) == 0)
            written_ += static_cast<long long>(keep);
        pending_.clear();
        if (err == ENOSPC || err == EDQUOT || err == EFBIG) {  // no more room for the file
            diskFull_ = true;
            setError(error, "the disk is full: " + temp_);
        } else {
            setError(error, "cannot write " + temp_ + ": " + std::strerror(err));
        }
        return false;
    }
    written_ += static_cast<long long>(done);
    pending_.clear();
    return true;
}

bool Writer::finish(std::string *error)
{
    if (fd_ < 0) {
        setError(error, "no recording is open");
        return false;
    }
    // After a full disk the file holds every complete line written before
    // it; that part is kept.
    bool ok = diskFull_ || flush(error);
    if (ok && ::fsync(fd_) != 0) {
        setError(error, "cannot write " + temp_ + ": " + std::strerror(errno));
        ok = false;
    }
    if (::close(fd_) != 0 && ok) {
        setError(error, "cannot write " + temp_ + ": " + std::strerror(errno));
        ok = false;
    }
    fd_ = -1;
    if (ok && ::rename(temp_.c_str(), path_.c_str()) != 0) {
        setError(error, "cannot rename " + temp_ + " to " + path_ + ": " + std::strerror(errno));
        ok = false;
    }
    if (!ok) {
        ::unlink(temp_.c_str());
        return false;
    }
    if (diskFull_) {
        setError(error, "the disk is full: " + path_ + " holds the reports before it");
        return false;
    }
    return true;
}

}  // namespace hidrec
