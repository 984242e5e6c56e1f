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

int catalogueRowOfPid(uint16_t pid)
{
    for (int row = 0; row < kTabletCatalogueRows; ++row) {
        if (Dev_info_px[row].pid == pid)
            return row;
    }
    return -1;
}
