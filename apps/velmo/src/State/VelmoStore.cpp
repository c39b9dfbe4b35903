#include "State/VelmoStore.h"

#include "FileSizeScanner/FastScanEngine.h"
#include "PathKit/FilePaths.h"
#include "Services/ClipboardFilePasteboard.h"
#include "Services/DirectoryListingService.h"
#include "Services/InMemoryFilePasteboard.h"
#include "Services/InotifyDirectoryWatcher.h"
#include "Services/PosixFileTransferService.h"
#include "Services/SystemFileOpeningService.h"
#include "Services/WorkspaceFileActionService.h"
#include "SizeMap/SizeMapSunburstLayoutService.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>

#include <algorithm>
#include <sys/stat.h>

namespace {

const QString kShowHiddenFilesKey = QStringLiteral("velmo.files.showHiddenFiles");
const QString kSidebarVisibleKey = QStringLiteral("velmo.layout.isSidebarVisible");
const QString kSidebarWidthKey = QStringLiteral("velmo.layout.sidebarWidth");
const QString kBottomInspectorHeightKey = QStringLiteral("velmo.layout.bottomInspectorHeight");
const QString kDefaultFolderPathKey = QStringLiteral("velmo.defaultFolderPath");

bool isFolder(const QString& path)
{
    struct stat st {};
    return ::stat(FilePaths::toNative(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

VelmoStore::VelmoStore(VelmoStoreDependencies dependencies, QObject* parent)
    : QObject(parent), dependencies_(std::move(dependencies))
{
    auto& d = dependencies_;
    if (!d.listingServiceFactory)
        d.listingServiceFactory = [](PaneID) { return std::make_shared<DirectoryListingService>(); };
    if (!d.fileOpeningServiceFactory)
        d.fileOpeningServiceFactory = [](PaneID) { return std::make_shared<SystemFileOpeningService>(); };
    if (!d.directoryWatcherFactory) {
        // One inotify instance serves every pane.
        auto watcher = std::make_shared<InotifyDirectoryWatcher>();
        d.directoryWatcherFactory = [watcher](PaneID) { return watcher; };
    }
    if (!d.fileTransferServiceFactory)
        d.fileTransferServiceFactory = [](PaneID) { return std::make_shared<PosixFileTransferService>(); };
    // Without a clipboard given, one that lives in this store only.
    if (!d.pasteboard) d.pasteboard = std::make_shared<InMemoryFilePasteboard>();
    if (!d.fileActionServiceFactory) {
        auto actions = std::make_shared<WorkspaceFileActionService>(d.pasteboard);
        d.fileActionServiceFactory = [actions](PaneID) { return actions; };
    }

    // The size map's chart is drawn as soon as the walk ends, from the part of the tree it shows.
    if (!d.scanEngineFactory)
        d.scanEngineFactory = [] {
            return std::make_shared<FastScanEngine>(
                FastScanEngine::Options {.drawableLimits = SizeMapSunburstLayoutService {}.drawableLimits()});
        };

    const DefaultsStore& defaults = *d.defaults;
    isSidebarVisible_ = defaults.boolValue(kSidebarVisibleKey, true);
    sidebarWidth_ = std::clamp(defaults.doubleValue(kSidebarWidthKey, 220), 160.0, 360.0);
    bottomInspectorHeight_ = std::clamp(defaults.doubleValue(kBottomInspectorHeightKey, 210), 150.0, 340.0);
    showHiddenFiles_ = defaults.boolValue(kShowHiddenFilesKey, false);
    loadViewOptions();
    loadFavorites();
    loadSidePreviewDefaults();

    makeInitialTabs();
    connect(this, &VelmoStore::activeTabChanged, this, &VelmoStore::noteActiveBrowserTab);
    for (auto signal : {&VelmoStore::activeTabChanged, &VelmoStore::activePaneChanged, &VelmoStore::tabsChanged})
        connect(this, signal, this, &VelmoStore::syncSidePreviewStateForCurrentSelection);
}

VelmoStore::~VelmoStore()
{
    teardown();
}

std::unique_ptr<VelmoStore> VelmoStore::live(std::shared_ptr<DefaultsStore> defaults, const QStringList& initialFolders)
{
    VelmoStoreDependencies dependencies;
    dependencies.defaults = std::move(defaults);
    dependencies.initialFolders = initialFolders;
    dependencies.pasteboard = std::make_shared<ClipboardFilePasteboard>();
    dependencies.restoresSession = true;
    auto store = std::make_unique<VelmoStore>(std::move(dependencies));
    return store;
}

// ---------------------------------------------------------------- folders

QString VelmoStore::systemDefaultFolderURL()
{
    QString downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (!downloads.isEmpty() && isFolder(downloads)) return FilePaths::standardized(downloads);
    return FilePaths::standardized(QDir::homePath());
}

QString VelmoStore::defaultFolderURL() const
{
    if (!dependencies_.defaultFolderURL.isEmpty()) return dependencies_.defaultFolderURL;
    const QString stored = dependencies_.defaults->stringValue(kDefaultFolderPathKey);
    if (!stored.isEmpty()) return FilePaths::standardized(stored);
    return systemDefaultFolderURL();
}

QString VelmoStore::restorableFolder(const QString& path, const QString& fallbackFolderURL)
{
    if (!path.isEmpty() && isFolder(path)) return FilePaths::standardized(path);
    if (!fallbackFolderURL.isEmpty() && isFolder(fallbackFolderURL)) return FilePaths::standardized(fallbackFolderURL);
    return FilePaths::standardized(systemDefaultFolderURL());
}

// ---------------------------------------------------------------- tabs

std::unique_ptr<FilePaneStore> VelmoStore::makePane(PaneID id, const QString& folder, const FilePaneServices& services)
{
    FilePaneStore::Configuration configuration;
    configuration.folderURL = folder;
    configuration.showHiddenFiles = showHiddenFiles_;
    configuration.directoryRefreshDebounceNanoseconds = dependencies_.directoryRefreshDebounceNanoseconds;
    auto pane = std::make_unique<FilePaneStore>(id, services, configuration);
    applyViewOptions(*pane, nullptr);
    wireFolderViewState(*pane);
    for (auto signal : {&FilePaneStore::transferChanged, &FilePaneStore::activeOperationChanged,
                        &FilePaneStore::loadingChanged, &FilePaneStore::folderSizeWorkChanged})
        connect(pane.get(), signal, this, &VelmoStore::activityChanged);
    // The rows matter too: a selected file that goes away takes its preview along.
    for (auto signal : {&FilePaneStore::selectionChanged, &FilePaneStore::rowsChanged})
        connect(pane.get(), signal, this, &VelmoStore::syncSidePreviewStateForCurrentSelection);
    return pane;
}

std::unique_ptr<BrowserPanes> VelmoStore::makeBrowserPanes(const QString& leftFolder, const QString& rightFolder)
{
    FilePaneServices left, right;
    left.listing = dependencies_.listingServiceFactory(PaneID::left);
    right.listing = dependencies_.listingServiceFactory(PaneID::right);
    left.opening = dependencies_.fileOpeningServiceFactory(PaneID::left);
    right.opening = dependencies_.fileOpeningServiceFactory(PaneID::right);
    left.transfer = dependencies_.fileTransferServiceFactory(PaneID::left);
    right.transfer = dependencies_.fileTransferServiceFactory(PaneID::right);
    left.watcher = dependencies_.directoryWatcherFactory(PaneID::left);
    right.watcher = dependencies_.directoryWatcherFactory(PaneID::right);
    left.clock = right.clock = dependencies_.clock;
    left.pasteboard = right.pasteboard = dependencies_.pasteboard;
    if (dependencies_.fileActionServiceFactory) {
        left.fileActions = dependencies_.fileActionServiceFactory(PaneID::left);
        right.fileActions = dependencies_.fileActionServiceFactory(PaneID::right);
    }
    if (dependencies_.operations) left.operations = right.operations = dependencies_.operations;
    auto panes = std::make_unique<BrowserPanes>(makePane(PaneID::left, leftFolder, left),
                                                makePane(PaneID::right, rightFolder, right));
    connect(panes.get(), &BrowserPanes::activePaneChanged, this, &VelmoStore::activePaneChanged);
    return panes;
}

WindowTab* VelmoStore::tab(const QUuid& id) const
{
    for (const auto& tab : tabs_)
        if (tab->id() == id) return tab.get();
    return nullptr;
}

int VelmoStore::indexOfTab(const QUuid& id) const
{
    for (std::size_t i = 0; i < tabs_.size(); ++i)
        if (tabs_[i]->id() == id) return int(i);
    return -1;
}

WindowTab* VelmoStore::activeTab() const
{
    if (auto* found = tab(activeTabID_)) return found;
    return tabs_.empty() ? nullptr : tabs_.front().get();
}

void VelmoStore::setActiveTabID(const QUuid& id)
{
    if (activeTabID_ == id) return;
    activeTabID_ = id;
    emit activeTabChanged();
    emit activePaneChanged();
}

void VelmoStore::appendAndActivate(std::unique_ptr<WindowTab> tab)
{
    const QUuid id = tab->id();
    tabs_.push_back(std::move(tab));
    emit tabsChanged();
    setActiveTabID(id);
}

WindowTab* VelmoStore::addTab()
{
    const QString folder = restorableFolder(defaultFolderURL(), systemDefaultFolderURL());
    auto panes = makeBrowserPanes(folder, folder);
    seedEntriesFromLoadedPane(panes->leftPane());
    seedEntriesFromLoadedPane(panes->rightPane());
    auto* left = panes->leftPane();
    auto* right = panes->rightPane();
    auto tab = std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Browser {std::move(panes)});
    WindowTab* added = tab.get();
    appendAndActivate(std::move(tab));
    if (isSessionAutosaveEnabled_) attachSessionAutosave(added->browserPanes());
    left->startLoad(left->currentURL());
    right->startLoad(right->currentURL());
    saveSession();
    return added;
}

WindowTab* VelmoStore::openSettingsTab()
{
    for (const auto& tab : tabs_)
        if (tab->isSettings()) {
            selectTab(tab->id());
            return tab.get();
        }
    auto tab = std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Settings {});
    WindowTab* added = tab.get();
    appendAndActivate(std::move(tab));
    return added;
}

std::optional<QUuid> VelmoStore::originBrowserTabID() const
{
    if (auto* active = activeTab(); active && active->isBrowser()) return active->id();
    for (const auto& tab : tabs_)
        if (tab->isBrowser()) return tab->id();
    return std::nullopt;
}

std::unique_ptr<WindowTab> VelmoStore::makeSizeMapTab(const QString& folderURL, std::optional<QUuid> origin)
{
    auto session = std::make_unique<SizeMapSession>(folderURL, origin, dependencies_.scanEngineFactory());
    return std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::SizeMap {std::move(session)});
}

QString VelmoStore::homeFolderURL() const
{
    return dependencies_.homeFolderURL.isEmpty() ? FilePaths::standardized(QDir::homePath()) : dependencies_.homeFolderURL;
}

std::unique_ptr<WindowTab> VelmoStore::makeSearchTab(const QString& folderURL, std::optional<QUuid> origin,
                                                     const QString& query)
{
    SearchSession::Dependencies services {dependencies_.searchService, nullptr, dependencies_.clock};
    auto session = std::make_unique<SearchSession>(folderURL, origin, std::move(services));
    session->setQuery(query);
    return std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Search {std::move(session)});
}

