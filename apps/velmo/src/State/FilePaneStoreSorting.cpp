#include "State/FilePaneStore.h"

void FilePaneStore::setEntries(FileEntryList entries)
{
    // Equal values keep the old objects too, so the rows built on them stay as they are.
    if (sameEntries(entries_, entries)) return;
    entries_ = std::move(entries);
    emit entriesChanged();
    if (isCommittingFolderSnapshot_) return;
    resortEntries();
    keepFolderStatesOfCurrentEntries();
    scheduleFolderScans();
}

void FilePaneStore::resortEntries()
{
    const FileEntrySort::Options options {sortColumn_, sortAscending_, smartSorting_, sortFolderAliasesWithFolders_};
    // A refresh that found nothing new keeps its order without sorting again.
    if (sortedSource_ != entries_ || sortedOptions_ != options) {
        if (rankedEntries_ != entries_) {
            nameRanks_ = FileEntrySort::nameRanks(entries_);
            rankedEntries_ = entries_;
        }
        sortedEntries_ = FileEntrySort::sorted(entries_, options, folderSizeSortProvider(), contentCountSortProvider(),
                                               &nameRanks_);
        sortedSource_ = entries_;
        sortedOptions_ = options;
    }
    updateVisibleEntriesCache();
}

void FilePaneStore::updateVisibleEntriesCache()
{
    FileEntryList visible = nameFilter_.filter(sortedEntries_, filterText_);
    std::vector<FilePaneRow> rows = flattenedTreeRows(visible, true);
    setDerivedLists(std::move(visible), std::move(rows));

    // Only ids that are selected or pending are looked for; with none, the rows
    // are not walked at all (a keystroke in the filter of a large folder).
    const bool pendingRename = pendingInlineRenameEntryID_.has_value();
    const bool pendingSelection = pendingSelectionEntryID_.has_value();
    if (selectedEntryIDs_.isEmpty() && !pendingRename && !pendingSelection) return;
    QSet<QString> selection;
    bool renameOnShow = false, pendingOnShow = false;
    for (const auto& row : treeRows_) {
        const QString& id = row.entry->id;
        if (selectedEntryIDs_.contains(id)) selection.insert(id);
        if (pendingRename && id == *pendingInlineRenameEntryID_) renameOnShow = true;
        if (pendingSelection && id == *pendingSelectionEntryID_) pendingOnShow = true;
    }
    if (renameOnShow) selection.insert(*pendingInlineRenameEntryID_);
    if (pendingOnShow) {
        selection = {*pendingSelectionEntryID_};
        setPendingSelectionEntryID(std::nullopt);
    }
    setSelectedEntryIDs(selection);
}

void FilePaneStore::setDerivedLists(FileEntryList visible, std::vector<FilePaneRow> rows)
{
    const bool rowsDiffer = rows.size() != treeRows_.size() || !std::equal(rows.begin(), rows.end(), treeRows_.begin());
    visibleEntries_ = std::move(visible);
    // Equal rows are still taken, so the rows point at the current entry objects,
    // but only a real change notifies the views.
    treeRows_ = std::move(rows);
    if (rowsDiffer) emit rowsChanged();
}

void FilePaneStore::seedEntries(const FileEntryList& entries, const FileEntryList& sorted, const FileEntryList& visible,
                                const std::vector<FilePaneRow>& rows)
{
    entries_ = entries;
    emit entriesChanged();
    sortedEntries_ = sorted;
    setDerivedLists(visible, rows);
    sortedSource_.clear();
}

void FilePaneStore::sort(FileEntrySortColumn column)
{
    if (column == sortColumn_) {
        setSortAscending(!sortAscending_);
    } else {
        // Both change before one re-sort.
        const bool committing = isCommittingFolderSnapshot_;
        isCommittingFolderSnapshot_ = true;
        setSortColumn(column);
        setSortAscending(true);
        isCommittingFolderSnapshot_ = committing;
        if (!committing) {
            resortEntries();
            notifyRestorableStateChanged();
        }
    }
    if (onPersistFolderViewState)
        onPersistFolderViewState(currentURL_, currentFolderViewState(), FolderViewStatePersistence::immediate);
}

