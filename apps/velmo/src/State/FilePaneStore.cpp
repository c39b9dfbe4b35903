#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"

FilePaneStore::FilePaneStore(PaneID id, FilePaneServices services, Configuration configuration, QObject* parent)
    : QObject(parent), id_(id), services_(std::move(services)),
      directoryRefreshDebounceNanoseconds_(configuration.directoryRefreshDebounceNanoseconds),
      currentURL_(FilePaths::standardized(configuration.folderURL)), fileViewMode_(configuration.viewMode),
      sortColumn_(configuration.sortColumn), sortAscending_(configuration.sortAscending),
      visibleColumns_(configuration.visibleColumns), showHiddenFiles_(configuration.showHiddenFiles)
{
    if (!services_.clock) services_.clock = MonotonicClock::system();
    if (!services_.folderSizes) services_.folderSizes = TaskExecutor::folderSizes();
    breadcrumbTrailURL_ = currentURL_;
    breadcrumbs_ = breadcrumbs(breadcrumbTrailURL_);
}

FilePaneStore::~FilePaneStore()
{
    teardown();
}

QString FilePaneStore::message(const DirectoryListingError& error)
{
    using E = DirectoryListingError;
    return std::visit(
        [](const auto& reason) -> QString {
            using T = std::decay_t<decltype(reason)>;
            if constexpr (std::is_same_v<T, E::AccessDenied>)
                return QStringLiteral("Access denied: ") + FilePaths::displayName(reason.url);
            else if constexpr (std::is_same_v<T, E::NotDirectory>)
                return QStringLiteral("Not a folder: ") + FilePaths::displayName(reason.url);
            else if constexpr (std::is_same_v<T, E::NotFound>)
                return QStringLiteral("Not found: ") + FilePaths::displayName(reason.url);
            else
                return QStringLiteral("Could not read ") + FilePaths::displayName(reason.url) + QStringLiteral(": ")
                    + reason.detail;
        },
        error.reason);
}

bool FilePaneStore::isAncestorOrSelf(const QString& a, const QString& b)
{
    return FilePaths::isAncestorOrSelf(FilePaths::standardized(a), FilePaths::standardized(b));
}

// ---------------------------------------------------------------- navigation

bool FilePaneStore::refuseNavigationDuringOperation()
{
    if (!activeOperationTitle_) return false;
    showActionToast(QStringLiteral("Wait for the current file operation to finish before navigating."),
                    ToastMessage::Kind::error);
    return true;
}

NavigationCommit FilePaneStore::makeCommit(const QString& toURL) const
{
    NavigationCommit commit;
    commit.fromURL = currentURL_;
    commit.toURL = FilePaths::standardized(toURL);
    return commit;
}

void FilePaneStore::saveStateOfFolderBeingLeft()
{
    rememberCurrentSelection();
    rememberInlineExpansion();
    rememberInlineExpandability();
    inlineTreeMemory_.rememberSnapshot(currentURL_, inlineTree_);
}

void FilePaneStore::navigate(const QString& url, bool pushHistory, bool keepsBreadcrumbTrail,
                             std::optional<QString> pendingSelectionID, std::optional<QString> pendingScrollToEntryID)
{
    if (refuseNavigationDuringOperation()) return;
    const QString destination = FilePaths::standardized(url);
    if (destination == currentURL_) {
        if (!keepsBreadcrumbTrail) collapseBreadcrumbTrail(destination);
        suppressWatcherEcho();
        startLoad(currentURL_);
        return;
    }
    saveStateOfFolderBeingLeft();
    NavigationCommit commit = makeCommit(destination);
    commit.pushHistory = pushHistory;
    commit.clearForwardStack = pushHistory;
    commit.restoreScroll = FilePaths::isAncestorOrSelf(destination, currentURL_);
    commit.resetBreadcrumbTrail = !keepsBreadcrumbTrail;
    commit.pendingSelectionID = pendingSelectionID ? pendingSelectionID : lastSelectionByFolder_.value(destination);
    if (commit.pendingSelectionID && commit.pendingSelectionID->isEmpty()) commit.pendingSelectionID.reset();
    commit.pendingScrollToEntryID = std::move(pendingScrollToEntryID);
    startNavigation(commit);
}