WindowTab* VelmoStore::addSearchTab()
{
    const auto origin = originBrowserTabID();
    const BrowserPanes* panes = origin ? tab(*origin)->browserPanes() : nullptr;
    const QString folder = panes ? panes->activePane()->currentURL() : homeFolderURL();
    WindowTab* added = tabs_.emplace_back(makeSearchTab(folder, origin, QString())).get();
    emit tabsChanged();
    setActiveTabID(added->id());
    saveSession();
    return added;
}

WindowTab* VelmoStore::openSizeMapTab(const QString& folderURL, bool startImmediately)
{
    WindowTab* added = tabs_.emplace_back(makeSizeMapTab(folderURL, originBrowserTabID())).get();
    emit tabsChanged();
    setActiveTabID(added->id());
    saveSession();
    if (startImmediately) added->sizeMapSession()->startScan();
    return added;
}

std::unique_ptr<WindowTab> VelmoStore::makeImageCompressionTab(const QStringList& urls, std::optional<QUuid> origin,
                                                               const QJsonObject& settings)
{
    auto session = std::make_unique<ImageCompressionSession>(urls, origin, CompressionSettings::fromJson(settings));
    connect(session.get(), &CompressionQueueSignals::tasksChanged, this, &VelmoStore::saveSession);
    return std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::ImageCompression {std::move(session)});
}

