#pragma once

#include "Models/BreadcrumbItem.h"
#include "Models/DirectoryListingError.h"
#include "Models/FileEntrySort.h"
#include "Models/FileActivityItem.h"
#include "Models/FileNameFilter.h"
#include "Models/FilePaneInlineTree.h"
#include "Models/FilePaneLoadState.h"
#include "Models/FilePaneRow.h"
#include "Models/FolderScrollMemory.h"
#include "Models/FilePaneUndoAction.h"
#include "Models/FileTransferModels.h"
#include "Models/FolderViewState.h"
#include "Models/FilePaneCellText.h"
#include "Models/FolderSizeState.h"
#include "Models/PaneID.h"
#include "Models/ToastMessage.h"
#include "Services/DirectoryListingProviding.h"
#include "Services/DirectoryWatchProviding.h"
#include "Services/FileActionProviding.h"
#include "Services/FilePasteboardProviding.h"
#include "Services/FileOpeningProviding.h"
#include "Services/SelectionSize.h"
#include "Support/MonotonicClock.h"
#include "Support/TaskExecutor.h"
#include "Support/TaskHandle.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class FileTransferProviding;

// The services one pane reaches the system through.
struct FilePaneServices {
    std::shared_ptr<DirectoryListingProviding> listing;
    std::shared_ptr<FileOpeningProviding> opening;
    std::shared_ptr<DirectoryWatchProviding> watcher;
    std::shared_ptr<FileTransferProviding> transfer;
    std::shared_ptr<FileActionProviding> fileActions;
    // The clipboard the file actions write; a pasted cut empties it afterwards.
    std::shared_ptr<FilePasteboardProviding> pasteboard;
    std::shared_ptr<MonotonicClock> clock = MonotonicClock::system();
    // Where transfers, trash and undo run.
    std::shared_ptr<TaskExecutor> operations = TaskExecutor::fileOperations();
    // Where folder-size walks and content counts run.
    std::shared_ptr<TaskExecutor> folderSizes = TaskExecutor::folderSizes();
};

// What a cancelled folder-size or count scan does to the states it leaves.
enum class FolderStateDisposal {
    keep,            // all stay, even "calculating" (a reload merges them)
    dropCalculating, // unfinished ones go, so they can start over; finished ones stay
    clear,           // all go
};

// What a navigation carries from its start to its commit.
struct NavigationCommit {
    QString fromURL;
    QString toURL;
    bool pushHistory = false;
    bool clearForwardStack = false;
    bool popBackStack = false;
    bool popForwardStack = false;
    std::optional<QString> forwardURL;
    bool restoreScroll = false;
    bool resetBreadcrumbTrail = false;
    std::optional<QString> pendingSelectionID;
    std::optional<QString> pendingScrollToEntryID;
    bool operator==(const NavigationCommit&) const = default;
};

// The state and behaviour of one file pane: its folder, what is in it and in what
// order, the selection, and the way from folder to folder. Lives on the main
// thread; listings run in the background and come back to commit. Members are
// split by topic over FilePaneStore*.cpp.
class FilePaneStore : public QObject {
    Q_OBJECT

public:
    struct Configuration {
        QString folderURL;
        bool showHiddenFiles = false;
        VelmoFileViewMode viewMode = VelmoFileViewMode::list;
        FileEntrySortColumn sortColumn = FileEntrySortColumn::name;
        bool sortAscending = true;
        QSet<FileEntryColumn> visibleColumns {FileEntryColumn::size, FileEntryColumn::modified, FileEntryColumn::kind};
        quint64 directoryRefreshDebounceNanoseconds = 250'000'000;
    };

    FilePaneStore(PaneID id, FilePaneServices services, Configuration configuration, QObject* parent = nullptr);
    ~FilePaneStore() override;

    PaneID id() const { return id_; }
    const FilePaneServices& services() const { return services_; }

