#include "FileSizeScanner/ScanUpdateStream.h"

ScanUpdateStream::ScanUpdateStream(std::shared_ptr<ScanUpdateChannel> channel, std::jthread producer)
    : channel_(std::move(channel))
    , producer_(std::move(producer))
{
}

ScanUpdateStream& ScanUpdateStream::operator=(ScanUpdateStream&& other) noexcept
{
    if (this != &other) {
        close();
        channel_ = std::move(other.channel_);
        producer_ = std::move(other.producer_);
    }
    return *this;
}

ScanUpdateStream::~ScanUpdateStream()
{
    close();
}

std::optional<ScanUpdate> ScanUpdateStream::next()
{
    return channel_ ? channel_->receive() : std::nullopt;
}

std::optional<ScanUpdate> ScanUpdateStream::next(std::chrono::milliseconds timeout, bool* timedOut)
{
    if (!channel_) {
        if (timedOut) *timedOut = false;
        return std::nullopt;
    }
    return channel_->receive(timeout, timedOut);
}

void ScanUpdateStream::cancel()
{
    producer_.request_stop();
}

void ScanUpdateStream::close()
{
    producer_.request_stop();
    if (channel_) channel_->close();
    // Never joined: the producer may sit in a system call on a dead mount, and the reader is
    // often the window's thread. It owns all it touches (the channel is shared), so it is let
    // go and ends on its own once it sees the stop.
    if (producer_.joinable()) producer_.detach();
}