std::unique_ptr<WindowTab> VelmoStore::makePDFCompressionTab(const QStringList& urls, std::optional<QUuid> origin,
                                                             const QJsonObject& settings)
{
    auto session = std::make_unique<PDFCompressionSession>(urls, origin, PDFCompressionSettings::fromJson(settings));
    connect(session.get(), &CompressionQueueSignals::tasksChanged, this, &VelmoStore::saveSession);
    return std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::PDFCompression {std::move(session)});
}

WindowTab* VelmoStore::openImageCompressionTab(const QStringList& urls)
{
    if (urls.isEmpty()) return nullptr;
    appendAndActivate(makeImageCompressionTab(urls, originBrowserTabID(), {}));
    saveSession();
    return activeTab();
}

WindowTab* VelmoStore::openPDFCompressionTab(const QStringList& urls)
{
    if (urls.isEmpty()) return nullptr;
    appendAndActivate(makePDFCompressionTab(urls, originBrowserTabID(), {}));
    saveSession();
    return activeTab();
}

void VelmoStore::selectTab(const QUuid& id)
{
    if (id == activeTabID_ || !tab(id)) return;
    setActiveTabID(id);
    if (auto* panes = tab(id)->browserPanes(); panes && didLoadInitialPanes_)
        for (FilePaneStore* pane : {panes->leftPane(), panes->rightPane()})
            if (pane->loadState().kind == FilePaneLoadState::Kind::idle) pane->startLoad(pane->currentURL());
    saveSession();
}

