#pragma once

#include "Models/SidePreview.h"
#include "Models/VelmoSessionState.h"
#include "State/ClosedWindowTab.h"
#include "State/VelmoSessionStore.h"
#include "Models/VelmoViewOptions.h"
#include "State/FavoriteStore.h"
#include "State/FolderViewStateStore.h"
#include "State/WindowTab.h"
#include "Support/DefaultsStore.h"
#include "MarkupKit/MarkupModel.h"

#include <QObject>
#include <QUuid>

#include <array>
#include <functional>
#include <memory>
#include <vector>

// What the application store is built from; every service comes through a
// factory, so a store can be built without touching the file system.
struct VelmoStoreDependencies {
    std::shared_ptr<DefaultsStore> defaults;
    std::function<std::shared_ptr<DirectoryListingProviding>(PaneID)> listingServiceFactory;
    std::function<std::shared_ptr<FileOpeningProviding>(PaneID)> fileOpeningServiceFactory;
    std::function<std::shared_ptr<FileTransferProviding>(PaneID)> fileTransferServiceFactory;
    std::function<std::shared_ptr<DirectoryWatchProviding>(PaneID)> directoryWatcherFactory;
    // The clipboard every pane shares, and the file actions built on it.
    std::shared_ptr<FilePasteboardProviding> pasteboard;
    std::function<std::shared_ptr<FileActionProviding>(PaneID)> fileActionServiceFactory;
    std::shared_ptr<TaskExecutor> operations;
    std::shared_ptr<MonotonicClock> clock = MonotonicClock::system();
    // The folder new tabs open in; empty means the user's default.
    QString defaultFolderURL;
    quint64 directoryRefreshDebounceNanoseconds = 250'000'000;
    // The first tab's left and right folders, when given (command line).
    QStringList initialFolders;
    // Start from the stored session and save it at every change.
    bool restoresSession = false;
    VelmoSessionStore::PathRestorer restorePath;
    // A new engine for every size map tab; the fast walker when not given.
    std::function<std::shared_ptr<ScanEngineProviding>()> scanEngineFactory;
    // What search tabs search with; the file index and the walk when not given.
    std::shared_ptr<FileSearchProviding> searchService;
    // The folder a search starts in when no browser tab gives one; the user's home when empty.
    QString homeFolderURL;
};

// The application's state: the window's tabs, the active one, and the settings
// that every pane shares. Lives on the main thread.
class VelmoStore : public QObject {
    Q_OBJECT

public:
    explicit VelmoStore(VelmoStoreDependencies dependencies, QObject* parent = nullptr);
    ~VelmoStore() override;

    // The store of the running program, on the real file system and settings.
    static std::unique_ptr<VelmoStore> live(std::shared_ptr<DefaultsStore> defaults, const QStringList& initialFolders = {});

    // --- tabs ---
    const std::vector<std::unique_ptr<WindowTab>>& tabs() const { return tabs_; }
    const QUuid& activeTabID() const { return activeTabID_; }
    WindowTab* activeTab() const;
    WindowTab* tab(const QUuid& id) const;
    int indexOfTab(const QUuid& id) const;
    WindowTab* addTab();
    WindowTab* openSettingsTab();
    // A search of the active browser pane's folder (else the home folder); nothing runs
    // until a query is given.
    WindowTab* addSearchTab();
    QString homeFolderURL() const;
    // A size map of `folderURL`, remembering the browser tab it came from; scans at
    // once only when asked to.
    WindowTab* openSizeMapTab(const QString& folderURL, bool startImmediately);
    // Compression of the given files in a new tab, remembering the browser tab it came
    // from; none without files.
    WindowTab* openImageCompressionTab(const QStringList& urls);
    WindowTab* openPDFCompressionTab(const QStringList& urls);
    void selectTab(const QUuid& id);
    void moveTab(const QUuid& id, int toIndex);
    TabCloseResult closeTab(const QUuid& id);

