// Blocks left behind on purpose (by the pen engine and the window). The
// leak checker is told about exactly these, so that it stays quiet about them
// and about nothing else; whatever they own stays reachable from them. Under
// gcc the address sanitizer announces itself by __SANITIZE_ADDRESS__, under
// clang only through __has_feature.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define PX_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PX_LEAK_CHECKER 1
#endif
#endif

#if defined(PX_LEAK_CHECKER)
#include <sanitizer/lsan_interface.h>
#endif

inline void PXAbandon(const void* block) {
#if defined(PX_LEAK_CHECKER)
    if (block)
        __lsan_ignore_object(block);
#else
    (void)block;
#endif
}