void VelmoStore::moveTab(const QUuid& id, int toIndex)
{
    const int from = indexOfTab(id);
    if (from < 0) return;
    const int target = std::clamp(toIndex, 0, int(tabs_.size()) - 1);
    if (target == from) return;
    auto moving = std::move(tabs_[from]);
    tabs_.erase(tabs_.begin() + from);
    tabs_.insert(tabs_.begin() + target, std::move(moving));
    emit tabsChanged();
    saveSession();
}

TabCloseResult VelmoStore::closeTab(const QUuid& id)
{
    const int index = indexOfTab(id);
    if (index < 0) return TabCloseResult::notFound;
    if (tabs_.size() < 2) return TabCloseResult::lastTab;
    const bool wasActive = activeTab() && activeTab()->id() == id;
    std::unique_ptr<WindowTab> closing = std::move(tabs_[index]);
    if (auto closed = ClosedWindowTab::make(*closing, index)) rememberClosedTab(std::move(*closed));
    closing->teardown();
    tabs_.erase(tabs_.begin() + index);
    if (wasActive) {
        const int next = std::min(index, int(tabs_.size()) - 1);
        activeTabID_ = tabs_[next]->id();
    }
    emit tabsChanged();
    if (wasActive) {
        emit activeTabChanged();
        emit activePaneChanged();
    }
    saveSession();
    // Views may still hold the tab's panes until they hear of the change.
    closing.release()->deleteLater();
    return TabCloseResult::closed;
}

void VelmoStore::seedEntriesFromLoadedPane(FilePaneStore* pane)
{
    if (!pane->entries().empty()) return;
    for (FilePaneStore* other : allBrowserPanes()) {
        if (!other->entries().empty() && other->currentURL() == pane->currentURL()) {
            pane->seedEntries(other->entries(), other->sortedEntries(), other->visibleEntries(), other->treeRows());
            return;
        }
    }
}

// ---------------------------------------------------------------- panes

std::vector<FilePaneStore*> VelmoStore::allBrowserPanes() const
{
    std::vector<FilePaneStore*> panes;
    for (const auto& tab : tabs_)
        if (auto* browser = tab->browserPanes()) {
            panes.push_back(browser->leftPane());
            panes.push_back(browser->rightPane());
        }
    return panes;
}