void FilePaneStore::navigateExternally(const QString& url)
{
    const QString destination = FilePaths::standardized(url);
    if (destination == currentURL_) {
        collapseBreadcrumbTrail(destination);
        suppressWatcherEcho();
        startLoad(currentURL_);
        return;
    }
    saveStateOfFolderBeingLeft();
    NavigationCommit commit = makeCommit(destination);
    commit.pushHistory = true;
    commit.clearForwardStack = true;
    commit.resetBreadcrumbTrail = true;
    if (lastSelectionByFolder_.contains(destination)) commit.pendingSelectionID = lastSelectionByFolder_.value(destination);
    startNavigation(commit);
}

void FilePaneStore::goUp()
{
    if (refuseNavigationDuringOperation()) return;
    const QString parent = FilePaths::parent(currentURL_);
    if (parent == currentURL_) return;
    saveStateOfFolderBeingLeft();
    NavigationCommit commit = makeCommit(parent);
    commit.pushHistory = true;
    commit.clearForwardStack = true;
    commit.restoreScroll = true;
    commit.pendingSelectionID = currentURL_;
    startNavigation(commit);
}

void FilePaneStore::goBack()
{
    if (refuseNavigationDuringOperation()) return;
    if (backStack_.isEmpty()) return;
    saveStateOfFolderBeingLeft();
    NavigationCommit commit = makeCommit(backStack_.last());
    commit.popBackStack = true;
    commit.forwardURL = currentURL_;
    commit.restoreScroll = true;
    if (lastSelectionByFolder_.contains(commit.toURL)) commit.pendingSelectionID = lastSelectionByFolder_.value(commit.toURL);
    startNavigation(commit);
}

void FilePaneStore::goForward()
{
    if (refuseNavigationDuringOperation()) return;
    if (forwardStack_.isEmpty()) return;
    saveStateOfFolderBeingLeft();
    NavigationCommit commit = makeCommit(forwardStack_.last());
    commit.pushHistory = true;
    commit.popForwardStack = true;
    commit.restoreScroll = true;
    if (lastSelectionByFolder_.contains(commit.toURL)) commit.pendingSelectionID = lastSelectionByFolder_.value(commit.toURL);
    startNavigation(commit);
}

bool FilePaneStore::canEnterFolder() const
{
    const FileEntryList selected = selectedEntries();
    if (!selected.empty() && selected.front()->folderTarget()) return true;
    return FilePaths::components(breadcrumbTrailURL_).size() > FilePaths::components(currentURL_).size();
}

void FilePaneStore::enterFolder()
{
    const FileEntryList selected = selectedEntries();
    if (!selected.empty()) {
        if (auto target = selected.front()->folderTarget()) {
            navigate(*target, true, true);
            return;
        }
    }
    const QStringList current = FilePaths::components(currentURL_);
    const QStringList trail = FilePaths::components(breadcrumbTrailURL_);
    if (trail.size() > current.size()) navigate(FilePaths::appending(currentURL_, trail[current.size()]), true, true);
}

void FilePaneStore::open(const FileEntry& entry, bool treatPackagesAsFolders)
{
    treatPackagesAsFolders = treatPackagesAsFolders || treatsPackagesAsFolders_;
    if (entry.isDirectory && (treatPackagesAsFolders || !entry.isPackage)) {
        navigate(entry.url, true, true);
        return;
    }
    if (entry.resolvedURL && entry.resolvedIsDirectory && (treatPackagesAsFolders || !entry.resolvedIsPackage)) {
        navigate(*entry.resolvedURL, true, true);
        return;
    }
    // Zip archives are opened by extraction once archives exist; until then they
    // go to their application like any other file.
    const QString target = entry.resolvedURL.value_or(entry.url);
    if (!services_.opening || !services_.opening->openWithDefaultApplication(target))
        showActionToast(QStringLiteral("Could not open ") + FilePaths::displayName(entry.name), ToastMessage::Kind::error);
}

void FilePaneStore::rememberCurrentSelection()
{
    std::optional<QString> id;
    if (selectedEntryIDs_.size() == 1) id = *selectedEntryIDs_.begin();
    else id = pendingSelectionEntryID_;
    if (id) lastSelectionByFolder_.insert(currentURL_, *id);
    else lastSelectionByFolder_.remove(currentURL_);
}