    // --- loading and navigation ---
    const QString& currentURL() const { return currentURL_; }
    const FileEntryList& entries() const { return entries_; }
    const FilePaneLoadState& loadState() const { return loadState_; }
    bool isLoading() const { return loadTask_.isValid(); }
    const QStringList& backStack() const { return backStack_; }
    const QStringList& forwardStack() const { return forwardStack_; }
    std::optional<qint64> activeNavigationLoadGeneration() const { return activeNavigationLoadGeneration_; }
    qint64 navigationLoadGeneration() const { return navigationLoadGeneration_; }
    const QHash<QString, QString>& lastSelectionByFolder() const { return lastSelectionByFolder_; }
    std::optional<QString> pendingSelectionEntryID() const { return pendingSelectionEntryID_; }
    std::optional<QString> pendingScrollToEntryID() const { return pendingScrollToEntryID_; }
    std::optional<QString> activeOperationTitle() const { return activeOperationTitle_; }
    void setActiveOperationTitle(std::optional<QString> title);
    bool showHiddenFiles() const { return showHiddenFiles_; }
    void setShowHiddenFiles(bool show);
    quint64 suppressWatcherEchoUntilNanos() const { return suppressWatcherEchoUntilNanos_; }
    quint64 directoryRefreshDebounceNanoseconds() const { return directoryRefreshDebounceNanoseconds_; }
    FolderScrollMemory& scrollMemory() { return scrollMemory_; }

    void navigate(const QString& url, bool pushHistory = true, bool keepsBreadcrumbTrail = false,
                  std::optional<QString> pendingSelectionID = std::nullopt,
                  std::optional<QString> pendingScrollToEntryID = std::nullopt);
    void navigateExternally(const QString& url);
    void goUp();
    void goBack();
    void goForward();
    void enterFolder();
    bool canEnterFolder() const;
    // Packages open as folders when asked, or when the pane is set to treat them so.
    void open(const FileEntry& entry, bool treatPackagesAsFolders = false);
    bool treatsPackagesAsFolders() const { return treatsPackagesAsFolders_; }
    void setTreatsPackagesAsFolders(bool treats) { treatsPackagesAsFolders_ = treats; }
    void startLoad(const QString& url);
    void rememberCurrentSelection();
    double consumeScrollRestorationOffset(const QString& url);
    void teardown();

    static QString message(const DirectoryListingError& error);
    static bool isAncestorOrSelf(const QString& a, const QString& b);

    // --- sort order and visible rows ---
    FileEntrySortColumn sortColumn() const { return sortColumn_; }
    bool sortAscending() const { return sortAscending_; }
    bool smartSorting() const { return smartSorting_; }
    bool sortFolderAliasesWithFolders() const { return sortFolderAliasesWithFolders_; }
    VelmoFileViewMode fileViewMode() const { return fileViewMode_; }
    const QSet<FileEntryColumn>& visibleColumns() const { return visibleColumns_; }
    const QStringList& columnOrder() const { return columnOrder_; }
    const QMap<QString, double>& columnWidths() const { return columnWidths_; }
    const QString& filterText() const { return filterText_; }
    const FileEntryList& sortedEntries() const { return sortedEntries_; }
    const FileEntryList& visibleEntries() const { return visibleEntries_; }
    const std::vector<FilePaneRow>& treeRows() const { return treeRows_; }

    void sort(FileEntrySortColumn column);
    void setSortColumn(FileEntrySortColumn column);
    void setSortAscending(bool ascending);
    void setSmartSorting(bool enabled);
    void setSortFolderAliasesWithFolders(bool enabled);
    void setViewMode(VelmoFileViewMode mode);
    void setVisibleColumns(const QSet<FileEntryColumn>& columns);
    void setColumnOrder(const QStringList& order);
    void setColumnWidths(const QMap<QString, double>& widths);
    void setFilterText(const QString& text);
    void setEntries(FileEntryList entries);
    FolderViewState currentFolderViewState() const;
    // Shows the folder as `state` says, without handing it back to be stored.
    void takeOverFolderViewState(const FolderViewState& state);
    void updateVisibleEntriesCache();
    // Puts a neighbour's rows in place before the first listing lands.
    void seedEntries(const FileEntryList& entries, const FileEntryList& sorted, const FileEntryList& visible,
                     const std::vector<FilePaneRow>& rows);

