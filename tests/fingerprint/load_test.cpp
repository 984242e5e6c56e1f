// Loading and opening both scanner families: every failure with its result,
// its box and the calls made, driven by the stand-ins' scripts; then the
// libraries themselves missing or short of an entry point, swapped in lib/
// beside this program.
#include <filesystem>

#include "../support/private_tmp.h"
#include "fpr_support.h"

using namespace fprtest;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace {

// lib/ beside this program holds exactly `files` (new copies, so that no
// library still mapped from an earlier case is written over). The folder
// itself stays: the loader remembers a search folder it once found missing.
void useLibs(const Lines &files)
{
    const fs::path lib = fs::read_symlink("/proc/self/exe").parent_path() / "lib";
    for (const fs::directory_entry &entry : fs::directory_iterator(lib))
        fs::remove(entry.path());
    for (const std::string &file : files)
        fs::copy_file(file, lib / fs::path(file).filename());
}

const std::string kCap = SP_SCANNER_DIR "/ID_FprCap.so", kQuality = SP_SCANNER_DIR "/ID_Fpr.so",
                  kAra = SP_SCANNER_DIR "/libAraTrustFinger.so", kVariants = SP_SCANNER_VARIANT_DIR;

// Every box has the title "指纹采集"; their texts.
Lines texts(const ModalWatcher &boxes)
{
    EXPECT_EQ(boxes.titles.count("指纹采集"), boxes.titles.size());
    Lines seen;
    for (const QString &t : boxes.texts)
        seen.push_back(t.toStdString());
    return seen;
}

} // namespace

// Calls and results worked out from the order of the open sequence of each
// family: which call fails decides the result, the box and what is undone.
// `calls` is the scanner's journal (its start when the worker runs).
TEST(Load, OpenSequenceFailures)
{
    app();
    useLibs({kCap, kQuality, kAra});
    const Lines hy{"LIVESCAN_Init", "LIVESCAN_GetChannelCount", "LIVESCAN_GetMaxImageSize 1", "LIVESCAN_Close"};
    const Lines ara{"ARAFPSCAN_GlobalInit", "ARAFPSCAN_GetDeviceCount", "ARAFPSCAN_OpenDevice 0",
                    "ARAFPSCAN_GetImageInfo device", "ARAFPSCAN_GlobalFree"};
    auto first = [](const Lines &l, size_t n, Lines then = {}) {
        Lines out(l.begin(), l.begin() + n);
        out.insert(out.end(), then.begin(), then.end());
        return out;
    };
    const struct { const char *what; int type; std::string script; int result; Lines boxes, calls; int typeAfter; } cases[] = {
        {"bitmap scanner opens", 0, "", 1, {}, first(hy, 3), 0},
        {"bitmap init fails", 0, "fail=LIVESCAN_Init", 0, {"指纹初始化失败"}, first(hy, 1), 0},
        {"no bitmap channel", 0, "channels=0", 0, {"指纹未连接"}, first(hy, 2), 0},
        {"bitmap size fails", 0, "fail=LIVESCAN_GetMaxImageSize", -1, {"打开指纹失败"}, hy, 0},
        {"two channels: channel 2", 0, "channels=2", 1, {}, first(hy, 2, {"LIVESCAN_GetMaxImageSize 2"}), 0},
        {"raw scanner opens", 1, "", 1, {}, first(ara, 4), 1},
        {"type 2 opens as type 1", 2, "", 1, {}, first(ara, 4), 1},
        {"raw init fails", 1, "fail=ARAFPSCAN_GlobalInit", 0, {"指纹初始化失败"}, first(ara, 1), 1},
        {"raw count fails", 1, "fail=ARAFPSCAN_GetDeviceCount", -1, {}, first(ara, 2, {"ARAFPSCAN_GlobalFree"}), 1},
        {"no raw device", 2, "channels=0", -1, {}, first(ara, 2, {"ARAFPSCAN_GlobalFree"}), 2},
        {"raw open fails", 1, "fail=ARAFPSCAN_OpenDevice", 0, {"打开指纹设备失败"}, first(ara, 3, {"ARAFPSCAN_GlobalFree"}), 1},
        {"raw image info fails, device left open", 2, "fail=ARAFPSCAN_GetImageInfo", 0, {}, ara, 1},
        {"negative type", -1, "", 0, {}, {}, -1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Scanner scanner("size=40x48;delay=0;" + c.script);
        CapFingerDlg dlg;
        ModalWatcher boxes;
        EXPECT_EQ(dlg.StartCapture(c.type), c.result);
        EXPECT_EQ(texts(boxes), c.boxes);
        EXPECT_EQ(dlg.m_nFprType, c.typeAfter);
        EXPECT_EQ(dlg.m_pThread != nullptr, c.result > 0);
        if (c.result > 0) {
            dlg.EndCapture();
            ASSERT_TRUE(workerGone(dlg));
        }
        Lines calls = scanner.journal();
        if (c.result > 0)
            calls.resize(c.calls.size());
        EXPECT_EQ(calls, c.calls);
    }
}

// Libraries missing or short of an entry point. A failed resolve keeps the
// library, so a second attempt goes on without testing again; the raw
// family's quality call is the one entry point not required, and without
// the bitmap family's quality library the very first frame is the picture.
TEST(Load, MissingLibrariesAndEntryPoints)
{
    app();
    const struct { const char *what; Lines libs; int type; std::vector<int> results; Lines boxes; std::string trace; } cases[] = {
        {"bitmap library missing", {kQuality, kAra}, 0, {0, 0}, {}, "加载ID_FprCap.so失败"},
        {"bitmap library short of EndCapture", {kVariants + "/no-endcapture/ID_FprCap.so"}, 0, {0, 1},
         {"加载ID_FprCap.so接口函数失败"}, ""},
        {"no quality library", {kCap}, 0, {1}, {}, ""},
        {"raw library missing", {kCap}, 1, {0}, {"加载libAraTrustFinger.so失败"}, ""},
        {"raw library short of GetErrorInfo", {kVariants + "/no-errorinfo/libAraTrustFinger.so"}, 1, {0, 1},
         {"加载libAraTrustFinger.so失败"}, ""},
        {"raw library without ImgQuality", {kVariants + "/no-imgquality/libAraTrustFinger.so"}, 2, {1}, {}, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        useLibs(c.libs);
        logtest::takeTrace();
        const bool firstFrame = c.type == 0 && c.libs == Lines{kCap};  // the capture ends on frame 0, the only one pulled
        Scanner scanner(firstFrame ? "size=40x48;delay=0" : "size=40x48;delay=5");
        CapFingerDlg dlg;
        std::vector<int> results;
        ModalWatcher boxes;
        for (size_t i = 0; i < c.results.size(); ++i)
            results.push_back(dlg.StartCapture(c.type));
        EXPECT_EQ(results, c.results);
        EXPECT_EQ(texts(boxes), c.boxes);
        const Lines trace = logtest::takeTrace();
        EXPECT_TRUE(c.trace.empty() || std::find(trace.begin(), trace.end(), c.trace) != trace.end()) << c.trace;
        if (firstFrame) {
            ASSERT_TRUE(workerGone(dlg));
            EXPECT_EQ(scanner.journal("LIVESCAN_GetFPBmpData_Red").size(), 1u);
            EXPECT_EQ(shownFrame(false, 1), 0);
        }
        dlg.EndCapture();
        ASSERT_TRUE(workerGone(dlg));
    }
}
