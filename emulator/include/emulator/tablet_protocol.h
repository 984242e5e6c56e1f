// The tablets' own protocol on top of the virtual devices: how each model
// answers its mode and identity commands, and how pen strokes, keys and
// multi-touch frames look on its input pipe.
//
// A stroke is described once, in device units as the host reads them before
// any clipping, and encoded per model:
//  - display tablets: X, Y as given, raw pressure 0..2047 (11 bits);
//  - 8-byte pads: X as given, Y before the pad's Y window (KV-C2's words are
//    swapped and reflected by the encoder), raw pressure as given;
//  - 64-byte pads: X, Y in 7-bit split words, raw pressure as given.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "emulator/emulator.h"

namespace emu {

// What the pad answers to one command, one entry per request in order.
enum class Answer {
    Ack,     // the acknowledgement of the model
    Silent,  // nothing
    Wrong,   // a reply of the right length that is not the acknowledgement
    Stall,   // the command itself fails on the bus (control transfers only)
};

enum class Command { Sign, Start, Fingerprint, Identity, CustomIdAck, CustomIdBlock, Clear, Led, Unknown };

// The 11 bytes the host reads from a tablet: category, pid, industry, number.
struct Identity {
    uint8_t category = 0x21;
    uint32_t pid = 0x1234;    // 3 bytes reach the host in the scrambled form, 2 in the plain
    int16_t industry = 0x45;  // 1 byte in the plain form
    int16_t number = 0x0302;
    // The block as the host stores it (11 bytes, marks 02 88 first).
    Bytes block(bool scrambled) const;
};

// A tablet of the catalogue answering as its family does. Answers follow a
// per-command plan (the last entry repeats; an empty plan is Ack).
class TabletBehaviour : public Behaviour {
public:
    explicit TabletBehaviour(uint16_t pid);

    void plan(Command c, std::vector<Answer> answers);
    Identity identity;
    bool scrambledCustomId = false;  // display tablets' block form
    uint8_t customIdMark = 0x01;     // byte 1 of the custom-ID block reply
    bool hasIdentity = true;         // false: identity commands get nothing

    int count(Command c) const;      // requests seen so far
    std::vector<Command> history() const;

    bool onSetReport(Device &dev, uint8_t reportType, uint8_t reportId, const Bytes &data) override;
    std::optional<Bytes> onGetReport(Device &dev, uint8_t reportType, uint8_t reportId, uint16_t length) override;
    void onInterruptOut(Device &dev, const Bytes &data) override;

    // Raw wire forms, for tests of the protocol itself.
    static Bytes signBlock();
    static Bytes scrambledBlock(const Identity &id);  // 15 bytes B[0..14]

private:
    Answer next(Command c);
    bool handle(Device &dev, const Bytes &data, bool control);
    uint16_t pid_;
    int reportLen_;
    mutable std::mutex m_;
    std::map<Command, std::vector<Answer>> plans_;
    std::map<Command, int> counts_;
    std::vector<Command> history_;
};

// One sample of a stroke. pressure: raw units (0 lifts without contact).
struct StrokeSample {
    int x;
    int y;
    int pressure;
};

struct Stroke {
    std::vector<StrokeSample> samples;
    std::chrono::microseconds interval{500};
};

// The reports one model sends for a stroke: a sample report per sample, then
// the model's lift (display tablets: leave report; 8-byte pads: E0 report;
// 64-byte pads: pen away at the last position, then out of range).
std::vector<Bytes> encodeStroke(uint16_t pid, const Stroke &stroke);
// One pen sample report of the model.
Bytes encodeSample(uint16_t pid, const StrokeSample &s);

enum class PadKey { Resign, Ok };
// The reports of one key press on a pad (the 64-byte pads send OK twice).
std::vector<Bytes> encodeKey(uint16_t pid, PadKey key);

// One multi-touch frame: up to five records, present or not, in touch units
// (X 0..16383, Y 0..9599).
struct Finger {
    bool present;
    int x;
    int y;
};
// The 52-byte frame split as the display tablet sends it: the first part
// the length of the model's reports, the rest as one report that the host
// reads into byte 10 onwards.
std::vector<Bytes> encodeMultiTouch(uint16_t pid, const std::vector<Finger> &fingers);

}  // namespace emu