    // --- panes ---
    BrowserPanes* anyBrowserPanes() const;
    FilePaneStore* pane(PaneID id);
    PaneID activePaneID() const;
    void activate(PaneID id);
    void loadInitialPanes();
    // The folder "Open Size Map" scans: the first selected entry that can be scanned,
    // in the active pane, else the left, else the right; none on other tabs.
    std::optional<QString> activeSizeMapSelectionURL() const;
    // That selection, else the active pane's folder.
    std::optional<QString> activeSizeMapTargetURL() const;
    // Selected images (PDFs) of the active pane; if it has none, of the other panes,
    // left first. Empty on a tab that is not a browser.
    QStringList activeImageCompressionSelectionURLs() const;
    QStringList activePDFCompressionSelectionURLs() const;
    // Shows `url` selected in a browser pane (the tab that opened a work surface, else
    // the first browser tab, else a new one) and returns that pane.
    FilePaneStore* revealInBrowserPane(const QString& url, const std::optional<QUuid>& originTabID,
                                       bool unfoldInPlace = false);
    // How long after the active tab's rows the other tabs of a restored session list.
    static constexpr quint64 kOtherTabsLoadDelayNanoseconds = 300'000'000;
    void goBackInActivePane();
    void goForwardInActivePane();
    void enterFolderInActivePane();
    void goUpInPane(PaneID id);

    // --- running operations ---
    // Every browser pane's transfers, short operations and loads: tab by tab, the
    // left pane's, then the right pane's.
    std::vector<FileActivityItem> activityItems() const;
    // Stops the transfer shown by the activity item `id`, wherever it runs.
    void cancelActivity(const QString& id);
    std::shared_ptr<FilePasteboardProviding> pasteboard() const { return dependencies_.pasteboard; }
    // The time animations and debounces run on; a manual one in tests.
    std::shared_ptr<MonotonicClock> clock() const { return dependencies_.clock; }
    // The markup tools' settings, kept with the other preferences.
    std::shared_ptr<MarkupToolDefaultsStore> markupDefaults() const;

    // --- shared settings ---
    bool showHiddenFiles() const { return showHiddenFiles_; }
    void setShowHiddenFiles(bool show);
    bool isSidebarVisible() const { return isSidebarVisible_; }
    double sidebarWidth() const { return sidebarWidth_; }
    double bottomInspectorHeight() const { return bottomInspectorHeight_; }
    void updateSidebarWidth(double width, bool persist);
    void updateBottomInspectorHeight(double height, bool persist);
    QString defaultFolderURL() const;
    static QString systemDefaultFolderURL();
    static QString restorableFolder(const QString& path, const QString& fallbackFolderURL);

    // --- session and closed tabs (VelmoStoreSession.cpp) ---
    VelmoSessionState captureSessionState() const;
    bool isSessionAutosaveEnabled() const { return isSessionAutosaveEnabled_; }
    void installSessionAutosave();
    // Saves the session when autosave is on; every change of tabs or panes calls it.
    void saveSession();
    const std::vector<ClosedWindowTab>& recentlyClosedTabs() const { return recentlyClosedTabs_; }
    bool canReopenClosedTab() const { return !recentlyClosedTabs_.empty(); }
    void rememberClosedTab(ClosedWindowTab closed);
    WindowTab* reopenLastClosedTab();
    // A tab from the list of recently closed ones, newest last.
    WindowTab* reopenClosedTab(std::size_t index);
    static constexpr std::size_t kMaximumClosedTabs = 25;

