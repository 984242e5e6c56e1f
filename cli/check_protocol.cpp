#include "check_protocol.h"

#include <time.h>

#include <cstring>

// The pads' command bytes, shared with the tablet layer rather than copied.
#include "commands_table.h"

namespace cli {

namespace {

using namespace pxcmd;

constexpr int kReplyWaitMs = 800;

long long nowMs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000LL + ts.tv_nsec / 1000000;
}

// A send that failed: the tablet is gone when the transport says so too.
Exchange sendFailed(hid_device *dev)
{
    unsigned char buf[64];
    for (;;) {
        const int n = hid_read_timeout(dev, buf, sizeof buf, 0);
        if (n < 0)
            return Exchange::Gone;
        if (n == 0)
            return Exchange::SendFailed;
    }
}

// Reads replies of `len` bytes for up to 800 ms until `accept` takes one;
// other reports (the pen, a key) are passed over.
template <typename Accept>
Exchange awaitReply(hid_device *dev, int len, Accept accept)
{
    unsigned char buf[64];
    const long long end = nowMs() + kReplyWaitMs;
    for (;;) {
        const long long left = end - nowMs();
        if (left <= 0)
            return Exchange::NoAnswer;
        std::memset(buf, 0, sizeof buf);
        const int n = hid_read_timeout(dev, buf, size_t(len), int(left));
        if (n < 0)
            return Exchange::Gone;
        if (n == len && accept(buf))
            return Exchange::Answered;
    }
}

int sendCommand(hid_device *dev, const Command &c, bool feature)
{
    return feature ? hid_send_feature_report(dev, c.bytes, size_t(c.length)) : hid_write(dev, c.bytes, size_t(c.length));
}

}  // namespace

Exchange readIdentity(hid_device *dev, const DEV_INFO_PX &row, unsigned char out[11])
{
    if (!row.isPad) {
        int len = 0;
        if (GetCustumID(dev, row.pid, out, len) == 1)
            return Exchange::Answered;
        return sendFailed(dev) == Exchange::Gone ? Exchange::Gone : Exchange::NoAnswer;
    }
    const bool wide = PXFamilyOf(row.pid) == PX_FAMILY_OUTPUT64;
    const Command &c = serialCommandOf(row.pid);
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (sendCommand(dev, c, !wide) < 0)
            return sendFailed(dev);
        const Exchange e = awaitReply(dev, wide ? 64 : 8, [&](const unsigned char *b) {
            if (wide && b[1] == 0xF1) {
                PXDecodeIdentityScrambled(b + 16, out);
                return true;
            }
            if (!wide && b[1] == 0x88) {
                PXDecodeIdentityPlain(b, out);
                return true;
            }
            return false;
        });
        if (e != Exchange::NoAnswer)
            return e;
    }
    return Exchange::NoAnswer;
}

const char *padModeName(PadMode m)
{
    switch (m) {
    case PadMode::Sign: return "sign mode";
    case PadMode::Start: return "start mode";
    case PadMode::Fingerprint: return "fingerprint mode";
    }
    return "";
}

bool hasMode(const DEV_INFO_PX &row, PadMode m)
{
    if (!row.isPad)
        return false;
    return m == PadMode::Sign || catalogueTraitsOfPid(row.pid).fprMode;
}

Exchange enterMode(hid_device *dev, uint16_t pid, PadMode m, int attempts, int *used)
{
    const PXFamily family = PXFamilyOf(pid);
    const int len = family == PX_FAMILY_OUTPUT64 ? 64 : 8;
    const auto acknowledged = [&](const unsigned char *r) {
        switch (family) {
        case PX_FAMILY_FEATURE3: {
            const Command &ack = m == PadMode::Sign ? kAckSign3 : m == PadMode::Start ? kAckStart3 : kAckFpr3;
            return std::memcmp(r, ack.bytes, size_t(ack.length)) == 0;
        }
        case PX_FAMILY_FEATURE8:
            return m == PadMode::Sign ? r[1] == 0x03 && r[7] == 0x05 : r[1] == 0x04 && r[7] == 0x06;
        default:
            // The 64-byte pads answer sign and start mode with either code.
            return m == PadMode::Fingerprint ? r[1] == 0x0D : r[1] == 0x0C || r[1] == 0x09;
        }
    };
    *used = 0;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        ++*used;
        int sent;
        if (m == PadMode::Sign)
            sent = enterSignMode(dev, pid);
        else if (m == PadMode::Start)
            sent = enterLogoMode(dev, pid);
        else
            sent = enterFprMode(dev, pid) == 0 ? 1 : -1;
        if (sent <= 0)
            return sendFailed(dev);
        const Exchange e = awaitReply(dev, len, acknowledged);
        if (e != Exchange::NoAnswer)
            return e;
    }
    return Exchange::NoAnswer;
}

}  // namespace cli
