// The fixed catalogue of the sixteen supported tablets. Plain data with no
// USB dependency, so that the emulator can describe the same models.
#pragma once

#include <cstdint>

// One catalogue row; the field order is part of the public record layout
// (GetDeviceInfo copies manufacturer..isPad straight into DEVICE_INFO).
struct DEV_INFO_PX {
    int32_t reportLen;       // bytes of one input report
    int32_t devType;         // 1..4 signature pads, 5, 6, 8 display tablets
    char manufacturer[52];
    char model[32];
    uint16_t vid;
    uint16_t pid;
    int32_t minX;
    int32_t minY;
    int32_t maxX;
    int32_t maxY;
    int32_t pressureLevels;
    int32_t isPad;           // 1: signature pad, 0: display tablet
};

constexpr int kTabletCatalogueRows = 16;
constexpr uint16_t kTavrelVendorId = 0x5E1B;

extern "C" const DEV_INFO_PX Dev_info_px[kTabletCatalogueRows];

// Row of the catalogue whose pid equals `pid`, or -1.
int catalogueRowOfPid(uint16_t pid);