    // --- selection, breadcrumbs, toasts ---
    const QSet<QString>& selectedEntryIDs() const { return selectedEntryIDs_; }
    void setSelectedEntryIDs(const QSet<QString>& ids);
    FileEntryList selectedEntries() const;
    const QList<BreadcrumbItem>& breadcrumbs() const { return breadcrumbs_; }
    const QString& breadcrumbTrailURL() const { return breadcrumbTrailURL_; }
    void updateBreadcrumbTrail();
    void collapseBreadcrumbTrail(const QString& url);
    static QList<BreadcrumbItem> breadcrumbs(const QString& url);
    const std::optional<ToastMessage>& actionToast() const { return actionToast_; }
    void showActionToast(const QString& text, ToastMessage::Kind kind);
    void dismissActionToast();
    // How long a toast shows, on the services' clock.
    static constexpr quint64 kToastLifetimeNanoseconds = 4'000'000'000;

    // --- watching and refresh ---
    const std::optional<QString>& watchedURL() const { return watchedURL_; }
    bool hasDirectoryRefreshPending() const { return directoryRefreshTask_.isValid(); }
    void startWatching(const QString& url);
    void scheduleExternalDirectoryRefresh(const QString& url);
    void commitFolderSnapshot(FileEntryList entries, bool preserveExistingStates,
                              PrefetchedFolderStates prefetched = {});
    void suppressWatcherEcho();

    // --- file actions (FilePaneStoreFileActions.cpp) ---
    using UndoAction = FilePaneUndoAction;
    // A transfer or a short operation is running: new operations are refused.
    bool isBusy() const { return activeTransfer_.has_value() || activeOperationTitle_.has_value(); }
    const std::optional<FileTransferActivity>& activeTransfer() const { return activeTransfer_; }
    const std::optional<QStringList>& permissionDeniedURLs() const { return permissionDeniedURLs_; }
    void clearPermissionDeniedURLs();
    const std::optional<QString>& pendingInlineRenameEntryID() const { return pendingInlineRenameEntryID_; }
    void setPendingInlineRenameEntryID(std::optional<QString> id);

