#include "State/VelmoStore.h"

#include "PathKit/FilePaths.h"
#include "Support/PortablePathResolver.h"

#include <QHash>

namespace {

using Session = VelmoSessionState;

void configure(FilePaneStore* pane, VelmoFileViewMode mode, FileEntrySortColumn column, bool ascending)
{
    pane->setViewMode(mode);
    pane->setSortColumn(column);
    pane->setSortAscending(ascending);
}

std::optional<qint64> originIndexOf(const Session::Tab& record)
{
    return std::visit(
        [](const auto& tab) -> std::optional<qint64> {
            if constexpr (std::is_same_v<std::decay_t<decltype(tab)>, Session::BrowserTab>) return std::nullopt;
            else return tab.originBrowserTabIndex;
        },
        record);
}

void setOriginIndex(Session::Tab& record, std::optional<qint64> index)
{
    std::visit(
        [index](auto& tab) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(tab)>, Session::BrowserTab>)
                tab.originBrowserTabIndex = index;
        },
        record);
}

} // namespace

// ---------------------------------------------------------------- start

void VelmoStore::makeInitialTabs()
{
    auto& d = dependencies_;
    std::optional<VelmoSessionState> session;
    if (d.restoresSession) {
        // Stored folders inside a synced drive are found again where the drive is now.
        if (!d.restorePath)
            d.restorePath = [resolver = PortablePathResolver()](const QString& path, bool isDirectory) {
                return resolver.restoredURL(path, isDirectory);
            };
        sessionStore_ = std::make_unique<VelmoSessionStore>(d.defaults, d.restorePath);
        session = sessionStore_->load();
    }
    if (session && !session->tabs.empty()) restoreTabs(*session);
    // Folders named on the command line open in a tab of their own (the first
    // one when nothing was restored), even when they can't be read: the pane
    // then says why.
    const QStringList& initial = d.initialFolders;
    if (tabs_.empty() || !initial.isEmpty()) {
        const QString folder = restorableFolder(defaultFolderURL(), systemDefaultFolderURL());
        const QString left = initial.isEmpty() ? folder : FilePaths::standardized(initial[0]);
        const QString right = initial.size() > 1 ? FilePaths::standardized(initial[1]) : left;
        auto tab = std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Browser {makeBrowserPanes(left, right)});
        activeTabID_ = tab->id();
        tabs_.push_back(std::move(tab));
    }
    if (d.restoresSession) installSessionAutosave();
}

void VelmoStore::restoreTabs(const VelmoSessionState& session)
{
    const QString defaultFolder = defaultFolderURL();
    // Browser tabs first, so that a work surface finds its origin wherever it stands.
    QHash<qint64, QUuid> browserTabs;
    std::vector<std::unique_ptr<WindowTab>> made(session.tabs.size());
    for (std::size_t i = 0; i < session.tabs.size(); ++i) {
        const auto* record = std::get_if<Session::BrowserTab>(&session.tabs[i]);
        if (!record) continue;
        auto panes = makeBrowserPanes(restorableFolder(record->leftPath, defaultFolder),
                                      restorableFolder(record->rightPath, defaultFolder));
        configure(panes->leftPane(), record->leftViewMode, record->leftSortColumn, record->leftSortAscending);
        configure(panes->rightPane(), record->rightViewMode, record->rightSortColumn, record->rightSortAscending);
        panes->setActivePaneID(record->activePane);
        // A folder with a layout of its own shows it; otherwise the session's sort is kept as the folder's.
        adoptStoredFolderViewStates(*panes);
        made[i] = std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Browser {std::move(panes)});
        browserTabs.insert(qint64(i), made[i]->id());
    }
    for (std::size_t i = 0; i < session.tabs.size(); ++i) {
        if (made[i]) continue;
        const auto origin = originIndexOf(session.tabs[i]);
        const auto originID = origin && browserTabs.contains(*origin) ? std::optional(browserTabs[*origin]) : std::nullopt;
        // A size map comes back idle: a scan of a large folder waits until asked for.
        if (const auto* sizeMap = std::get_if<Session::SizeMapTab>(&session.tabs[i]))
            made[i] = makeSizeMapTab(restorableFolder(sizeMap->folderPath, defaultFolder), originID);
        // A search comes back with its folder and query, and runs only when asked.
        else if (const auto* search = std::get_if<Session::SearchTab>(&session.tabs[i]))
            made[i] = makeSearchTab(restorableFolder(search->folderPath, defaultFolder), originID, search->query);
        // Compression tabs read their files again and compress them anew into a new cache.
        else if (const auto* images = std::get_if<Session::ImageCompressionTab>(&session.tabs[i]))
            made[i] = makeImageCompressionTab(images->sourcePaths, originID, images->settings);
        else if (const auto* pdfs = std::get_if<Session::PDFCompressionTab>(&session.tabs[i]))
            made[i] = makePDFCompressionTab(pdfs->sourcePaths, originID, pdfs->settings);
        else
            dormantSessionTabs_.push_back({session.tabs[i], qint64(i), originID});
    }
    // The active record, or the nearest open tab to its right, or the last.
    const qint64 active = std::clamp<qint64>(session.activeTabIndex, 0, qint64(session.tabs.size()) - 1);
    std::optional<QUuid> activeID;
    for (std::size_t i = 0; i < made.size(); ++i) {
        if (!made[i]) continue;
        if (!activeID && qint64(i) >= active) activeID = made[i]->id();
        tabs_.push_back(std::move(made[i]));
    }
    if (tabs_.empty()) return;
    activeTabID_ = activeID ? *activeID : tabs_.back()->id();
}

