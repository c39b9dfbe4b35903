#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"

#include <algorithm>

// The inline tree: folders of a list unfold in place. Child lists load in the
// background like the pane's own listing, and each result is checked on return
// (its folder still open, the pane still on the same folder with the same hidden
// files, and no newer load of the same folder started) so that a late answer never
// lands. Probes find out, one directory read each, which folders get a triangle.

bool FilePaneStore::isInlineExpandable(const FileEntry& entry)
{
    return entry.isDirectory && !entry.isPackage && !entry.isSymbolicLink && !entry.isAlias;
}

void FilePaneStore::setInlineTreeChanged(bool rowsMayChange)
{
    emit inlineTreeChanged();
    if (rowsMayChange && !isCommittingFolderSnapshot_) updateVisibleEntriesCache();
}

// ---------------------------------------------------------------- rows

std::vector<FilePaneRow> FilePaneStore::flattenedTreeRows(const FileEntryList& base, bool filtered) const
{
    return inlineTree_.flattened(base, [this, filtered](const QString& folder, const FileEntryList& children) {
        return displayChildren(folder, children, filtered);
    });
}

FileEntryList FilePaneStore::displayChildren(const QString& folder, const FileEntryList& children, bool filtered) const
{
    const FileEntrySort::Options options {sortColumn_, sortAscending_, smartSorting_, sortFolderAliasesWithFolders_};
    SortedChildren& cached = sortedChildren_[folder];
    // Same list, same order: a keystroke in the filter or a collapse elsewhere sorts nothing.
    if (cached.source != children || cached.options != options) {
        cached.sorted = FileEntrySort::sorted(children, options, folderSizeSortProvider(), contentCountSortProvider());
        cached.source = children;
        cached.options = options;
    }
    return filtered ? childNameFilter_.filter(cached.sorted, filterText_) : cached.sorted;
}

FileEntryRef FilePaneStore::loadedInlineEntry(const QString& path) const
{
    const QString parent = FilePaths::parent(path);
    const FileEntryList* list = nullptr;
    if (parent == currentURL_) list = &entries_;
    else if (auto it = inlineTree_.childrenByFolderPath.constFind(parent); it != inlineTree_.childrenByFolderPath.cend())
        list = &*it;
    if (!list) return {};
    for (const FileEntryRef& entry : *list)
        if (entry->id == path) return entry;
    return {};
}

// ---------------------------------------------------------------- expand and collapse

void FilePaneStore::expandInlineFolder(const FileEntry& entry)
{
    if (!isInlineExpandable(entry) || isInlineExpanded(entry.id)) return;
    inlineTree_.expandedFolderPaths.insert(entry.id);
    setInlineTreeChanged(true);
    rememberInlineExpansion();
    loadInlineChildren(entry.id);
    startInlineWatch(entry.id);
}

void FilePaneStore::collapseInlineFolder(const QString& path)
{
    if (!isInlineExpanded(path)) return;
    stopInlineWatches(path);
    cancelInlineChildLoads(path);
    // What was open inside is forgotten with it; what is known of triangles stays.
    inlineTree_.collapse(path);
    sortedChildren_.removeIf([&](const auto& it) { return FilePaths::isAncestorOrSelf(path, it.key()); });
    setInlineTreeChanged(true);
    rememberInlineExpansion();
}

void FilePaneStore::expandInlineFolderForSelection()
{
    const FileEntryList selected = selectedEntries();
    if (!selected.empty()) expandInlineFolder(*selected.front());
}

void FilePaneStore::collapseSelectedInlineRow()
{
    const FileEntryList selected = selectedEntries();
    if (selected.empty()) return;
    const QString id = selected.front()->id;
    if (isInlineExpanded(id)) {
        collapseInlineFolder(id);
        return;
    }
    const QString parent = FilePaths::parent(id);
    if (parent == id || !FilePaths::isDescendant(parent, currentURL_)) return;
    setSelectedEntryIDs({parent});
}

// ---------------------------------------------------------------- child loads

