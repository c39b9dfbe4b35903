#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"

#include <QCoreApplication>
#include <QPointer>

// What the inline tree remembers from folder to folder, how it follows renames
// and deletions, and the watches that keep open rows true to the disk.

void FilePaneStore::rememberInlineExpansion()
{
    inlineTreeMemory_.rememberExpansion(currentURL_, inlineTree_);
}

void FilePaneStore::rememberInlineExpandability()
{
    inlineTreeMemory_.rememberExpandability(currentURL_, inlineTree_);
}

void FilePaneStore::applyRememberedInlineTree(bool preservingExpandabilityKnowledge)
{
    FilePaneInlineTree tree = inlineTreeMemory_.treeFor(currentURL_);
    if (!preservingExpandabilityKnowledge) tree.knowledge = inlineTree_.knowledge;
    // Children come back as they were; the refresh after the commit corrects them.
    tree.loadingFolderPaths = inlineTree_.loadingFolderPaths;
    if (tree == inlineTree_) return;
    inlineTree_ = std::move(tree);
    setInlineTreeChanged(true);
}

void FilePaneStore::refreshExpandedInlineFolders()
{
    if (inlineTree_.expandedFolderPaths.isEmpty()) return;
    QStringList vanished;
    QStringList present;
    for (const QString& path : inlineTree_.expandedFolderPaths) {
        const QString parent = FilePaths::parent(path);
        const bool parentLoaded = parent == currentURL_ || inlineTree_.childrenByFolderPath.contains(parent);
        if (!parentLoaded) continue;
        const FileEntryRef entry = loadedInlineEntry(path);
        if (!entry || !isInlineExpandable(*entry)) vanished.append(path);
        else present.append(path);
    }
    for (const QString& path : vanished) {
        stopInlineWatches(path);
        cancelInlineChildLoads(path);
    }
    if (!vanished.isEmpty()) {
        inlineTree_.removePaths(vanished);
        setInlineTreeChanged(true);
        rememberInlineExpansion();
    }
    std::sort(present.begin(), present.end());
    for (const QString& path : present) {
        // A folder removed with a vanished ancestor above is no longer open.
        if (!isInlineExpanded(path)) continue;
        loadInlineChildren(path);
        startInlineWatch(path);
    }
}

void FilePaneStore::invalidateInlineExpandabilityKnowledge()
{
    clearInlineProbes();
    if (inlineTree_.knowledge.isEmpty()) return;
    inlineTree_.knowledge = {};
    setInlineTreeChanged(false);
    rememberInlineExpandability();
    inlineTreeMemory_.rememberSnapshot(currentURL_, inlineTree_);
}

void FilePaneStore::invalidateInlineTreeForHiddenFileVisibilityChange()
{
    // Hidden files decide what is childless: all knowledge is wrong now. The open
    // rows stay open and list again with the new setting.
    inlineTreeMemory_.forgetAllKnowledge();
    cancelInlineChildLoads(std::nullopt);
    clearInlineProbes();
    inlineTree_.knowledge = {};
    setInlineTreeChanged(false);
}

void FilePaneStore::remapInlineTree(const QString& from, const QString& to)
{
    stopInlineWatches(from);
    cancelInlineChildLoads(from);
    inlineTree_.remap(from, to);
    inlineTreeMemory_.remap(from, to);
    sortedChildren_.clear();
    setInlineTreeChanged(true);
    QStringList reopened;
    for (const QString& path : inlineTree_.expandedFolderPaths)
        if (FilePaths::isAncestorOrSelf(to, path)) reopened.append(path);
    std::sort(reopened.begin(), reopened.end());
    for (const QString& path : reopened) {
        loadInlineChildren(path);
        startInlineWatch(path);
    }
}

void FilePaneStore::removeInlineEntries(const QStringList& paths)
{
    if (paths.isEmpty()) return;
    for (const QString& path : paths) {
        stopInlineWatches(path);
        cancelInlineChildLoads(path);
    }
    inlineTree_.removePaths(paths);
    inlineTreeMemory_.removePaths(paths);
    setInlineTreeChanged(true);
}

// ---------------------------------------------------------------- watches

void FilePaneStore::startInlineWatch(const QString& path)
{
    if (inlineWatches_.contains(path) || !services_.watcher) return;
    QPointer<FilePaneStore> self(this);
    auto token = services_.watcher->watch(path, [self, path] {
        // Any thread: hop to the main thread, where every decision is made.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, path] {
                if (self) self->scheduleInlineChildRefresh(path);
            },
            Qt::QueuedConnection);
    });
    if (token) inlineWatches_.insert(path, std::move(token));
}

void FilePaneStore::stopInlineWatches(const std::optional<QString>& underOrAt)
{
    auto below = [&](const QString& key) { return !underOrAt || FilePaths::isAncestorOrSelf(*underOrAt, key); };
    for (auto it = inlineWatches_.begin(); it != inlineWatches_.end();) {
        if (!below(it.key())) {
            ++it;
            continue;
        }
        (*it)->cancel();
        it = inlineWatches_.erase(it);
    }
    for (auto it = inlineRefreshTasks_.begin(); it != inlineRefreshTasks_.end();) {
        if (!below(it.key())) {
            ++it;
            continue;
        }
        it->cancel();
        it = inlineRefreshTasks_.erase(it);
    }
}

void FilePaneStore::scheduleInlineChildRefresh(const QString& path)
{
    if (!isInlineExpanded(path)) return;
    // The debounce: only the last event of a burst lists the folder again.
    if (auto it = inlineRefreshTasks_.constFind(path); it != inlineRefreshTasks_.cend()) it->cancel();
    TaskHandle task = TaskHandle::make();
    inlineRefreshTasks_.insert(path, task);
    auto refresh = [this, task, path] {
        if (task.isCancelled()) return;
        if (inlineRefreshTasks_.value(path) == task) inlineRefreshTasks_.remove(path);
        if (isInlineExpanded(path)) loadInlineChildren(path);
    };
    if (directoryRefreshDebounceNanoseconds_ == 0) refresh();
    else services_.clock->runAfter(directoryRefreshDebounceNanoseconds_, this, std::move(refresh));
}