    // --- view options ---
    // How every pane looks and sorts by default; kept in the defaults.
    const VelmoViewOptions& viewOptions() const { return viewOptions_; }
    // Stores the options and brings every pane's sorting in line; the lists
    // redraw their rows themselves when the new options ask for it.
    void setViewOptions(const VelmoViewOptions& options);
    // The default options, hidden files hidden again, and each pane's sort and
    // view mode as its folder's layout (or the defaults) say.
    void restoreViewOptionsDefaults();
    // A click on a column header: sorts the active pane by it, or turns its order.
    void sortActivePane(FileEntrySortColumn column);
    void updateActivePaneSortColumn(FileEntrySortColumn column);
    void updateActivePaneSortAscending(bool ascending);
    // The default sort of folders without a layout of their own; a column chosen
    // here also sorts the active pane at once, none leaves every pane as it is.
    void updateArrangeColumn(std::optional<FileEntrySortColumn> column);
    void updateArrangeAscending(bool ascending);

signals:
    // After every change of the view options, with the options before it.
    void viewOptionsChanged(const VelmoViewOptions& previous);

public:
    // --- favorites ---
    // The sidebar's rows, in order. Every change is saved at once.
    const std::vector<FavoriteItem>& favorites() const { return favorites_; }
    const FavoriteItem* favorite(const QUuid& id) const;
    // A folder opens in the active pane; a pair opens its two folders in the
    // two panes of the active browser tab; a separator does nothing.
    void openFavorite(const FavoriteItem& item);
    void addActivePaneToFavorites();
    void addCurrentPanesToFavorites();
    // Indexes are clamped to the list. A folder that is already a favorite, or a
    // pair that already stands, isn't added again.
    void insertFavoriteSeparator(int index);
    void insertFavorite(const QString& url, int index);
    void insertPanePairFavorite(const QString& leftURL, const QString& rightURL, int index);
    void insertFavoriteURLs(const QStringList& urls, int index);
    void removeFavorite(const QUuid& id);
    // A name of only blanks is refused: the row would be unreadable.
    void renameFavorite(const QUuid& id, const QString& name);
    enum class FavoriteMoveDirection { up = -1, down = 1 };
    void moveFavorite(const FavoriteItem& item, FavoriteMoveDirection direction);
    void moveFavorite(const QUuid& id, int toIndex);
    // The row to highlight for what `panes` show (the active tab's when null).
    std::optional<QUuid> selectedFavoriteID(const BrowserPanes* panes = nullptr) const;
    // Shows or hides the sidebar and remembers it.
    void toggleSidebarVisibility();
signals:
    void favoritesChanged();

public:
    // --- side previews (VelmoStoreSidePreviews.cpp) ---
    // With one PDF, image or video selected in the active pane of a browser tab, the
    // other pane can show it large. Shown when asked by hand for that selection, else
    // when auto-open is on; a preview closed by hand stays closed for that selection
    // only. One kind at a time, since one file is of one kind.
    bool autoOpenSidePreview(SidePreviewKind kind) const { return autoOpen_[std::size_t(kind)]; }
    // Whether the wheel zooms the other way in previews and comparisons (on unless turned off).
    bool previewInvertsZoomScroll() const;
    // The three kinds share one switch; each keeps its own stored key.
    void setAutoOpenSidePreviews(bool open);
    std::optional<SidePreview> sidePreviewCandidate(SidePreviewKind kind) const;
    std::optional<SidePreview> activeSidePreview(SidePreviewKind kind) const;
    std::optional<SidePreview> activeSidePreview() const;
    std::optional<SidePreview> activePDFSidePreview() const { return activeSidePreview(SidePreviewKind::pdf); }
    std::optional<SidePreview> activeImageSidePreview() const { return activeSidePreview(SidePreviewKind::image); }
    std::optional<SidePreview> activeVideoSidePreview() const { return activeSidePreview(SidePreviewKind::video); }
    // The pane that shows a preview instead of its listing.
    std::optional<PaneID> activeSidePreviewPaneID() const;
    // Called on every change of selection, pane or tab: a hand-made choice for another
    // selection is forgotten.
    void syncSidePreviewStateForCurrentSelection();
    void toggleSidePreview(SidePreviewKind kind);
    void toggleSidePreviewForActiveSelection();
    // The preview fed from, or shown in, `paneID`; else the one its selection would give.
    void toggleSidePreview(PaneID paneID);
    std::optional<MediaFilmstripPreview> activeMediaFilmstripPreview() const;
    void selectMediaFilmstripEntry(const QString& id);
    // A markup copy of a previewed image was saved (or not): the source pane says so
    // and lists the new file.
    void handleImageMarkupSaveResult(const SidePreview& preview, const std::optional<QString>& outputURL);
signals:
    // What activeSidePreview() gives may have changed.
    void sidePreviewChanged();

public:
    void teardown();

