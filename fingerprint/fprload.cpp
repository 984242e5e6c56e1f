// Loading and opening the scanner libraries of both families.
#include <stdlib.h>

#include <QLibrary>
#include <QMessageBox>
#include <QString>

#include "capture_state.h"
#include "drivers.h"
#include "fingerprint/capfingerdlg.h"
#include "log/writelog.h"

namespace fprdrv {

FprNoArgFn pxFprInit;
FprNoArgFn pxFprClose;
FprNoArgFn pxFprGetChalCount;
FprImageInfoFn pxFprGetImageInfo;
FprChannelFn pxFprBeginCapture;
FprBmpDataFn pxFprGetFPBmpData_Red;
FprChannelFn pxFprEndCapture;
FprQualityFn pxFprGetQuality;

FprNoArgFn AraInit;
FprNoArgFn AraFree;
AraOpenFn AraOpenDevice;
AraCloseFn AraCloseDevice;
AraCountFn AraGetDeviceCount;
AraImgInfoFn AraGetImgInfo;
AraRawFn AraCapRawData;
AraErrorInfoFn AraGetErrorInfo;
AraQualityFn AraImgQuality;

void forgetEntryPoints()
{
    pxFprInit = pxFprClose = pxFprGetChalCount = nullptr;
    pxFprGetImageInfo = nullptr;
    pxFprBeginCapture = pxFprEndCapture = nullptr;
    pxFprGetFPBmpData_Red = nullptr;
    pxFprGetQuality = nullptr;
    AraInit = AraFree = nullptr;
    AraOpenDevice = nullptr;
    AraCloseDevice = nullptr;
    AraGetDeviceCount = nullptr;
    AraGetImgInfo = nullptr;
    AraCapRawData = nullptr;
    AraGetErrorInfo = nullptr;
    AraImgQuality = nullptr;
}

} // namespace fprdrv

using namespace fprdrv;

namespace {

void box(QWidget *parent, const char *text)
{
    QMessageBox::information(parent, QString::fromUtf8("指纹采集"), QString::fromUtf8(text), QMessageBox::Ok);
}

template <typename Fn>
Fn resolve(QLibrary *lib, const char *name)
{
    return reinterpret_cast<Fn>(lib->resolve(name));
}

} // namespace

int CapFingerDlg::loadHYFpr()
{
    // The library, its entry points and the optional quality library are
    // looked at once; after a failed resolve the object stays and a later
    // attempt goes on with what it has.
    if (m_pCapLib == nullptr) {
        if (!QLibrary::isLibrary("ID_FprCap.so"))
            return 0;
        m_pCapLib = new QLibrary("ID_FprCap.so");
        if (!m_pCapLib->load()) {
            WriteLog("加载ID_FprCap.so失败", 0);
            delete m_pCapLib;
            m_pCapLib = nullptr;
            return 0;
        }
        pxFprInit = resolve<FprNoArgFn>(m_pCapLib, "LIVESCAN_Init");
        pxFprClose = resolve<FprNoArgFn>(m_pCapLib, "LIVESCAN_Close");
        pxFprGetChalCount = resolve<FprNoArgFn>(m_pCapLib, "LIVESCAN_GetChannelCount");
        pxFprGetImageInfo = resolve<FprImageInfoFn>(m_pCapLib, "LIVESCAN_GetMaxImageSize");
        pxFprBeginCapture = resolve<FprChannelFn>(m_pCapLib, "LIVESCAN_BeginCapture");
        pxFprGetFPBmpData_Red = resolve<FprBmpDataFn>(m_pCapLib, "LIVESCAN_GetFPBmpData_Red");
        pxFprEndCapture = resolve<FprChannelFn>(m_pCapLib, "LIVESCAN_EndCapture");
        if (!pxFprInit || !pxFprClose || !pxFprGetChalCount || !pxFprGetImageInfo || !pxFprBeginCapture ||
            !pxFprGetFPBmpData_Red || !pxFprEndCapture) {
            box(m_pParent, "加载ID_FprCap.so接口函数失败");
            return 0;
        }
        // Optional: without it the first frame is taken as it comes.
        if (m_pQualityLib == nullptr && QLibrary::isLibrary("ID_Fpr.so")) {
            m_pQualityLib = new QLibrary("ID_Fpr.so");
            if (m_pQualityLib->load())
                pxFprGetQuality = resolve<FprQualityFn>(m_pQualityLib, "FP_GetQualityScore");
        }
    }

    g_nFprCannel = -1;
    if (call(pxFprInit, 0) != 1) {
        box(m_pParent, "指纹初始化失败");
        return 0;
    }
    // The channel count is used as the channel number from here on: with one
    // channel, the channel is 1. That is how the scanner has always been driven.
    g_nFprCannel = call(pxFprGetChalCount, 0);
    if (g_nFprCannel <= 0) {
        box(m_pParent, "指纹未连接");
        return 0;
    }
    if (call(pxFprGetImageInfo, -1, g_nFprCannel, &g_nImgWidth, &g_nImgHeight) < 0) {
        call(pxFprClose, 0);
        box(m_pParent, "打开指纹失败");
        return -1;
    }
    if (g_pFPBmpData == nullptr)
        g_pFPBmpData = static_cast<unsigned char *>(malloc(g_nImgWidth * g_nImgHeight + 1078));
    m_nFprType = 0;
    return 1;
}

