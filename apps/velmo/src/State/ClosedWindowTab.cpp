#include "State/ClosedWindowTab.h"

#include "PathKit/FilePaths.h"
#include "State/WindowTab.h"

namespace {

ClosedWindowTab::PaneSnapshot snapshot(const FilePaneStore& pane)
{
    return {pane.currentURL(), pane.entries(),      pane.selectedEntryIDs(),
            pane.fileViewMode(), pane.sortColumn(), pane.sortAscending()};
}

} // namespace

std::optional<ClosedWindowTab> ClosedWindowTab::make(const WindowTab& tab, qint64 index)
{
    if (const BrowserPanes* panes = tab.browserPanes())
        return ClosedWindowTab {index, Browser {snapshot(*panes->leftPane()), snapshot(*panes->rightPane()),
                                                panes->activePaneID()}};
    if (const SizeMapSession* session = tab.sizeMapSession())
        return ClosedWindowTab {index, SizeMap {session->folderURL(), session->originBrowserTabID()}};
    if (const SearchSession* session = tab.searchSession())
        return ClosedWindowTab {index, Search {session->folderURL(), session->query(), session->originBrowserTabID()}};
    if (tab.isSettings()) return ClosedWindowTab {index, Settings {}};
    return std::nullopt;
}

QString ClosedWindowTab::title() const
{
    if (const auto* browser = std::get_if<Browser>(&kind)) {
        const auto& pane = browser->activePane == PaneID::left ? browser->leftPane : browser->rightPane;
        const QString name = FilePaths::lastComponent(pane.url);
        return name.isEmpty() ? pane.url : FilePaths::displayName(name);
    }
    if (const auto* sizeMap = std::get_if<SizeMap>(&kind)) {
        const QString name = FilePaths::lastComponent(sizeMap->folderURL);
        return name.isEmpty() ? QStringLiteral("Size Map") : FilePaths::displayName(name);
    }
    if (const auto* search = std::get_if<Search>(&kind)) {
        const QString query = search->query.trimmed();
        return query.isEmpty() ? QStringLiteral("Search") : QStringLiteral("Search: ") + query;
    }
    return QStringLiteral("Settings");
}
