#pragma once

#include "Models/DirectoryListingError.h"
#include "Models/FileEntry.h"
#include "Support/TaskHandle.h"

#include <QObject>

#include <expected>
#include <functional>
#include <vector>

// The one way a pane lists a folder. The listing runs off the main thread; its
// result comes back on `context`'s thread, unless `task` was cancelled first.
class DirectoryListingProviding {
public:
    using Result = std::expected<std::vector<FileEntry>, DirectoryListingError>;
    using Completion = std::function<void(Result)>;

    virtual ~DirectoryListingProviding() = default;
    virtual void list(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
                      Completion completion)
        = 0;
    // Whether a folder has anything to show, reading as little as it can; a folder
    // that can't be read answers false. Same delivery rules as list().
    virtual void probe(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
                       std::function<void(bool)> completion)
        = 0;
};
