// Decoding of signature-pad reports: the 8-byte pads (KV-C1..C3) and the
// 64-byte pads (KV-C4, KV-C5).
#include <cstdio>
#include <cstring>

#include "decode_state.h"
#include "tablet/pxtablet.h"
#include "log/writelog.h"

std::atomic<unsigned char> bPenEnter{0};
std::atomic<unsigned char> bOkBtn{0};
std::atomic<int> cashedKey{0};
std::atomic<float> cashx{0};
std::atomic<float> cashy{0};
float g_fPenSize = 0.6f;

namespace {

// Pads scale raw pressure by 1/1024 and count contact from raw 44.
constexpr double kPadPressureUnit = 0.0009765625;

// Every pad event carries at least 0.1, touching or not; only the pen-away
// and closing events go out without this floor.
float padPressureFloor(float p)
{
    float scaled = p * g_fPenSize;
    if (static_cast<double>(scaled) < 0.1)
        return 0.1f;
    return scaled;
}

struct YWindow {
    int floor;
    int ceiling;
    int height;
};

// Valid Y band of each 8-byte pad; beyond it lies the key area. None for
// other pids.
YWindow yWindowOf(const PXModelTraits &t)
{
    if (t.family != PX_FAMILY_FEATURE3 && t.family != PX_FAMILY_FEATURE8)
        return {0, 0, 0};
    return {t.yFloor, t.yCeiling, t.yCeiling - t.yFloor};
}

// The 64-byte pads' writing area: X below the row's maxX, Y below the
// area's ceiling. Other pids take the area of the first 64-byte pad.
bool outside64(unsigned short pid, int x, int y)
{
    int row = catalogueRowOfPid(pid);
    if (row < 0 || Dev_traits_px[row].family != PX_FAMILY_OUTPUT64) {
        row = 0;
        while (Dev_traits_px[row].family != PX_FAMILY_OUTPUT64)
            ++row;
    }
    return x == Dev_info_px[row].maxX || y >= Dev_traits_px[row].yCeiling;
}

// Returns false when the report leaves the caller's record alone.
bool decode64(const unsigned char *b, unsigned short pid, TOUCH_INFO &t)
{
    const int x = (b[2] << 7) | (b[3] & 0x7F);
    const int y = (b[4] << 7) | (b[5] & 0x7F);
    switch (b[1]) {
    case 1: {
        bPenEnter = 1;
        const int raw = (b[6] << 7) | b[7];
        t.x = x;
        t.y = y;
        if (outside64(pid, x, y)) {
            // Outside the writing area.
            t.pressure = 0;
            t.state = 0;
        } else {
            t.state = raw > 43 ? 1 : 0;
            t.pressure = static_cast<float>(raw * kPadPressureUnit);
        }
        t.pressure = padPressureFloor(t.pressure);
        cashedKey = t.state;
        cashx = static_cast<float>(x);
        cashy = static_cast<float>(y);
        return true;
    }
    case 0:
        if (b[2] == 0 && b[3] == 0 && b[4] == 0 && b[5] == 0)
            bPenEnter = 0;
        t.x = x;
        t.y = y;
        cashedKey = 0;
        cashx = static_cast<float>(x);
        cashy = static_cast<float>(y);
        return true;
    case 2:
        if (b[2] == 5) {
            t.key = kKeyResign;
        } else if (b[2] == 3) {
            // The OK key sends two reports; the event goes out on the second.
            if (!bOkBtn) {
                bOkBtn = 1;
                return false;
            }
            printf("read btn %02x %02x %02x\n", b[0], b[1], b[2]);
            bOkBtn = 0;
            t.key = kKeyOk;
        }
        return true;
    case 9:
        pthread_cond_signal(&g_cond);
        bOkBtn = 0;
        return true;
    case 12:
        bOkBtn = 0;
        return true;
    default:
        return true;
    }
}

bool decode8(const unsigned char *b, unsigned short pid, TOUCH_INFO &t)
{
    const unsigned char s = b[1];
    const PXModelTraits &traits = catalogueTraitsOfPid(pid);
    if (s == 0xE0) {
        if (cashedKey != 1)
            return false;
        // Pen lifted after contact: close the stroke at the last position.
        cashedKey = 0;
        t.x = static_cast<int>(cashx);
        t.y = static_cast<int>(cashy);
        return true;
    }
    if ((s & 0xA0) == 0xA0) {
        const int a = b[2] | (b[3] << 8);
        const int w = b[4] | (b[5] << 8);
        int raw = b[6] | (b[7] << 8);
        int x = a;
        int y = w;
        if (traits.turned) {
            x = w;
            y = Dev_info_px[catalogueRowOfPid(pid)].maxY - a;
        }
        const YWindow win = yWindowOf(traits);
        if (y > win.floor && y < win.ceiling) {
            y -= win.floor;
        } else if (y <= win.floor) {
            y = 0;
            raw = 0;
        } else {
            y = win.height;
            raw = 0;
        }
        t.x = x;
        t.y = y;
        if (s == 0xA0) {
            t.pressure = 0;
            t.state = 0;
        } else if ((s & 0xB0) == 0xB0) {
            t.pressure = static_cast<float>(raw * kPadPressureUnit);
            t.state = 0;
        } else {
            t.pressure = static_cast<float>(raw * kPadPressureUnit);
            t.state = static_cast<float>(raw) > 43.0f ? 1 : 0;
        }
        t.pressure = padPressureFloor(t.pressure);
        cashedKey = t.state;
        cashx = static_cast<float>(x);
        cashy = static_cast<float>(y);
        return true;
    }
    const PXFamily family = traits.family;
    if (family == PX_FAMILY_FEATURE3) {
        if (b[0] == 2 && s == 0x55) {
            if (b[2] == 5 && b[4] == 0x70 && b[5] == 0xFF && b[6] == 0xFF && b[7] == 0xFF &&
                (b[3] == 0x11 || b[3] == 0x22))
                pthread_cond_signal(&g_cond);
            if (b[2] == 0xFF && b[3] == 0xFF && b[4] == 0xFF && b[5] == 0xFF && b[6] == 0) {
                if (b[7] == 0) {
                    t.key = kKeyResign;
                    cashedKey = 0;
                } else if (b[7] == 0xFF) {
                    t.key = kKeyOk;
                    cashedKey = 0;
                }
            }
        }
    } else if (family == PX_FAMILY_FEATURE8) {
        if (s == 3) {
            if (b[7] == 5)
                pthread_cond_signal(&g_cond);
            if (b[2] == 0x11) {
                t.key = kKeyResign;
                cashedKey = 0;
            } else if (b[2] == 0x12) {
                t.key = kKeyOk;
                cashedKey = 0;
            }
        } else if (s == 4) {
            if (b[7] == 6)
                pthread_cond_signal(&g_cond);
        } else if (s == 5) {
            if (b[2] == 5 || b[2] == 6)
                WriteLog("close led", 0);
        }
    }
    return true;
}

}  // namespace

// Decodes one pad report into out. Lengths other than 8 and 64 give the
// all-zero record; the OK key's first report and a lift without contact
// leave out untouched, so the dispatcher repeats the previous event.
void Analize_TabletPacket(unsigned char *report, int length, unsigned short pid, TOUCH_INFO *out)
{
    TOUCH_INFO t{};
    unsigned char buf[64] = {};
    bool write = true;
    if (length == 64) {
        memcpy(buf, report, 64);
        write = decode64(buf, pid, t);
    } else if (length == 8) {
        memcpy(buf, report, 8);
        write = decode8(buf, pid, t);
    }
    if (write)
        *out = t;
}
