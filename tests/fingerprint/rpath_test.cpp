// A program linked with the fingerprint library finds a scanner library in
// lib/ beside it, wherever it is started from, and only there.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

// Exit status of `program` started with `cwd` as its working directory.
int runFrom(const fs::path &cwd, const fs::path &program)
{
    // Leak reports of a sanitizer build would change the status.
    const std::string command = "cd '" + cwd.string() + "' && ASAN_OPTIONS=detect_leaks=0 '" + program.string() +
                                "' >/dev/null 2>&1";
    const int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(SearchPath, LibraryBesideTheProgram)
{
    const fs::path root = fs::path(::testing::TempDir()) / ("fpr-rpath-" + std::to_string(getpid()));
    const fs::path home = root / "install", elsewhere = root / "elsewhere";
    fs::remove_all(root);
    fs::create_directories(home / "lib");
    fs::create_directories(elsewhere / "lib");
    fs::copy_file(SP_PROBE, home / "probe");
    const fs::path probe = home / "probe";

    struct Case {
        const char *what;
        fs::path library;  // where ID_FprCap.so is put, empty for nowhere
        int status;
    } cases[] = {
        {"nowhere", {}, 1},
        {"in the working directory's lib/", elsewhere / "lib", 1},
        {"in lib/ beside the program", home / "lib", 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        fs::remove(home / "lib" / "ID_FprCap.so");
        fs::remove(elsewhere / "lib" / "ID_FprCap.so");
        if (!c.library.empty())
            fs::copy_file(SP_SCANNER_DIR "/ID_FprCap.so", c.library / "ID_FprCap.so");
        EXPECT_EQ(runFrom(elsewhere, probe), c.status);
        EXPECT_EQ(runFrom("/", probe), c.status);
    }
    fs::remove_all(root);
}