void FilePaneStore::setSortColumn(FileEntrySortColumn column)
{
    if (sortColumn_ == column) return;
    sortColumn_ = column;
    emit sortChanged();
    if (isCommittingFolderSnapshot_) return;
    resortEntries();
    notifyRestorableStateChanged();
}

void FilePaneStore::setSortAscending(bool ascending)
{
    if (sortAscending_ == ascending) return;
    sortAscending_ = ascending;
    emit sortChanged();
    if (isCommittingFolderSnapshot_) return;
    resortEntries();
    notifyRestorableStateChanged();
}

void FilePaneStore::setSmartSorting(bool enabled)
{
    smartSorting_ = enabled;
    sortedSource_.clear();
    resortEntries();
}

void FilePaneStore::setSortFolderAliasesWithFolders(bool enabled)
{
    sortFolderAliasesWithFolders_ = enabled;
    sortedSource_.clear();
    resortEntries();
}

void FilePaneStore::setViewMode(VelmoFileViewMode mode)
{
    if (fileViewMode_ != mode) {
        fileViewMode_ = mode;
        emit viewModeChanged();
    }
    if (onPersistFolderViewState)
        onPersistFolderViewState(currentURL_, currentFolderViewState(), FolderViewStatePersistence::immediate);
    scheduleFolderScans();
}

void FilePaneStore::setVisibleColumns(const QSet<FileEntryColumn>& columns)
{
    if (visibleColumns_ != columns) {
        visibleColumns_ = columns;
        emit columnsChanged();
    }
    if (onPersistFolderViewState)
        onPersistFolderViewState(currentURL_, currentFolderViewState(), FolderViewStatePersistence::immediate);
    scheduleFolderScans();
}

void FilePaneStore::setColumnOrder(const QStringList& order)
{
    if (columnOrder_ == order) return;
    columnOrder_ = order;
    emit columnsChanged();
    persistColumnsLater();
}

void FilePaneStore::setColumnWidths(const QMap<QString, double>& widths)
{
    if (columnWidths_ == widths) return;
    columnWidths_ = widths;
    emit columnsChanged();
    persistColumnsLater();
}

void FilePaneStore::persistColumnsLater()
{
    // A drag changes these many times a second: the write waits for the burst to end.
    if (onPersistFolderViewState)
        onPersistFolderViewState(currentURL_, currentFolderViewState(), FolderViewStatePersistence::deferred);
}

void FilePaneStore::setFilterText(const QString& text)
{
    if (filterText_ == text) return;
    filterText_ = text;
    emit filterTextChanged();
    if (isCommittingFolderSnapshot_) return;
    updateVisibleEntriesCache();
    // Other folders are on show now.
    scheduleFolderScans();
}

FolderViewState FilePaneStore::currentFolderViewState() const
{
    return {sortColumn_, sortAscending_, fileViewMode_, visibleColumns_, columnOrder_, columnWidths_};
}

void FilePaneStore::applyResolvedFolderViewState()
{
    if (!onResolveFolderViewState) return;
    if (const auto state = onResolveFolderViewState(currentURL_)) takeOverFolderViewState(*state);
}

void FilePaneStore::takeOverFolderViewState(const FolderViewState& state)
{
    // Taking over is not a change of the user's: nothing is handed back to persist.
    const bool committing = isCommittingFolderSnapshot_;
    const bool resorts = state.sortColumn != sortColumn_ || state.sortAscending != sortAscending_;
    isCommittingFolderSnapshot_ = true;
    setSortColumn(state.sortColumn);
    setSortAscending(state.sortAscending);
    isCommittingFolderSnapshot_ = committing;
    if (fileViewMode_ != state.viewMode) {
        fileViewMode_ = state.viewMode;
        emit viewModeChanged();
    }
    if (visibleColumns_ != state.visibleColumns || columnOrder_ != state.columnOrder
        || columnWidths_ != state.columnWidths) {
        visibleColumns_ = state.visibleColumns;
        columnOrder_ = state.columnOrder;
        columnWidths_ = state.columnWidths;
        emit columnsChanged();
    }
    // Inside a commit, the commit sorts once at its end.
    if (resorts && !committing) {
        resortEntries();
        notifyRestorableStateChanged();
    }
    if (!committing) scheduleFolderScans();
}
