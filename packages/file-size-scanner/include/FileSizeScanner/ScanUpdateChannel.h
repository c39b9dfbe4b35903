#pragma once

#include "FileSizeScanner/ScanUpdate.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

// The buffer between a scan and its one reader. Only the newest `capacity` updates wait:
// a slow reader loses the oldest ones, never the last. Thread-safe.
class ScanUpdateChannel {
public:
    explicit ScanUpdateChannel(qsizetype capacity = 8);

    // Producer side. Returns false once the reader has closed the channel; the update is dropped.
    bool send(ScanUpdate update);
    // No more updates will come; the reader drains what waits and then sees the end.
    void finish();

    // Reader side. Blocks until an update or the end (std::nullopt).
    std::optional<ScanUpdate> receive();
    // As receive(), but gives up after `timeout`; `timedOut` tells the two empty results apart.
    std::optional<ScanUpdate> receive(std::chrono::milliseconds timeout, bool* timedOut);
    // The reader is gone: waiting updates are dropped and later ones refused.
    void close();
    bool isClosed() const;

private:
    std::optional<ScanUpdate> takeLocked();

    const qsizetype capacity_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<ScanUpdate> buffer_;
    bool finished_ = false;
    bool closed_ = false;
};
