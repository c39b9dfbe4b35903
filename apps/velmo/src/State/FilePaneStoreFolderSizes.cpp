#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"
#include "Support/BackgroundTask.h"

#include <QDir>

#include <mutex>

namespace {

// A package's size is not worked out, and inline children are never looked at.
bool isSizedFolder(const FileEntry& entry)
{
    return entry.isDirectory && !entry.isPackage;
}

FolderSizeState sizeState(const std::expected<SelectionSize::BudgetedResult, int>& result)
{
    if (!result) return FolderSizeState::failed();
    if (result->budgetExceeded()) return FolderSizeState::skipped();
    return FolderSizeState::calculated(result->progress.totalBytes);
}

FolderContentCountState countState(const std::expected<FolderContentCount, int>& result)
{
    return result ? FolderContentCountState::calculated(*result) : FolderContentCountState::failed();
}

// A walk's progress crosses to the main thread through one slot: however fast
// files are counted, at most one delivery waits in the event queue.
class ProgressMailbox {
public:
    // On the walking thread; `deliver` runs on the main thread with the latest bytes.
    void put(qint64 bytes, const std::function<void(qint64)>& deliver, const std::shared_ptr<ProgressMailbox>& self)
    {
        std::lock_guard lock(mutex_);
        bytes_ = bytes;
        if (posted_) return;
        posted_ = true;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [self, deliver] { deliver(self->take()); }, Qt::QueuedConnection);
    }

private:
    qint64 take()
    {
        std::lock_guard lock(mutex_);
        posted_ = false;
        return bytes_;
    }

    std::mutex mutex_;
    qint64 bytes_ = 0;
    bool posted_ = false;
};

// Which ids differ between two maps, either way.
template <typename Map>
QSet<QString> changedIDs(const Map& before, const Map& after)
{
    QSet<QString> ids;
    for (auto it = before.cbegin(); it != before.cend(); ++it)
        if (auto other = after.constFind(it.key()); other == after.cend() || !(*other == it.value())) ids.insert(it.key());
    for (auto it = after.cbegin(); it != after.cend(); ++it)
        if (!before.contains(it.key())) ids.insert(it.key());
    return ids;
}

template <typename Map, typename Finished>
bool finishedValuesDiffer(const Map& before, const Map& after, Finished finished)
{
    for (const QString& id : changedIDs(before, after)) {
        const auto a = before.constFind(id), b = after.constFind(id);
        const auto x = a == before.cend() ? std::nullopt : finished(*a);
        const auto y = b == after.cend() ? std::nullopt : finished(*b);
        if (x != y) return true;
    }
    return false;
}

} // namespace

bool FilePaneStore::isBroadFolderSizeScanRoot(const QString& url)
{
    static const QStringList deep {"/",    "/usr", "/opt", "/var", "/tmp",  "/proc",
                                   "/sys", "/dev", "/run", "/snap", "/nix"};
    const QString path = FilePaths::standardized(url);
    if (deep.contains(path)) return true;
    const QString home = FilePaths::standardized(QDir::homePath());
    return path == home || path == FilePaths::parent(home);
}

FilePaneCellText::FolderStates FilePaneStore::folderStates(const QString& id) const
{
    FilePaneCellText::FolderStates states;
    if (auto it = folderSizeStates_.constFind(id); it != folderSizeStates_.cend()) states.size = &*it;
    if (auto it = folderContentCountStates_.constFind(id); it != folderContentCountStates_.cend())
        states.contents = &*it;
    return states;
}

FileEntryList FilePaneStore::visibleFolderEntries() const
{
    FileEntryList folders;
    for (const auto& entry : visibleEntries_)
        if (isSizedFolder(*entry)) folders.push_back(entry);
    return folders;
}

FileEntrySort::NumberProvider FilePaneStore::folderSizeSortProvider() const
{
    return [this](const FileEntry& entry) -> std::optional<qint64> {
        if (!entry.isDirectory) return entry.byteSize;
        const auto it = folderSizeStates_.constFind(entry.id);
        return it == folderSizeStates_.cend() ? std::nullopt : it->finishedBytes();
    };
}