void FilePaneStore::loadInlineChildren(const QString& path)
{
    if (auto it = inlineChildLoads_.constFind(path); it != inlineChildLoads_.cend()) it->cancel();
    const QString folder = currentURL_;
    const bool hidden = showHiddenFiles_;
    TaskHandle task = TaskHandle::make();
    inlineChildLoads_.insert(path, task);
    if (!inlineTree_.loadingFolderPaths.contains(path)) {
        inlineTree_.loadingFolderPaths.insert(path);
        setInlineTreeChanged(false);
    }
    services_.listing->list(path, hidden, task, this,
                            [this, path, folder, hidden, task](DirectoryListingProviding::Result result) {
                                // Only the newest load of a folder is heard, and only once.
                                if (inlineChildLoads_.value(path) != task) return;
                                inlineChildLoads_.remove(path);
                                if (task.isCancelled() || currentURL_ != folder || showHiddenFiles_ != hidden
                                    || !isInlineExpanded(path))
                                    return;
                                finishInlineChildLoad(path, std::move(result));
                            });
}

void FilePaneStore::finishInlineChildLoad(const QString& path, DirectoryListingProviding::Result result)
{
    inlineTree_.loadingFolderPaths.remove(path);
    if (!result) {
        stopInlineWatches(path);
        cancelInlineChildLoads(path);
        inlineTree_.collapse(path);
        setInlineTreeChanged(true);
        rememberInlineExpansion();
        showActionToast(QStringLiteral("Could not read ") + FilePaths::displayName(path) + QStringLiteral(": ")
                            + message(result.error()),
                        ToastMessage::Kind::error);
        return;
    }
    FileEntryList children = shared(std::move(*result));
    // Open folders inside that are gone from the new list go with everything below them.
    QSet<QString> listed;
    for (const FileEntryRef& child : children) listed.insert(child->id);
    QStringList vanished;
    for (const QString& open : inlineTree_.expandedFolderPaths)
        if (FilePaths::parent(open) == path && !listed.contains(open)) vanished.append(open);
    for (const QString& gone : vanished) {
        stopInlineWatches(gone);
        cancelInlineChildLoads(gone);
    }
    inlineTree_.removePaths(vanished);
    inlineTree_.childrenByFolderPath.insert(path, children);
    inlineTree_.knowledge.mark(path, !children.empty());
    setInlineTreeChanged(true);
    rememberInlineExpansion();
    rememberInlineExpandability();
    restoreExpandedInlineChildren(children);
    if (children.empty()) stopInlineWatches(path);
    if (inlineRevealContinuation_ && inlineRevealWaitingFolder_ == path) {
        auto next = std::move(inlineRevealContinuation_);
        inlineRevealContinuation_ = {};
        next();
    }
}

void FilePaneStore::restoreExpandedInlineChildren(const FileEntryList& children)
{
    for (const FileEntryRef& child : children) {
        if (!isInlineExpanded(child->id) || inlineTree_.childrenByFolderPath.contains(child->id)) continue;
        loadInlineChildren(child->id);
        startInlineWatch(child->id);
    }
}

void FilePaneStore::cancelInlineChildLoads(const std::optional<QString>& underOrAt)
{
    bool changed = false;
    for (auto it = inlineChildLoads_.begin(); it != inlineChildLoads_.end();) {
        if (underOrAt && !FilePaths::isAncestorOrSelf(*underOrAt, it.key())) {
            ++it;
            continue;
        }
        it->cancel();
        changed |= inlineTree_.loadingFolderPaths.remove(it.key());
        it = inlineChildLoads_.erase(it);
    }
    if (changed) setInlineTreeChanged(false);
}

// ---------------------------------------------------------------- probes

void FilePaneStore::probeInlineExpandability(const FileEntry& entry)
{
    const QString& id = entry.id;
    if (!isInlineExpandable(entry) || inlineTree_.knowledge.childlessFolderPaths.contains(id)
        || inlineTree_.knowledge.knownExpandableFolderPaths.contains(id)
        || inlineTree_.childrenByFolderPath.contains(id) || inlineProbesInFlight_.contains(id)
        || inlineQueuedProbes_.contains(id))
        return;
    if (inlineProbesInFlight_.size() >= kMaxInlineProbes) {
        inlineQueuedProbes_.insert(id, std::make_shared<const FileEntry>(entry));
        return;
    }
    startInlineProbe(id);
}