BrowserPanes* VelmoStore::anyBrowserPanes() const
{
    if (auto* active = activeTab(); active && active->browserPanes()) return active->browserPanes();
    for (const auto& tab : tabs_)
        if (auto* panes = tab->browserPanes()) return panes;
    return nullptr;
}

BrowserPanes& VelmoStore::emergencyPanes()
{
    if (!emergencyPanes_) {
        const QString folder = restorableFolder(defaultFolderURL(), systemDefaultFolderURL());
        emergencyPanes_ = makeBrowserPanes(folder, folder);
    }
    return *emergencyPanes_;
}

FilePaneStore* VelmoStore::pane(PaneID id)
{
    if (auto* panes = anyBrowserPanes()) return panes->pane(id);
    return emergencyPanes().pane(id);
}

PaneID VelmoStore::activePaneID() const
{
    if (auto* panes = anyBrowserPanes()) return panes->activePaneID();
    return PaneID::left;
}

void VelmoStore::activate(PaneID id)
{
    if (activePaneID() == id) return;
    if (auto* active = activeTab(); active && active->browserPanes()) active->browserPanes()->setActivePaneID(id);
    saveSession();
}

void VelmoStore::loadInitialPanes()
{
    if (didLoadInitialPanes_) return;
    didLoadInitialPanes_ = true;
    auto loadIdle = [](FilePaneStore* pane) {
        if (pane->loadState().kind == FilePaneLoadState::Kind::idle) pane->startLoad(pane->currentURL());
    };
    // The active tab first; the other tabs of a restored session once its rows
    // are in (or when one is chosen), so many tabs don't hold up the first.
    BrowserPanes* active = activeTab() ? activeTab()->browserPanes() : nullptr;
    if (!active) {
        for (FilePaneStore* pane : allBrowserPanes()) loadIdle(pane);
        return;
    }
    loadIdle(active->leftPane());
    loadIdle(active->rightPane());
    auto loadRest = [this, loadIdle, active = QPointer<BrowserPanes>(active)] {
        if (active && (active->leftPane()->isLoading() || active->rightPane()->isLoading())) return false;
        // A moment later still, so the window is drawn before they start.
        dependencies_.clock->runAfter(kOtherTabsLoadDelayNanoseconds, this, [this, loadIdle] {
            for (FilePaneStore* pane : allBrowserPanes()) loadIdle(pane);
        });
        return true;
    };
    if (loadRest()) return;
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(this, &VelmoStore::activityChanged, this, [this, loadRest, connection] {
        if (loadRest()) disconnect(*connection);
    });
}

std::optional<QString> VelmoStore::activeSizeMapSelectionURL() const
{
    auto* active = activeTab();
    const BrowserPanes* panes = active ? active->browserPanes() : nullptr;
    if (!panes) return std::nullopt;
    for (const FilePaneStore* pane : {panes->activePane(), panes->leftPane(), panes->rightPane()}) {
        const FileEntryList selected = pane->selectedEntries();
        if (!selected.empty())
            if (auto url = selected.front()->sizeMapURL()) return url;
    }
    return std::nullopt;
}

std::optional<QString> VelmoStore::activeSizeMapTargetURL() const
{
    if (auto selection = activeSizeMapSelectionURL()) return selection;
    auto* active = activeTab();
    if (!active || !active->browserPanes()) return std::nullopt;
    return active->browserPanes()->activePane()->currentURL();
}

namespace {

QStringList selectedURLs(const BrowserPanes* panes, std::optional<QString> (FileEntry::*target)() const)
{
    if (!panes) return {};
    for (const FilePaneStore* pane : {panes->activePane(), panes->leftPane(), panes->rightPane()}) {
        QStringList urls;
        for (const auto& entry : pane->selectedEntries())
            if (auto url = ((*entry).*target)()) urls << *url;
        if (!urls.isEmpty()) return urls;
    }
    return {};
}

} // namespace

QStringList VelmoStore::activeImageCompressionSelectionURLs() const
{
    auto* active = activeTab();
    return selectedURLs(active ? active->browserPanes() : nullptr, &FileEntry::imageCompressionURL);
}

QStringList VelmoStore::activePDFCompressionSelectionURLs() const
{
    auto* active = activeTab();
    return selectedURLs(active ? active->browserPanes() : nullptr, &FileEntry::pdfCompressionURL);
}

