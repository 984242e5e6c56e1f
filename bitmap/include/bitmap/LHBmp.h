// 8-bit and 32-bit bitmaps. Pixels live in bits, row 0 first, stride bytes
// apart; 32-bit pixels are bytes blue, green, red, alpha in memory. Owning
// classes take their memory from LHAlloc/LHCalloc; the Ref classes lie over
// someone else's. Guards are few: outside them behaviour is the caller's risk.
#pragma once

#include "bitmap/LHFix.h"
#include "bitmap/LHGeometry.h"

class CLHBmp8;

class CLHBmp {
public:
    unsigned char* bits;
    int width;
    int height;
    int stride; // bytes
    int depth;  // 8 or 32

    CLHBmp() : bits(nullptr), width(0), height(0), stride(0), depth(0) {}
    virtual ~CLHBmp() = 0;

    // The slot order of this table is fixed.
    virtual bool bmp_clip_to(int x, int y, CLHBmp* dest) const = 0;
    virtual bool bmp_transform_to(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest) const = 0;
    virtual CLHBmp* clone_rotate() const = 0;
    virtual CLHBmp* clone() const = 0;
    virtual CLHBmp8* clone_gray() const = 0;
    virtual bool compose_alpha(unsigned char alpha) = 0;
    virtual bool mask_alpha(const CLHBmp8* mask, int x, int y) = 0;
    virtual bool mask_rect(const _LHRECTF& rect, const _LHPOINT& origin) = 0;
    virtual bool bmp_scale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const = 0;
    virtual bool bmp_scale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const = 0;
    virtual bool bmp_scale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const = 0;

    CLHBmp(const CLHBmp&) = delete;
    CLHBmp& operator=(const CLHBmp&) = delete;
};

class CLHBmp8 : public CLHBmp {
public:
    // Raw memory: stride (width + 3) & ~3, not cleared.
    CLHBmp8(int width, int height);
    // Cleared memory of height * stride bytes.
    CLHBmp8(int width, int height, int stride);
    ~CLHBmp8() override;

    bool bmp_clip_to(int x, int y, CLHBmp* dest) const override;
    bool bmp_transform_to(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest) const override;
    CLHBmp* clone_rotate() const override;
    CLHBmp* clone() const override;
    CLHBmp8* clone_gray() const override;
    bool compose_alpha(unsigned char alpha) override;
    bool mask_alpha(const CLHBmp8* mask, int x, int y) override;
    bool mask_rect(const _LHRECTF& rect, const _LHPOINT& origin) override;
    bool bmp_scale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const override;
    bool bmp_scale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const override;
    bool bmp_scale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const override;
protected:
    CLHBmp8() { depth = 8; } // for the Ref form: no memory of its own

public:
    // The grey transform with the edge fall-off delivered as coverage in dest2
    // (same size as dest) instead of being multiplied into dest.
    virtual bool bmp_transform_to2(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest, CLHBmp* dest2) const;

    // Area-average helpers: one source row added into a line of accumulators.
    static void pro_scan_shrink_pos(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    static void pro_scan_shrink_neg(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    static void pro_scan_enlarge_pos(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    static void pro_scan_enlarge_neg(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    // Vertical passes of the area average, writing dest.
    void pro_vert_shrink_pos(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_vert_shrink_neg(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_vert_enlarge_pos(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_vert_enlarge_neg(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    // Bilinear line from a single source row.
    static void pro_scan_normal_line_last_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step);
    static void pro_scan_normal_line_last_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step);
};

class CLHBmp8Ref : public CLHBmp8 {
public:
    CLHBmp8Ref(unsigned char* bits, int width, int height, int stride);
    ~CLHBmp8Ref() override; // leaves the foreign memory alone
};

class CLHBmp32 : public CLHBmp {
public:
    // Raw memory: stride width * 4, not cleared.
    CLHBmp32(int width, int height);
    // Cleared memory of height * stride bytes.
    CLHBmp32(int width, int height, int stride);
    ~CLHBmp32() override;

    bool bmp_clip_to(int x, int y, CLHBmp* dest) const override;
    bool bmp_transform_to(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest) const override;
    CLHBmp* clone_rotate() const override;
    CLHBmp* clone() const override;
    CLHBmp8* clone_gray() const override;
    bool compose_alpha(unsigned char alpha) override;
    bool mask_alpha(const CLHBmp8* mask, int x, int y) override;
    bool mask_rect(const _LHRECTF& rect, const _LHPOINT& origin) override;
    bool bmp_scale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const override;
    bool bmp_scale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const override;
    bool bmp_scale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const override;

protected:
    CLHBmp32() { depth = 32; } // for the Ref form: no memory of its own

public:
    // The three scalers writing bytes 0 and 2 exchanged.
    bool bmp_iscale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    bool bmp_iscale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    bool bmp_iscale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;

    // Copies of src on a grid of the rounded pitch; gaps keep their pixels.
    bool tile(CLHBmp* src, LHFIX64 x, LHFIX64 y, LHFIX64 tileWidth, LHFIX64 tileHeight);
    // Darkens and makes opaque where the mask at origin has a byte above 1.
    void fill_shadow(const CLHBmp8* mask, const _LHPOINT& origin);
    // Copies rect from a bitmap of the same geometry.
    void copy_rect(const CLHBmp32* src, const _LHRECT& rect);

    static void pro_scan_shrink_pos(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    static void pro_scan_shrink_neg(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    static void pro_scan_enlarge_pos(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    static void pro_scan_enlarge_neg(unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale);
    void pro_vert_shrink_pos(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_vert_shrink_neg(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_vert_enlarge_pos(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_vert_enlarge_neg(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_ivert_shrink_pos(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_ivert_shrink_neg(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_ivert_enlarge_pos(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    void pro_ivert_enlarge_neg(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const;
    // Bilinear lines: from two rows (mid) or one (last).
    static void pro_scan_normal_line_mid_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                             unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction);
    static void pro_scan_normal_line_mid_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                             unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction);
    static void pro_scan_normal_line_last_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step);
    static void pro_scan_normal_line_last_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step);
    static void pro_iscan_normal_line_mid_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction);
    static void pro_iscan_normal_line_mid_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction);
    static void pro_iscan_normal_line_last_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                               unsigned char* dst, unsigned int dstCount, unsigned int step);
    static void pro_iscan_normal_line_last_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                               unsigned char* dst, unsigned int dstCount, unsigned int step);
};

class CLHBmp32Ref : public CLHBmp32 {
public:
    CLHBmp32Ref(unsigned char* bits, int width, int height, int stride);
    ~CLHBmp32Ref() override; // leaves the foreign memory alone
};
