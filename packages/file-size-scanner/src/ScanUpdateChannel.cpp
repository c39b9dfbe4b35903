#include "FileSizeScanner/ScanUpdateChannel.h"

ScanUpdateChannel::ScanUpdateChannel(qsizetype capacity)
    : capacity_(capacity < 1 ? 1 : capacity)
{
}

bool ScanUpdateChannel::send(ScanUpdate update)
{
    {
        std::lock_guard lock(mutex_);
        if (closed_ || finished_) return false;
        buffer_.push_back(std::move(update));
        if (qsizetype(buffer_.size()) > capacity_) buffer_.pop_front();
    }
    changed_.notify_one();
    return true;
}

void ScanUpdateChannel::finish()
{
    {
        std::lock_guard lock(mutex_);
        finished_ = true;
    }
    changed_.notify_all();
}

std::optional<ScanUpdate> ScanUpdateChannel::takeLocked()
{
    if (buffer_.empty()) return std::nullopt;
    ScanUpdate update = std::move(buffer_.front());
    buffer_.pop_front();
    return update;
}

std::optional<ScanUpdate> ScanUpdateChannel::receive()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !buffer_.empty() || finished_ || closed_; });
    return takeLocked();
}

std::optional<ScanUpdate> ScanUpdateChannel::receive(std::chrono::milliseconds timeout, bool* timedOut)
{
    std::unique_lock lock(mutex_);
    const bool ready = changed_.wait_for(lock, timeout, [this] { return !buffer_.empty() || finished_ || closed_; });
    if (timedOut) *timedOut = !ready;
    return takeLocked();
}

void ScanUpdateChannel::close()
{
    {
        std::lock_guard lock(mutex_);
        closed_ = true;
        buffer_.clear();
    }
    changed_.notify_all();
}

bool ScanUpdateChannel::isClosed() const
{
    std::lock_guard lock(mutex_);
    return closed_;
}
