// Driving the capture dialog against the stand-in scanners in lib/ beside
// the test program: the end of the worker, the scanner's journal and the
// pictures the rules lead to.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <QImage>
#include <fstream>

#include "../support/qt_app.h"
#include "fingerprint/capfingerdlg.h"
#include "ridges.h"

namespace fprtest {

// The stand-ins read SP_SCANNER when they initialise; each test also asks
// for a journal of the calls, one file per process: test programs running
// side by side (ctest -j) must not write into each other's.
struct Scanner {
    const std::string path = ::testing::TempDir() + "fpr-journal-" + std::to_string(getpid()) + ".txt";
    explicit Scanner(const std::string &script)
    {
        remove(path.c_str());
        setenv("SP_SCANNER", (script + ";journal=" + path).c_str(), 1);
    }
    std::vector<std::string> journal(const std::string &prefix = "") const
    {
        std::ifstream in(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            if (line.rfind(prefix, 0) == 0)
                lines.push_back(line);
        return lines;
    }
};

// The worker has ended and the dialog has let go of it.
inline bool workerGone(CapFingerDlg &dlg)
{
    return QTest::qWaitFor([&dlg] { return dlg.m_pThread == nullptr; }, 10000);
}

// The picture of stand-in frame `index` by the tool's rules. Bitmap family:
// rows come bottom-up, anything but 255 is opaque red, 255 clear white. Raw
// family: rows top-down (upside down at exactly 288 rows), values under 128
// opaque red with green v*0.3 and blue v*0.7, the rest clear white.
inline QImage expectedPicture(bool raw, int w, int h, int index)
{
    const std::vector<uint8_t> data = raw ? standin::renderFrame(w, h, index) : standin::renderBitmapFile(w, h, index);
    QImage img(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int v = raw ? data[size_t(y) * w + x] : data[standin::kBitmapHeader + size_t(h - 1 - y) * w + x];
            if (!raw)
                img.setPixel(x, y, v != 255 ? 0xFFFF0000u : 0x00FFFFFFu);
            else
                img.setPixel(x, h == 288 ? 287 - y : y,
                             v >= 128 ? 0x00FFFFFFu : 0xFFFF0000u | unsigned(v * 0.3) << 8 | unsigned(v * 0.7));
        }
    return img;
}

// Which of the first `frames` stand-in frames the finished picture shows,
// -1 for none (or no picture).
inline int shownFrame(bool raw, int frames)
{
    for (int k = 0; Fprimg != nullptr && k < frames; ++k)
        if (*Fprimg == expectedPicture(raw, Fprimg->width(), Fprimg->height(), k))
            return k;
    return -1;
}

} // namespace fprtest