void VelmoStore::goBackInActivePane()
{
    if (auto* active = activeTab(); active && active->browserPanes()) active->browserPanes()->activePane()->goBack();
}

void VelmoStore::goForwardInActivePane()
{
    if (auto* active = activeTab(); active && active->browserPanes()) active->browserPanes()->activePane()->goForward();
}

void VelmoStore::enterFolderInActivePane()
{
    if (auto* active = activeTab(); active && active->browserPanes()) active->browserPanes()->activePane()->enterFolder();
}

void VelmoStore::goUpInPane(PaneID id)
{
    auto* active = activeTab();
    if (!active || !active->browserPanes()) return;
    FilePaneStore* target = active->browserPanes()->pane(id);
    if (FilePaths::parent(target->currentURL()) == target->currentURL()) return;
    target->goUp();
}

std::vector<FileActivityItem> VelmoStore::activityItems() const
{
    std::vector<FileActivityItem> items;
    for (FilePaneStore* pane : allBrowserPanes()) {
        auto paneItems = pane->activityItems();
        items.insert(items.end(), std::make_move_iterator(paneItems.begin()), std::make_move_iterator(paneItems.end()));
    }
    return items;
}

void VelmoStore::cancelActivity(const QString& id)
{
    for (FilePaneStore* pane : allBrowserPanes())
        for (const FileActivityItem& item : pane->activityItems())
            if (item.id == id) pane->cancelActivity(id);
}

// ---------------------------------------------------------------- settings

void VelmoStore::setShowHiddenFiles(bool show)
{
    if (showHiddenFiles_ == show) return;
    showHiddenFiles_ = show;
    dependencies_.defaults->setValue(kShowHiddenFilesKey, show);
    for (FilePaneStore* pane : allBrowserPanes())
        if (pane->showHiddenFiles() != show) pane->setShowHiddenFiles(show);
    emit showHiddenFilesChanged();
}

void VelmoStore::updateSidebarWidth(double width, bool persist)
{
    if (width <= 0) return;
    const double clamped = std::clamp(width, 160.0, 360.0);
    if (std::abs(clamped - sidebarWidth_) < 0.5 && !persist) return;
    sidebarWidth_ = clamped;
    if (persist) dependencies_.defaults->setValue(kSidebarWidthKey, clamped);
    emit sidebarChanged();
}

void VelmoStore::updateBottomInspectorHeight(double height, bool persist)
{
    if (height <= 0) return;
    const double clamped = std::clamp(height, 150.0, 340.0);
    if (std::abs(clamped - bottomInspectorHeight_) < 0.5 && !persist) return;
    bottomInspectorHeight_ = clamped;
    if (persist) dependencies_.defaults->setValue(kBottomInspectorHeightKey, clamped);
}

void VelmoStore::teardown()
{
    if (didTeardown_) return;
    saveSession();
    didTeardown_ = true;
    for (const auto& tab : tabs_) tab->teardown();
}

FilePaneStore* VelmoStore::revealInBrowserPane(const QString& url, const std::optional<QUuid>& originTabID,
                                               bool unfoldInPlace)
{
    WindowTab* target = originTabID ? tab(*originTabID) : nullptr;
    if (target && !target->isBrowser()) target = nullptr;
    for (std::size_t i = 0; !target && i < tabs_.size(); ++i)
        if (tabs_[i]->isBrowser()) target = tabs_[i].get();
    if (!target) target = addTab();
    selectTab(target->id());
    FilePaneStore* pane = target->browserPanes()->activePane();
    const QString item = FilePaths::standardized(url);
    const QString folder = FilePaths::parent(item);
    if (pane->currentURL() == folder && !pane->isLoading()) {
        pane->setSelectedEntryIDs({item});
        return pane;
    }
    // Deeper below the pane's folder, the list can open the way down in place.
    if (unfoldInPlace && !pane->isLoading() && pane->fileViewMode() == VelmoFileViewMode::list
        && FilePaths::isDescendant(item, pane->currentURL()) && pane->revealInlineDescendant(item))
        return pane;
    pane->navigate(folder, true, false, item, item);
    return pane;
}
