#pragma once

#include "Services/DirectoryListingProviding.h"
#include "Support/SerialExecutor.h"

#include <QHash>
#include <QSet>

#include <stop_token>

// Lists folders with getdents64 and one statx per item, relative to the folder's
// descriptor. Calls run one at a time on the service's own executor, which is
// what keeps the bundle-version caches safe without a lock; inside one call the
// per-item work of a large folder is split over two threads.
class DirectoryListingService final : public DirectoryListingProviding {
public:
    DirectoryListingService();

    void list(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
              Completion completion) override;

    // The listing itself, on the calling thread. Not to be called concurrently.
    Result listNow(const QString& url, bool includingHiddenFiles, std::stop_token stop = {});

    // Folders with more items than this are listed on two threads.
    static constexpr int kParallelThreshold = 2048;

private:
    std::optional<QString> version(const FileEntry& entry);

    SerialExecutor executor_;
    // Bundle versions are read once per path for the life of the service.
    QHash<QString, QString> versionCache_;
    QSet<QString> missingVersionPaths_;
};
