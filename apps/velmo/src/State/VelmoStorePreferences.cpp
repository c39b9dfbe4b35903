#include "State/VelmoPreferencesStore.h"
#include "State/VelmoStore.h"

#include <utility>

namespace {

// The sort a folder without a layout of its own gets.
std::pair<FileEntrySortColumn, bool> defaultSort(const VelmoViewOptions& options)
{
    if (options.arrangeColumn) return {*options.arrangeColumn, options.arrangeAscending};
    return {FileEntrySortColumn::name, true};
}

void persistFolderState(FilePaneStore& pane)
{
    if (pane.onPersistFolderViewState)
        pane.onPersistFolderViewState(pane.currentURL(), pane.currentFolderViewState(),
                                      FolderViewStatePersistence::immediate);
}

} // namespace

void VelmoStore::loadViewOptions()
{
    viewOptions_ = VelmoPreferencesStore(*dependencies_.defaults).viewOptions();
}

// A new pane (previous null) takes the default columns and sort; later changes
// touch only the sort flags that changed, since each one re-sorts the list.
void VelmoStore::applyViewOptions(FilePaneStore& pane, const VelmoViewOptions* previous)
{
    const VelmoViewOptions& options = viewOptions_;
    if (!previous || previous->smartSorting != options.smartSorting) pane.setSmartSorting(options.smartSorting);
    pane.setTreatsPackagesAsFolders(options.treatPackagesAsFolders);
    // On schedules the automatic sizes and counts; off stops them, keeping finished values.
    pane.setSmartFolderSizeCalculationEnabled(options.smartCalculateFolderSizes);
    if (!previous || previous->sortFolderAliasesWithFolders != options.sortFolderAliasesWithFolders)
        pane.setSortFolderAliasesWithFolders(options.sortFolderAliasesWithFolders);
    if (previous) return;
    // Defaults are not a folder's own layout: nothing is recorded for them.
    auto persist = std::exchange(pane.onPersistFolderViewState, nullptr);
    pane.setVisibleColumns(options.visibleColumns);
    pane.setColumnOrder(options.columnOrder);
    pane.setColumnWidths(options.columnWidths);
    const auto [column, ascending] = defaultSort(options);
    pane.setSortColumn(column);
    pane.setSortAscending(ascending);
    pane.onPersistFolderViewState = std::move(persist);
}

void VelmoStore::setViewOptions(const VelmoViewOptions& options)
{
    if (options == viewOptions_) return;
    const VelmoViewOptions previous = std::exchange(viewOptions_, options);
    VelmoPreferencesStore(*dependencies_.defaults).saveViewOptions(viewOptions_);
    for (FilePaneStore* pane : allBrowserPanes()) applyViewOptions(*pane, &previous);
    emit viewOptionsChanged(previous);
}

void VelmoStore::restoreViewOptionsDefaults()
{
    setViewOptions(VelmoViewOptions::defaults());
    setShowHiddenFiles(false);
    for (FilePaneStore* pane : allBrowserPanes()) {
        // The folder's own layout where it has one, else the defaults just restored.
        FolderViewState state;
        std::tie(state.sortColumn, state.sortAscending) = defaultSort(viewOptions_);
        state.viewMode = pane->fileViewMode();
        if (pane->onResolveFolderViewState)
            if (auto resolved = pane->onResolveFolderViewState(pane->currentURL())) state = *resolved;
        pane->setSortColumn(state.sortColumn);
        pane->setSortAscending(state.sortAscending);
        // setViewMode records a layout for the folder; only a real change should.
        if (pane->fileViewMode() != state.viewMode) pane->setViewMode(state.viewMode);
    }
}

FilePaneStore* VelmoStore::activeBrowserPane() const
{
    auto* active = activeTab();
    return active && active->browserPanes() ? active->browserPanes()->activePane() : nullptr;
}

void VelmoStore::sortActivePane(FileEntrySortColumn column)
{
    if (auto* pane = activeBrowserPane()) pane->sort(column);
}

void VelmoStore::updateActivePaneSortColumn(FileEntrySortColumn column)
{
    auto* pane = activeBrowserPane();
    if (!pane || pane->sortColumn() == column) return;
    pane->setSortColumn(column);
    persistFolderState(*pane);
}

void VelmoStore::updateActivePaneSortAscending(bool ascending)
{
    auto* pane = activeBrowserPane();
    if (!pane || pane->sortAscending() == ascending) return;
    pane->setSortAscending(ascending);
    persistFolderState(*pane);
}

void VelmoStore::updateArrangeColumn(std::optional<FileEntrySortColumn> column)
{
    VelmoViewOptions options = viewOptions_;
    options.arrangeColumn = column;
    setViewOptions(options);
    if (column) updateActivePaneSortColumn(*column);
}

void VelmoStore::updateArrangeAscending(bool ascending)
{
    VelmoViewOptions options = viewOptions_;
    options.arrangeAscending = ascending;
    setViewOptions(options);
    if (options.arrangeColumn) updateActivePaneSortAscending(ascending);
}
