// Exit codes shared by the commands of slateprobe-cli (listed in the manual
// page, so scripts may rely on them).
#pragma once

namespace cli {
enum ExitCode {
    kExitOk = 0,
    kExitNoTablet = 1,      // no tablet of the catalogue (or not the model asked for)
    kExitUsage = 2,         // bad command line, or a file that does not read cleanly
    kExitUnplugged = 3,     // the tablet went away while in use
    kExitWrite = 4,         // the recording could not be written (full disk, no permission)
    kExitNoAccess = 5,      // a device cannot be opened, or the tablet does not answer
    kExitInterrupted = 130, // Ctrl-C while the tablet kept an open or close waiting
};
}  // namespace cli