    void copySelectionToPasteboard();
    void cutSelectionToPasteboard();
    bool canPaste() const;
    void pasteItems();
    void startCopyTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                           bool selectTransferredItems, std::optional<qint64> pasteboardChangeCountToClear = std::nullopt);
    void startMoveTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                           bool selectTransferredItems, std::optional<qint64> pasteboardChangeCountToClear = std::nullopt);
    void startLinkTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                           bool selectTransferredItems);
    void cancelActiveTransfer();
    bool beginTransfer(FileTransferKind kind, qint64 sourceItemCount, const QString& destinationURL);
    void updateTransfer(const QUuid& id, const FileTransferProgress& progress);
    bool clearTransfer(const QUuid& id);
    void failTransfer(const QUuid& id, const QString& message, const FileTransferError& error);
    void finishTransfer(const QString& destinationURL, const QStringList& transferredURLs, bool selectTransferredItems);
    void showSkippedItemsToast(const QStringList& urls, const QString& operation);
    void recordMoveUndo(const std::vector<FileMoveResult>& results);
    void createFolder(const QString& name);
    void createFile(const QString& name);
    std::optional<QString> rename(const FileEntry& entry, const QString& name);
    void moveSelectionToTrash();
    // Items from elsewhere (a search's results) through this pane's trash, so that
    // its undo brings them back; the pane's selection stays, less what went.
    void moveItemsToTrash(const QStringList& urls);
    std::optional<QString> nextSelectionAfterTrash() const;
    bool beginBulkRenameOperation(int itemCount);
    void finishBulkRenames(const std::vector<std::pair<QString, std::optional<QString>>>& results,
                           const std::optional<QString>& sourceDirectoryURL);
    void endBulkRenameOperation();
    void revealSelection();
    void openInTerminal(const std::optional<QString>& url = std::nullopt);
    // "1 item", "3 items".
    static QString itemCountText(qint64 count);
    static QString busyMessage();

    // --- undo (FilePaneStoreUndo.cpp) ---
    const std::vector<UndoAction>& undoStack() const { return undoStack_; }
    bool canUndo() const { return !undoStack_.empty(); }
    void recordUndo(UndoAction action);
    void undoLastAction();
    void startUndoMove(std::vector<UndoAction::MovedFile> items);
    void updateUndoTransfer(const QUuid& id, qint64 completed, qint64 total, const QString& currentItemName);
    void completeUndoMove(const QUuid& id, const QStringList& restored, std::vector<UndoAction::MovedFile> remaining,
                          bool wasCancelled);

    // --- inline tree (FilePaneStoreInlineTree.cpp, FilePaneStoreInlineTreeMemory.cpp) ---
    // Folders unfold in place in list view. Only a real folder does: not a link, nor a package.
    static bool isInlineExpandable(const FileEntry& entry);
    const FilePaneInlineTree& inlineTree() const { return inlineTree_; }
    const FilePaneInlineTreeMemory& inlineTreeMemory() const { return inlineTreeMemory_; }
    bool isInlineExpanded(const QString& id) const { return inlineTree_.expandedFolderPaths.contains(id); }
    void expandInlineFolder(const FileEntry& entry);
    void collapseInlineFolder(const QString& path);
    void expandInlineFolderForSelection();
    // The selected open folder closes; otherwise the selection goes to the row's parent.
    void collapseSelectedInlineRow();
    // Called by the view for the rows it shows: finds out, without listing, whether
    // a folder has anything to show. At most kMaxInlineProbes run at once.
    void probeInlineExpandability(const FileEntry& entry);
    static constexpr int kMaxInlineProbes = 16;
    int inlineProbesInFlight() const { return int(inlineProbesInFlight_.size()); }
    int inlineProbesQueued() const { return int(inlineQueuedProbes_.size()); }
    // Opens the tree down to an item below the folder on show and selects it;
    // false when the item isn't below it (the caller navigates instead).
    bool revealInlineDescendant(const QString& url);
    // The watched open folders, for the state dump and tests.
    QStringList inlineWatchedPaths() const { return inlineWatches_.keys(); }
    // --- folder sizes and content counts (FilePaneStoreFolderSizes.cpp) ---
    // Sizes and counts of the visible folders, worked out in the background one
    // folder at a time. The automatic path runs only in list mode with the
    // column on show, for at most 40 (sizes) or 80 (counts) visible folders,
    // sizes with a budget per folder and never in a broad root; the user's
    // "Calculate Folder Sizes" has no budget and no such limits. A finished value
    // re-sorts the list when it sorts by that column; progress never moves a row.
    const FolderSizeStates& folderSizeStates() const { return folderSizeStates_; }
    const FolderContentCountStates& folderContentCountStates() const { return folderContentCountStates_; }
    // The states of one row, for its cells.
    FilePaneCellText::FolderStates folderStates(const QString& id) const;
    bool smartFolderSizeCalculationEnabled() const { return smartFolderSizeCalculationEnabled_; }
    void setSmartFolderSizeCalculationEnabled(bool enabled);
    const SelectionSize::Budget& folderSizeAutoScanBudget() const { return folderSizeAutoScanBudget_; }
    void setFolderSizeAutoScanBudget(const SelectionSize::Budget& budget) { folderSizeAutoScanBudget_ = budget; }
    bool isCalculatingFolderSizes() const { return folderSizeTask_.isValid(); }
    bool isCountingFolderContents() const { return folderContentCountTask_.isValid(); }
    void scheduleSmartFolderSizeScan();
    void calculateFolderSizesForVisibleFolders();
    void cancelFolderSizeScan(FolderStateDisposal disposal);
    void scheduleFolderContentCountScan();
    void cancelFolderContentCountScan(FolderStateDisposal disposal);
    // Folders known to be deep, where nothing is calculated unasked.
    static bool isBroadFolderSizeScanRoot(const QString& url);
    static constexpr int kFolderSizeAutoScanMaxVisibleFolderCount = 40;
    static constexpr int kFolderContentCountAutoScanMaxVisibleFolderCount = 80;

    // What the activity strip shows for this pane; `side` is "left" or "right".
    std::vector<FileActivityItem> activityItems() const;
    // The strip's Cancel on one of this pane's items.
    void cancelActivity(const QString& id);

    // Upward calls, unset unless a parent wires them.
    std::function<void()> onDidChangeRestorableState;
    std::function<std::optional<FolderViewState>(const QString&)> onResolveFolderViewState;
    std::function<void(const QString&, const FolderViewState&, FolderViewStatePersistence)> onPersistFolderViewState;

