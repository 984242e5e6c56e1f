// Registration, removal and dispatch of the two callback tables. Expected
// orders are worked out by hand from the slot rules.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tablet/pxtablet.h"

namespace {

std::string g_calls;
int g_stopAt = -1;  // callback index that returns 0

template <int N>
int cb(TOUCH_INFO)
{
    g_calls += char('A' + N);
    return N == g_stopAt ? 0 : 1;
}

template <int N>
int mcb(MULTITOUCH_INFO)
{
    g_calls += char('a' + N);
    return 1;
}

const TouchInfoCallBack kCb[6] = {cb<0>, cb<1>, cb<2>, cb<3>, cb<4>, cb<5>};
const MultiTouchInfoCallBack kMcb[6] = {mcb<0>, mcb<1>, mcb<2>, mcb<3>, mcb<4>, mcb<5>};

class Callbacks : public ::testing::Test {
protected:
    void SetUp() override
    {
        memset(Touchcallback, 0, sizeof Touchcallback);
        memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
        g_uDevinfo_index = 11;  // a selected row keeps registration from opening a device
    }
    void TearDown() override { g_uDevinfo_index = -1; }
    // The callbacks' calls for one event.
    std::string touch() { return g_calls.clear(), disptchEvent(TOUCH_INFO{}), g_calls; }
    std::string multi() { return g_calls.clear(), dispatchMultiEvent(MULTITOUCH_INFO{}), g_calls; }
};

TEST_F(Callbacks, RegistrationAndDispatch)
{
    EXPECT_EQ(RegisterTouchInfoCallBack(nullptr), -11);
    EXPECT_EQ(RegisterMultiTouchInfoCallBack(nullptr), -11);
    EXPECT_EQ(UnregisterTouchInfoCallBack(nullptr), -11);
    EXPECT_TRUE(touch().empty());  // empty table: the event is lost
    EXPECT_EQ(RegisterTouchInfoCallBack(kCb[0]), 0);
    EXPECT_EQ(RegisterTouchInfoCallBack(kCb[0]), 0);  // same one twice: one slot
    EXPECT_EQ(touch(), "A");
    for (int i = 1; i < 5; ++i)
        EXPECT_EQ(RegisterTouchInfoCallBack(kCb[i]), 0);
    EXPECT_EQ(RegisterTouchInfoCallBack(kCb[5]), 13);
    EXPECT_EQ(UnregisterTouchInfoCallBack(kCb[5]), 11);
    g_stopAt = 2;  // newest first, stopping after the one that says 0, for one event only
    EXPECT_EQ(touch(), "EDC");
    g_stopAt = -1;
    EXPECT_EQ(touch(), "EDCBA");
    Touchcallback[0] = nullptr;  // slot 0 empty hides the rest
    EXPECT_TRUE(touch().empty());
}

TEST_F(Callbacks, RemovalKeepsOrderAndDuplicatesTheLastSlot)
{
    for (int i = 0; i < 3; ++i)
        RegisterTouchInfoCallBack(kCb[i]);
    EXPECT_EQ(UnregisterTouchInfoCallBack(kCb[1]), 0);
    EXPECT_EQ(touch(), "CA");

    // Full table: removing the first leaves the fifth in slots 3 and 4, and
    // the table counts as full until the duplicate goes.
    memset(Touchcallback, 0, sizeof Touchcallback);
    for (int i = 0; i < 5; ++i)
        RegisterTouchInfoCallBack(kCb[i]);
    EXPECT_EQ(UnregisterTouchInfoCallBack(kCb[0]), 0);
    EXPECT_EQ(touch(), "EEDCB");
    EXPECT_EQ(RegisterTouchInfoCallBack(kCb[4]), 0);  // already there
    EXPECT_EQ(RegisterTouchInfoCallBack(kCb[0]), 13);
}

// The multi-touch table follows the same slot rules; a null argument to its
// removal matches the first empty slot.
TEST_F(Callbacks, MultiTouchTable)
{
    EXPECT_EQ(UnregisterMultiTouchInfoCallBack(kMcb[0]), 11);
    EXPECT_EQ(UnregisterMultiTouchInfoCallBack(nullptr), 0);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(RegisterMultiTouchInfoCallBack(kMcb[i]), 0);
    EXPECT_EQ(RegisterMultiTouchInfoCallBack(kMcb[5]), 13);
    EXPECT_EQ(UnregisterMultiTouchInfoCallBack(nullptr), 11);
    EXPECT_EQ(UnregisterMultiTouchInfoCallBack(kMcb[2]), 0);
    EXPECT_EQ(multi(), "eedba");
}

}  // namespace
