#pragma once

#include "FileSizeScanner/ScanUpdateChannel.h"

#include <memory>
#include <thread>

// The reader's end of one scan: the updates in order, then the end. Dropping the stream
// cancels the scan and returns at once: the scan's thread owns everything it uses and ends
// on its own, even when it is stuck in a system call at that moment.
class ScanUpdateStream {
public:
    ScanUpdateStream(std::shared_ptr<ScanUpdateChannel> channel, std::jthread producer);
    ScanUpdateStream(ScanUpdateStream&&) noexcept = default;
    ScanUpdateStream& operator=(ScanUpdateStream&& other) noexcept;
    ScanUpdateStream(const ScanUpdateStream&) = delete;
    ScanUpdateStream& operator=(const ScanUpdateStream&) = delete;
    ~ScanUpdateStream();

    // The next update, blocking; std::nullopt once the stream has ended.
    std::optional<ScanUpdate> next();
    std::optional<ScanUpdate> next(std::chrono::milliseconds timeout, bool* timedOut);
    // Asks the scan to stop; the stream goes on and ends with `cancelled` (or with what
    // the scan had already sent).
    void cancel();
    // Stops reading: cancels the scan and drops what waits. Never waits for the scan's thread.
    void close();

private:
    std::shared_ptr<ScanUpdateChannel> channel_;
    std::jthread producer_;
};
