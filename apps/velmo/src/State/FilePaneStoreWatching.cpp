#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"

#include <QCoreApplication>
#include <QPointer>

namespace {

constexpr quint64 kEchoMarginNanoseconds = 400'000'000;

} // namespace

void FilePaneStore::suppressWatcherEcho()
{
    suppressWatcherEchoUntilNanos_
        = services_.clock->uptimeNanoseconds() + directoryRefreshDebounceNanoseconds_ + kEchoMarginNanoseconds;
}

void FilePaneStore::startWatching(const QString& url)
{
    const QString target = FilePaths::standardized(url);
    if (watchedURL_ == target && directoryWatchToken_) return;
    directoryRefreshTask_.cancel();
    directoryRefreshTask_ = {};
    cancelWatching();
    if (!services_.watcher) return;
    QPointer<FilePaneStore> self(this);
    directoryWatchToken_ = services_.watcher->watch(target, [self, target] {
        // Any thread: only hop to the main thread, where every decision is made.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, target] {
                if (self) self->scheduleExternalDirectoryRefresh(target);
            },
            Qt::QueuedConnection);
    });
    if (directoryWatchToken_) watchedURL_ = target;
    emit watchChanged();
}

void FilePaneStore::cancelWatching()
{
    if (directoryWatchToken_) directoryWatchToken_->cancel();
    directoryWatchToken_.reset();
    watchedURL_.reset();
}

void FilePaneStore::scheduleExternalDirectoryRefresh(const QString& url)
{
    if (url != currentURL_ || activeNavigationLoadGeneration_) return;
    // The debounce: only the last event of a burst reaches its checks.
    directoryRefreshTask_.cancel();
    TaskHandle task = TaskHandle::make();
    directoryRefreshTask_ = task;
    auto refresh = [this, task, url] {
        if (task.isCancelled()) return;
        if (directoryRefreshTask_ == task) directoryRefreshTask_ = {};
        if (currentURL_ != url || activeNavigationLoadGeneration_) return;
        if (services_.clock->uptimeNanoseconds() < suppressWatcherEchoUntilNanos_) return;
        startLoad(currentURL_);
    };
    if (directoryRefreshDebounceNanoseconds_ == 0) refresh();
    else services_.clock->runAfter(directoryRefreshDebounceNanoseconds_, this, std::move(refresh));
}

void FilePaneStore::commitFolderSnapshot(FileEntryList entries, bool preserveExistingStates,
                                         PrefetchedFolderStates prefetched)
{
    const bool committing = isCommittingFolderSnapshot_;
    isCommittingFolderSnapshot_ = true;
    applyResolvedFolderViewState();
    setEntries(std::move(entries));
    inlineTreeMemory_.rememberInParent(currentURL_, !entries_.empty());
    // Open rows stay open; what is known of triangles is found out again, since
    // anything below may have changed.
    applyRememberedInlineTree(false);
    invalidateInlineExpandabilityKnowledge();
    mergeFolderStates(std::move(prefetched), preserveExistingStates);
    resortEntries();
    isCommittingFolderSnapshot_ = committing;
    refreshExpandedInlineFolders();
    scheduleFolderScans();
    notifyRestorableStateChanged();
}