// ---------------------------------------------------------------- capture and save

VelmoSessionState VelmoStore::captureSessionState() const
{
    // The document's order: the window's restorable tabs, with the stored work
    // surfaces this build doesn't open back at their places.
    struct Slot {
        const WindowTab* tab = nullptr;
        const DormantSessionTab* dormant = nullptr;
    };
    std::vector<Slot> order;
    // Size maps are rebuilt by scanning, not stored: a large scan never starts by itself at launch.
    auto isStored = [](const WindowTab& tab) {
        return tab.isBrowser() || tab.searchSession() || tab.imageCompressionSession() || tab.pdfCompressionSession();
    };
    for (const auto& tab : tabs_)
        if (isStored(*tab)) order.push_back({tab.get(), nullptr});
    for (const DormantSessionTab& dormant : dormantSessionTabs_) {
        const auto at = std::min<std::size_t>(std::size_t(std::max<qint64>(dormant.position, 0)), order.size());
        order.insert(order.begin() + qsizetype(at), Slot {nullptr, &dormant});
    }
    QHash<QUuid, qint64> indexOfTab;
    for (std::size_t i = 0; i < order.size(); ++i)
        if (order[i].tab) indexOfTab.insert(order[i].tab->id(), qint64(i));

    VelmoSessionState state;
    for (const Slot& place : order) {
        if (place.dormant) {
            Session::Tab record = place.dormant->record;
            const auto& origin = place.dormant->originBrowserTabID;
            setOriginIndex(record, origin && indexOfTab.contains(*origin) ? std::optional(indexOfTab[*origin])
                                                                           : std::nullopt);
            state.tabs.push_back(std::move(record));
            continue;
        }
        if (const SearchSession* search = place.tab->searchSession()) {
            const auto& origin = search->originBrowserTabID();
            state.tabs.push_back(Session::SearchTab {
                FilePaths::standardized(search->folderURL()), search->query(),
                origin && indexOfTab.contains(*origin) ? std::optional(indexOfTab[*origin]) : std::nullopt});
            continue;
        }
        auto originIndex = [&indexOfTab](const std::optional<QUuid>& origin) {
            return origin && indexOfTab.contains(*origin) ? std::optional(indexOfTab[*origin]) : std::nullopt;
        };
        auto standardized = [](const QStringList& paths) {
            QStringList out;
            for (const QString& path : paths) out << FilePaths::standardized(path);
            return out;
        };
        if (const ImageCompressionSession* images = place.tab->imageCompressionSession()) {
            Session::ImageCompressionTab record;
            record.sourcePaths = standardized(images->restorableSourceURLs());
            record.settings = images->settings().toJson();
            record.originBrowserTabIndex = originIndex(images->originBrowserTabID());
            state.tabs.push_back(std::move(record));
            continue;
        }
        if (const PDFCompressionSession* pdfs = place.tab->pdfCompressionSession()) {
            Session::PDFCompressionTab record;
            record.sourcePaths = standardized(pdfs->restorableSourceURLs());
            record.settings = pdfs->settings().toJson();
            record.originBrowserTabIndex = originIndex(pdfs->originBrowserTabID());
            state.tabs.push_back(std::move(record));
            continue;
        }
        if (const SizeMapSession* sizeMap = place.tab->sizeMapSession()) {
            const auto& origin = sizeMap->originBrowserTabID();
            state.tabs.push_back(Session::SizeMapTab {
                FilePaths::standardized(sizeMap->folderURL()),
                origin && indexOfTab.contains(*origin) ? std::optional(indexOfTab[*origin]) : std::nullopt});
            continue;
        }
        const BrowserPanes* panes = place.tab->browserPanes();
        const FilePaneStore* left = panes->leftPane();
        const FilePaneStore* right = panes->rightPane();
        state.tabs.push_back(Session::BrowserTab {
            FilePaths::standardized(left->currentURL()), FilePaths::standardized(right->currentURL()),
            panes->activePaneID(), left->fileViewMode(), right->fileViewMode(), left->sortColumn(),
            left->sortAscending(), right->sortColumn(), right->sortAscending()});
    }
    // A tab that isn't stored (settings) hands the active place to the next stored
    // tab to its right, or the last one.
    qint64 before = 0;
    bool found = false;
    for (const auto& tab : tabs_) {
        if (tab->id() == activeTabID_) {
            found = true;
            if (isStored(*tab)) before = indexOfTab.value(tab->id());
            break;
        }
        if (isStored(*tab)) before = indexOfTab.value(tab->id()) + 1;
    }
    state.activeTabIndex = state.tabs.empty() || !found ? 0 : std::clamp<qint64>(before, 0, qint64(state.tabs.size()) - 1);
    return state;
}

