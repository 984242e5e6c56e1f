// What a stand-in scanner does, read from the environment variable
// SP_SCANNER when the scanner is initialised (see README.md).
#pragma once

#include <set>
#include <string>
#include <vector>

namespace standin {

struct Script {
    // Scores of the frames in order; -1 makes scoring that frame fail. The
    // last entry stands for every later frame.
    std::vector<int> quality{70, 75, 80, 85};
    std::set<std::string> fail;  // exported names whose every call fails
    int channels = 1;            // channel or device count; 0: no scanner attached
    int width = 0;               // 0: the family's own frame size
    int height = 0;
    int delayMs = 100;           // time one frame takes
    std::string journal;         // file that receives one line per call

    bool fails(const char *name) const { return fail.count(name) != 0; }
    // Score of frame `index` (0 first), -1 when it is to fail.
    int qualityOf(int index) const;
};

// Parses "key=value;key=value". Unknown keys and bad values are ignored.
Script parseScript(const std::string &text);
// The script in SP_SCANNER, or the defaults.
Script scriptFromEnvironment();

// Appends "name args" to the journal file named by the script, if any.
void journal(const Script &script, const std::string &line);
// Sleeps for the script's delay.
void frameDelay(const Script &script);

} // namespace standin
