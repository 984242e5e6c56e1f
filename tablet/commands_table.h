// The pads' command reports byte for byte, byte 0 being the report id.
#pragma once

#include "tablet/catalogue.h"

namespace pxcmd {

struct Command {
    unsigned char bytes[64];
    int length;
};

// Feature-3 family (KV-C1).
constexpr Command kSign3 = {{0x05, 0x11, 0x70}, 3};
constexpr Command kStart3 = {{0x05, 0x22, 0x70}, 3};
constexpr Command kFpr3 = {{0x05, 0xFF, 0x70}, 3};
constexpr Command kSerial3 = {{0x05, 0x88, 0x70}, 3};
constexpr Command kClear3 = {{0x05, 0x33, 0x70}, 3};
constexpr Command kAckSign3 = {{0x02, 0x55, 0x05, 0x11, 0x70, 0xFF, 0xFF, 0xFF}, 8};
constexpr Command kAckStart3 = {{0x02, 0x55, 0x05, 0x22, 0x70, 0xFF, 0xFF, 0xFF}, 8};
constexpr Command kAckFpr3 = {{0x02, 0x55, 0x05, 0xFF, 0x70}, 5};

// Feature-8 family (KV-C2, KV-C3). Byte 7 is the sum of bytes 0..6 mod 256.
constexpr Command kSign8 = {{0x05, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08}, 8};
constexpr Command kStart8 = {{0x05, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x09}, 8};
constexpr Command kSerial8421 = {{0x05, 0x05, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x14}, 8};
constexpr Command kSerial8816 = {{0x03, 0xEE, 0x00, 0x00, 0x02, 0xF3, 0x03, 0xF2}, 22};
constexpr Command kClear8 = {{0x05, 0x03, 0x21, 0x00, 0x00, 0x00, 0x00, 0x29}, 8};
constexpr Command kCloseLed = {{0x05, 0x05, 0x06, 0x00, 0x00, 0x00, 0x00, 0x10}, 8};

// Output-64 family (KV-C4, KV-C5): 64-byte output reports with id 1.
constexpr Command kStart64 = {{0x01, 0x09}, 64};
constexpr Command kFpr64 = {{0x01, 0x0D}, 64};
constexpr Command kSerial64 = {{0x01, 0xF1}, 64};

// Sign mode of the Output-64 family: command 0C with a parameter area of
// little-endian words.
inline const Command &signBlock64()
{
    static const Command block = [] {
        Command c = {{0x01, 0x0C}, 64};
        const struct { int at; unsigned short word; } words[] = {
            {16, 0x195E}, {18, 0x27DE}, {20, 0x039F}, {22, 0x7FFF}, {24, 0x7FFF},
            {30, 0x7FFF}, {32, 0x7FFF}, {38, 0x20E3}, {40, 0x19AB}, {42, 0x05FA},
            {44, 0x0305}, {46, 0x7FFF}, {48, 0x7FFF}, {54, 0x1A4F}, {56, 0x19AB},
            {58, 0x05FA}, {60, 0x0305},
        };
        for (const auto &w : words) {
            c.bytes[w.at] = w.word & 0xFF;
            c.bytes[w.at + 1] = w.word >> 8;
        }
        return c;
    }();
    return block;
}

// The identity command of a pad (Output-64 for a pid outside the pads).
inline const Command &serialCommandOf(unsigned short pid)
{
    switch (catalogueTraitsOfPid(pid).identity) {
    case PX_IDENTITY_FEATURE3: return kSerial3;
    case PX_IDENTITY_FEATURE8: return kSerial8421;
    case PX_IDENTITY_FEATURE22: return kSerial8816;
    default: return kSerial64;
    }
}

}  // namespace pxcmd