int CapFingerDlg::loadAraFpr()
{
    if (m_pAraLib == nullptr) {
        if (!QLibrary::isLibrary("libAraTrustFinger.so"))
            return 0;
        // A library that does not load stays as an object, and the next
        // attempt skips straight to the calls.
        m_pAraLib = new QLibrary("libAraTrustFinger.so");
        if (!m_pAraLib->load()) {
            box(m_pParent, "加载libAraTrustFinger.so失败");
            return 0;
        }
        AraInit = resolve<FprNoArgFn>(m_pAraLib, "ARAFPSCAN_GlobalInit");
        AraFree = resolve<FprNoArgFn>(m_pAraLib, "ARAFPSCAN_GlobalFree");
        AraOpenDevice = resolve<AraOpenFn>(m_pAraLib, "ARAFPSCAN_OpenDevice");
        AraCloseDevice = resolve<AraCloseFn>(m_pAraLib, "ARAFPSCAN_CloseDevice");
        AraGetDeviceCount = resolve<AraCountFn>(m_pAraLib, "ARAFPSCAN_GetDeviceCount");
        AraGetImgInfo = resolve<AraImgInfoFn>(m_pAraLib, "ARAFPSCAN_GetImageInfo");
        AraCapRawData = resolve<AraRawFn>(m_pAraLib, "ARAFPSCAN_CaptureRawData");
        AraGetErrorInfo = resolve<AraErrorInfoFn>(m_pAraLib, "ARAFPSCAN_GetErrorInfo");
        AraImgQuality = resolve<AraQualityFn>(m_pAraLib, "ARAFPSCAN_ImgQuality");
        // The quality function is the one name not checked.
        if (!AraInit || !AraFree || !AraOpenDevice || !AraCloseDevice || !AraGetDeviceCount || !AraGetImgInfo ||
            !AraCapRawData || !AraGetErrorInfo) {
            box(m_pParent, "加载libAraTrustFinger.so失败");
            return 0;
        }
    }

    g_nFprCannel = -1;
    if (call(AraInit, -1) != 0) {
        box(m_pParent, "指纹初始化失败");
        return 0;
    }
    if (call(AraGetDeviceCount, -1, &g_nFprCannel) != 0 || g_nFprCannel < 1) {
        call(AraFree, 0);
        return -1;
    }
    if (call(AraOpenDevice, -1, &g_FprHandle, 0) != 0) {
        call(AraFree, 0);
        box(m_pParent, "打开指纹设备失败");
        return 0;
    }
    // Type 2 runs as type 1 from here on, and so gets the threshold of 128
    // when the raw frame is turned into a picture.
    m_nFprType = 1;
    int unused = 0;
    if (call(AraGetImgInfo, -1, g_FprHandle, &g_nImgWidth, &g_nImgHeight, &unused) != 0) {
        call(AraFree, 0);  // the device is left open
        return 0;
    }
    if (g_pFPRawData == nullptr)
        g_pFPRawData = static_cast<unsigned char *>(malloc(g_nImgWidth * g_nImgHeight));
    return 1;
}
