// slateprobe-demo --check: slateprobe-cli check run against the virtual
// tablet with no person at it. The launcher reads the check's output and,
// when the pen step asks for the pen, draws the covering scribble and
// presses the pad's keys.
#pragma once

#include <csignal>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "signature.h"

namespace demo {

// Runs `program check --model <pid> args...` under the umockdev preload,
// its output passed through line by line; the check's exit status (128 +
// signal when it was ended by one). `quit` asks it to stop (SIGTERM).
int runCheck(emu::Device &tablet, uint16_t pid, const std::string &program, const std::vector<std::string> &args,
             const std::vector<Stroke> &scribble, const volatile std::sig_atomic_t &quit);

}  // namespace demo
