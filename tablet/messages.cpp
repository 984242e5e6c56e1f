// The message tables of the public result codes.
#include <string.h>

#include "tablet/deviceRead.h"

static void copyText(char *text, const char *message)
{
    if (text != nullptr)
        strcpy(text, message);
}

void GetErrorMessage(int code, char *text)
{
    const char *message;
    // No own text for -10 and -14: both read "其它", like unknown codes.
    switch (code) {
    case PX_ERR_NO_DEVICE: message = "设备未连接"; break;
    case PX_ERR_OPEN: message = "打开手写设备失败"; break;
    case PX_ERR_NOT_OPEN: message = "未打开手写设备"; break;
    case PX_ERR_THREAD: message = "创建读取线程失败"; break;
    case PX_ERR_NOT_UNREGISTERED: message = "未反注册回调函数"; break;
    case PX_ERR_NOT_REGISTERED: message = "未注册回调函数"; break;
    case PX_ERR_CALLBACK_FULL: message = "回调函数超数量"; break;
    case PX_ERR_NULL_ARG: message = "无效值"; break;
    default: message = "其它"; break;
    }
    copyText(text, message);
}

void PXGetErrorMessage(int code, char *text)
{
    const char *message;
    switch (code) {
    case PX_ERR_NO_DEVICE: message = "设备未连接"; break;
    case PX_ERR_OPEN: message = "打开设备失败"; break;
    case PX_ERR_THREAD: message = "创建读线程失败"; break;
    case PX_ERR_NO_ANSWER: message = "设备通信失败"; break;
    case PX_ERR_NULL_ARG: message = "无效的值"; break;
    case PX_ERR_SEND: message = "下发命令失败"; break;
    default: message = "其它返回值"; break;
    }
    copyText(text, message);
}
