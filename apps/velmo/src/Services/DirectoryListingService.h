#pragma once

#include "Services/DirectoryListingProviding.h"
#include "Support/SerialExecutor.h"

#include <memory>
#include <stop_token>

// Lists folders with getdents64 and one statx per item, relative to the folder's
// descriptor. Calls run one at a time on the service's own executor, which is
// what keeps the bundle-version caches safe without a lock; inside one call the
// per-item work of a large folder is split over two threads.
//
// Destroying the service returns at once, even while a listing is stuck in a
// system call: the listing holds the caches it writes to, and its late result is
// dropped by its task's usual checks.
class DirectoryListingService final : public DirectoryListingProviding {
public:
    DirectoryListingService();
    ~DirectoryListingService() override;

    void list(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
              Completion completion) override;
    // Probes run on a pool of their own, so that they never wait behind a large listing.
    void probe(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
               std::function<void(bool)> completion) override;

    // The listing itself, on the calling thread. Not to be called while a list()
    // of the same service may run.
    Result listNow(const QString& url, bool includingHiddenFiles, std::stop_token stop = {});

    // Folders with more items than this are listed on two threads.
    static constexpr int kParallelThreshold = 2048;

    struct BundleVersions;

private:
    // Bundle versions are read once per path for the life of the service, and of
    // any listing still running when it goes.
    std::shared_ptr<BundleVersions> versions_;
    SerialExecutor executor_;
};