void FilePaneStore::startInlineProbe(const QString& id)
{
    inlineProbesInFlight_.insert(id);
    const QString folder = currentURL_;
    const bool hidden = showHiddenFiles_;
    const qint64 generation = inlineProbeGeneration_;
    services_.listing->probe(id, hidden, TaskHandle::make(), this,
                             [this, id, folder, hidden, generation](bool hasVisibleChildren) {
                                 // A bumped generation emptied the set: nothing of this probe is left.
                                 if (generation != inlineProbeGeneration_) return;
                                 inlineProbesInFlight_.remove(id);
                                 if (currentURL_ == folder && showHiddenFiles_ == hidden) {
                                     inlineTree_.knowledge.mark(id, hasVisibleChildren);
                                     setInlineTreeChanged(false);
                                     rememberInlineExpandability();
                                 }
                                 drainInlineProbeQueue();
                             });
}

void FilePaneStore::drainInlineProbeQueue()
{
    while (inlineProbesInFlight_.size() < kMaxInlineProbes && !inlineQueuedProbes_.isEmpty()) {
        const FileEntryRef entry = inlineQueuedProbes_.take(inlineQueuedProbes_.firstKey());
        probeInlineExpandability(*entry);
    }
}

void FilePaneStore::clearInlineProbes()
{
    ++inlineProbeGeneration_;
    inlineProbesInFlight_.clear();
    inlineQueuedProbes_.clear();
}

// ---------------------------------------------------------------- reveal

bool FilePaneStore::revealInlineDescendant(const QString& url)
{
    const QString target = FilePaths::standardized(url);
    if (!FilePaths::isDescendant(target, currentURL_)) return false;
    cancelInlineReveal();
    inlineRevealTask_ = TaskHandle::make();
    continueInlineReveal(inlineRevealTask_, target);
    return true;
}

void FilePaneStore::cancelInlineReveal()
{
    inlineRevealTask_.cancel();
    inlineRevealTask_ = {};
    inlineRevealContinuation_ = {};
    inlineRevealWaitingFolder_.clear();
}

// One step down the way to `target` per call: opens the first folder on the way
// that isn't open with its children, and comes back when its listing has landed.
void FilePaneStore::continueInlineReveal(const TaskHandle& reveal, const QString& target)
{
    if (reveal != inlineRevealTask_ || reveal.isCancelled()) return;
    const QStringList below = FilePaths::components(target).mid(FilePaths::components(currentURL_).size());
    QString folder = currentURL_;
    for (qsizetype i = 0; i + 1 < below.size(); ++i) {
        folder = FilePaths::appending(folder, below[i]);
        const FileEntryRef entry = loadedInlineEntry(folder);
        if (!entry || !isInlineExpandable(*entry)) break;
        if (!isInlineExpanded(folder)) {
            inlineTree_.expandedFolderPaths.insert(folder);
            setInlineTreeChanged(true);
            rememberInlineExpansion();
            startInlineWatch(folder);
        }
        if (inlineTree_.childrenByFolderPath.contains(folder)) continue;
        const QString root = currentURL_;
        const bool hidden = showHiddenFiles_;
        inlineRevealWaitingFolder_ = folder;
        inlineRevealContinuation_ = [this, reveal, target, root, hidden] {
            if (currentURL_ != root || showHiddenFiles_ != hidden) return;
            continueInlineReveal(reveal, target);
        };
        loadInlineChildren(folder);
        return;
    }
    inlineRevealTask_ = {};
    pendingScrollToEntryID_ = target;
    setPendingSelectionEntryID(target);
    updateVisibleEntriesCache();
}

// ---------------------------------------------------------------- reset

void FilePaneStore::resetInlineTree()
{
    cancelInlineChildLoads(std::nullopt);
    cancelInlineReveal();
    stopInlineWatches(std::nullopt);
    clearInlineProbes();
    sortedChildren_.clear();
    if (inlineTree_ == FilePaneInlineTree {}) return;
    inlineTree_ = {};
    setInlineTreeChanged(true);
}