void VelmoStore::installSessionAutosave()
{
    if (!sessionStore_) sessionStore_ = std::make_unique<VelmoSessionStore>(dependencies_.defaults, dependencies_.restorePath);
    isSessionAutosaveEnabled_ = true;
    for (const auto& tab : tabs_)
        if (auto* panes = tab->browserPanes()) attachSessionAutosave(panes);
}

void VelmoStore::attachSessionAutosave(BrowserPanes* panes)
{
    for (FilePaneStore* pane : {panes->leftPane(), panes->rightPane()}) {
        auto previous = pane->onDidChangeRestorableState;
        pane->onDidChangeRestorableState = [this, previous] {
            if (previous) previous();
            saveSession();
        };
    }
}

void VelmoStore::saveSession()
{
    if (isSessionAutosaveEnabled_ && sessionStore_) sessionStore_->save(captureSessionState());
}

// ---------------------------------------------------------------- closed tabs

void VelmoStore::rememberClosedTab(ClosedWindowTab closed)
{
    recentlyClosedTabs_.push_back(std::move(closed));
    while (recentlyClosedTabs_.size() > kMaximumClosedTabs) recentlyClosedTabs_.erase(recentlyClosedTabs_.begin());
    emit closedTabsChanged();
}

WindowTab* VelmoStore::reopenLastClosedTab()
{
    if (recentlyClosedTabs_.empty()) return nullptr;
    return reopenClosedTab(recentlyClosedTabs_.size() - 1);
}

WindowTab* VelmoStore::reopenClosedTab(std::size_t index)
{
    if (index >= recentlyClosedTabs_.size()) return nullptr;
    ClosedWindowTab closed = std::move(recentlyClosedTabs_[index]);
    recentlyClosedTabs_.erase(recentlyClosedTabs_.begin() + qsizetype(index));
    emit closedTabsChanged();
    // There is only ever one settings tab.
    if (std::holds_alternative<ClosedWindowTab::Settings>(closed.kind))
        for (const auto& tab : tabs_)
            if (tab->isSettings()) {
                selectTab(tab->id());
                return tab.get();
            }
    std::unique_ptr<WindowTab> tab = makeTab(closed);
    WindowTab* reopened = tab.get();
    const auto at = std::clamp<qint64>(closed.index, 0, qint64(tabs_.size()));
    tabs_.insert(tabs_.begin() + qsizetype(at), std::move(tab));
    emit tabsChanged();
    setActiveTabID(reopened->id());
    if (auto* panes = reopened->browserPanes()) {
        if (isSessionAutosaveEnabled_) attachSessionAutosave(panes);
        for (FilePaneStore* pane : {panes->leftPane(), panes->rightPane()}) {
            seedEntriesFromLoadedPane(pane);
            pane->startLoad(pane->currentURL());
        }
    }
    saveSession();
    if (auto* session = reopened->sizeMapSession()) session->startScan();
    return reopened;
}

std::unique_ptr<WindowTab> VelmoStore::makeTab(const ClosedWindowTab& closed)
{
    if (const auto* sizeMap = std::get_if<ClosedWindowTab::SizeMap>(&closed.kind))
        return makeSizeMapTab(sizeMap->folderURL, sizeMap->originBrowserTabID);
    if (const auto* search = std::get_if<ClosedWindowTab::Search>(&closed.kind))
        return makeSearchTab(search->folderURL, search->originBrowserTabID, search->query);
    const auto* browser = std::get_if<ClosedWindowTab::Browser>(&closed.kind);
    if (!browser) return std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Settings {});
    auto panes = makeBrowserPanes(browser->leftPane.url, browser->rightPane.url);
    for (const auto& [pane, snapshot] : {std::pair {panes->leftPane(), &browser->leftPane},
                                         std::pair {panes->rightPane(), &browser->rightPane}}) {
        configure(pane, snapshot->fileViewMode, snapshot->sortColumn, snapshot->sortAscending);
        // The rows show at once; the listing then brings them up to date.
        pane->setEntries(snapshot->entries);
        pane->setSelectedEntryIDs(snapshot->selectedEntryIDs);
    }
    panes->setActivePaneID(browser->activePane);
    return std::make_unique<WindowTab>(QUuid::createUuid(), WindowTab::Browser {std::move(panes)});
}
