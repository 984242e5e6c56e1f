// slateprobe-demo --check end to end on every model: the launcher's virtual
// tablet, its covering scribble and key presses, and the stand-in scanner's
// good frames make slateprobe-cli check pass, with no person at it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "tablet/catalogue.h"

namespace {

TEST(DemoCheck, PassesOnEveryModel)
{
    for (const DEV_INFO_PX &row : Dev_info_px) {
        // The report rate and the reader's queue losses depend on the load
        // of the machine running the tests (the sanitizer build, ctest -j2):
        // loose limits keep them from deciding here.
        // A check that hangs is ended with what it printed so far.
        const std::string command = "timeout -k 5 100 " + std::string(SP_DEMO_LAUNCHER) + " --check --model " + row.model +
                                    " -- --min-rate 20 --max-lost 100 2>&1";
        FILE *out = popen(command.c_str(), "r");
        ASSERT_NE(out, nullptr);
        std::string text;
        char buf[4096];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, out)) > 0)
            text.append(buf, n);
        const int status = pclose(out);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << row.model << "\n" << text;
        // Every step ran: a pad shows all five, a display tablet no modes
        // and keys.
        EXPECT_NE(text.find(std::string("PASS  ") + row.model + " serial"), std::string::npos) << text;
        EXPECT_NE(text.find("  pen          PASS"), std::string::npos) << text;
        EXPECT_NE(text.find("  fingerprint  PASS"), std::string::npos) << text;
        EXPECT_NE(text.find(row.isPad ? "  keys         PASS" : "  keys         skipped"), std::string::npos) << text;
    }
}

}  // namespace
