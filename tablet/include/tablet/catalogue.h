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

// Command families of the pads.
enum PXFamily { PX_FAMILY_NONE, PX_FAMILY_FEATURE3, PX_FAMILY_FEATURE8, PX_FAMILY_OUTPUT64 };

// How a model's identity block is read at open.
enum PXIdentityRead {
    PX_IDENTITY_NONE,       // not read (KV-B6)
    PX_IDENTITY_CUSTOM,     // display tablets: GetCustumID
    PX_IDENTITY_FEATURE3,   // pads: the family's 3-byte feature command
    PX_IDENTITY_FEATURE8,   // the 8-byte feature command of KV-C2
    PX_IDENTITY_FEATURE22,  // the 22-byte feature command of KV-C3
    PX_IDENTITY_OUTPUT64,   // the 64-byte output command
};

// What the tablet layer, its tools and tests treat differently per model,
// beside the public row (whose layout DEVICE_INFO fixes): one entry per row
// of Dev_info_px, in the same order.
struct PXModelTraits {
    PXFamily family;          // pads: command family; display tablets NONE
    PXIdentityRead identity;
    bool fprMode;             // switches to its fingerprint scanner (SetMode)
    bool turned;              // sensor turned: X is the second word, Y is maxY - the first
    // Pads' writing area in raw Y. 8-byte pads: rows strictly between yFloor
    // and yCeiling, reported as Y - yFloor (beyond lie the keys). 64-byte
    // pads: rows below yCeiling, and X below maxX. 0, 0 on display tablets.
    int32_t yFloor;
    int32_t yCeiling;
};

extern const PXModelTraits Dev_traits_px[kTabletCatalogueRows];

// Row of the catalogue whose pid equals `pid`, or -1.
int catalogueRowOfPid(uint16_t pid);
// Traits of the model with this pid; all-none (family NONE, no identity, no
// area) for a pid outside the catalogue.
const PXModelTraits &catalogueTraitsOfPid(uint16_t pid);
// Command family of a pad by product id; NONE for every other pid.
PXFamily PXFamilyOf(unsigned short pid);
