// Wide text to UTF-8, XML and URL text: any 32-bit units must convert within
// the allowed overshoot of the limit (five bytes for plain UTF-8, one entry of
// at most eight bytes for the escapers), and plain output must read back to
// the units it was made from.
#include "base/LHConvert.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const int limit = data[0];
    std::vector<wchar_t> src;
    for (size_t at = 1; at + 4 <= size; at += 4) {
        uint32_t u;
        std::memcpy(&u, data + at, 4);
        // Keep the walk long: a zero unit would end it, so it stands for 'a'.
        src.push_back(u ? static_cast<wchar_t>(u) : L'a');
    }
    src.push_back(0);

    const size_t room = static_cast<size_t>(limit) + 8;
    {
        std::vector<char> out(room);
        const int n = cvt_utol(src.data(), out.data(), limit);
        if (n < 0 || static_cast<size_t>(n) >= room || out[static_cast<size_t>(n)] != 0)
            std::abort();
        std::vector<wchar_t> back(static_cast<size_t>(n) + 1);
        const int count = cvt_ltou(out.data(), back.data(), n);
        for (int k = 0; k < count; ++k) {
            if (back[static_cast<size_t>(k)] != src[static_cast<size_t>(k)])
                std::abort();
        }
        std::vector<char> part(room);
        if (cvt_utol2(src.data(), static_cast<int>(size % 5), part.data(), limit) > n)
            std::abort();
    }
    for (int url = 0; url < 2; ++url) {
        std::vector<char> out(room + 8);
        const int n = url ? cvt_utourl(src.data(), out.data(), limit)
                          : cvt_utoxml(src.data(), out.data(), limit);
        if (n < 0 || (n > 0 && n > limit + 7) || out[static_cast<size_t>(n)] != 0)
            std::abort();
    }

    unsigned short pair[2];
    cvt_ucs4_utf16(static_cast<unsigned int>(src[0]), pair);
    cvt_ending_ws(src.data());
    for (wchar_t *p = src.data(); *p; ++p) {
        if (static_cast<uint32_t>(*p) > 0xFFFF)
            std::abort();
    }
    return 0;
}
