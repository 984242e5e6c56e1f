// Mode commands of the signature pads: sign, start ("logo") and fingerprint
// mode, clear and LED off, with the acknowledgement loops around them.
#include <cstdio>
#include <cstring>

#include "decode_state.h"
#include "tablet/pxtablet.h"
#include "commands_table.h"
#include "log/writelog.h"

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_cond = PTHREAD_COND_INITIALIZER;

namespace {

using namespace pxcmd;

int sendFeature(hid_device *dev, const Command &c)
{
    return hid_send_feature_report(dev, c.bytes, c.length);
}

int sendOutput(hid_device *dev, const Command &c)
{
    return hid_write(dev, c.bytes, c.length);
}

// Family of a pad that has the fingerprint mode, else NONE.
PXFamily fprFamily(unsigned short pid)
{
    const PXModelTraits &t = catalogueTraitsOfPid(pid);
    return t.fprMode ? t.family : PX_FAMILY_NONE;
}

int replyLength(unsigned short pid)
{
    return PXFamilyOf(pid) == PX_FAMILY_OUTPUT64 ? 64 : 8;
}

enum class Mode { Sign, Start };

bool isModeAck(Mode mode, unsigned short pid, const unsigned char *r)
{
    switch (PXFamilyOf(pid)) {
    case PX_FAMILY_FEATURE3: {
        const Command &expect = mode == Mode::Sign ? kAckSign3 : kAckStart3;
        return memcmp(r, expect.bytes, 8) == 0;
    }
    case PX_FAMILY_FEATURE8:
        return mode == Mode::Sign ? (r[1] == 0x03 && r[7] == 0x05) : (r[1] == 0x04 && r[7] == 0x06);
    default:
        return r[1] == 0x0C || r[1] == 0x09;
    }
}

// Sends the mode command until the pad acknowledges. Deliberately without a
// limit: a pad that answers otherwise, or not at all, keeps the caller here as
// long as sends succeed; a vanished pad ends it because the send fails.
int modeLoop(hid_device *dev, unsigned short pid, Mode mode)
{
    const int len = replyLength(pid);
    unsigned char buf[64] = {};
    for (;;) {
        int sent = mode == Mode::Sign ? enterSignMode(dev, pid) : enterLogoMode(dev, pid);
        if (sent <= 0) {
            if (mode == Mode::Start)
                WriteLog("enterLogoMode", sent);
            return PX_ERR_SEND;
        }
        int n = hid_read_timeout(dev, buf, len, 800);
        if (n == 0)
            continue;
        printf(mode == Mode::Sign ? "read sign mode: %02x %02x %02x %02x %02x %02x  %02x %02x\n"
                                  : "read start mode: %02x %02x %02x %02x %02x %02x  %02x %02x\n",
               buf[0], buf[1], buf[2], buf[3], buf[4], buf[5], buf[6], buf[7]);
        if (n == len && isModeAck(mode, pid, buf))
            return 0;
    }
}

}  // namespace

// Puts a pad into sign mode; bytes sent, -1 on failure, 0 for a pid of no family.
int enterSignMode(hid_device *dev, unsigned short pid)
{
    int r;
    switch (PXFamilyOf(pid)) {
    case PX_FAMILY_FEATURE3: r = sendFeature(dev, kSign3); break;
    case PX_FAMILY_FEATURE8: r = sendFeature(dev, kSign8); break;
    case PX_FAMILY_OUTPUT64: return sendOutput(dev, signBlock64());
    default: return 0;
    }
    if (r == -1)
        WriteLog("send signmode cmd fail\n", 0);
    return r;
}

// Puts a pad on its start screen; pids outside the Feature families are
// treated as Output-64.
int enterLogoMode(hid_device *dev, unsigned short pid)
{
    int r;
    switch (PXFamilyOf(pid)) {
    case PX_FAMILY_FEATURE3: r = sendFeature(dev, kStart3); break;
    case PX_FAMILY_FEATURE8: r = sendFeature(dev, kStart8); break;
    default: return sendOutput(dev, kStart64);
    }
    if (r == -1)
        WriteLog("send start mode cmd fail\n", 0);
    return r;
}