FileEntrySort::NumberProvider FilePaneStore::contentCountSortProvider() const
{
    return [this](const FileEntry& entry) -> std::optional<qint64> {
        if (!entry.isDirectory) return std::nullopt;
        const auto it = folderContentCountStates_.constFind(entry.id);
        return it == folderContentCountStates_.cend() ? std::nullopt : it->finishedTotal();
    };
}

// ---------------------------------------------------------------- states

void FilePaneStore::setFolderSizeState(const QString& id, std::optional<FolderSizeState> state)
{
    const auto it = folderSizeStates_.constFind(id);
    const std::optional<FolderSizeState> old = it == folderSizeStates_.cend() ? std::nullopt : std::optional(*it);
    if (old == state) return;
    if (state) folderSizeStates_.insert(id, *state);
    else folderSizeStates_.remove(id);
    emit folderSizeStatesChanged({id});
    // Only a finished size moves a row; progress never does.
    const auto finished = [](const std::optional<FolderSizeState>& s) { return s ? s->finishedBytes() : std::nullopt; };
    if (sortColumn_ == FileEntrySortColumn::size && !isCommittingFolderSnapshot_ && finished(old) != finished(state)) {
        sortedSource_.clear();
        resortEntries();
    }
}

void FilePaneStore::setFolderContentCountState(const QString& id, std::optional<FolderContentCountState> state)
{
    const auto it = folderContentCountStates_.constFind(id);
    const std::optional<FolderContentCountState> old
        = it == folderContentCountStates_.cend() ? std::nullopt : std::optional(*it);
    if (old == state) return;
    if (state) folderContentCountStates_.insert(id, *state);
    else folderContentCountStates_.remove(id);
    emit folderContentCountStatesChanged({id});
    const auto finished = [](const std::optional<FolderContentCountState>& s) {
        return s ? s->finishedTotal() : std::nullopt;
    };
    if (sortColumn_ == FileEntrySortColumn::contents && !isCommittingFolderSnapshot_
        && finished(old) != finished(state)) {
        sortedSource_.clear();
        resortEntries();
    }
}

void FilePaneStore::replaceFolderStates(FolderSizeStates sizes, FolderContentCountStates counts)
{
    const QSet<QString> sizeIDs = changedIDs(folderSizeStates_, sizes);
    const QSet<QString> countIDs = changedIDs(folderContentCountStates_, counts);
    const bool resort
        = (sortColumn_ == FileEntrySortColumn::size
           && finishedValuesDiffer(folderSizeStates_, sizes, [](const FolderSizeState& s) { return s.finishedBytes(); }))
        || (sortColumn_ == FileEntrySortColumn::contents
            && finishedValuesDiffer(folderContentCountStates_, counts,
                                    [](const FolderContentCountState& s) { return s.finishedTotal(); }));
    folderSizeStates_ = std::move(sizes);
    folderContentCountStates_ = std::move(counts);
    if (!sizeIDs.isEmpty()) emit folderSizeStatesChanged(sizeIDs);
    if (!countIDs.isEmpty()) emit folderContentCountStatesChanged(countIDs);
    if (resort) sortedSource_.clear();
    if (resort && !isCommittingFolderSnapshot_) resortEntries();
}

void FilePaneStore::keepFolderStatesOfCurrentEntries()
{
    mergeFolderStates({}, true);
}

void FilePaneStore::mergeFolderStates(PrefetchedFolderStates prefetched, bool preserveExisting)
{
    if (!preserveExisting) return replaceFolderStates(std::move(prefetched.sizes), std::move(prefetched.counts));
    if (folderSizeStates_.isEmpty() && folderContentCountStates_.isEmpty() && prefetched.sizes.isEmpty()
        && prefetched.counts.isEmpty())
        return;
    // Old states of entries still there, with what the load worked out winning.
    QSet<QString> ids;
    for (const auto& entry : entries_) ids.insert(entry->id);
    FolderSizeStates sizes = folderSizeStates_;
    FolderContentCountStates counts = folderContentCountStates_;
    sizes.removeIf([&](const auto& it) { return !ids.contains(it.key()); });
    counts.removeIf([&](const auto& it) { return !ids.contains(it.key()); });
    sizes.insert(prefetched.sizes);
    counts.insert(prefetched.counts);
    replaceFolderStates(std::move(sizes), std::move(counts));
}

// ---------------------------------------------------------------- scheduling

