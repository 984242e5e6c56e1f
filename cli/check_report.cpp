#include "check_report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace cli {

const char *verdictText(Verdict v)
{
    switch (v) {
    case Verdict::Pass: return "PASS";
    case Verdict::Fail: return "FAIL";
    case Verdict::Skipped: return "skipped";
    case Verdict::NotRun: return "not run";
    }
    return "";
}

bool TabletResult::passed() const
{
    for (const StepResult &s : steps)
        if (s.verdict == Verdict::Fail || s.verdict == Verdict::NotRun)
            return false;
    return !steps.empty();
}

std::string TabletResult::suiteName() const
{
    return model + " serial " + (serial.empty() ? "unknown" : serial);
}

std::string jsonString(const std::string &s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += char(c);
        }
    }
    return out + "\"";
}

std::string jsonNumber(double v)
{
    if (!std::isfinite(v))
        return "null";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6g", v);
    return buf;
}

namespace {

std::string xml(const std::string &s)
{
    std::string out;
    for (unsigned char c : s) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default:
            // XML 1.0 allows no control characters but tab and newlines.
            if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
                out += ' ';
            else
                out += char(c);
        }
    }
    return out;
}

std::string seconds(double s)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.3f", s);
    return buf;
}

int count(const TabletResult &t, Verdict v)
{
    int n = 0;
    for (const StepResult &s : t.steps)
        n += s.verdict == v;
    return n;
}

}  // namespace

// Not run counts as a failure of the suite, as the tablet did not pass; it
// shows as a skipped case with its reason, beside the case that failed.
std::string junitText(const std::vector<TabletResult> &tablets)
{
    int tests = 0, failures = 0, skipped = 0;
    double total = 0;
    for (const TabletResult &t : tablets) {
        tests += int(t.steps.size());
        failures += count(t, Verdict::Fail);
        skipped += count(t, Verdict::Skipped) + count(t, Verdict::NotRun);
        total += t.seconds;
    }
    std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    s += "<testsuites name=\"slateprobe-cli check\" tests=\"" + std::to_string(tests) + "\" failures=\"" +
         std::to_string(failures) + "\" errors=\"0\" skipped=\"" + std::to_string(skipped) + "\" time=\"" +
         seconds(total) + "\">\n";
    for (const TabletResult &t : tablets) {
        const int f = count(t, Verdict::Fail), sk = count(t, Verdict::Skipped) + count(t, Verdict::NotRun);
        s += "  <testsuite name=\"" + xml(t.suiteName()) + "\" tests=\"" + std::to_string(t.steps.size()) +
             "\" failures=\"" + std::to_string(f) + "\" errors=\"0\" skipped=\"" + std::to_string(sk) +
             "\" time=\"" + seconds(t.seconds) + "\" timestamp=\"" + xml(t.timestamp) + "\">\n";
        s += "    <properties>\n";
        char ids[16];
        std::snprintf(ids, sizeof ids, "%04x:%04x", t.vid, t.pid);
        const std::pair<const char *, std::string> props[] = {
            {"model", t.model}, {"usb", ids}, {"serial", t.serial}, {"firmware", t.firmware}};
        for (const auto &p : props)
            s += "      <property name=\"" + std::string(p.first) + "\" value=\"" + xml(p.second) + "\"/>\n";
        s += "    </properties>\n";
        for (const StepResult &step : t.steps) {
            s += "    <testcase name=\"" + xml(step.name) + "\" classname=\"" + xml(t.model) + "\" time=\"" +
                 seconds(step.seconds) + "\"";
            if (step.verdict == Verdict::Pass) {
                s += "/>\n";
                continue;
            }
            s += ">\n";
            if (step.verdict == Verdict::Fail)
                s += "      <failure message=\"" + xml(step.reason) + "\" type=\"" + xml(step.name) + "\">" +
                     xml(step.reason) + "</failure>\n";
            else
                s += "      <skipped message=\"" + xml(std::string(verdictText(step.verdict)) + ": " + step.reason) +
                     "\"/>\n";
            s += "    </testcase>\n";
        }
        s += "  </testsuite>\n";
    }
    return s + "</testsuites>\n";
}

std::string jsonText(const std::vector<TabletResult> &tablets)
{
    bool all = !tablets.empty();
    for (const TabletResult &t : tablets)
        all = all && t.passed();
    std::string s = "{\n  \"verdict\": " + jsonString(all ? "PASS" : "FAIL") + ",\n  \"tablets\": [";
    for (size_t i = 0; i < tablets.size(); ++i) {
        const TabletResult &t = tablets[i];
        char ids[16];
        s += i ? ",\n    {\n" : "\n    {\n";
        s += "      \"model\": " + jsonString(t.model) + ",\n";
        std::snprintf(ids, sizeof ids, "%04x", t.vid);
        s += "      \"vid\": " + jsonString(ids) + ",\n";
        std::snprintf(ids, sizeof ids, "%04x", t.pid);
        s += "      \"pid\": " + jsonString(ids) + ",\n";
        s += "      \"serial\": " + jsonString(t.serial) + ",\n";
        s += "      \"firmware\": " + jsonString(t.firmware) + ",\n";
        s += "      \"timestamp\": " + jsonString(t.timestamp) + ",\n";
        s += "      \"seconds\": " + jsonNumber(t.seconds) + ",\n";
        s += "      \"verdict\": " + jsonString(t.passed() ? "PASS" : "FAIL") + ",\n";
        s += "      \"identity\": {";
        for (size_t k = 0; k < t.identity.size(); ++k)
            s += (k ? ", " : "") + jsonString(t.identity[k].first) + ": " + t.identity[k].second;
        s += "},\n      \"steps\": [";
        for (size_t k = 0; k < t.steps.size(); ++k) {
            const StepResult &st = t.steps[k];
            s += k ? ",\n        {" : "\n        {";
            s += "\"name\": " + jsonString(st.name) + ", \"verdict\": " + jsonString(verdictText(st.verdict)) +
                 ", \"reason\": " + jsonString(st.reason) + ", \"seconds\": " + jsonNumber(st.seconds) +
                 ", \"figures\": {";
            for (size_t m = 0; m < st.figures.size(); ++m)
                s += (m ? ", " : "") + jsonString(st.figures[m].first) + ": " + st.figures[m].second;
            s += "}}";
        }
        s += "\n      ]\n    }";
    }
    return s + "\n  ]\n}\n";
}

bool writeAtomically(const std::string &path, const std::string &text, std::string *error)
{
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    std::string temp = path + ".XXXXXX";
    std::vector<char> name(temp.begin(), temp.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd < 0) {
        *error = "cannot create a file in " + dir + ": " + std::strerror(errno);
        return false;
    }
    temp = name.data();
    fchmod(fd, 0644);
    size_t done = 0;
    bool ok = true;
    while (ok && done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        ok = n > 0;
        if (ok)
            done += size_t(n);
    }
    const int saved = errno;
    ok = ok && fsync(fd) == 0;
    if (close(fd) != 0)
        ok = false;
    if (!ok) {
        *error = "cannot write " + path + ": " + std::strerror(saved ? saved : errno);
        unlink(temp.c_str());
        return false;
    }
    if (rename(temp.c_str(), path.c_str()) != 0) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        unlink(temp.c_str());
        return false;
    }
    // The rename itself survives a power cut once the folder is on disk.
    const int dfd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        fsync(dfd);
        close(dfd);
    }
    return true;
}

}  // namespace cli
