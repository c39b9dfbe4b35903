#pragma once

#include <QThreadPool>

#include <utility>

// Drops `value` on a pool thread. The last reference to a scan tree of a million
// nodes takes a second to free; dropped on the main thread, that second is a frozen
// window. Shared values (a tree held by both a session and a chart) are freed
// wherever the last reference goes, so every owner hands its reference over here.
template <typename T>
void releaseOffMainThread(T&& value)
{
    QThreadPool::globalInstance()->start([held = std::forward<T>(value)]() mutable {
        [[maybe_unused]] auto dropped = std::move(held);
    });
}
