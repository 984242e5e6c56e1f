// Driving the capture dialog against the stand-in scanners in lib/ beside
// the test program: the end of the worker, the scanner's journal and the
// pictures the rules lead to.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <QImage>
#include <fstream>
#include <string>
#include <vector>

#include "../support/qt_app.h"
#include "fingerprint/capfingerdlg.h"
#include "ridges.h"

namespace fprtest {

// "title|text" of each box the watcher answered.
inline std::vector<std::string> boxesOf(const ModalWatcher &watcher)
{
    std::vector<std::string> seen;
    for (int i = 0; i < watcher.texts.size(); ++i)
        seen.push_back((watcher.titles[i] + "|" + watcher.texts[i]).toStdString());
    return seen;
}

// The stand-ins read SP_SCANNER when they initialise; each test also asks
// for a journal of the calls, one file per process: test programs running
// side by side (ctest -j) must not write into each other's.
struct Scanner {
    std::string journalPath;
    explicit Scanner(const std::string &script)
    {
        journalPath = ::testing::TempDir() + "fpr-journal-" + std::to_string(getpid()) + ".txt";
        remove(journalPath.c_str());
        setenv("SP_SCANNER", (script + ";journal=" + journalPath).c_str(), 1);
    }
    std::vector<std::string> journal() const
    {
        std::ifstream in(journalPath);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }
    int count(const std::string &prefix) const
    {
        int n = 0;
        for (const std::string &line : journal())
            n += line.rfind(prefix, 0) == 0;
        return n;
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
inline QImage expectedBitmapPicture(int w, int h, int index)
{
    const std::vector<uint8_t> file = standin::renderBitmapFile(w, h, index);
    QImage img(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.setPixel(x, y, file[standin::kBitmapHeader + size_t(h - 1 - y) * w + x] != 255 ? 0xFFFF0000u : 0x00FFFFFFu);
    return img;
}

inline QImage expectedRawPicture(int w, int h, int index)
{
    const std::vector<uint8_t> frame = standin::renderFrame(w, h, index);
    QImage img(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int v = frame[size_t(y) * w + x];
            img.setPixel(x, h == 288 ? 287 - y : y,
                         v >= 128 ? 0x00FFFFFFu : 0xFFFF0000u | unsigned(v * 0.3) << 8 | unsigned(v * 0.7));
        }
    return img;
}

// Which of the first `frames` stand-in frames the finished picture shows,
// -1 for none (or no picture).
inline int shownFrame(bool raw, int frames)
{
    if (Fprimg == nullptr)
        return -1;
    for (int k = 0; k < frames; ++k) {
        const QImage want = raw ? expectedRawPicture(Fprimg->width(), Fprimg->height(), k)
                                : expectedBitmapPicture(Fprimg->width(), Fprimg->height(), k);
        if (*Fprimg == want)
            return k;
    }
    return -1;
}

} // namespace fprtest