void FilePaneStore::scheduleFolderScans()
{
    scheduleSmartFolderSizeScan();
    scheduleFolderContentCountScan();
}

void FilePaneStore::cancelFolderScans(FolderStateDisposal disposal)
{
    cancelFolderSizeScan(disposal);
    cancelFolderContentCountScan(disposal);
}

void FilePaneStore::setSmartFolderSizeCalculationEnabled(bool enabled)
{
    if (smartFolderSizeCalculationEnabled_ == enabled) return;
    smartFolderSizeCalculationEnabled_ = enabled;
    // Off cancels the automatic scans (finished values stay); on starts them.
    scheduleFolderScans();
}

void FilePaneStore::scheduleSmartFolderSizeScan()
{
    const bool columnOnShow
        = fileViewMode_ == VelmoFileViewMode::list && visibleColumns_.contains(FileEntryColumn::size);
    if (!columnOnShow) requestedFolderSizeIDs_.clear();
    // The user's request goes on where a reload interrupted it, whatever the
    // automatic limits say.
    if (!requestedFolderSizeIDs_.isEmpty()) {
        if (folderSizeTask_.isValid()) return;
        FileEntryList requested;
        for (const auto& entry : visibleFolderEntries())
            if (requestedFolderSizeIDs_.contains(entry->id)) requested.push_back(entry);
        requestedFolderSizeIDs_.clear();
        for (const auto& entry : requested) requestedFolderSizeIDs_.insert(entry->id);
        if (!requested.empty()) return startFolderSizeScan(std::move(requested), std::nullopt, true);
    }
    const FileEntryList folders = visibleFolderEntries();
    if (!smartFolderSizeCalculationEnabled_ || !columnOnShow || folders.empty()
        || folders.size() > std::size_t(kFolderSizeAutoScanMaxVisibleFolderCount) || isBroadFolderSizeScanRoot(currentURL_))
        return cancelFolderSizeScan(FolderStateDisposal::dropCalculating);
    bool pending = false, calculating = false;
    for (const auto& entry : folders) {
        const auto it = folderSizeStates_.constFind(entry->id);
        // Left "calculating" by a scan that no longer runs: it starts over.
        if (it == folderSizeStates_.cend() || (it->isCalculating() && !folderSizeTask_.isValid())) pending = true;
        else if (it->isCalculating()) calculating = true;
    }
    if (pending) return startFolderSizeScan(folders, folderSizeAutoScanBudget_, false);
    if (folderSizeTask_.isValid() && calculating) return;
    cancelFolderSizeScan(FolderStateDisposal::dropCalculating);
}

void FilePaneStore::calculateFolderSizesForVisibleFolders()
{
    FileEntryList folders = visibleFolderEntries();
    requestedFolderSizeIDs_.clear();
    for (const auto& entry : folders) requestedFolderSizeIDs_.insert(entry->id);
    startFolderSizeScan(std::move(folders), std::nullopt, true);
}

void FilePaneStore::cancelFolderSizeScan(FolderStateDisposal disposal)
{
    folderSizeTask_.cancel();
    if (std::exchange(folderSizeTask_, {}).isValid()) emit folderSizeWorkChanged();
    ++folderSizeScanGeneration_;
    if (disposal == FolderStateDisposal::keep) return;
    FolderSizeStates states = folderSizeStates_;
    if (disposal == FolderStateDisposal::clear) states.clear();
    else states.removeIf([](const auto& it) { return it.value().isCalculating(); });
    replaceFolderStates(std::move(states), folderContentCountStates_);
}

void FilePaneStore::startFolderSizeScan(FileEntryList folders, std::optional<SelectionSize::Budget> budget, bool force)
{
    cancelFolderSizeScan(FolderStateDisposal::dropCalculating);
    if (folders.empty()) return;
    folderSizeTask_ = TaskHandle::make();
    emit folderSizeWorkChanged();
    scanFolderSizes(folderSizeTask_, folderSizeScanGeneration_, std::move(folders), 0, budget, force);
}

