// Random bitmaps (0 to 300 pixels a side, 600 for some destinations of fast
// scaling; random strides) through every scaling quality, the transforms,
// mask_rect, mask_alpha, tile and clip_to.
// Every buffer is exactly stride * height bytes of its own heap block, so
// the sanitizers see any access outside a bitmap.
//
// Kept out of the generator, because the rules themselves reach outside the
// buffers there (see bitmap/README.md): fast and normal scaling into a
// destination of another depth, strides shorter than a row, a tile pitch that
// is not positive, and fill_shadow.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "bitmap/LHBmp.h"

namespace {

struct Reader {
    const uint8_t* p;
    size_t n;
    uint64_t take(int bytes)
    {
        uint64_t v = 0;
        for (int i = 0; i < bytes; ++i) {
            v = v << 8 | (n ? *p : 0);
            if (n)
                ++p, --n;
        }
        return v;
    }
    int range(int lo, int hi) { return lo + int(take(2) % uint64_t(hi - lo + 1)); }
    // Scales and matrix entries: small usual values, or edge raw values.
    LHFIX64 fix()
    {
        switch (take(1) % 8) {
        case 0: return LHFIX64::raw(0);
        case 1: return LHFIX64::raw(int64_t(take(8))); // anything, huge included
        case 2: return LHFIX64::raw(int64_t(take(2)) - 32768); // tiny, either sign
        case 3: return LHFIX64::raw(LHFIX64::kOne);
        case 4: return LHFIX64::raw(-LHFIX64::kOne);
        case 5: { // about 1/2 to 1/5, either sign: reductions whose outputs take even runs
            const int64_t v = LHFIX64::kOne / int64_t(2 + take(1) % 4) + int64_t(take(1) % 5) - 2;
            return LHFIX64::raw(take(1) % 2 ? -v : v);
        }
        default: return LHFIX64::raw((int64_t(take(4)) - 0x80000000LL) * 16); // about -8192 to 8192
        }
    }
};

// An exactly sized bitmap with its own block, filled from the input.
struct Image {
    std::unique_ptr<unsigned char[]> mem;
    std::unique_ptr<CLHBmp> bmp;
    Image(Reader& r, int depth, int most = 300)
    {
        const int w = r.range(0, most), h = r.range(0, most), bpp = depth / 8;
        const int stride = w * bpp + r.range(0, 5);
        mem.reset(new unsigned char[size_t(stride) * size_t(h)]);
        const uint8_t seed = uint8_t(r.take(1));
        for (size_t i = 0; i < size_t(stride) * size_t(h); ++i)
            mem[i] = uint8_t(seed + i * 37);
        if (depth == 8)
            bmp.reset(new CLHBmp8Ref(mem.get(), w, h, stride));
        else
            bmp.reset(new CLHBmp32Ref(mem.get(), w, h, stride));
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Reader r{data, size};
    const int depth = r.take(1) % 2 ? 32 : 8;
    const int op = int(r.take(1) % 10);
    Image src(r, depth);
    const _LHPOINT o{r.range(-400, 400), r.range(-400, 400)};
    CLHBmp& s = *src.bmp;
    switch (op) {
    case 0:
    case 1:
    case 2:
    case 3: {
        // Best alone may get another depth; fast scaling now and then a
        // destination past 1 MiB, which it writes around the cache.
        const int most = op == 0 && r.take(1) % 8 == 0 ? 600 : 300;
        Image dst(r, op == 2 && r.take(1) % 2 ? 40 - depth : depth, most);
        const LHFIX64 sx = r.fix(), sy = r.fix();
        if (op == 0)
            s.bmp_scale_fast_to(sx, sy, o, dst.bmp.get());
        else if (op == 1)
            s.bmp_scale_normal_to(sx, sy, o, dst.bmp.get());
        else if (op == 2)
            s.bmp_scale_best_to(sx, sy, o, dst.bmp.get());
        else if (depth == 32) {
            auto& s32 = static_cast<CLHBmp32&>(s);
            s32.bmp_iscale_fast_to(sx, sy, o, dst.bmp.get());
            s32.bmp_iscale_normal_to(sx, sy, o, dst.bmp.get());
            s32.bmp_iscale_best_to(sx, sy, o, dst.bmp.get());
        }
        break;
    }
    case 4:
    case 5: {
        Image dst(r, depth);
        _LHMATRIX m{r.fix(), r.fix(), r.fix(), r.fix(), r.fix(), r.fix()};
        if (op == 4 || depth == 32) {
            s.bmp_transform_to(m, o, dst.bmp.get());
        } else {
            // the coverage output has the size of dest, its own stride
            const int w = dst.bmp->width, h = dst.bmp->height, stride = w + r.range(0, 5);
            std::unique_ptr<unsigned char[]> mem(new unsigned char[size_t(stride) * size_t(h)]);
            CLHBmp8Ref cov(mem.get(), w, h, stride);
            static_cast<CLHBmp8&>(s).bmp_transform_to2(m, o, dst.bmp.get(), &cov);
        }
        break;
    }
    case 6:
        s.mask_rect({r.fix(), r.fix(), r.fix(), r.fix()}, o);
        break;
    case 7: {
        Image mask(r, 8);
        s.mask_alpha(static_cast<CLHBmp8*>(mask.bmp.get()), o.x, o.y);
        break;
    }
    case 8: {
        Image dst(r, r.take(1) % 4 ? depth : 40 - depth);
        s.bmp_clip_to(o.x, o.y, dst.bmp.get());
        break;
    }
    default: {
        if (depth != 32)
            break;
        // Sources up to 40 a side keep a pitch of 1 (every copy overlapping
        // the last) from costing seconds.
        Image tiles(r, r.take(1) % 4 ? 32 : 8, 40);
        // Positive pitches (0.01 to 400) and a grid origin within 1000
        // pixels, so that bringing the origin near the bitmap ends soon.
        auto pitch = [&] { return LHFIX64::raw(671089 + int64_t(r.take(4) % (400LL << 26))); };
        auto place = [&] { return LHFIX64::raw(int64_t(r.take(5) % (2000LL << 26)) - (1000LL << 26)); };
        const LHFIX64 x = place(), y = place(), tw = pitch(), th = pitch();
        static_cast<CLHBmp32&>(s).tile(tiles.bmp.get(), x, y, tw, th);
        break;
    }
    }
    return 0;
}
