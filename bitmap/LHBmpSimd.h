// Vector kernels for the hot loops, built for processors past the x86-64
// baseline and chosen at run time; every caller keeps its plain loop for the
// others. Each kernel gives the plain loop's bytes exactly: same integer
// formulas lane by lane, divisions by a fixed k as multiply-and-shift where
// the operands are small enough for that to be exact.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lhbmp {

// SSE4.1 (with SSSE3) present: the kernels below may run.
bool haveSse41();
// AVX2 present.
bool haveAvx2();
// AVX-512 with byte and word permutes (BW, VL, VBMI) present; implies AVX2.
bool haveAvx512();

// The reduction scan of one 32-bit row. Output o sums the source pixels
// begin[o] .. close[o]-1 plus the carry of output o-1, weighs in pixel
// close[o] by kp[o] = k - pos[o], adds the result >> 12 to its cell
// (cells run backward when neg) and carries floor(q * pos[o] / k),
// taken as (q * carryMul[o]) >> 20.
// Outputs from..to-1.
void shrinkScan4(const unsigned char* src, unsigned int* line, int dst, bool neg, const int* begin, const int* close,
                 const uint32_t* kp, const uint32_t* carryMul, size_t from, size_t to, uint32_t k);

// The same two outputs at a time (AVX2) where outputs from 1 on take
// `stride` pixels, 2 or 3: from `from` (at least 1) while the 16 bytes from
// the pixel before begin[o] lie inside the row. wk holds per output eight
// 16-bit words (k - pos[o], k) four times; mh, ml the high and low 16 bits
// of carryMul[o - 1], eight times each. Returns where it stopped.
size_t shrinkScan4Stride(const unsigned char* src, int srcCount, unsigned int* line, int dst, bool neg,
                         const int* begin, const uint16_t* wk, const uint16_t* mh, const uint16_t* ml, size_t from,
                         size_t outs, int stride);

// The same for an 8-bit row whose outputs from 1 on take `stride` pixels
// each (the last one weighted); outputs from `from` in blocks of four while
// the 16 bytes at begin[o] lie inside the row. Returns where it stopped.
size_t shrinkScan1Stride(const unsigned char* src, int srcCount, unsigned int* line, int dst, bool neg,
                         const int* begin, const int* close, const uint32_t* kp, const uint32_t* carryMul,
                         size_t from, size_t outs, uint32_t k, int stride);

// The closing of one output row of the vertical reduction over `cells`
// 32-bit cells (a multiple of four is done; returns how many):
//   acc += line * part / k; out = low byte of acc * k >> 12;
//   acc = line * over / k; line = 0
// with the divisions as (line * mul) >> 22 (line below 1024). swap: bytes
// 0 and 2 of each four change places.
size_t shrinkClose(unsigned int* acc, unsigned int* line, unsigned char* out, size_t cells, uint32_t partMul,
                   uint32_t overMul, uint32_t k, bool swap);

} // namespace lhbmp

namespace lhbmp {

// The vertical blend of the bilinear scaler, 16 bytes at a time from i while
// they fit below end: v = (a * (65536 - fy) + b * fy) >> 8. Returns where it
// stopped. ahead: the row stride, for asking the cache for the two rows after
// b (0: not).
size_t normalBlendRows(const unsigned char* a, const unsigned char* b, uint16_t* v, size_t i, size_t end, uint32_t fy,
                       size_t ahead);

// The horizontal pass over blended 32-bit rows, four outputs at a time:
// output o interpolates the four values at xs[o] (at xs[o] - 1 and back
// when neg) by its weight f, which fw holds four times in the lane order
// (o, o + 2, o + 1, o + 3) of each group of four outputs:
// (cur * (65536 - f) + next * f) >> 24. Returns how many outputs it wrote.
size_t normalLine4(const uint16_t* v, const uint32_t* xs, const uint16_t* fw, size_t count, unsigned char* dst,
                   bool neg, bool swap);

// normalBlendRows 32 bytes at a time (AVX-512).
size_t normalBlendRows512(const unsigned char* a, const unsigned char* b, uint16_t* v, size_t i, size_t end,
                          uint32_t fy, size_t ahead);

// The horizontal pass in groups of eight outputs whose values lie within
// the sixteen pixels from base[g] (AVX-512): idx holds per group the 32
// word places of the current values counted from base[g] * 4, in output
// order (the next value of each lies one pixel on, or back when neg); fw
// the weights in output order, four times each. Same formula as
// normalLine4. Returns how many outputs it wrote (whole groups).
size_t normalLinePerm(const uint16_t* v, const uint32_t* base, const uint16_t* idx, const uint16_t* fw, size_t count,
                      unsigned char* dst, bool neg, bool swap);

} // namespace lhbmp

namespace lhbmp {

// A pixel the row kernel leaves to the caller (outside the source's
// interior): its source position and its index in the row.
using EdgeFn = void (*)(const void* ctx, int64_t u, int64_t v, int i);

// One destination row of the 32-bit transform: source positions u, v
// (26 fraction bits) step by du, dv per pixel; interior samples are blended
// here, the rest go to edge. SSE4.1.
void transformRow32(const unsigned char* bits, int64_t stride, int w, int h, uint64_t u, uint64_t v, uint64_t du,
                    uint64_t dv, unsigned char* dst, int n, EdgeFn edge, const void* ctx);

} // namespace lhbmp

namespace lhbmp {

// dst[i] = src[cols[i]] for 32-bit pixels, i < n, cols monotone and within
// the row's srcCount pixels (SSE2: always there; AVX2 where present).
// stream: the row goes to memory around the cache.
void gatherRow32(const unsigned char* src, int srcCount, const int32_t* cols, size_t n, unsigned char* dst,
                 bool stream);

} // namespace lhbmp
