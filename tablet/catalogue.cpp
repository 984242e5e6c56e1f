#include "tablet/catalogue.h"

#define TAVREL "Tavrel Technologh"

extern "C" const DEV_INFO_PX Dev_info_px[kTabletCatalogueRows] = {
    {20, 6, TAVREL, "KV-A1", kTavrelVendorId, 0x3101, 0, 0, 56296, 31667, 2048, 0},
    {10, 6, TAVREL, "KV-A2", kTavrelVendorId, 0x3102, 0, 0, 56296, 31667, 2048, 0},
    {10, 6, TAVREL, "KV-A3", kTavrelVendorId, 0x3103, 0, 0, 56296, 31667, 2048, 0},
    {10, 6, TAVREL, "KV-A4", kTavrelVendorId, 0x3105, 0, 0, 56296, 31667, 2048, 0},
    {20, 6, TAVREL, "KV-A5", kTavrelVendorId, 0x3106, 0, 0, 56296, 31667, 2048, 0},
    {10, 6, TAVREL, "KV-B1", kTavrelVendorId, 0x9010, 0, 0, 56296, 31667, 2048, 0},
    {10, 8, TAVREL, "KV-B2", kTavrelVendorId, 0x8811, 0, 0, 56296, 31667, 2048, 0},
    {10, 8, TAVREL, "KV-B3", kTavrelVendorId, 0x8824, 0, 0, 56296, 31667, 2048, 0},
    {10, 8, TAVREL, "KV-B4", kTavrelVendorId, 0x880C, 0, 0, 56296, 31667, 2048, 0},
    {10, 5, TAVREL, "KV-B5", kTavrelVendorId, 0x8826, 0, 0, 10206, 7422, 2048, 0},
    {10, 5, TAVREL, "KV-B6", kTavrelVendorId, 0x8534, 0, 0, 10206, 7422, 2048, 0},
    {8, 1, TAVREL, "KV-C1", kTavrelVendorId, 0x8420, 0, 0, 6144, 8192, 2048, 1},
    {8, 2, TAVREL, "KV-C2", kTavrelVendorId, 0x8421, 0, 0, 8320, 6240, 2048, 1},
    {8, 3, TAVREL, "KV-C3", kTavrelVendorId, 0x8816, 0, 0, 8352, 5568, 2048, 1},
    {64, 4, TAVREL, "KV-C4", kTavrelVendorId, 0x880F, 0, 0, 10206, 7422, 2048, 1},
    {64, 4, TAVREL, "KV-C5", kTavrelVendorId, 0x8807, 0, 0, 10206, 7422, 2048, 1},
};

// Row by row with Dev_info_px.
const PXModelTraits Dev_traits_px[kTabletCatalogueRows] = {
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-A1
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-A2
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-A3
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-A4
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-A5
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-B1
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-B2
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-B3
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-B4
    {PX_FAMILY_NONE, PX_IDENTITY_CUSTOM, false, false, 0, 0},          // KV-B5
    {PX_FAMILY_NONE, PX_IDENTITY_NONE, false, false, 0, 0},            // KV-B6
    {PX_FAMILY_FEATURE3, PX_IDENTITY_FEATURE3, true, false, 955, 7237},  // KV-C1
    {PX_FAMILY_FEATURE8, PX_IDENTITY_FEATURE8, false, true, 624, 5616},  // KV-C2
    {PX_FAMILY_FEATURE8, PX_IDENTITY_FEATURE22, false, false, 1136, 5311}, // KV-C3
    {PX_FAMILY_OUTPUT64, PX_IDENTITY_OUTPUT64, false, false, 0, 6494},  // KV-C4
    {PX_FAMILY_OUTPUT64, PX_IDENTITY_OUTPUT64, true, false, 0, 6494},   // KV-C5
};

int catalogueRowOfPid(uint16_t pid)
{
    for (int row = 0; row < kTabletCatalogueRows; ++row) {
        if (Dev_info_px[row].pid == pid)
            return row;
    }
    return -1;
}

const PXModelTraits &catalogueTraitsOfPid(uint16_t pid)
{
    static const PXModelTraits kNone = {PX_FAMILY_NONE, PX_IDENTITY_NONE, false, false, 0, 0};
    const int row = catalogueRowOfPid(pid);
    return row < 0 ? kNone : Dev_traits_px[row];
}

PXFamily PXFamilyOf(unsigned short pid)
{
    return catalogueTraitsOfPid(pid).family;
}
