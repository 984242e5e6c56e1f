// Table-driven search on any pattern and text, exact and folded: no crash, no
// read past either terminator, and a result of -1 or a position whose match
// ends inside the text on the pattern's last unit. The search may report
// places a plain scan would not, so a plain scan serves as no oracle.
#include "base/LHString.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

// Zero bytes would end a string early and hide reads past it, so they map to
// a non-zero unit; letters keep both cases to exercise the folding.
wchar_t unitOf(uint8_t b) { return b ? static_cast<wchar_t>(b) : static_cast<wchar_t>(0x100); }

bool foldedEq(wchar_t a, wchar_t b)
{
    auto letter = [](wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); };
    return a == b || (letter(a) && letter(b) && (a - b == 32 || b - a == 32));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1 || size > 8192)
        return 0;
    const size_t patternLen = data[0] % size;  // at most size - 1 units
    std::vector<wchar_t> pattern;
    for (size_t k = 0; k < patternLen; ++k)
        pattern.push_back(unitOf(data[1 + k]));
    pattern.push_back(0);
    std::vector<wchar_t> text;
    for (size_t k = 1 + patternLen; k < size; ++k)
        text.push_back(unitOf(data[k]));
    text.push_back(0);
    const int textLen = static_cast<int>(text.size()) - 1;
    const auto n = static_cast<unsigned short>(patternLen);

    for (int folded = 0; folded < 2; ++folded) {
        std::vector<unsigned short> nexts(patternLen);
        int at;
        if (folded) {
            ucs_getnextsi_kmp(pattern.data(), nexts.data(), n);
            at = ucs_findi_kmp(text.data(), pattern.data(), nexts.data(), n);
        } else {
            ucs_getnexts_kmp(pattern.data(), nexts.data(), n);
            at = ucs_find_kmp(text.data(), pattern.data(), nexts.data(), n);
        }
        for (size_t k = 0; k < patternLen; ++k) {
            if (nexts[k] >= k && k > 0)
                std::abort();
        }
        if (at == -1)
            continue;
        if (at < 0 || at + static_cast<int>(n) > textLen)
            std::abort();
        if (n > 0) {
            const wchar_t last = text[static_cast<size_t>(at) + n - 1];
            if (folded ? !foldedEq(last, pattern[n - 1]) : last != pattern[n - 1])
                std::abort();
        }
    }
    return 0;
}
