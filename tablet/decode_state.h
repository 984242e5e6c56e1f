// The reader's working words, shared by the decoders, the reader and the
// command loops of this folder only. Outside, PXDecodeState carries them.
#pragma once

#include <pthread.h>

#include <atomic>

#include "tablet/pxtablet.h"

extern "C" {

// Atomic words: a second OpenDevice starts a second reader over the same
// handle while the first still decodes, and the tests reset them from their
// own thread. cachedPoint is only read by the reader that wrote it.
extern std::atomic<int> pressure;
extern std::atomic<int> cachedpressure;
extern TOUCH_INFO cachedPoint;
extern std::atomic<unsigned char> bPenEnter;
extern std::atomic<unsigned char> bOkBtn;
extern std::atomic<int> cashedKey;
extern std::atomic<float> cashx;
extern std::atomic<float> cashy;
// Cleared by CloseDevice; nothing reads it.
extern unsigned char g_EnableMouse;

// Signalled by the pad decoder when a pad acknowledges a command; nothing
// waits on it and nothing locks the two mutexes.
extern pthread_mutex_t mutex;
extern pthread_mutex_t g_mutex;
extern pthread_cond_t g_cond;
int initmutex(void);
int destorymutex(void);

}  // extern "C"