// One folder at a time, to spare the disk; each step comes back here.
void FilePaneStore::scanFolderSizes(TaskHandle task, qint64 generation, FileEntryList folders, std::size_t index,
                                    std::optional<SelectionSize::Budget> budget, bool force)
{
    const auto current = [this, task, generation] {
        return !task.isCancelled() && generation == folderSizeScanGeneration_;
    };
    while (index < folders.size() && current() && !force && folderSizeStates_.contains(folders[index]->id)) ++index;
    if (!current()) return;
    if (index >= folders.size()) {
        folderSizeTask_ = {};
        emit folderSizeWorkChanged();
        return;
    }
    const QString id = folders[index]->id, url = folders[index]->url;
    setFolderSizeState(id, FolderSizeState::calculating());
    QPointer<FilePaneStore> self(this);
    auto deliver = [self, id, generation](qint64 bytes) {
        if (!self || generation != self->folderSizeScanGeneration_) return;
        const auto it = self->folderSizeStates_.constFind(id);
        if (it != self->folderSizeStates_.cend() && it->isCalculating())
            self->setFolderSizeState(id, FolderSizeState::calculating(bytes));
    };
    auto mailbox = std::make_shared<ProgressMailbox>();
    auto clock = services_.clock;
    BackgroundTask::run(
        services_.folderSizes.get(), this,
        [url, budget, clock, mailbox, deliver](std::stop_token stop) {
            return SelectionSize::totalProgress(url, budget, *clock, stop, [&](const SelectionSize::Progress& progress) {
                mailbox->put(progress.totalBytes, deliver, mailbox);
            });
        },
        [this, task, generation, folders = std::move(folders), index, budget, force,
         id](std::expected<SelectionSize::BudgetedResult, int> result) mutable {
            if (generation != folderSizeScanGeneration_) return;
            setFolderSizeState(id, sizeState(result));
            if (requestedFolderSizeIDs_.remove(id)) emit folderSizeWorkChanged();
            scanFolderSizes(task, generation, std::move(folders), index + 1, budget, force);
        },
        task);
}

void FilePaneStore::scheduleFolderContentCountScan()
{
    const FileEntryList folders = visibleFolderEntries();
    if (fileViewMode_ != VelmoFileViewMode::list || !visibleColumns_.contains(FileEntryColumn::contents)
        || !smartFolderSizeCalculationEnabled_ || folders.empty()
        || folders.size() > std::size_t(kFolderContentCountAutoScanMaxVisibleFolderCount))
        return cancelFolderContentCountScan(FolderStateDisposal::dropCalculating);
    bool pending = false, calculating = false;
    for (const auto& entry : folders) {
        const auto it = folderContentCountStates_.constFind(entry->id);
        if (it == folderContentCountStates_.cend() || (it->isCalculating() && !folderContentCountTask_.isValid()))
            pending = true;
        else if (it->isCalculating()) calculating = true;
    }
    if (pending) return startFolderContentCountScan(folders);
    if (folderContentCountTask_.isValid() && calculating) return;
    cancelFolderContentCountScan(FolderStateDisposal::dropCalculating);
}

void FilePaneStore::cancelFolderContentCountScan(FolderStateDisposal disposal)
{
    folderContentCountTask_.cancel();
    folderContentCountTask_ = {};
    ++folderContentCountGeneration_;
    if (disposal == FolderStateDisposal::keep) return;
    FolderContentCountStates states = folderContentCountStates_;
    if (disposal == FolderStateDisposal::clear) states.clear();
    else states.removeIf([](const auto& it) { return it.value().isCalculating(); });
    replaceFolderStates(folderSizeStates_, std::move(states));
}

void FilePaneStore::startFolderContentCountScan(FileEntryList folders)
{
    cancelFolderContentCountScan(FolderStateDisposal::dropCalculating);
    if (folders.empty()) return;
    folderContentCountTask_ = TaskHandle::make();
    countFolderContents(folderContentCountTask_, folderContentCountGeneration_, std::move(folders), 0);
}

void FilePaneStore::countFolderContents(TaskHandle task, qint64 generation, FileEntryList folders, std::size_t index)
{
    const auto current = [this, task, generation] {
        return !task.isCancelled() && generation == folderContentCountGeneration_;
    };
    while (index < folders.size() && current() && folderContentCountStates_.contains(folders[index]->id)) ++index;
    if (!current()) return;
    if (index >= folders.size()) {
        folderContentCountTask_ = {};
        return;
    }
    const QString id = folders[index]->id, url = folders[index]->url;
    const bool hidden = showHiddenFiles_;
    setFolderContentCountState(id, FolderContentCountState::calculating());
    BackgroundTask::run(
        services_.folderSizes.get(), this,
        [url, hidden](std::stop_token stop) { return SelectionSize::contentCount(url, hidden, stop); },
        [this, task, generation, folders = std::move(folders), index,
         id](std::expected<FolderContentCount, int> result) mutable {
            if (generation != folderContentCountGeneration_) return;
            setFolderContentCountState(id, countState(result));
            countFolderContents(task, generation, std::move(folders), index + 1);
        },
        task);
}