signals:
    void currentURLChanged();
    void entriesChanged();
    void rowsChanged();
    void selectionChanged();
    void loadStateChanged();
    void loadingChanged();
    void historyChanged();
    void breadcrumbsChanged();
    void filterTextChanged();
    void sortChanged();
    void viewModeChanged();
    void columnsChanged();
    void showHiddenFilesChanged();
    void toastChanged();
    void pendingSelectionChanged();
    void activeOperationChanged();
    void watchChanged();
    void transferChanged();
    void undoStackChanged();
    void permissionDeniedURLsChanged();
    void pendingInlineRenameChanged();
    // Expansion, loads or expandability changed; the rows may have stayed the same.
    void inlineTreeChanged();
    // The ids whose folder size, or content count, state changed.
    void folderSizeStatesChanged(const QSet<QString>& ids);
    void folderContentCountStatesChanged(const QSet<QString>& ids);
    // The user's folder-size calculation started, advanced or ended.
    void folderSizeWorkChanged();

private:
    NavigationCommit makeCommit(const QString& toURL) const;
    void saveStateOfFolderBeingLeft();
    void startNavigation(const NavigationCommit& commit);
    void commitNavigation(const NavigationCommit& commit, FileEntryList entries, FilePaneLoadState loadState,
                          PrefetchedFolderStates folderStates = {});
    bool refuseNavigationDuringOperation();
    void setCurrentURL(const QString& url);
    void setLoadState(const FilePaneLoadState& state);
    void setLoadTask(TaskHandle task);
    void setHistory(QStringList back, QStringList forward);
    void setPendingSelectionEntryID(std::optional<QString> id);
    void applyResolvedFolderViewState();
    void persistColumnsLater();
    void resortEntries();
    void setDerivedLists(FileEntryList visible, std::vector<FilePaneRow> rows);
    void notifyRestorableStateChanged();
    void cancelWatching();
    static FileEntryList shared(std::vector<FileEntry> entries);
    void setActiveTransfer(std::optional<FileTransferActivity> activity);
    void selectAndReload(const QStringList& urls);
    void reloadAfterOwnChange();
    void removeEntriesNow(const QSet<QString>& ids);
    std::function<void(const FileTransferProgress&)> progressForwarder(const QUuid& id);
    using TransferProgressHandler = std::function<void(const FileTransferProgress&)>;
    using CreatingTransferWork
        = std::function<std::expected<FileCopyResult, FileTransferError>(const FileTransferProviding&, const QStringList&,
                                                                          const QString&, std::stop_token,
                                                                          const TransferProgressHandler&)>;
    void runCreatingTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                             bool selectTransferredItems, std::optional<qint64> pasteboardChangeCountToClear,
                             const QString& failureMessage, const QString& operationWord, CreatingTransferWork work);
    void clearPasteboardIfUnchanged(std::optional<qint64> changeCount);
    void createItem(const QString& name, bool isFolder);
    void writeSelectionToPasteboard(bool cut);
    void trash(const QStringList& urls, const QSet<QString>& selectionAfter);
    void finishTrash(const std::vector<TrashedItem>& trashed, const QStringList& failed,
                     const QSet<QString>& selectionAfter);
    void undoTrash(std::vector<TrashedItem> items);
    void undoRenameBatch(std::vector<UndoAction::RenamedFile> items);
    void undoCreated(QStringList urls);
    void endUndo();

    // inline tree
    void setInlineTreeChanged(bool rowsMayChange);
    std::vector<FilePaneRow> flattenedTreeRows(const FileEntryList& base, bool filtered) const;
    FileEntryList displayChildren(const QString& folder, const FileEntryList& children, bool filtered) const;
    FileEntryRef loadedInlineEntry(const QString& path) const;
    void loadInlineChildren(const QString& path);
    void finishInlineChildLoad(const QString& path, DirectoryListingProviding::Result result);
    void restoreExpandedInlineChildren(const FileEntryList& children);
    void cancelInlineChildLoads(const std::optional<QString>& underOrAt);
    void startInlineProbe(const QString& id);
    void drainInlineProbeQueue();
    void clearInlineProbes();
    void cancelInlineReveal();
    void continueInlineReveal(const TaskHandle& reveal, const QString& target);
    void resetInlineTree();
    void rememberInlineExpansion();
    void rememberInlineExpandability();
    void applyRememberedInlineTree(bool preservingExpandabilityKnowledge);
    void refreshExpandedInlineFolders();
    void invalidateInlineExpandabilityKnowledge();
    void invalidateInlineTreeForHiddenFileVisibilityChange();
    void remapInlineTree(const QString& from, const QString& to);
    void removeInlineEntries(const QStringList& paths);
    void startInlineWatch(const QString& path);
    void stopInlineWatches(const std::optional<QString>& underOrAt);
    void scheduleInlineChildRefresh(const QString& path);
    // Folder sizes and counts (FilePaneStoreFolderSizes.cpp).
    FileEntryList visibleFolderEntries() const;
    std::optional<FileActivityItem> folderSizeActivity() const;
    void scheduleFolderScans();
    void cancelFolderScans(FolderStateDisposal disposal);
    void startFolderSizeScan(FileEntryList folders, std::optional<SelectionSize::Budget> budget, bool force);
    void scanFolderSizes(TaskHandle task, qint64 generation, FileEntryList folders, std::size_t index,
                         std::optional<SelectionSize::Budget> budget, bool force);
    void startFolderContentCountScan(FileEntryList folders);
    void countFolderContents(TaskHandle task, qint64 generation, FileEntryList folders, std::size_t index);
    void setFolderSizeState(const QString& id, std::optional<FolderSizeState> state);
    void setFolderContentCountState(const QString& id, std::optional<FolderContentCountState> state);
    void replaceFolderStates(FolderSizeStates sizes, FolderContentCountStates counts);
    void keepFolderStatesOfCurrentEntries();
    void mergeFolderStates(PrefetchedFolderStates prefetched, bool preserveExisting);
    // Runs `then` with the states a load should commit with: worked out in the
    // background for a folder sorted by size or contents, else none at once.
    void prefetchFolderStates(const QString& url, const FileEntryList& entries, const TaskHandle& task,
                              std::function<void(PrefetchedFolderStates)> then);
    FileEntrySort::NumberProvider folderSizeSortProvider() const;
    FileEntrySort::NumberProvider contentCountSortProvider() const;

    const PaneID id_;
    FilePaneServices services_;
    quint64 directoryRefreshDebounceNanoseconds_;
    TaskHandle loadTask_;
    TaskHandle directoryRefreshTask_;
    quint64 suppressWatcherEchoUntilNanos_ = 0;
    std::shared_ptr<DirectoryWatchToken> directoryWatchToken_;
    std::optional<qint64> activeNavigationLoadGeneration_;
    qint64 navigationLoadGeneration_ = 0;
    std::optional<QString> watchedURL_;
    FolderScrollMemory scrollMemory_;
    QHash<QString, QString> lastSelectionByFolder_;
    QString currentURL_;
    FileEntryList entries_;
    QSet<QString> selectedEntryIDs_;
    std::optional<QString> pendingInlineRenameEntryID_;
    std::optional<QString> pendingSelectionEntryID_;
    std::optional<QString> pendingScrollToEntryID_;
    bool isCommittingFolderSnapshot_ = false;
    VelmoFileViewMode fileViewMode_;
    QString filterText_;
    FileEntrySortColumn sortColumn_;
    bool sortAscending_;
    bool smartSorting_ = true;
    bool sortFolderAliasesWithFolders_ = false;
    bool treatsPackagesAsFolders_ = false;
    QSet<FileEntryColumn> visibleColumns_;
    QStringList columnOrder_;
    QMap<QString, double> columnWidths_;
    bool showHiddenFiles_;
    FilePaneLoadState loadState_ = FilePaneLoadState::idle();
    std::optional<QString> activeOperationTitle_;
    std::optional<ToastMessage> actionToast_;
    std::optional<FileTransferActivity> activeTransfer_;
    // The user's stop for the running transfer.
    std::shared_ptr<std::stop_source> transferStop_;
    std::optional<QStringList> permissionDeniedURLs_;
    std::vector<UndoAction> undoStack_;
    FileEntryList sortedEntries_;
    FileEntryList visibleEntries_;
    std::vector<FilePaneRow> treeRows_;
    QList<BreadcrumbItem> breadcrumbs_;
    QString breadcrumbTrailURL_;
    bool shouldResetBreadcrumbTrailOnNextURLChange_ = false;
    QStringList backStack_;
    QStringList forwardStack_;

    // Name order of entries_, valid while entries_ holds the same objects.
    FileEntrySort::NameRanks nameRanks_;
    FileEntryList rankedEntries_;
    // What sortedEntries_ was sorted from, and how, to skip sorts that would change nothing.
    FileEntryList sortedSource_;
    std::optional<FileEntrySort::Options> sortedOptions_;
    FileNameFilter nameFilter_;

    // inline tree
    FilePaneInlineTree inlineTree_;
    FilePaneInlineTreeMemory inlineTreeMemory_;
    // The newest child load of each folder; a result lands only while its handle is still here.
    QHash<QString, TaskHandle> inlineChildLoads_;
    QSet<QString> inlineProbesInFlight_;
    QMap<QString, FileEntryRef> inlineQueuedProbes_;
    qint64 inlineProbeGeneration_ = 0;
    QHash<QString, std::shared_ptr<DirectoryWatchToken>> inlineWatches_;
    QHash<QString, TaskHandle> inlineRefreshTasks_;
    TaskHandle inlineRevealTask_;
    // The reveal's next step, once the listing of `inlineRevealWaitingFolder_` lands.
    QString inlineRevealWaitingFolder_;
    std::function<void()> inlineRevealContinuation_;
    // Each open folder's children in the pane's order, kept while list and order stay.
    struct SortedChildren {
        FileEntryList source;
        FileEntrySort::Options options;
        FileEntryList sorted;
    };
    mutable QHash<QString, SortedChildren> sortedChildren_;
    // Open folders' children are filtered apart, so the main list keeps its fast path.
    mutable FileNameFilter childNameFilter_;
    // --- folder sizes and content counts ---
    FolderSizeStates folderSizeStates_;
    FolderContentCountStates folderContentCountStates_;
    SelectionSize::Budget folderSizeAutoScanBudget_;
    bool smartFolderSizeCalculationEnabled_ = true;
    TaskHandle folderSizeTask_;
    qint64 folderSizeScanGeneration_ = 0;
    TaskHandle folderContentCountTask_;
    qint64 folderContentCountGeneration_ = 0;
    // The folders the user asked to calculate and not yet finished: a reload in
    // between resumes them instead of losing the request.
    QSet<QString> requestedFolderSizeIDs_;
};