void FilePaneStore::startNavigation(const NavigationCommit& commit)
{
    // The states stay on show until the commit replaces them.
    requestedFolderSizeIDs_.clear();
    cancelFolderScans(FolderStateDisposal::keep);
    loadTask_.cancel();
    ++navigationLoadGeneration_;
    activeNavigationLoadGeneration_ = navigationLoadGeneration_;
    setLoadState(FilePaneLoadState::loading());
    const bool hidden = showHiddenFiles_;
    const qint64 generation = navigationLoadGeneration_;
    TaskHandle task = TaskHandle::make();
    setLoadTask(task);
    services_.listing->list(commit.toURL, hidden, task, this,
                            [this, commit, hidden, task, generation](DirectoryListingProviding::Result result) {
                                const bool current = !task.isCancelled() && currentURL_ == commit.fromURL
                                    && showHiddenFiles_ == hidden;
                                if (!current) {
                                    if (activeNavigationLoadGeneration_ == generation)
                                        activeNavigationLoadGeneration_.reset();
                                    return;
                                }
                                if (!result) {
                                    setLoadTask({});
                                    commitNavigation(commit, {}, FilePaneLoadState::failed(message(result.error())));
                                    return;
                                }
                                FileEntryList entries = shared(std::move(*result));
                                prefetchFolderStates(
                                    commit.toURL, entries, task,
                                    [this, commit, hidden, task, generation, entries](PrefetchedFolderStates states) {
                                        if (task.isCancelled() || currentURL_ != commit.fromURL
                                            || showHiddenFiles_ != hidden) {
                                            if (activeNavigationLoadGeneration_ == generation)
                                                activeNavigationLoadGeneration_.reset();
                                            return;
                                        }
                                        setLoadTask({});
                                        commitNavigation(commit, entries, FilePaneLoadState::ready(), std::move(states));
                                    });
                            });
}

void FilePaneStore::commitNavigation(const NavigationCommit& commit, FileEntryList entries, FilePaneLoadState state,
                                     PrefetchedFolderStates folderStates)
{
    isCommittingFolderSnapshot_ = true;
    if (commit.restoreScroll) scrollMemory_.restorationRequests.insert(commit.toURL);
    QStringList back = backStack_, forward = forwardStack_;
    if (commit.popBackStack && !back.isEmpty() && back.last() == commit.toURL) back.removeLast();
    if (commit.popForwardStack && !forward.isEmpty() && forward.last() == commit.toURL) forward.removeLast();
    if (commit.pushHistory) back.append(commit.fromURL);
    if (commit.clearForwardStack) forward.clear();
    if (commit.forwardURL) forward.append(*commit.forwardURL);
    setHistory(std::move(back), std::move(forward));
    shouldResetBreadcrumbTrailOnNextURLChange_ = commit.resetBreadcrumbTrail;
    if (currentURL_ != commit.toURL) {
        nameFilter_.clearCache();
        setCurrentURL(commit.toURL);
    }
    setSelectedEntryIDs({});
    setPendingSelectionEntryID(commit.pendingSelectionID);
    pendingScrollToEntryID_ = commit.pendingScrollToEntryID;
    setFilterText({});
    resetInlineTree();
    applyResolvedFolderViewState();
    const bool listed = state == FilePaneLoadState::ready();
    setEntries(std::move(entries));
    // The parent learns whether this folder has anything to show, for its triangle.
    if (listed) inlineTreeMemory_.rememberInParent(commit.toURL, !entries_.empty());
    applyRememberedInlineTree(true);
    mergeFolderStates(std::move(folderStates), false);
    resortEntries();
    isCommittingFolderSnapshot_ = false;
    refreshExpandedInlineFolders();
    scheduleFolderScans();
    notifyRestorableStateChanged();
    startWatching(commit.toURL);
    setLoadState(state);
    activeNavigationLoadGeneration_.reset();
}

