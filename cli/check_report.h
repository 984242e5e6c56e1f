// The check's results, per tablet and step, and the two report files a test
// station keeps: JUnit XML and JSON, each written atomically (a temporary
// file in the same folder, flushed to disk, then renamed over the name).
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace cli {

enum class Verdict { Pass, Fail, Skipped, NotRun };
const char *verdictText(Verdict v);  // "PASS", "FAIL", "skipped", "not run"

// One figure of the JSON report: a name and its value as JSON text.
using Figure = std::pair<std::string, std::string>;

struct StepResult {
    std::string name;  // identity, modes, pen, keys, fingerprint, unplug
    Verdict verdict = Verdict::NotRun;
    std::string reason;  // why it failed, was skipped or did not run
    double seconds = 0;
    std::vector<Figure> figures;
};

struct TabletResult {
    std::string model, serial, firmware;
    unsigned vid = 0, pid = 0;
    std::string timestamp;  // ISO 8601, UTC, when its check began
    double seconds = 0;
    std::vector<Figure> identity;  // identity fields for the JSON report
    std::vector<StepResult> steps;
    bool passed() const;
    std::string suiteName() const;  // "KV-C1 serial 4660"
};

std::string jsonString(const std::string &s);
std::string jsonNumber(double v);

std::string junitText(const std::vector<TabletResult> &tablets);
std::string jsonText(const std::vector<TabletResult> &tablets);

// Writes `text` to `path` atomically; false with *error set otherwise, and
// the file as it was.
bool writeAtomically(const std::string &path, const std::string &text, std::string *error);

}  // namespace cli
