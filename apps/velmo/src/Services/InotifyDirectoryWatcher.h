#pragma once

#include "Services/DirectoryWatchProviding.h"

#include <memory>

// Watches folders with one inotify instance and one reader thread. Several tokens
// on the same folder share its watch descriptor, counted by reference; callbacks
// run on the reader thread.
class InotifyDirectoryWatcher final : public DirectoryWatchProviding {
public:
    InotifyDirectoryWatcher();
    ~InotifyDirectoryWatcher() override;

    std::shared_ptr<DirectoryWatchToken> watch(const QString& url, std::function<void()> onChange) override;

    class Core;

private:
    std::shared_ptr<Core> core_;
};
