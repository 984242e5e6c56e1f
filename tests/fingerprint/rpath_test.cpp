// A program linked with the fingerprint library finds a scanner library in
// lib/ beside it, wherever it is started from, and only there.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>

namespace fs = std::filesystem;

TEST(SearchPath, LibraryBesideTheProgram)
{
    const fs::path root = fs::path(::testing::TempDir()) / ("fpr-rpath-" + std::to_string(getpid()));
    const fs::path home = root / "install", elsewhere = root / "elsewhere", probe = home / "probe";
    fs::remove_all(root);
    fs::create_directories(home / "lib");
    fs::create_directories(elsewhere / "lib");
    fs::copy_file(SP_PROBE, probe);
    // The probe's exit status started from `cwd` (leak reports of a
    // sanitizer build would change it).
    auto runFrom = [&](const fs::path &cwd) {
        const int status = system(("cd '" + cwd.string() + "' && ASAN_OPTIONS=detect_leaks=0 '" + probe.string() +
                                   "' >/dev/null 2>&1").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    // Where ID_FprCap.so is put (nowhere when empty), and the status.
    for (const auto &[library, status] : {std::pair{fs::path(), 1}, {elsewhere / "lib", 1}, {home / "lib", 0}}) {
        SCOPED_TRACE(library);
        fs::remove(home / "lib" / "ID_FprCap.so");
        fs::remove(elsewhere / "lib" / "ID_FprCap.so");
        if (!library.empty())
            fs::copy_file(SP_SCANNER_DIR "/ID_FprCap.so", library / "ID_FprCap.so");
        EXPECT_EQ(runFrom(elsewhere), status);
        EXPECT_EQ(runFrom("/"), status);
    }
    fs::remove_all(root);
}
