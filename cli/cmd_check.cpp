// slateprobe-cli check: the acceptance check of a tablet for a production line
// or a repair desk. It walks the operator through identity, modes, pen, keys
// and fingerprint, gives each step a verdict, ends with PASS or FAIL and
// writes the reports a test station keeps.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "check_report.h"
#include "check_steps.h"
#include "commands.h"
#include "console.h"
#include "devices.h"
#include "exitcodes.h"
#include "options.h"
#include "tablet/pxtablet.h"

using namespace cli;

namespace {

// The check's own exit codes, as test stations expect them.
enum CheckExit { kCheckPass = 0, kCheckFail = 1, kCheckUsage = 2, kCheckNoTablet = 3 };

const char kUsage[] =
    "Usage: slateprobe-cli check [--model M | --all] [--junit FILE] [--json FILE]\n"
    "                            [--seconds S] [--mode-attempts N] [--min-rate R]\n"
    "                            [--grid CxR] [--pressure P] [--max-lost N]\n"
    "                            [--no-fingerprint]\n"
    "\n"
    "The acceptance check of a tablet: opens it, walks the operator through the\n"
    "steps below and ends with PASS or FAIL.\n"
    "  identity     the tablet answers its identity command\n"
    "  modes        a pad acknowledges sign mode (KV-C1 and KV-C5 also\n"
    "               fingerprint and start mode), each within N attempts\n"
    "  pen          the pen reaches every cell of a grid over the writing area\n"
    "               and the pressure P of the maximum, within S seconds; the\n"
    "               lowest report rate over any second with the pen down is at\n"
    "               least R; no value beyond the model's range; at most N\n"
    "               reports lost by the reader's queue\n"
    "  keys         a pad's re-sign and OK key, each pressed once, within S\n"
    "               seconds (presses during the pen step count)\n"
    "  fingerprint  where a scanner is attached, four frames that score above 60\n"
    "A tablet that goes away fails the running step with \"unplugged\" and ends\n"
    "the check. Steps after a failed identity or modes step are not run.\n"
    "\n"
    "  --model M          the tablet of model M (KV-C1, or a product id: 8420)\n"
    "  --all              every attached tablet, one after another\n"
    "  --junit FILE       JUnit XML: a testsuite per tablet, a testcase per step\n"
    "  --json FILE        the same as JSON, with every figure measured\n"
    "  --seconds S        time limit of the pen, key and fingerprint steps\n"
    "                     (default 30)\n"
    "  --mode-attempts N  mode commands sent before a mode fails (default 5)\n"
    "  --min-rate R       reports a second (default 100)\n"
    "  --grid CxR         the grid (default 4x4)\n"
    "  --pressure P       share of the maximum pressure, 0..1 (default 0.9)\n"
    "  --max-lost N       reports the reader's queue may lose (default 0)\n"
    "  --no-fingerprint   skips the fingerprint step\n"
    "  --verbose          the tablet layer's protocol lines on standard error\n"
    "  -h, --help         this text\n"
    "\n"
    "Exit: 0 PASS, 1 FAIL, 2 bad command line or a report that cannot be\n"
    "written, 3 no tablet attached, 130 Ctrl-C.\n";


bool parseCount(const std::string &text, int *out)
{
    char *end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || v < 1 || v > 1000)
        return false;
    *out = int(v);
    return true;
}

bool parseGrid(const std::string &text, int *columns, int *rows)
{
    int c = 0, r = 0;
    char x = 0, extra = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &c, &x, &r, &extra) != 3 || (x != 'x' && x != 'X') || c < 1 || r < 1 ||
        c > 16 || r > 16)
        return false;
    *columns = c;
    *rows = r;
    return true;
}

bool parseShare(const std::string &text, double *out)
{
    char *end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(v > 0 && v <= 1))
        return false;
    *out = v;
    return true;
}

int usageError(const std::string &why)
{
    std::fprintf(stderr, "slateprobe-cli check: %s\n%s", why.c_str(), kUsage);
    return kCheckUsage;
}

}  // namespace