    // --- folder view states ---
    // Each folder's sort, view mode and columns, as the user last left them; a
    // folder without a record follows the default layout. Panes reach the
    // records through their two callbacks, set when the pane is made.
    const FolderViewStateStore& folderViewStates() const { return folderViewStates_; }
    FolderViewState resolveFolderViewState(const QString& url, VelmoFileViewMode currentViewMode) const;
    FolderViewState defaultFolderViewState(VelmoFileViewMode viewMode) const;
    // Stores the state, and shows it at once in every other ready pane on that
    // folder, so two panes on one folder stay in step. `origin` is left alone.
    void persistFolderViewState(const FolderViewState& state, const QString& url,
                                FolderViewStatePersistence persistence, const FilePaneStore* origin = nullptr);
    void wireFolderViewState(BrowserPanes& panes);
    // For panes whose layout came from elsewhere (a restored session): a folder
    // with a record shows it; one without keeps the pane's layout, recorded when
    // it differs from the default.
    void adoptStoredFolderViewStates(BrowserPanes& panes);
    FolderLayoutDefaults folderLayoutDefaults() const;
    // The pane the folder-layout commands read: the active one of the active
    // browser tab, or of the browser tab last active while another kind is shown.
    FilePaneStore* folderLayoutSourcePane() const;
    void useActiveFolderColumnsAsDefaults();
    void applyDefaultColumnsToAllSavedFolders();
    void applyCurrentFolderViewStateToReadyPanes();
    void resetAllFolderLayouts();

signals:
    void tabsChanged();
    void activeTabChanged();
    void activePaneChanged();
    void showHiddenFilesChanged();
    void sidebarChanged();
    void activityChanged();
    void closedTabsChanged();

private:
    std::unique_ptr<BrowserPanes> makeBrowserPanes(const QString& leftFolder, const QString& rightFolder);
    std::unique_ptr<FilePaneStore> makePane(PaneID id, const QString& folder, const FilePaneServices& services);
    void appendAndActivate(std::unique_ptr<WindowTab> tab);
    // The browser tab a new work surface remembers: the active one, else the first.
    std::optional<QUuid> originBrowserTabID() const;
    std::unique_ptr<WindowTab> makeSizeMapTab(const QString& folderURL, std::optional<QUuid> origin);
    std::unique_ptr<WindowTab> makeImageCompressionTab(const QStringList& urls, std::optional<QUuid> origin,
                                                       const QJsonObject& settings);
    std::unique_ptr<WindowTab> makePDFCompressionTab(const QStringList& urls, std::optional<QUuid> origin,
                                                     const QJsonObject& settings);
    std::unique_ptr<WindowTab> makeSearchTab(const QString& folderURL, std::optional<QUuid> origin, const QString& query);
    void setActiveTabID(const QUuid& id);
    void seedEntriesFromLoadedPane(FilePaneStore* pane);
    std::vector<FilePaneStore*> allBrowserPanes() const;
    BrowserPanes& emergencyPanes();

    VelmoStoreDependencies dependencies_;
    std::vector<std::unique_ptr<WindowTab>> tabs_;
    QUuid activeTabID_;
    bool showHiddenFiles_ = false;
    bool isSidebarVisible_ = true;
    double sidebarWidth_ = 220;
    double bottomInspectorHeight_ = 210;
    // Never attached to a tab, loaded or saved: only so that pane() always has an answer.
    std::unique_ptr<BrowserPanes> emergencyPanes_;
    bool didLoadInitialPanes_ = false;

    // Session and closed tabs.
    void makeInitialTabs();
    void restoreTabs(const VelmoSessionState& session);
    std::unique_ptr<WindowTab> makeTab(const ClosedWindowTab& closed);
    void attachSessionAutosave(BrowserPanes* panes);
    // Work surfaces of a stored session that this build doesn't open: kept, so
    // that saving doesn't drop them.
    struct DormantSessionTab {
        VelmoSessionState::Tab record;
        qint64 position = 0;
        std::optional<QUuid> originBrowserTabID;
    };
    std::vector<DormantSessionTab> dormantSessionTabs_;
    std::unique_ptr<VelmoSessionStore> sessionStore_;
    bool isSessionAutosaveEnabled_ = false;
    std::vector<ClosedWindowTab> recentlyClosedTabs_;
    bool didTeardown_ = false;

    // --- view options ---
    void loadViewOptions();
    void applyViewOptions(FilePaneStore& pane, const VelmoViewOptions* previous);
    FilePaneStore* activeBrowserPane() const;
    VelmoViewOptions viewOptions_;
    // --- favorites ---
    void loadFavorites();
    void setFavorites(std::vector<FavoriteItem> favorites);
    FavoriteStore favoriteStore_;
    std::vector<FavoriteItem> favorites_;
    // --- folder view states ---
    void wireFolderViewState(FilePaneStore& pane);
    void setFolderLayoutDefaults(const FolderLayoutDefaults& defaults);
    void noteActiveBrowserTab();
    // Made from the dependencies above it, before the constructor makes the first panes.
    FolderViewStateStore folderViewStates_ {dependencies_.defaults, dependencies_.clock};
    QUuid lastActiveBrowserTabID_;
    // --- side previews ---
    void loadSidePreviewDefaults();
    void noteSidePreviewChange();
    std::optional<SidePreview> sidePreviewCandidate(SidePreviewKind kind, PaneID source) const;
    std::array<bool, 3> autoOpen_ {};
    std::array<QHash<QUuid, SidePreviewManualOverride>, 3> sidePreviewOverridesByTab_;
    std::array<QHash<QUuid, SidePreviewSelection>, 3> lastSidePreviewSelectionsByTab_;
    std::optional<SidePreview> shownSidePreview_;
};