// ---------------------------------------------------------------- prefetch

void FilePaneStore::prefetchFolderStates(const QString& url, const FileEntryList& entries, const TaskHandle& task,
                                         std::function<void(PrefetchedFolderStates)> then)
{
    // The layout the folder will have once committed.
    FileEntrySortColumn column = sortColumn_;
    VelmoFileViewMode mode = fileViewMode_;
    if (url != currentURL_ && onResolveFolderViewState)
        if (const auto state = onResolveFolderViewState(url)) {
            column = state->sortColumn;
            mode = state->viewMode;
        }
    // A navigation clears the filter; a reload keeps it.
    const bool filtered = url == currentURL_ && !filterText_.trimmed().isEmpty();
    FileEntryList folders;
    for (const auto& entry : entries)
        if (isSizedFolder(*entry)) folders.push_back(entry);
    const bool sizes = column == FileEntrySortColumn::size
        && folders.size() <= std::size_t(kFolderSizeAutoScanMaxVisibleFolderCount) && !isBroadFolderSizeScanRoot(url);
    const bool counts = column == FileEntrySortColumn::contents
        && folders.size() <= std::size_t(kFolderContentCountAutoScanMaxVisibleFolderCount);
    if (!smartFolderSizeCalculationEnabled_ || mode != VelmoFileViewMode::list || filtered || folders.empty()
        || (!sizes && !counts))
        return then({});

    const SelectionSize::Budget budget = folderSizeAutoScanBudget_;
    const bool hidden = showHiddenFiles_;
    auto clock = services_.clock;
    auto work = [folders, sizes, budget, hidden, clock](std::stop_token stop) {
        PrefetchedFolderStates states;
        // The whole prefetch keeps to one folder's time budget, so a load never
        // waits longer for its sizes; folders the deadline cuts off get no
        // state and are calculated after the commit.
        const quint64 deadline = clock->uptimeNanoseconds() + budget.maxDurationNanoseconds.value_or(0);
        for (std::size_t i = 0; i < folders.size() && !stop.stop_requested(); ++i) {
            const FileEntry& entry = *folders[i];
            if (!sizes) {
                states.counts.insert(entry.id, countState(SelectionSize::contentCount(entry.url, hidden, stop)));
                continue;
            }
            // The first folder has the whole budget; the others what is left of it.
            SelectionSize::Budget remaining = budget;
            if (budget.maxDurationNanoseconds && i > 0) {
                const quint64 now = clock->uptimeNanoseconds();
                if (now >= deadline) break;
                remaining.maxDurationNanoseconds = deadline - now;
            }
            const auto result = SelectionSize::totalProgress(entry.url, remaining, *clock, stop);
            if (i > 0 && result && result->exceeded == SelectionSize::Limit::time) break;
            states.sizes.insert(entry.id, sizeState(result));
        }
        return states;
    };
    BackgroundTask::run(services_.folderSizes.get(), this, std::move(work), std::move(then), task);
}

// The user's "Calculate Folder Sizes" shows in the activity strip while it walks,
// and its Cancel stops it; the automatic path is short and stays out of sight.
std::optional<FileActivityItem> FilePaneStore::folderSizeActivity() const
{
    if (requestedFolderSizeIDs_.isEmpty() || !folderSizeTask_.isValid()) return std::nullopt;
    FileActivityItem item;
    item.id = paneIDText(id_) + QStringLiteral("-folder-sizes");
    item.title = QStringLiteral("Calculating Folder Sizes");
    const qsizetype left = requestedFolderSizeIDs_.size();
    item.detail = left == 1 ? QStringLiteral("1 folder left") : QStringLiteral("%1 folders left").arg(left);
    item.isCancellable = true;
    return item;
}
