// The noted ink extent of a surface: unions of noted boxes, clipped to the
// surface, forgotten once taken; the whole surface once the slots ran out.
// Expected rectangles are worked by hand from the boxes.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "brush/PXInkExtent.h"

namespace {

struct Box {
    int l, t, r, b;
};

std::vector<int> Rect(const PXRectangle& r) { return {r.left, r.top, r.right, r.bottom}; }

TEST(InkExtent, UnionClipAndForget) {
    struct Case {
        std::vector<Box> notes;
        std::vector<int> want;
    } cases[] = {
        {{}, {0, 0, 0, 0}},                                    // nothing noted
        {{{3, 4, 7, 9}}, {3, 4, 7, 9}},                        // one box as it is
        {{{3, 4, 7, 9}, {1, 6, 5, 8}}, {1, 4, 7, 9}},          // union of two
        {{{-5, -2, 50, 3}, {8, 30, 9, 60}}, {0, 0, 20, 10}},   // clipped to 20 x 10
        {{{6, 2, 6, 9}, {4, 5, 8, 5}}, {0, 0, 0, 0}},          // empty boxes add nothing
    };
    PXSurface s(20, 10), other(20, 10);
    for (const Case& c : cases) {
        for (const Box& b : c.notes)
            pxink::Note(&s, b.l, b.t, b.r, b.b);
        pxink::Note(&other, 11, 1, 12, 2);  // kept apart
        EXPECT_EQ(Rect(pxink::Take(&s)), c.want);
        EXPECT_EQ(Rect(pxink::Take(&s)), std::vector<int>({0, 0, 0, 0}));  // forgotten
        EXPECT_EQ(Rect(pxink::Take(&other)), std::vector<int>({11, 1, 12, 2}));
    }
}

// More surfaces noted at once than there are slots: a note is lost, so from
// then on every answer is the whole surface (safe, only slower).
TEST(InkExtent, RunningOutOfSlotsAnswersWholeSurfaces) {
    std::vector<std::unique_ptr<PXSurface>> many;
    for (int i = 0; i < 40; ++i) {
        many.emplace_back(new PXSurface(30, 20));
        pxink::Note(many.back().get(), 1, 1, 2, 2);
    }
    for (auto& s : many)
        EXPECT_EQ(Rect(pxink::Take(s.get())), std::vector<int>({0, 0, 30, 20}));
    PXSurface fresh(7, 5);
    EXPECT_EQ(Rect(pxink::Take(&fresh)), std::vector<int>({0, 0, 7, 5}));
}

}  // namespace