int cmd_check(int argc, char **argv)
{
    Options opts;
    for (const char *f : {"--help", "--all", "--no-fingerprint", "--verbose"})
        opts.flag(f);
    for (const char *v : {"--model", "--junit", "--json", "--seconds", "--mode-attempts", "--min-rate", "--grid",
                          "--pressure", "--max-lost"})
        opts.value(v);
    std::string error;
    if (!opts.parse(argc, argv, &error))
        return usageError(error);
    if (!opts.positional().empty())
        return usageError("takes no argument \"" + opts.positional().front() + "\"");
    if (opts.has("--help")) {
        std::fputs(kUsage, stdout);
        return kCheckPass;
    }
    CheckSettings settings;
    settings.fingerprint = !opts.has("--no-fingerprint");
    if (opts.has("--seconds") && !parseSeconds(opts.get("--seconds"), &settings.seconds))
        return usageError("--seconds wants a positive number");
    if (opts.has("--mode-attempts") && !parseCount(opts.get("--mode-attempts"), &settings.modeAttempts))
        return usageError("--mode-attempts wants a whole number from 1 to 1000");
    if (opts.has("--min-rate") && !parseSeconds(opts.get("--min-rate"), &settings.limits.minRate))
        return usageError("--min-rate wants a positive number");
    if (opts.has("--grid") && !parseGrid(opts.get("--grid"), &settings.limits.columns, &settings.limits.rows))
        return usageError("--grid wants columns x rows, such as 4x4 (at most 16x16)");
    if (opts.has("--pressure") && !parseShare(opts.get("--pressure"), &settings.limits.pressure))
        return usageError("--pressure wants a share above 0 and at most 1, such as 0.9");
    if (opts.has("--max-lost")) {
        int n = 0;
        if (opts.get("--max-lost") != "0" && !parseCount(opts.get("--max-lost"), &n))
            return usageError("--max-lost wants a whole number from 0 to 1000");
        settings.limits.maxLost = (unsigned long)n;
    }
    if (opts.has("--all") && opts.has("--model"))
        return usageError("--all and --model exclude each other");
    const std::string junit = opts.get("--junit"), json = opts.get("--json");
    if ((opts.has("--junit") && junit.empty()) || (opts.has("--json") && json.empty()))
        return usageError("a report needs a file name");

    // The tablets to check, by catalogue row.
    std::vector<int> rows;
    if (opts.has("--model")) {
        const int row = rowOfModel(opts.get("--model"));
        if (row < 0)
            return usageError("no model " + opts.get("--model") +
                              " in the catalogue (give a name such as KV-C1, or a product id such as 8420)");
        if (FindTavrelTablet_Pid(0, Dev_info_px[row].pid) < 0) {
            char buf[64];
            std::snprintf(buf, sizeof buf, "no %s (%04x:%04x) attached", Dev_info_px[row].model, kTavrelVendorId,
                          Dev_info_px[row].pid);
            std::fprintf(stderr, "slateprobe-cli: %s\n", buf);
            CloseDevice();
            return kCheckNoTablet;
        }
        rows.push_back(row);
    } else if (opts.has("--all")) {
        std::vector<UsbDevice> devices;
        if (!listDevices(&devices, &error)) {
            std::fprintf(stderr, "slateprobe-cli: %s\n", error.c_str());
            return kCheckNoTablet;
        }
        // Two tablets of one model cannot be told apart by the tablet
        // layer, which opens the last of them: each model is checked once.
        for (const UsbDevice &d : devices) {
            const int row = catalogueRowOfPid(d.pid);
            if (d.tablet && row >= 0 && std::find(rows.begin(), rows.end(), row) == rows.end())
                rows.push_back(row);
        }
    } else if (GetDeviceStatus() == 0) {
        rows.push_back(g_uDevinfo_index);
    }
    CloseDevice();  // the selection and the USB context go; each check starts afresh
    if (rows.empty()) {
        std::fprintf(stderr, "slateprobe-cli: no tablet attached\n");
        return kCheckNoTablet;
    }

    Console console(opts.has("--verbose"));
    std::vector<TabletResult> results;
    bool interrupted = false;
    for (int row : rows) {
        results.push_back({});
        interrupted = !checkTablet(row, settings, console, &results.back());
        const TabletResult &r = results.back();
        std::string summary = std::string(r.passed() ? "PASS  " : "FAIL  ") + r.suiteName();
        for (const StepResult &s : r.steps)
            if (s.verdict == Verdict::Fail) {
                summary += ": " + s.name + ": " + s.reason;
                break;
            }
        console.line(summary);
        if (interrupted)
            break;
    }
    console.flush();

    int code = kCheckPass;
    for (const TabletResult &r : results)
        if (!r.passed())
            code = kCheckFail;
    for (const auto &[path, text] : {std::make_pair(junit, junitText(results)), std::make_pair(json, jsonText(results))}) {
        if (path.empty())
            continue;
        if (!writeAtomically(path, text, &error)) {
            std::fprintf(stderr, "slateprobe-cli: %s\n", error.c_str());
            code = kCheckUsage;
        }
    }
    return interrupted ? kExitInterrupted : code;
}