// Hands the pad to its fingerprint scanner (KV-C1, KV-C5); 0 when sent, -1 on failure.
int enterFprMode(hid_device *dev, unsigned short pid)
{
    int r = 0;
    const PXFamily family = fprFamily(pid);
    if (family == PX_FAMILY_FEATURE3)
        r = sendFeature(dev, kFpr3);
    else if (family == PX_FAMILY_OUTPUT64)
        r = sendOutput(dev, kFpr64);
    if (r == -1) {
        WriteLog("send start mode cmd fail\n", 0);
        return -1;
    }
    return 0;
}

// Clears the pad's screen; bytes sent, -1 on failure, 0 without the command.
int clearSign(hid_device *dev, unsigned short pid)
{
    int r;
    switch (PXFamilyOf(pid)) {
    case PX_FAMILY_FEATURE3: r = sendFeature(dev, kClear3); break;
    case PX_FAMILY_FEATURE8: r = sendFeature(dev, kClear8); break;
    default: return 0;
    }
    if (r == -1)
        WriteLog("send clear cmd fail\n", 0);
    return r;
}

// Switches the pad's LED off; the same command for every pid.
int closeLED(hid_device *dev)
{
    int r = sendFeature(dev, kCloseLed);
    if (r == -1)
        WriteLog("send closeLED cmd fail\n", 0);
    return r;
}

// Sign mode until acknowledged; 0 or -14.
int PXSignMode(hid_device *dev, unsigned short pid)
{
    WriteLog("PXSignMode", 0);
    return modeLoop(dev, pid, Mode::Sign);
}

// Start mode until acknowledged; 0 or -14.
int PXStartMode(hid_device *dev, unsigned short pid)
{
    return modeLoop(dev, pid, Mode::Start);
}

// Fingerprint mode with three attempts; 0 or -10.
int PXFprMode(hid_device *dev, unsigned short pid)
{
    WriteLog("PXFprMode", 0);
    const PXFamily family = fprFamily(pid);
    const int len = family == PX_FAMILY_OUTPUT64 ? 64 : 8;
    unsigned char buf[64] = {};
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (enterFprMode(dev, pid) < 0) {
            WriteLog("enter Fpr Mode fail", 0);
            return PX_ERR_NO_ANSWER;
        }
        hid_read_timeout(dev, buf, len, 1000);
        if (family == PX_FAMILY_FEATURE3 && memcmp(buf, kAckFpr3.bytes, kAckFpr3.length) == 0)
            return 0;
        if (family == PX_FAMILY_OUTPUT64 && buf[1] == 0x0D)
            return 0;
    }
    WriteLog("enter fpr mode no response", 0);
    return PX_ERR_NO_ANSWER;
}

// Prepares the acknowledgement signalling and enters sign mode.
int PXInit(hid_device *dev, unsigned short pid)
{
    initmutex();
    int r = PXSignMode(dev, pid);
    if (r != 0)
        destorymutex();
    return r;
}

// Returns the pad to start mode and releases the signalling.
int PXClose(hid_device *dev, unsigned short pid)
{
    int r = PXStartMode(dev, pid);
    destorymutex();
    WriteLog("PXClose###########", 0);
    return r;
}

// The decoder signals g_cond when a pad acknowledges; nothing waits on it.
int initmutex(void)
{
    if (pthread_mutex_init(&mutex, nullptr) != 0)
        return 1;
    if (pthread_mutex_init(&g_mutex, nullptr) != 0)
        return 1;
    if (pthread_cond_init(&g_cond, nullptr) != 0)
        return 1;
    return 0;
}

int destorymutex(void)
{
    pthread_mutex_destroy(&g_mutex);
    pthread_cond_destroy(&g_cond);
    pthread_mutex_destroy(&mutex);
    return 0;
}
