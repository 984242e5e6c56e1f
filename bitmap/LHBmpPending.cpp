// Operations not built yet: they refuse.
#include "bitmap/LHBmp.h"

bool CLHBmp8::bmp_clip_to(int, int, CLHBmp*) const { return false; }
bool CLHBmp32::bmp_clip_to(int, int, CLHBmp*) const { return false; }
bool CLHBmp8::bmp_transform_to(const _LHMATRIX&, const _LHPOINT&, CLHBmp*) const { return false; }
bool CLHBmp32::bmp_transform_to(const _LHMATRIX&, const _LHPOINT&, CLHBmp*) const { return false; }
bool CLHBmp8::bmp_transform_to2(const _LHMATRIX&, const _LHPOINT&, CLHBmp*, CLHBmp*) const { return false; }
bool CLHBmp8::mask_alpha(const CLHBmp8*, int, int) { return false; }
bool CLHBmp32::mask_alpha(const CLHBmp8*, int, int) { return false; }
bool CLHBmp8::mask_rect(const _LHRECTF&, const _LHPOINT&) { return false; }
bool CLHBmp32::mask_rect(const _LHRECTF&, const _LHPOINT&) { return false; }
