// The trace file "/tmp/PXSlateProbe.log": one stamped line per call, used by
// every layer. Plain C/C++, no Qt.
#pragma once

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

// Appends one line: a UTC+8 stamp, `text` used as a format string with no
// arguments, " %d" of `value` unless it is 0, and a line feed. False when the
// file could not be opened ("create log fail" goes to standard output).
bool WriteLog(char *text, int value);

// Deletes the trace file when it is larger than 4,194,304 bytes. Called once
// at start; the file then grows without bound for the rest of the run.
void ReSetLog(void);

#ifdef __cplusplus
}

// Callers mostly pass literals; the text is never written through.
inline bool WriteLog(const char *text, int value)
{
    return WriteLog(const_cast<char *>(text), value);
}
#endif
