// Stand-in for "ID_Fpr.so", the optional quality library. The scanner
// stand-in stamps the scripted score into the bitmap file header (bytes 8
// and 9; 0xFFFF: scoring fails, byte 6 and 7 the frame number from 1). An
// unstamped bitmap is scored by the share of ridge pixels in the finger.
#include "standin.h"

STANDIN_EXPORT int FP_GetQualityScore(unsigned char *bitmap, unsigned char *score)
{
    if (bitmap == nullptr || score == nullptr || bitmap[0] != 'B' || bitmap[1] != 'M')
        return 0;
    const unsigned frame = bitmap[6] | bitmap[7] << 8;
    const unsigned stamped = bitmap[8] | bitmap[9] << 8;
    if (frame != 0) {
        if (stamped > 255)
            return 0;
        *score = static_cast<unsigned char>(stamped);
        return 1;
    }
    const int width = bitmap[18] | bitmap[19] << 8 | bitmap[20] << 16 | bitmap[21] << 24;
    const int height = bitmap[22] | bitmap[23] << 8 | bitmap[24] << 16 | bitmap[25] << 24;
    if (width <= 0 || height <= 0)
        return 0;
    // Ridges cover about half of a well pressed finger; score by how close.
    long ridge = 0;
    const long total = long(width) * height;
    for (long i = 0; i < total; ++i)
        ridge += bitmap[standin::kBitmapHeader + i] != 255;
    const double share = double(ridge) / double(total);
    *score = static_cast<unsigned char>(share >= 0.5 ? 255 : share * 2 * 255);
    return 1;
}
