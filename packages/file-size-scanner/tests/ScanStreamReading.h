#pragma once

#include "FileSizeScanner/ScanUpdateStream.h"

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
