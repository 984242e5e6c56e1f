#include "emulator/scanners.h"

namespace emu {

DeviceSpec scannerSpec(int type)
{
    struct Row {
        uint16_t vid, pid;
        uint8_t interfaceClass;
    };
    static const Row rows[3] = {
        {0x2309, 0x0606, 0},    // bitmap scanner, vendor interface of class 0
        {0x28ED, 0x2043, 220},  // raw scanner, diagnostic class
        {0x0453, 0x9005, 8},    // raw scanner behind a mass-storage interface
    };
    const Row &row = rows[type >= 0 && type < 3 ? type : 0];
    return DeviceSpec::other(row.vid, row.pid, 0, row.interfaceClass);
}

} // namespace emu
