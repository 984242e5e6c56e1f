// The benchmarks' pen input: a file that is missing, empty or damaged must stop
// the program rather than leave it timing nothing, and the checked-in input
// must be what its generator makes from the demo signature.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "bench_input.h"

namespace {

std::string TempFile(const std::string& name, const std::string& text) {
    const std::string path = ::testing::TempDir() + name;
    std::ofstream(path) << text;
    return path;
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Each bad file and the words its message must hold (the path and line come first).
TEST(BenchInput, BadFilesAreErrors) {
    struct Row { const char* name; const char* text; const char* said; } rows[] = {
        {"empty", "", "no pen report with pressure"},
        {"comments", "# nothing here\n\n", "no pen report with pressure"},
        {"only_lifts", "0 1 1 0\n8 2 2 0\n", "no pen report with pressure"},
        {"three_numbers", "0 1 1 0.5\n8 2 2\n", ":2: expected four numbers"},
        {"five_numbers", "0 1 1 0.5 7\n", ":1: expected four numbers"},
        {"word", "0 1 1 heavy\n", ":1: expected four numbers"},
        {"time_back", "8 1 1 0.5\n0 2 2 0.5\n", ":2: time goes back"},
        {"pressure_high", "0 1 1 1.5\n", ":1: pressure outside 0..1"},
        {"pressure_low", "# c\n0 1 1 -0.1\n", ":2: pressure outside 0..1"},
    };
    for (const Row& r : rows) {
        const std::string path = TempFile(std::string("bench_input_") + r.name, r.text);
        try {
            LoadPenEvents(path);
            ADD_FAILURE() << r.name << ": accepted";
        } catch (const std::runtime_error& e) {
            const std::string what = e.what();
            EXPECT_EQ(what.rfind(path, 0), 0u) << r.name << ": " << what;
            EXPECT_NE(what.find(r.said), std::string::npos) << r.name << ": " << what;
        }
    }
    EXPECT_THROW(LoadPenEvents(::testing::TempDir() + "bench_input_no_such_file"), std::runtime_error);
}

// Times in ms become seconds, comments and blank lines are skipped, lifts kept.
TEST(BenchInput, ReadsReports) {
    const auto ev = LoadPenEvents(TempFile("bench_input_good", "# head\n0 1.5 2 0.25  # first\n\n1500 3 4 0\n"));
    ASSERT_EQ(ev.size(), 2u);
    EXPECT_DOUBLE_EQ(ev[0].time, 0.0);
    EXPECT_FLOAT_EQ(ev[0].x, 1.5f);
    EXPECT_FLOAT_EQ(ev[0].y, 2.0f);
    EXPECT_FLOAT_EQ(ev[0].pressure, 0.25f);
    EXPECT_DOUBLE_EQ(ev[1].time, 1.5);
    EXPECT_FLOAT_EQ(ev[1].pressure, 0.0f);
}

// The kept file is byte for byte what the generator writes from demo/signature.txt.
TEST(BenchInput, KeptInputIsTheGeneratorsOutput) {
    const std::string out = ::testing::TempDir() + "bench_input_signatures30sec.txt";
    const std::string cmd = "cd '" SP_SOURCE_DIR "' && python3 bench/brush/make_signatures30sec.py '" + out +
                            "' >/dev/null";
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    const std::string kept = Slurp(SP_SOURCE_DIR "/bench/brush/signatures30sec.txt");
    EXPECT_FALSE(kept.empty());
    EXPECT_TRUE(kept == Slurp(out)) << "run python3 bench/brush/make_signatures30sec.py and keep its output";
    EXPECT_NO_THROW(LoadPenEvents(SP_SOURCE_DIR "/bench/brush/signatures30sec.txt"));
}

}  // namespace
