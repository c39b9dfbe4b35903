#pragma once

#include <QString>

#include <functional>
#include <memory>

// A running watch; cancelling (or dropping the last reference) ends it.
class DirectoryWatchToken {
public:
    virtual ~DirectoryWatchToken() = default;
    virtual void cancel() = 0;
};

// Watches one folder's direct contents. `onChange` may be called on any thread,
// and more than once for one change. No token: the folder can't be watched.
class DirectoryWatchProviding {
public:
    virtual ~DirectoryWatchProviding() = default;
    virtual std::shared_ptr<DirectoryWatchToken> watch(const QString& url, std::function<void()> onChange) = 0;
};
