#pragma once

#include "FileSizeScanner/ScanUpdateStream.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

// Reads a stream to its end (giving up after a generous time, so a broken engine fails
// the test instead of hanging it).
inline std::vector<ScanUpdate> readAll(ScanUpdateStream& stream)
{
    std::vector<ScanUpdate> updates;
    for (;;) {
        bool timedOut = false;
        auto update = stream.next(std::chrono::seconds(60), &timedOut);
        if (!update) break;
        updates.push_back(std::move(*update));
    }
    return updates;
}

template <class Case> std::vector<Case> updatesOf(const std::vector<ScanUpdate>& updates)
{
    std::vector<Case> found;
    for (const ScanUpdate& update : updates)
        if (const auto* value = std::get_if<Case>(&update.value)) found.push_back(*value);
    return found;
}

// For a scan whose thread is stuck in its file system until `release` is set: `start` returns
// the stream once the thread is stuck. cancel() must end the stream with cancelled once the
// file system returns; close() must return while it is still stuck. Either way the thread lets
// go of `held` (shared with it) once released, and ends without touching freed memory.
inline void expectStopsWhileStuck(const std::function<ScanUpdateStream()>& start, std::promise<void>& release,
                                  const std::weak_ptr<const void>& held, bool closeInstead)
{
    std::vector<ScanUpdate> rest;
    {
        auto stream = start();
        if (closeInstead) {
            auto closing = std::async(std::launch::async, [&] { stream.close(); });
            EXPECT_EQ(closing.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        } else {
            stream.cancel();
        }
        release.set_value();
        if (!closeInstead) rest = readAll(stream);
    }
    if (!closeInstead) {
        EXPECT_TRUE(!rest.empty() && std::holds_alternative<ScanUpdate::Cancelled>(rest.back().value));
        EXPECT_TRUE(updatesOf<ScanUpdate::Finished>(rest).empty());
    }
    for (int i = 0; i < 1000 && !held.expired(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(held.expired()) << "closed: " << closeInstead;
}
