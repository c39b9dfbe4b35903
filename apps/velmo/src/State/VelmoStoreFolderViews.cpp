#include "State/VelmoStore.h"

#include "PathKit/FilePaths.h"

// ---------------------------------------------------------------- folder view states

FolderViewState VelmoStore::resolveFolderViewState(const QString& url, VelmoFileViewMode currentViewMode) const
{
    if (auto stored = folderViewStates_.state(url)) return *stored;
    return defaultFolderViewState(currentViewMode);
}

FolderViewState VelmoStore::defaultFolderViewState(VelmoFileViewMode viewMode) const
{
    const FolderLayoutDefaults defaults = folderLayoutDefaults();
    FolderViewState state;
    if (defaults.arrangeColumn) {
        state.sortColumn = *defaults.arrangeColumn;
        state.sortAscending = defaults.arrangeAscending;
    }
    state.viewMode = viewMode;
    state.visibleColumns = defaults.visibleColumns;
    state.columnOrder = defaults.columnOrder;
    state.columnWidths = defaults.columnWidths;
    return state;
}

void VelmoStore::persistFolderViewState(const FolderViewState& state, const QString& url,
                                        FolderViewStatePersistence persistence, const FilePaneStore* origin)
{
    folderViewStates_.setState(state, url, persistence);
    const QString path = FilePaths::standardized(url);
    // A pane still loading takes the stored state when its listing commits.
    for (FilePaneStore* pane : allBrowserPanes())
        if (pane != origin && pane->loadState().kind == FilePaneLoadState::Kind::ready && pane->currentURL() == path)
            pane->takeOverFolderViewState(state);
}

void VelmoStore::wireFolderViewState(FilePaneStore& pane)
{
    FilePaneStore* source = &pane;
    pane.onResolveFolderViewState = [this, source](const QString& url) -> std::optional<FolderViewState> {
        return resolveFolderViewState(url, source->fileViewMode());
    };
    pane.onPersistFolderViewState = [this, source](const QString& url, const FolderViewState& state,
                                                   FolderViewStatePersistence persistence) {
        persistFolderViewState(state, url, persistence, source);
    };
    // The pane shows its folder's layout from the start, not only once its listing lands.
    pane.takeOverFolderViewState(resolveFolderViewState(pane.currentURL(), pane.fileViewMode()));
}

void VelmoStore::wireFolderViewState(BrowserPanes& panes)
{
    wireFolderViewState(*panes.leftPane());
    wireFolderViewState(*panes.rightPane());
}

void VelmoStore::adoptStoredFolderViewStates(BrowserPanes& panes)
{
    for (FilePaneStore* pane : {panes.leftPane(), panes.rightPane()}) {
        if (auto stored = folderViewStates_.state(pane->currentURL())) {
            pane->takeOverFolderViewState(*stored);
            continue;
        }
        const FolderViewState current = pane->currentFolderViewState();
        if (current != defaultFolderViewState(pane->fileViewMode()))
            folderViewStates_.setState(current, pane->currentURL(), FolderViewStatePersistence::deferred);
    }
}

// The defaults live in the view options, which are saved with them.
FolderLayoutDefaults VelmoStore::folderLayoutDefaults() const
{
    const VelmoViewOptions& options = viewOptions();
    return {options.arrangeColumn, options.arrangeAscending, options.visibleColumns, options.columnOrder,
            options.columnWidths};
}

void VelmoStore::setFolderLayoutDefaults(const FolderLayoutDefaults& defaults)
{
    VelmoViewOptions options = viewOptions();
    options.arrangeColumn = defaults.arrangeColumn;
    options.arrangeAscending = defaults.arrangeAscending;
    options.visibleColumns = defaults.visibleColumns;
    options.columnOrder = defaults.columnOrder;
    options.columnWidths = defaults.columnWidths;
    setViewOptions(options);
}

void VelmoStore::noteActiveBrowserTab()
{
    if (auto* active = activeTab(); active && active->browserPanes()) lastActiveBrowserTabID_ = active->id();
}

FilePaneStore* VelmoStore::folderLayoutSourcePane() const
{
    // The commands are given from the settings tab; they mean the browser tab the user came from.
    if (auto* active = activeTab(); active && active->browserPanes()) return active->browserPanes()->activePane();
    if (auto* last = tab(lastActiveBrowserTabID_); last && last->browserPanes())
        return last->browserPanes()->activePane();
    auto* panes = anyBrowserPanes();
    return panes ? panes->activePane() : nullptr;
}

void VelmoStore::useActiveFolderColumnsAsDefaults()
{
    const FilePaneStore* pane = folderLayoutSourcePane();
    if (!pane) return;
    FolderLayoutDefaults defaults = folderLayoutDefaults();
    defaults.visibleColumns = pane->visibleColumns();
    defaults.columnOrder = pane->columnOrder();
    defaults.columnWidths = pane->columnWidths();
    setFolderLayoutDefaults(defaults);
}

void VelmoStore::applyDefaultColumnsToAllSavedFolders()
{
    const FolderLayoutDefaults defaults = folderLayoutDefaults();
    folderViewStates_.applyColumnsToAll(defaults.visibleColumns, defaults.columnOrder, defaults.columnWidths);
    applyCurrentFolderViewStateToReadyPanes();
}

void VelmoStore::applyCurrentFolderViewStateToReadyPanes()
{
    for (FilePaneStore* pane : allBrowserPanes())
        if (pane->loadState().kind == FilePaneLoadState::Kind::ready)
            pane->takeOverFolderViewState(resolveFolderViewState(pane->currentURL(), pane->fileViewMode()));
}

void VelmoStore::resetAllFolderLayouts()
{
    folderViewStates_.removeAll();
    applyCurrentFolderViewStateToReadyPanes();
}
