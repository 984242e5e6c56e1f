// LHFIX64: signed 64-bit fixed point with 26 fraction bits (1.0 == 1 << 26).
// The product and quotient split their operands so that every intermediate
// stays in 64 bits; the splits decide the low bits of results, so callers rely
// on them exactly. Arithmetic wraps like the machine's instead of trapping:
// the largest value (0x7FFFFFFFFFFFFFFF, also the result of a division by zero)
// flows on through later sums and products.
#pragma once

#include <cstdint>

struct LHFIX64 {
    int64_t v; // raw value

    static constexpr int64_t kOne = int64_t(1) << 26;
    static constexpr int64_t kHalf = int64_t(1) << 25;
    static constexpr int64_t kMax = INT64_MAX;

    LHFIX64() : v(0) {}
    static constexpr LHFIX64 raw(int64_t r) { return LHFIX64(r, 0); }
    static LHFIX64 from_int(int64_t n) { return raw(int64_t(uint64_t(n) << 26)); }

    int64_t floor_int() const { return v >> 26; }
    int64_t round_int() const { return int64_t(uint64_t(v) + uint64_t(kHalf)) >> 26; }
    int64_t ceil_int() const { return int64_t(uint64_t(v) + uint64_t(kOne - 1)) >> 26; }

    LHFIX64 operator-() const { return raw(int64_t(0 - uint64_t(v))); }
    LHFIX64 operator+(LHFIX64 o) const { return raw(int64_t(uint64_t(v) + uint64_t(o.v))); }
    LHFIX64 operator-(LHFIX64 o) const { return raw(int64_t(uint64_t(v) - uint64_t(o.v))); }
    LHFIX64& operator+=(LHFIX64 o) { return *this = *this + o; }
    LHFIX64& operator-=(LHFIX64 o) { return *this = *this - o; }

    LHFIX64 operator*(LHFIX64 o) const
    {
        const bool bigA = v < -(int64_t(1) << 28) || v > (int64_t(1) << 28);
        const bool bigB = o.v < -(int64_t(1) << 28) || o.v > (int64_t(1) << 28);
        if (!bigA && !bigB)
            return raw((v * o.v) >> 26);
        if (bigA && !bigB)
            return raw(mulw(v >> 12, o.v) >> 14);
        if (!bigA)
            return raw(mulw(v, o.v >> 12) >> 14);
        return raw(mulw(v >> 12, o.v >> 12) >> 2);
    }

    LHFIX64 operator/(LHFIX64 o) const
    {
        if (o.v == 0)
            return raw(kMax);
        if (v < -(int64_t(1) << 36) || v > (int64_t(1) << 36)) {
            // A large numerator gives up the divisor's low 16 bits to keep
            // the shifted numerator in range.
            const int64_t d = o.v >> 16;
            const int64_t n = int64_t(uint64_t(v) << 10);
            if (d == 0)
                return raw(0);
            if (d == -1)
                return raw(int64_t(0 - uint64_t(n)));
            return raw(n / d);
        }
        const int64_t n = int64_t(uint64_t(v) << 26);
        if (o.v == -1)
            return raw(int64_t(0 - uint64_t(n)));
        return raw(n / o.v);
    }

    LHFIX64 reciprocal() const { return raw(kOne) / *this; }

    bool operator==(LHFIX64 o) const { return v == o.v; }
    bool operator!=(LHFIX64 o) const { return v != o.v; }
    bool operator<(LHFIX64 o) const { return v < o.v; }
    bool operator<=(LHFIX64 o) const { return v <= o.v; }
    bool operator>(LHFIX64 o) const { return v > o.v; }
    bool operator>=(LHFIX64 o) const { return v >= o.v; }

private:
    constexpr LHFIX64(int64_t r, int) : v(r) {}
    static int64_t mulw(int64_t a, int64_t b) { return int64_t(uint64_t(a) * uint64_t(b)); }
};
