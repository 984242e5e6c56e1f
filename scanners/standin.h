// Shared by the three stand-in libraries.
#pragma once

#include <mutex>
#include <string>

#include "ridges.h"
#include "script.h"

// Only the vendor entry points leave a stand-in library.
#define STANDIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace standin {

// The state of one stand-in scanner: the script read at initialisation and
// the number of frames delivered since.
struct Scanner {
    std::mutex lock;
    Script script;
    int frames = 0;
    bool open = false;

    // Re-reads SP_SCANNER and starts counting frames anew.
    void reset()
    {
        script = scriptFromEnvironment();
        frames = 0;
    }
    void note(const std::string &line) { journal(script, line); }
};

} // namespace standin
