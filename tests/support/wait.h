// Waiting for what another thread or process makes true: udev events, closed
// handles, reports taken by a reader.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

// Polls until pred holds, at most ten seconds; false when it never did.
inline bool waitFor(const std::function<bool()> &pred)
{
    for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10); !pred();) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}
