// Tablet protocol: the event records and callbacks, the per-report decoding
// of every tablet family, the reader thread and the pads' command protocol.
// Everything here works on the row selected in g_uDevinfo_index.
#pragma once

#include <pthread.h>
#include <stdint.h>

#include <atomic>

#include "tablet/deviceRead.h"
#include "tablet/sphid.h"

// One pen or key event. key: 0 pen, 16 re-sign key, 32 OK key.
struct TOUCH_INFO {
    int32_t x;
    int32_t y;
    float pressure;
    int32_t state;  // 1 while the pen touches
    int32_t key;
};

struct MULTITOUCH_POINT {
    int32_t x;
    int32_t y;
    int32_t state;  // 0x80 for a finger
};

// One multi-finger event: fingers packed from element 0.
struct MULTITOUCH_INFO {
    int32_t count;
    MULTITOUCH_POINT points[5];
};

// A callback returns 0 to keep the event from the callbacks registered before it.
typedef int (*TouchInfoCallBack)(TOUCH_INFO info);
typedef int (*MultiTouchInfoCallBack)(MULTITOUCH_INFO info);

constexpr int kCallbackSlots = 5;

// Key values of TOUCH_INFO::key.
constexpr int kKeyResign = 16;
constexpr int kKeyOk = 32;

extern "C" {

// ---- callbacks -----------------------------------------------------------
extern TouchInfoCallBack Touchcallback[kCallbackSlots];
extern MultiTouchInfoCallBack MultiTouchcallback[kCallbackSlots];

// Adds a touch callback, opening the device first if none is selected.
int RegisterTouchInfoCallBack(TouchInfoCallBack callback);
int RegisterMultiTouchInfoCallBack(MultiTouchInfoCallBack callback);
int UnregisterTouchInfoCallBack(TouchInfoCallBack callback);
int UnregisterMultiTouchInfoCallBack(MultiTouchInfoCallBack callback);
// Calls the registered callbacks newest first until one returns 0.
void disptchEvent(TOUCH_INFO info);
void dispatchMultiEvent(MULTITOUCH_INFO info);

// ---- decoding state (reader thread only) ----------------------------------
// Set by the interface thread (CloseDevice) and by the reader itself, read by
// the reader between reports.
extern std::atomic<unsigned char> exit_flag;
extern pthread_t ReaderThread_id;
// Display tablets; PXPenSet writes it on the interface thread (through
// PXSetPenScale) while the reader reads it.
extern std::atomic<float> g_fPenScale;
void PXSetPenScale(float scale);
extern float g_fPenSize;    // pads; nothing writes it

// The decoding state of both families as one value: the pressure scales,
// the display tablets' last pressure and point, and the pads' latches. For
// tools that decode beside the reader (a recording's decoder) and put the
// state back after; the reader's own words stay inside the layer.
struct PXDecodeState {
    float penScale;            // g_fPenScale
    float penSize;             // g_fPenSize
    int pressure;              // display tablets: last raw pressure
    int cachedpressure;
    TOUCH_INFO cachedPoint;    // display tablets: last dispatched point
    unsigned char penEnter;    // 64-byte pads: pen in range
    unsigned char okBtn;       // 64-byte pads: first OK report seen
    int cashedKey;             // pads: state of the last sample
    float cashx;               // pads: position of the last sample
    float cashy;
};
void PXGetDecodeState(struct PXDecodeState *state);
void PXSetDecodeState(const struct PXDecodeState *state);

// Decodes one signature-pad report (8 or 64 bytes) into out; some reports
// leave out as it was.
void Analize_TabletPacket(unsigned char *report, int length, unsigned short pid, TOUCH_INFO *out);
// Decodes one complete display-tablet report (pen id 2 or multi-touch id 14)
// of a row with reportLen/devType and dispatches what it yields. touch is the
// reader's working record, kept between reports.
void PXHandleDisplayReport(const unsigned char *report, int reportLen, int devType, TOUCH_INFO *touch);
// The two pure steps of it, which change neither the decoding state nor call
// the callbacks (the pen step reads g_fPenScale): a multi-touch report into fingers (false when the report fails
// the acceptance test), and a pen report's position, pressure and state into
// touch with the raw pressure in *raw. A devType outside the three layouts
// leaves position and *raw as they were.
bool PXDecodeMultiTouch(const unsigned char *report, MULTITOUCH_INFO *mt);
void PXDecodeDisplayPen(const unsigned char *report, int reportLen, int devType, TOUCH_INFO *touch, int *raw);
// Called each time the pen leaves a display tablet; does nothing.
void moveMousetoPrimary(void);
// Resets the decoding state above to its start values (tests, fuzzing).
void PXResetDecodeState(void);

// An observer of the reader thread, for tools that show reports beside their
// events: each report the reader takes, before it is decoded (so the events
// dispatched next belong to it), and (null, -1) once when the reader finds
// the tablet gone, before it closes the handle. Set it while no reader runs.
typedef void (*PXReportTap)(const unsigned char *report, int length, void *context);
void PXSetReportTap(PXReportTap tap, void *context);

// The reader thread: polls the transport and dispatches events.
void *reader_loop(void *arg);

// ---- pad commands --------------------------------------------------------
int enterSignMode(hid_device *dev, unsigned short pid);
int enterLogoMode(hid_device *dev, unsigned short pid);
int enterFprMode(hid_device *dev, unsigned short pid);
int clearSign(hid_device *dev, unsigned short pid);
int closeLED(hid_device *dev);
int PXSignMode(hid_device *dev, unsigned short pid);
int PXStartMode(hid_device *dev, unsigned short pid);
int PXFprMode(hid_device *dev, unsigned short pid);
int PXInit(hid_device *dev, unsigned short pid);
int PXClose(hid_device *dev, unsigned short pid);

// ---- identity ------------------------------------------------------------
int PX_SetFeature(hid_device *dev, unsigned char *data, int len);
int PX_GetFeature(hid_device *dev, unsigned char *data, int len);
int GetDevResponce(hid_device *dev, int len, unsigned char *cmd);

}  // extern "C"

// These two take the length by reference, so they keep C++ linkage.
int getSerial(hid_device *dev, unsigned short pid, unsigned char *out, int &len);
int GetCustumID(hid_device *dev, unsigned short pid, unsigned char *out, int &len);

// The 11-byte identity block from its wire forms; b is the block start.
void PXDecodeIdentityPlain(const unsigned char *b, unsigned char out[11]);
void PXDecodeIdentityScrambled(const unsigned char *b, unsigned char out[11]);

