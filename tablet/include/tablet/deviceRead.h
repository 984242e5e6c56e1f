// Discovery, the selected-device state and the public interface of the
// tablet layer: one tablet at a time, process-wide state, integer results.
#pragma once

#include <stdint.h>

#include <atomic>

#include "tablet/catalogue.h"
#include "tablet/sphid.h"

// Public result codes.
enum {
    PX_OK = 0,
    PX_ERR_NO_DEVICE = 1,          // no tablet found
    PX_ERR_OPEN = 2,               // the transport could not open the tablet
    PX_ERR_NOT_OPEN = 3,           // device or pen engine not open
    PX_ERR_THREAD = 5,             // the reader thread could not be created
    PX_ERR_NOT_UNREGISTERED = 10,  // reserved: has a text, returned by nothing
    PX_ERR_NOT_REGISTERED = 11,    // callback was not registered
    PX_ERR_CALLBACK_FULL = 13,     // callback table is full
    PX_ERR_NO_ANSWER = -10,        // a mode command got no valid answer
    PX_ERR_NULL_ARG = -11,         // null argument
    PX_ERR_SEND = -14,             // a command could not be sent
};

// What GetDeviceInfo fills for the caller. manufacturer..isPad mirror the
// catalogue row byte for byte.
struct DEVICE_INFO {
    char version[12];
    char manufacturer[52];
    char model[32];
    uint16_t vid;
    uint16_t pid;
    int32_t minX;
    int32_t minY;
    int32_t maxX;
    int32_t maxY;
    int32_t pressureLevels;
    int32_t isPad;
    unsigned char serial[32];
    char firmware[6];
};

// API version text written into DEVICE_INFO::version.
#define PX_API_VERSION "1.4"

#ifdef __cplusplus
extern "C" {
#endif

// Selected catalogue row, -1 when none. The reader thread clears it when the
// tablet is unplugged while the interface thread looks at it: atomic.
extern std::atomic<int> g_uDevinfo_index;
// The open transport handle, null when closed; cleared by the reader thread
// on unplug, like the row.
extern std::atomic<hid_device *> hDev;
// Identity block of the device and its valid length (0 or 11).
extern unsigned char g_bSerial[64];
extern int g_nSerial;
// Firmware text filled by hid_open.
extern char g_cFirmWareVersion[6];
// Written only by CloseDevice (to 0); discovery calls hid_init while it is 0.
extern unsigned char g_bHidInit;

// Selects the catalogue row of the last attached HID device whose product id
// is catalogued (the vendor is not compared); the row or -1. 0 matches any.
int FindTavrelTablet_Pid(unsigned short vid, unsigned short pid);
// 0 if a tablet is selected or can be selected, else 1.
int GetDeviceStatus(void);
// Fills info from the selected row and the identity read at open; 0 or a code.
int GetDeviceInfo(struct DEVICE_INFO *info);
// Message of a result code as UTF-8 into text (at least 25 bytes).
void GetErrorMessage(int code, char *text);
// The same with the pen-interface wording.
void PXGetErrorMessage(int code, char *text);

// Open and close of the selected tablet, and its mode (1 sign, 2 fingerprint,
// 3 start).
int OpenDevice(void);
int CloseDevice(void);
int SetMode(int mode);

// Run by CloseDevice after the device is released. The pen layer sets it
// when it makes an engine, so that the engine goes with the device without
// this layer knowing the pen layer. Null: nothing to run.
typedef void (*PXCloseHook)(void);
void PXSetCloseHook(PXCloseHook hook);

#ifdef __cplusplus
}
#endif
