// How a catalogue tablet answers its commands: mode acknowledgements of each
// pad family, the pads' identity reply and the display tablets' custom-ID
// exchange, with per-command plans for silent, wrong or late answers.
#include "emulator/tablet_protocol.h"

#include <algorithm>

#include "tablet/catalogue.h"

namespace emu {

namespace {

enum class Family { Feature3, Feature8, Output64, Display };

Family familyOf(uint16_t pid)
{
    if (pid == 0x8420)
        return Family::Feature3;
    if (pid == 0x8421 || pid == 0x8816)
        return Family::Feature8;
    if (pid == 0x8807 || pid == 0x880F)
        return Family::Output64;
    return Family::Display;
}

bool checksumOk(const Bytes &d)
{
    unsigned sum = 0;
    for (int i = 0; i < 7; ++i)
        sum += d[i];
    return (sum & 0xFF) == d[7];
}

bool allZeroFrom(const Bytes &d, size_t from)
{
    return std::all_of(d.begin() + std::min(from, d.size()), d.end(), [](uint8_t b) { return b == 0; });
}

Command classify(uint16_t pid, const Bytes &d)
{
    const Family f = familyOf(pid);
    if (f == Family::Feature3 && d.size() == 3 && d[0] == 0x05 && d[2] == 0x70) {
        switch (d[1]) {
        case 0x11: return Command::Sign;
        case 0x22: return Command::Start;
        case 0xFF: return Command::Fingerprint;
        case 0x88: return Command::Identity;
        case 0x33: return Command::Clear;
        default: return Command::Unknown;
        }
    }
    if (d.size() == 8 && d[0] == 0x05 && allZeroFrom(Bytes(d.begin(), d.begin() + 7), 3) && checksumOk(d)) {
        if (d[1] == 0x05 && d[2] == 0x06)
            return Command::Led;
        if (f == Family::Feature8) {
            if (d[1] == 0x03 && d[2] == 0x00)
                return Command::Sign;
            if (d[1] == 0x04 && d[2] == 0x00)
                return Command::Start;
            if (d[1] == 0x03 && d[2] == 0x21)
                return Command::Clear;
            if (pid == 0x8421 && d[1] == 0x05 && d[2] == 0x0A)
                return Command::Identity;
        }
        return Command::Unknown;
    }
    if (pid == 0x8816 && d.size() == 22) {
        const Bytes head = {0x03, 0xEE, 0x00, 0x00, 0x02, 0xF3, 0x03, 0xF2};
        if (std::equal(head.begin(), head.end(), d.begin()) && allZeroFrom(d, 8))
            return Command::Identity;
        return Command::Unknown;
    }
    if (f == Family::Output64 && d.size() == 64 && d[0] == 0x01) {
        if (d[1] == 0x0C)
            return d == TabletBehaviour::signBlock() ? Command::Sign : Command::Unknown;
        if (!allZeroFrom(d, 2))
            return Command::Unknown;
        if (d[1] == 0x09)
            return Command::Start;
        if (d[1] == 0x0D && pid == 0x8807)
            return Command::Fingerprint;
        if (d[1] == 0xF1)
            return Command::Identity;
        return Command::Unknown;
    }
    if (f == Family::Display && d.size() == 8 && d[0] == 0x08 && d[1] == 0x04 && d[2] == 0x01 && allZeroFrom(d, 3))
        return Command::CustomIdAck;
    return Command::Unknown;
}

}  // namespace

Bytes Identity::block(bool scrambled) const
{
    const uint16_t ind = uint16_t(industry);
    const uint16_t num = uint16_t(number);
    return {0x02, 0x88, category, uint8_t(pid), uint8_t(pid >> 8), uint8_t(scrambled ? pid >> 16 : 0), 0,
            uint8_t(ind), uint8_t(scrambled ? ind >> 8 : 0), uint8_t(num), uint8_t(num >> 8)};
}

// The scrambled block: every field XORed with bytes of the block itself.
// Two salt bytes (4 and 13) carry no field of their own.
Bytes TabletBehaviour::scrambledBlock(const Identity &id)
{
    const uint8_t s4 = 0x5A, s13 = 0xC3;
    const uint16_t ind = uint16_t(id.industry);
    const uint16_t num = uint16_t(id.number);
    Bytes b(15, 0);
    b[0] = 0x17;  // not the plain marks
    b[1] = 0x71;
    b[2] = 0x99;
    b[4] = s4;
    b[13] = s13;
    b[14] = uint8_t(num);
    b[12] = uint8_t(num >> 8);
    b[3] = uint8_t(id.category ^ s4);
    b[9] = uint8_t(uint8_t(id.pid) ^ s4);
    b[10] = uint8_t(uint8_t(id.pid >> 8) ^ s13);
    b[11] = uint8_t(uint8_t(id.pid >> 16) ^ b[14]);
    b[7] = uint8_t(uint8_t(ind) ^ s13);
    b[8] = uint8_t(uint8_t(ind >> 8) ^ b[14]);
    b[5] = 0x33;
    b[6] = 0x44;
    return b;
}

// Sign mode of the 64-byte pads: command 0C and its parameter words.
Bytes TabletBehaviour::signBlock()
{
    Bytes b(64, 0);
    b[0] = 0x01;
    b[1] = 0x0C;
    const std::pair<int, uint16_t> words[] = {
        {16, 0x195E}, {18, 0x27DE}, {20, 0x039F}, {22, 0x7FFF}, {24, 0x7FFF}, {30, 0x7FFF},
        {32, 0x7FFF}, {38, 0x20E3}, {40, 0x19AB}, {42, 0x05FA}, {44, 0x0305}, {46, 0x7FFF},
        {48, 0x7FFF}, {54, 0x1A4F}, {56, 0x19AB}, {58, 0x05FA}, {60, 0x0305},
    };
    for (const auto &[at, w] : words) {
        b[at] = uint8_t(w);
        b[at + 1] = uint8_t(w >> 8);
    }
    return b;
}

TabletBehaviour::TabletBehaviour(uint16_t pid) : pid_(pid)
{
    const int row = catalogueRowOfPid(pid);
    reportLen_ = row >= 0 ? Dev_info_px[row].reportLen : 10;
}

void TabletBehaviour::plan(Command c, std::vector<Answer> answers)
{
    std::lock_guard<std::mutex> lock(m_);
    plans_[c] = std::move(answers);
}

int TabletBehaviour::count(Command c) const
{
    std::lock_guard<std::mutex> lock(m_);
    auto it = counts_.find(c);
    return it == counts_.end() ? 0 : it->second;
}

std::vector<Command> TabletBehaviour::history() const
{
    std::lock_guard<std::mutex> lock(m_);
    return history_;
}

Answer TabletBehaviour::next(Command c)
{
    std::lock_guard<std::mutex> lock(m_);
    const int n = counts_[c]++;
    history_.push_back(c);
    if (!hasIdentity && (c == Command::Identity || c == Command::CustomIdAck || c == Command::CustomIdBlock))
        return Answer::Silent;
    const auto &p = plans_[c];
    if (p.empty())
        return Answer::Ack;
    return p[std::min<size_t>(size_t(n), p.size() - 1)];
}

// Answers one command; false stalls it (control transfers only).
bool TabletBehaviour::handle(Device &dev, const Bytes &d, bool control)
{
    const Command c = classify(pid_, d);
    if (c == Command::Unknown) {
        // Like the pads' firmware, a command it does not know (or a bad
        // checksum) is refused.
        std::lock_guard<std::mutex> lock(m_);
        history_.push_back(c);
        return false;
    }
    const Answer a = next(c);
    if (a == Answer::Stall && control)
        return false;
    if (c == Command::CustomIdAck) {
        // The acknowledgement comes as an input report; the block waits for
        // the get-feature that follows.
        if (a == Answer::Silent || a == Answer::Stall)
            return true;
        Bytes r(size_t(reportLen_), 0);
        r[0] = 0x05;
        r[3] = 0x08;
        r[4] = a == Answer::Ack ? 0x04 : 0x05;
        dev.push(r);
        return true;
    }
    if (a != Answer::Ack && a != Answer::Wrong)
        return true;
    const bool ok = a == Answer::Ack;
    Bytes reply;
    switch (familyOf(pid_)) {
    case Family::Feature3:
        if (c == Command::Identity) {
            Bytes b = identity.block(false);
            reply = {0x02, uint8_t(ok ? 0x88 : 0x87), b[2], b[3], b[4], b[7], b[9], b[10]};
        } else if (c == Command::Sign || c == Command::Start || c == Command::Fingerprint) {
            reply = {0x02, 0x55, 0x05, d[1], 0x70, 0xFF, 0xFF, 0xFF};
            if (!ok)
                reply[3] = 0x00;
        }
        break;
    case Family::Feature8:
        if (c == Command::Identity) {
            Bytes b = identity.block(false);
            reply = {0x02, uint8_t(ok ? 0x88 : 0x87), b[2], b[3], b[4], b[7], b[9], b[10]};
        } else if (c == Command::Sign) {
            reply = {0x02, 0x03, 0, 0, 0, 0, 0, uint8_t(ok ? 0x05 : 0x00)};
        } else if (c == Command::Start) {
            reply = {0x02, 0x04, 0, 0, 0, 0, 0, uint8_t(ok ? 0x06 : 0x00)};
        }
        break;
    case Family::Output64:
        reply = Bytes(64, 0);
        reply[0] = 0x01;
        if (c == Command::Identity) {
            reply[1] = ok ? 0xF1 : 0xF2;
            Bytes b = scrambledBlock(identity);
            std::copy(b.begin(), b.end(), reply.begin() + 16);
        } else if (c == Command::Sign || c == Command::Start || c == Command::Fingerprint) {
            reply[1] = !ok ? 0x0A : c == Command::Fingerprint ? 0x0D : c == Command::Sign ? 0x0C : 0x09;
        } else {
            reply.clear();
        }
        break;
    case Family::Display:
        break;
    }
    if (!reply.empty())
        dev.push(reply);
    return true;
}

bool TabletBehaviour::onSetReport(Device &dev, uint8_t, uint8_t, const Bytes &data)
{
    return handle(dev, data, true);
}

void TabletBehaviour::onInterruptOut(Device &dev, const Bytes &data)
{
    handle(dev, data, false);
}

// The custom-ID block: any report id, 64 bytes, 09 and the mark (01 unless
// set otherwise), then the block at byte 3.
std::optional<Bytes> TabletBehaviour::onGetReport(Device &, uint8_t reportType, uint8_t, uint16_t length)
{
    if (reportType != 3 || familyOf(pid_) != Family::Display)
        return std::nullopt;
    const Answer a = next(Command::CustomIdBlock);
    if (a == Answer::Silent || a == Answer::Stall)
        return std::nullopt;
    Bytes r(64, 0);
    r[0] = a == Answer::Ack ? 0x09 : 0x07;
    r[1] = customIdMark;
    Bytes b = scrambledBlock(identity);
    if (!scrambledCustomId) {
        const Bytes p = identity.block(false);
        b = {0x02, 0x88, p[2], p[3], p[4], p[7], p[9], p[10]};
    }
    std::copy(b.begin(), b.end(), r.begin() + 3);
    r.resize(std::min<size_t>(r.size(), length));
    return r;
}

}  // namespace emu
