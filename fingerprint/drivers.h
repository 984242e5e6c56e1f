// Entry points of the closed scanner libraries, resolved at the first test
// of each family and kept for the life of the process. Internal to this
// folder: the loaders fill them, the worker calls them.
#pragma once

extern "C" {
// ID_FprCap.so
typedef int (*FprNoArgFn)();
typedef int (*FprChannelFn)(int channel);
typedef int (*FprImageInfoFn)(int channel, int *width, int *height);
typedef int (*FprBmpDataFn)(int channel, unsigned char *buffer);
// ID_Fpr.so
typedef int (*FprQualityFn)(unsigned char *bitmap, unsigned char *score);
// libAraTrustFinger.so
typedef int (*AraCountFn)(int *count);
typedef int (*AraOpenFn)(void **handle, int index);
typedef int (*AraCloseFn)(void **handle);
typedef int (*AraImgInfoFn)(void *handle, int *width, int *height, int *unused);
typedef int (*AraRawFn)(void *handle, int mode, unsigned char *buffer);
typedef int (*AraQualityFn)(int width, int height, unsigned char *frame, unsigned char *quality);
typedef void (*AraErrorInfoFn)();
}

namespace fprdrv {

extern FprNoArgFn pxFprInit;
extern FprNoArgFn pxFprClose;
extern FprNoArgFn pxFprGetChalCount;
extern FprImageInfoFn pxFprGetImageInfo;
extern FprChannelFn pxFprBeginCapture;
extern FprBmpDataFn pxFprGetFPBmpData_Red;
extern FprChannelFn pxFprEndCapture;
extern FprQualityFn pxFprGetQuality;

extern FprNoArgFn AraInit;
extern FprNoArgFn AraFree;
extern AraOpenFn AraOpenDevice;
extern AraCloseFn AraCloseDevice;
extern AraCountFn AraGetDeviceCount;
extern AraImgInfoFn AraGetImgInfo;
extern AraRawFn AraCapRawData;
extern AraErrorInfoFn AraGetErrorInfo;
extern AraQualityFn AraImgQuality;

// Clears every pointer, once their libraries are unloaded.
void forgetEntryPoints();

// A pointer left null by a failed resolve is still called by a later
// attempt, which would end the process; such a call fails instead.
template <typename Fn, typename... Args>
int call(Fn fn, int failure, Args... args)
{
    return fn != nullptr ? fn(args...) : failure;
}

} // namespace fprdrv