void FilePaneStore::startLoad(const QString& url)
{
    activeNavigationLoadGeneration_.reset();
    // Unfinished states stay until the listing commits; the scans resume after it.
    cancelFolderScans(FolderStateDisposal::keep);
    startWatching(url);
    loadTask_.cancel();
    setLoadState(FilePaneLoadState::loading());
    const QString target = FilePaths::standardized(url);
    const bool hidden = showHiddenFiles_;
    TaskHandle task = TaskHandle::make();
    setLoadTask(task);
    services_.listing->list(target, hidden, task, this,
                            [this, target, hidden, task](DirectoryListingProviding::Result result) {
                                if (task.isCancelled() || currentURL_ != target || showHiddenFiles_ != hidden) return;
                                if (!result) {
                                    setLoadTask({});
                                    setEntries({});
                                    setLoadState(FilePaneLoadState::failed(message(result.error())));
                                    return;
                                }
                                FileEntryList entries = shared(std::move(*result));
                                prefetchFolderStates(
                                    target, entries, task,
                                    [this, target, hidden, task, entries](PrefetchedFolderStates states) {
                                        if (task.isCancelled() || currentURL_ != target || showHiddenFiles_ != hidden)
                                            return;
                                        setLoadTask({});
                                        commitFolderSnapshot(entries, true, std::move(states));
                                        setLoadState(FilePaneLoadState::ready());
                                    });
                            });
}

double FilePaneStore::consumeScrollRestorationOffset(const QString& url)
{
    return scrollMemory_.consumeRestorationOffset(url);
}

void FilePaneStore::setShowHiddenFiles(bool show)
{
    if (showHiddenFiles_ == show) return;
    showHiddenFiles_ = show;
    emit showHiddenFilesChanged();
    invalidateInlineTreeForHiddenFileVisibilityChange();
    // Counts depend on what is shown: they start over. Sizes always count hidden files.
    cancelFolderContentCountScan(FolderStateDisposal::clear);
    suppressWatcherEcho();
    startLoad(currentURL_);
}

void FilePaneStore::teardown()
{
    requestedFolderSizeIDs_.clear();
    cancelFolderScans(FolderStateDisposal::keep);
    loadTask_.cancel();
    loadTask_ = {};
    directoryRefreshTask_.cancel();
    directoryRefreshTask_ = {};
    activeOperationTitle_.reset();
    // A running transfer stops: what it finished stays, the item in hand is taken back.
    if (transferStop_) transferStop_->request_stop();
    cancelWatching();
    resetInlineTree();
}

// ---------------------------------------------------------------- setters

void FilePaneStore::setCurrentURL(const QString& url)
{
    if (currentURL_ == url) return;
    currentURL_ = url;
    updateBreadcrumbTrail();
    emit currentURLChanged();
    if (!isCommittingFolderSnapshot_) notifyRestorableStateChanged();
}

void FilePaneStore::setLoadState(const FilePaneLoadState& state)
{
    if (loadState_ == state) return;
    loadState_ = state;
    emit loadStateChanged();
}

void FilePaneStore::setLoadTask(TaskHandle task)
{
    const bool was = loadTask_.isValid();
    loadTask_ = std::move(task);
    if (was != loadTask_.isValid()) emit loadingChanged();
}

void FilePaneStore::setHistory(QStringList back, QStringList forward)
{
    if (back == backStack_ && forward == forwardStack_) return;
    backStack_ = std::move(back);
    forwardStack_ = std::move(forward);
    emit historyChanged();
}

void FilePaneStore::setPendingSelectionEntryID(std::optional<QString> id)
{
    if (pendingSelectionEntryID_ == id) return;
    pendingSelectionEntryID_ = std::move(id);
    emit pendingSelectionChanged();
}

void FilePaneStore::setActiveOperationTitle(std::optional<QString> title)
{
    if (activeOperationTitle_ == title) return;
    activeOperationTitle_ = std::move(title);
    emit activeOperationChanged();
}

void FilePaneStore::notifyRestorableStateChanged()
{
    if (onDidChangeRestorableState) onDidChangeRestorableState();
}

FileEntryList FilePaneStore::shared(std::vector<FileEntry> entries)
{
    FileEntryList out;
    out.reserve(entries.size());
    for (FileEntry& entry : entries) out.push_back(std::make_shared<const FileEntry>(std::move(entry)));
    return out;
}
