#include "console.h"

#include <fcntl.h>
#include <unistd.h>

namespace cli {

namespace {
const char kClearLine[] = "\r\033[K";

// Clears a status of several lines: up to its first line, then to the end
// of the screen.
std::string clearStatus(const std::string &status)
{
    size_t lines = 0;
    for (char c : status)
        lines += c == '\n';
    if (lines == 0)
        return kClearLine;
    return "\r\033[" + std::to_string(lines) + "A\033[J";
}
}

Console::Console(bool verbose)
{
    std::fflush(stdout);
    const int fd = dup(STDOUT_FILENO);
    terminal_ = isatty(fd) == 1;
    out_ = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (out_ == nullptr)
        out_ = stdout;  // nothing to separate from; chatter stays mixed in
    else {
        std::setvbuf(out_, nullptr, terminal_ ? _IOLBF : _IOFBF, 1 << 16);
        const int sink = verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (sink >= 0) {
            dup2(sink, STDOUT_FILENO);
            close(sink);
        }
    }
}

Console::~Console()
{
    std::lock_guard<std::mutex> lock(m_);
    std::fflush(out_);
    if (out_ != stdout)
        std::fclose(out_);
}

void Console::putStatus()
{
    std::fputs(status_.c_str(), out_);
    statusShown_ = true;
}

void Console::line(const std::string &text)
{
    std::lock_guard<std::mutex> lock(m_);
    if (statusShown_)
        std::fputs(clearStatus(status_).c_str(), out_);
    std::fputs(text.c_str(), out_);
    std::fputc('\n', out_);
    if (statusShown_) {
        putStatus();
        std::fflush(out_);
    }
}

void Console::status(const std::string &text)
{
    std::lock_guard<std::mutex> lock(m_);
    if (terminal_) {
        std::fputs(statusShown_ ? clearStatus(status_).c_str() : kClearLine, out_);
        status_ = text;
        putStatus();
    } else {
        std::fputs("# ", out_);
        std::fputs(text.c_str(), out_);
        std::fputc('\n', out_);
    }
    std::fflush(out_);
}

void Console::endStatus()
{
    std::lock_guard<std::mutex> lock(m_);
    if (statusShown_)
        std::fputc('\n', out_);
    statusShown_ = false;
    status_.clear();
    std::fflush(out_);
}

void Console::flush()
{
    std::lock_guard<std::mutex> lock(m_);
    std::fflush(out_);
}

bool Console::failed()
{
    std::lock_guard<std::mutex> lock(m_);
    return std::ferror(out_) != 0;
}

}  // namespace cli
