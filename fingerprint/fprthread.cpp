// The capture worker: frames until a good one, then the picture.
#include <stdlib.h>
#include <string.h>

#include <QImage>
#include <QTime>

#include "capture_state.h"
#include "drivers.h"
#include "fingerprint/capfingerdlg.h"
#include "log/writelog.h"

using namespace fprdrv;

namespace {

// Frames above this score count toward a capture.
constexpr unsigned char kQualityThreshold = 60;
// Three counted frames are compared; the fourth ends the capture.
constexpr int kComparedFrames = 2;
// Failed calls give up after this long; bad frames never do.
constexpr int kFailureLimitMs = 30000;

void makeImage()
{
    if (Fprimg == nullptr)
        Fprimg = new QImage(g_nImgWidth, g_nImgHeight, QImage::Format_ARGB32);
}

// An 8-bit bitmap file, rows bottom-up: anything but white is ink.
void bitmapToImage()
{
    std::lock_guard<std::mutex> lock(g_FprImgLock);
    makeImage();
    const unsigned char *pixels = g_pFPBmpData + 1078;
    for (int i = 0; i < g_nImgHeight; ++i) {
        auto *row = reinterpret_cast<QRgb *>(Fprimg->scanLine(g_nImgHeight - 1 - i));
        for (int j = 0; j < g_nImgWidth; ++j)
            row[j] = pixels[i * g_nImgWidth + j] != 255 ? 0xFFFF0000u : 0x00FFFFFFu;
    }
}

// A raw top-down frame: dark pixels keep a tint of their value.
void rawToImage(int type)
{
    std::lock_guard<std::mutex> lock(g_FprImgLock);
    makeImage();
    const int threshold = type == 2 ? 255 : 128;
    for (int i = 0; i < g_nImgHeight; ++i) {
        // Only a frame of exactly 288 rows is turned upside down; the scanner
        // of that height delivers its rows the other way round.
        const int target = g_nImgHeight == 288 ? 287 - i : i;
        auto *row = reinterpret_cast<QRgb *>(Fprimg->scanLine(target));
        for (int j = 0; j < g_nImgWidth; ++j) {
            const unsigned char v = g_pFPRawData[i * g_nImgWidth + j];
            if (v >= threshold) {
                row[j] = 0x00FFFFFFu;
            } else {
                const unsigned green = static_cast<unsigned>(v * 0.3);
                const unsigned blue = static_cast<unsigned>(v * 0.7);
                row[j] = 0xFFFF0000u | green << 8 | blue;
            }
        }
    }
}

} // namespace

void FprThread::run()
{
    const int frameBytes = g_nImgWidth * g_nImgHeight;
    unsigned char best = 0;
    int counted = 0;
    unsigned char quality = 0;
    const QTime start = QTime::currentTime();
    auto *bmpBuffer = static_cast<unsigned char *>(malloc(frameBytes + 1078));
    auto *rawBuffer = static_cast<unsigned char *>(malloc(frameBytes));

    // Only failed calls look at the clock: a scanner that keeps delivering
    // poor frames is polled until the dialog stops the worker.
    auto timedOut = [&start] { return start.msecsTo(QTime::currentTime()) > kFailureLimitMs; };

    while (!m_bStop) {
        const int type = g_FprDlg->m_nFprType;
        if (type > 0) {
            if (call(AraCapRawData, -1, g_FprHandle, 8, rawBuffer) != 0 ||
                call(AraImgQuality, -1, g_nImgWidth, g_nImgHeight, rawBuffer, &quality) != 0) {
                if (timedOut())
                    break;
                continue;
            }
            if (quality <= kQualityThreshold)
                continue;
            if (counted > kComparedFrames) {
                // The frame at hand is not compared: the best saved one is shown.
                rawToImage(g_FprDlg->m_nFprType);
                emit sendFpr();
                break;
            }
            if (quality > best) {
                best = quality;
                memcpy(g_pFPRawData, rawBuffer, frameBytes);
            }
            ++counted;
        } else if (type == 0) {
            const int begun = call(pxFprBeginCapture, 0, g_nFprCannel);
            if (m_bStop)
                break;
            if (begun != 1 || call(pxFprGetFPBmpData_Red, 0, g_nFprCannel, bmpBuffer) != 1) {
                if (timedOut())
                    break;
                continue;
            }
            // Without a working quality score the frame at hand completes it.
            bool complete = pxFprGetQuality == nullptr || pxFprGetQuality(bmpBuffer, &quality) == 0;
            if (!complete) {
                if (quality <= kQualityThreshold)
                    continue;
                complete = counted > kComparedFrames;
            }
            if (complete) {
                if (best == 0)
                    memcpy(g_pFPBmpData, bmpBuffer, frameBytes + 1078);
                bitmapToImage();
                emit sendFpr();
                break;
            }
            if (quality > best) {
                best = quality;
                memcpy(g_pFPBmpData, bmpBuffer, frameBytes + 1078);
            }
            ++counted;
        }
        // A negative type never reaches a worker: StartCapture refuses it.
    }

    free(bmpBuffer);
    free(g_pFPBmpData);
    g_pFPBmpData = nullptr;
    free(rawBuffer);
    free(g_pFPRawData);
    g_pFPRawData = nullptr;
    if (g_FprDlg->m_nFprType == 0) {
        call(pxFprEndCapture, 0, g_nFprCannel);
        call(pxFprClose, 0);
    } else if (g_FprDlg->m_nFprType > 0) {
        call(AraCloseDevice, 0, &g_FprHandle);
        call(AraFree, 0);
    }
    WriteLog("FprThread quit", 0);
}
