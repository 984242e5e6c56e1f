// Identity of the tablets: the pads' identity command, the display tablets'
// custom-ID exchange, and the two wire encodings of the 11-byte block.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "commands_table.h"
#include "tablet/pxtablet.h"
#include "log/writelog.h"

namespace {

using namespace pxcmd;

constexpr int kIdentityLen = 11;

// The feature helpers keep every copy they make for the rest of the run
// (kept: they run a few times per open). The list keeps them reachable.
unsigned char *keptCopy(const unsigned char *data, int len)
{
    // Never destroyed, so that the copies stay reachable until exit.
    static auto *kept = new std::vector<unsigned char *>;
    auto *copy = static_cast<unsigned char *>(malloc(len + 1));
    if (!copy)
        return nullptr;
    memcpy(copy, data, len);
    kept->push_back(copy);
    return copy;
}

}  // namespace

// Plain form: category, pid, industry and number straight from the block.
void PXDecodeIdentityPlain(const unsigned char *b, unsigned char out[11])
{
    const unsigned char v[kIdentityLen] = {0x02, 0x88, b[2], b[3], b[4], 0, 0, b[5], 0, b[6], b[7]};
    memcpy(out, v, kIdentityLen);
}

// Scrambled form: undone by XORs among the block's own bytes.
void PXDecodeIdentityScrambled(const unsigned char *b, unsigned char out[11])
{
    const unsigned char v[kIdentityLen] = {
        0x02,
        0x88,
        static_cast<unsigned char>(b[3] ^ b[4]),
        static_cast<unsigned char>(b[9] ^ b[4]),
        static_cast<unsigned char>(b[10] ^ b[13]),
        static_cast<unsigned char>(b[11] ^ b[14]),
        0,
        static_cast<unsigned char>(b[7] ^ b[13]),
        static_cast<unsigned char>(b[8] ^ b[14]),
        b[14],
        b[12],
    };
    memcpy(out, v, kIdentityLen);
}

// Reads a pad's identity (three attempts), then enters sign mode; 0 or -14.
int getSerial(hid_device *dev, unsigned short pid, unsigned char *out, int &len)
{
    const bool wide = PXFamilyOf(pid) == PX_FAMILY_OUTPUT64;
    unsigned char buf[64] = {};
    for (int attempt = 0; attempt < 3; ++attempt) {
        const Command &c = serialCommandOf(pid);
        int r;
        if (c.length == 64) {
            r = hid_write(dev, c.bytes, c.length);
        } else {
            r = hid_send_feature_report(dev, c.bytes, c.length);
            if (r == -1 && c.length == 3)
                WriteLog("set cmd fail", r);
        }
        if (r == -1) {
            WriteLog("send gedit cmd fail\n", 0);
            return PX_ERR_SEND;
        }
        int n = hid_read_timeout(dev, buf, wide ? 64 : 8, 800);
        if (n == 0)
            continue;
        printf("read serial: %d, %02x %02x %02x %02x %02x %02x  %02x %02x\n", n, buf[0], buf[1], buf[2],
               buf[3], buf[4], buf[5], buf[6], buf[7]);
        if (n == 64 && buf[1] == 0xF1) {
            PXDecodeIdentityScrambled(buf + 16, out);
            len = kIdentityLen;
            break;
        }
        if (n == 8 && buf[1] == 0x88) {
            PXDecodeIdentityPlain(buf, out);
            len = kIdentityLen;
            break;
        }
    }
    return PXInit(dev, pid);
}

// Reads a display tablet's identity: request, acknowledgement on the input
// pipe, then the block by get-feature. 1 if a block was stored, else 0.
int GetCustumID(hid_device *dev, unsigned short pid, unsigned char *out, int &len)
{
    (void)pid;
    len = 0;
    unsigned char request[8] = {0x08, 0x04, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00};
    if (PX_SetFeature(dev, request, sizeof request) < 0) {
        WriteLog("GetCustumID: PX_SetFeature get custom serial  fail", 0);
        return 0;
    }
    unsigned char ack[2] = {0x08, 0x04};
    if (!GetDevResponce(dev, Dev_info_px[g_uDevinfo_index].reportLen, ack)) {
        WriteLog("GetCustumID:get custom serial again", 0);
        return 0;
    }
    unsigned char block[64] = {0xA1, 0x01, 0xA1, 0x01, 0x00, 0x00, 0x40};
    if (PX_GetFeature(dev, block, sizeof block) < 1) {
        WriteLog("GetCustumID: PX_GetFeature Get CSerial fail ", 0);
        return 0;
    }
    const unsigned char *b = block + 3;
    if (b[0] == 0x02 && b[1] == 0x88)
        PXDecodeIdentityPlain(b, out);
    else
        PXDecodeIdentityScrambled(b, out);
    len = kIdentityLen;
    return 1;
}

// Waits for an input report whose bytes 3 and 4 echo cmd; 1 or 0.
int GetDevResponce(hid_device *dev, int len, unsigned char *cmd)
{
    unsigned char buf[64] = {};
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (attempt > 0)
            usleep(200);
        int n = hid_read_timeout(dev, buf, len, 500);
        if (n == len && buf[3] == cmd[0] && buf[4] == cmd[1])
            return 1;
    }
    return 0;
}

// Sends a feature report, up to five attempts; the last result, 0 if no memory.
int PX_SetFeature(hid_device *dev, unsigned char *data, int len)
{
    unsigned char *copy = keptCopy(data, len);
    if (!copy)
        return 0;
    int r = 0;
    for (int attempt = 0; attempt < 5; ++attempt) {
        r = hid_send_feature_report(dev, copy, len);
        if (r > 0)
            break;
        usleep(400);
    }
    return r;
}

// Fetches a feature report, up to twenty attempts, until one starts 09 01 or
// 09 05. The buffer is reused, so a rejected reply's byte 0 is the report id
// of the next request.
int PX_GetFeature(hid_device *dev, unsigned char *data, int len)
{
    unsigned char *copy = keptCopy(data, len);
    int r = 0;
    if (!copy)
        return r;
    for (int attempt = 0; attempt < 20; ++attempt) {
        usleep(400);
        r = hid_get_feature_report(dev, copy, len);
        if (r > 0 && copy[0] == 0x09 && (copy[1] & 0xFB) == 0x01) {
            memcpy(data, copy, len);
            return r;
        }
    }
    return r;
}
