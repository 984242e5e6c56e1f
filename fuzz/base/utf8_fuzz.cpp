// UTF-8 to wide text: any bytes must decode without reading past the
// terminator or writing past limit + 1 units, and every decoded character
// must encode and decode back to itself.
#include "base/LHConvert.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const int limit = data[0] % 64;
    std::vector<char> text(data + 1, data + size);
    text.push_back(0);

    for (int mode = 0; mode < 3; ++mode) {
        std::vector<wchar_t> out(static_cast<size_t>(limit) + 1);
        int n;
        if (mode == 0)
            n = cvt_ltou(text.data(), out.data(), limit);
        else if (mode == 1)
            n = cvt_ltou_inner(text.data(), out.data(), limit);
        else
            n = cvt_ltou2(text.data(), static_cast<int>(size % 7), out.data(), limit);
        if (n < 0 || n > limit || out[static_cast<size_t>(n)] != 0)
            std::abort();
        for (int k = 0; k < n; ++k) {
            unsigned char enc[6];
            const unsigned int v = static_cast<unsigned int>(out[static_cast<size_t>(k)]);
            const int len = cvt_char_UCS4_To_UTF8(v, enc);
            unsigned int back = 0;
            if (len < 1 || len > 6)
                std::abort();
            std::vector<unsigned char> exact(enc, enc + len);
            exact.push_back(0);
            if (cvt_char_UTF8_To_UCS4(exact.data(), back) != len || back != v)
                std::abort();
        }
    }

    // Walk character by character over an exactly sized buffer.
    std::vector<unsigned char> bytes(data + 1, data + size);
    bytes.push_back(0);
    for (size_t at = 0; bytes[at];) {
        unsigned int v;
        const int used = cvt_char_UTF8_To_UCS4_inner(bytes.data() + at, v);
        if (used < 0 || used > 6)
            std::abort();
        if (!used)
            break;
        at += static_cast<size_t>(used);
    }
    return 0;
}
