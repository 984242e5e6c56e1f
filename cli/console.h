// The output of a running command. Its own lines go to standard output; what
// the tablet layer prints there itself (its protocol chatter) is kept out of
// them. On a terminal a status line stays at the bottom, redrawn in place;
// into a pipe the status is a line of its own that starts with "# ".
#pragma once

#include <cstdio>
#include <mutex>
#include <string>

namespace cli {

class Console {
public:
    // Takes standard output for this console and points file descriptor 1,
    // where the tablet layer prints, at standard error (verbose) or nowhere.
    explicit Console(bool verbose);
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    // One line (any thread).
    void line(const std::string &text);
    // The status line; redrawn in place on a terminal. It may span several
    // lines ("\n" between them, none at the end).
    void status(const std::string &text);
    // Leaves the status line where it is and moves below it.
    void endStatus();
    void flush();
    bool terminal() const { return terminal_; }
    // A write failed, e.g. the reading end of a pipe went away.
    bool failed();

private:
    void putStatus();
    std::mutex m_;
    FILE *out_ = nullptr;
    bool terminal_ = false;
    std::string status_;
    bool statusShown_ = false;
};

}  // namespace cli
