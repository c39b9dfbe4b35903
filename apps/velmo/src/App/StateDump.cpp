#include "App/StateDump.h"

#include "Models/FilePaneCellText.h"
#include "State/VelmoStore.h"

#include <QJsonArray>

namespace {

QJsonArray strings(const QStringList& list)
{
    return QJsonArray::fromStringList(list);
}

QString loadStateText(const FilePaneLoadState& state)
{
    switch (state.kind) {
    case FilePaneLoadState::Kind::failed: return QStringLiteral("failed");
    case FilePaneLoadState::Kind::idle: return QStringLiteral("idle");
    case FilePaneLoadState::Kind::loading: return QStringLiteral("loading");
    case FilePaneLoadState::Kind::ready: return QStringLiteral("ready");
    }
    return {};
}

QString transferKindText(FileTransferKind kind)
{
    switch (kind) {
    case FileTransferKind::copy: return QStringLiteral("copy");
    case FileTransferKind::link: return QStringLiteral("link");
    case FileTransferKind::move: return QStringLiteral("move");
    case FileTransferKind::pasteCopy: return QStringLiteral("pasteCopy");
    case FileTransferKind::pasteMove: return QStringLiteral("pasteMove");
    case FileTransferKind::undoMove: return QStringLiteral("undoMove");
    }
    return {};
}

QJsonObject dumpActivity(const FileActivityItem& item)
{
    QJsonObject out {{"id", item.id}, {"title", item.title}, {"detail", item.detail},
                     {"isCancellable", item.isCancellable}, {"isCancelling", item.isCancelling}};
    if (item.progressFraction) out["progressFraction"] = *item.progressFraction;
    return out;
}

// The view options as they are stored, every field present.
QJsonObject dumpViewOptions(const VelmoStore& store)
{
    return store.viewOptions().toJson();
}

// The sidebar's favorites in order, and the row highlighted for the active tab.
void dumpFavorites(const VelmoStore& store, QJsonObject& out)
{
    QJsonArray favorites;
    for (const FavoriteItem& item : store.favorites()) {
        QJsonObject entry {{"id", item.id.toString(QUuid::WithoutBraces)}, {"name", item.name},
                           {"kind", FavoriteItem::kindText(item.kind)}, {"url", item.url}};
        if (auto pair = item.panePairURLs()) {
            entry["leftPaneURL"] = pair->first;
            entry["rightPaneURL"] = pair->second;
        }
        favorites.append(entry);
    }
    out["favorites"] = favorites;
    const auto selected = store.selectedFavoriteID();
    out["selectedFavoriteID"] = selected ? QJsonValue(selected->toString(QUuid::WithoutBraces)) : QJsonValue();
}

// The stored layout of each browser pane's folder; null where the folder has no
// record and follows the defaults.
QJsonObject dumpFolderViewStates(const VelmoStore& store)
{
    QJsonArray panes;
    for (const auto& tab : store.tabs())
        if (auto* browser = tab->browserPanes())
            for (const FilePaneStore* pane : {browser->leftPane(), browser->rightPane()}) {
                const auto state = store.folderViewStates().state(pane->currentURL());
                panes.append(QJsonObject {{"tab", tab->id().toString(QUuid::WithoutBraces)},
                                          {"pane", paneIDText(pane->id())},
                                          {"folder", pane->currentURL()},
                                          {"state", state ? QJsonValue(state->toJSON()) : QJsonValue()}});
            }
    return {{"savedFolderCount", qint64(store.folderViewStates().recency().size())}, {"panes", panes}};
}

// How a folder row's triangle stands: what is known without listing ("unknown"
// until a probe answers), or that it is open or loading.
QString inlineExpansionText(const FilePaneStore& pane, const QString& id)
{
    const FilePaneInlineTree& tree = pane.inlineTree();
    if (tree.loadingFolderPaths.contains(id)) return "loading";
    if (tree.expandedFolderPaths.contains(id)) return "expanded";
    if (tree.knowledge.childlessFolderPaths.contains(id)) return "childless";
    if (tree.knowledge.knownExpandableFolderPaths.contains(id)) return "collapsed";
    return "unknown";
}

// {"state":"calculated","bytes":123}; bytes only where known.
QJsonObject dumpFolderSize(const FolderSizeState& state)
{
    static const char* const names[] = {"calculating", "calculated", "skipped", "failed"};
    QJsonObject out {{"state", names[int(state.kind)]}};
    if (state.bytes) out["bytes"] = *state.bytes;
    return out;
}

QJsonObject dumpContentCount(const FolderContentCountState& state)
{
    static const char* const names[] = {"calculating", "calculated", "failed"};
    QJsonObject out {{"state", names[int(state.kind)]}};
    if (state.kind == FolderContentCountState::Kind::calculated) {
        out["files"] = state.count.fileCount;
        out["folders"] = state.count.folderCount;
    }
    return out;
}

QString scanPhaseText(SizeMapSession::ScanPhase phase)
{
    switch (phase) {
    case SizeMapSession::ScanPhase::idle: return QStringLiteral("idle");
    case SizeMapSession::ScanPhase::scanning: return QStringLiteral("scanning");
    case SizeMapSession::ScanPhase::finished: return QStringLiteral("finished");
    case SizeMapSession::ScanPhase::failed: return QStringLiteral("failed");
    case SizeMapSession::ScanPhase::stopped: return QStringLiteral("stopped");
    }
    return {};
}

QJsonValue nodePath(const std::optional<ScanNodeRecord>& node)
{
    return node ? QJsonValue(node->url) : QJsonValue();
}

} // namespace

QJsonObject StateDump::dumpSizeMap(const SizeMapSession& session)
{
    QJsonObject out {{"root", session.folderURL()},
                     {"title", session.title()},
                     {"scanState", scanPhaseText(session.phase())},
                     {"scanGeneration", qint64(session.scanGeneration())},
                     {"progressText", session.progressText()},
                     {"chromeStatus", session.chromeStatus()},
                     {"focusedNode", nodePath(session.focusedNode())},
                     {"selectedNode", nodePath(session.selectedNode())},
                     {"breadcrumbTrail", session.breadcrumbTrailURL()},
                     {"segmentsDrawn", session.segmentsDrawn()}};
    if (session.originBrowserTabID()) out["originBrowserTabID"] = session.originBrowserTabID()->toString(QUuid::WithoutBraces);
    if (session.errorMessage()) out["errorMessage"] = *session.errorMessage();
    const auto& progress = session.progressSnapshot();
    out["counters"] = QJsonObject {{"items", session.itemsScanned()},
                                   {"folders", session.foldersScanned()},
                                   {"skipped", progress ? progress->unreadableCount : 0},
                                   {"sizeSoFar", session.sizeSoFar()}};
    // The root's sizes: what the live tree holds so far, the totals once finished.
    const auto root = session.tree() ? session.tree()->rootNode() : std::nullopt;
    out["totals"] = QJsonObject {{"allocated", root ? root->allocatedSize : 0}, {"logical", root ? root->logicalSize : 0},
                                 {"nodeCount", session.tree() ? qint64(session.tree()->nodesByID.size()) : 0}};
    if (const auto& summary = session.summary())
        out["summary"] = QJsonObject {{"items", summary->itemsScanned},
                                      {"folders", summary->directoriesScanned},
                                      {"files", summary->filesScanned},
                                      {"unreadable", summary->unreadableCount},
                                      {"totalAllocatedSize", summary->totalAllocatedSize}};
    QJsonArray crumbs;
    for (const SizeMapBreadcrumbEntry& entry : session.displayBreadcrumbs()) {
        QJsonObject crumb {{"id", entry.id}, {"title", entry.title}, {"isActive", entry.isActive},
                           {"url", entry.url ? QJsonValue(*entry.url) : QJsonValue()},
                           // An entry above the scanned folder starts a new scan.
                           {"startsNewScan", !entry.nodeID && entry.url}};
        crumbs.append(crumb);
    }
    out["breadcrumbs"] = crumbs;
    QJsonArray children;
    for (const ScanNodeRecord& child : session.focusedChildren())
        children.append(QJsonObject {{"name", child.displayName}, {"allocated", child.allocatedSize}});
    out["focusedChildren"] = children;
    return out;
}

QJsonObject StateDump::dumpPane(const FilePaneStore& pane, const VelmoViewOptions& options)
{
    QJsonObject out;
    out["id"] = paneIDText(pane.id());
    out["folder"] = pane.currentURL();
    out["loadState"] = loadStateText(pane.loadState());
    if (pane.loadState().isFailed()) out["failure"] = pane.loadState().failureMessage;
    out["entryCount"] = qint64(pane.entries().size());
    // Each row with the texts its cells show, column by column as on screen.
    const auto columns = FileEntryColumns::shown(pane.visibleColumns(), pane.columnOrder());
    QJsonArray columnIDs;
    for (FileEntrySortColumn column : columns) columnIDs.append(FileEntryColumns::id(column));
    out["columns"] = columnIDs;
    QJsonArray rows;
    for (const auto& row : pane.treeRows()) {
        const auto folder = row.entry->isDirectory ? pane.folderStates(row.entry->id) : FilePaneCellText::FolderStates {};
        QJsonObject cells;
        for (FileEntrySortColumn column : columns)
            cells[FileEntryColumns::id(column)] = FilePaneCellText::text(*row.entry, column, options, {}, folder);
        QJsonObject item {{"id", row.entry->id}, {"name", row.entry->name}, {"depth", row.depth}, {"cells", cells}};
        if (FilePaneStore::isInlineExpandable(*row.entry)) item["expansion"] = inlineExpansionText(pane, row.entry->id);
        if (folder.size) item["folderSizeState"] = dumpFolderSize(*folder.size);
        if (folder.contents) item["contentCountState"] = dumpContentCount(*folder.contents);
        rows.append(item);
    }
    out["rows"] = rows;
    QStringList expanded = pane.inlineTree().expandedFolderPaths.values();
    expanded.sort();
    out["expandedFolders"] = strings(expanded);
    QStringList watched = pane.inlineWatchedPaths();
    watched.sort();
    out["expandedFolderWatches"] = strings(watched);
    // The selection in row order, as the file actions see it.
    QStringList selection;
    for (const auto& entry : pane.selectedEntries()) selection.append(entry->id);
    out["selection"] = strings(selection);
    if (pane.pendingSelectionEntryID()) out["pendingSelection"] = *pane.pendingSelectionEntryID();
    out["backStack"] = strings(pane.backStack());
    out["forwardStack"] = strings(pane.forwardStack());
    out["sortColumn"] = FileEntryColumns::id(pane.sortColumn());
    out["sortAscending"] = pane.sortAscending();
    out["viewMode"] = viewModeText(pane.fileViewMode());
    out["filterText"] = pane.filterText();
    out["showHiddenFiles"] = pane.showHiddenFiles();
    out["breadcrumbTrail"] = pane.breadcrumbTrailURL();
    QJsonArray crumbs;
    for (const auto& item : pane.breadcrumbs()) crumbs.append(QJsonObject {{"title", item.title}, {"url", item.url}});
    out["breadcrumbs"] = crumbs;
    if (pane.actionToast())
        out["toast"] = QJsonObject {{"text", pane.actionToast()->text},
                                    {"kind", pane.actionToast()->kind == ToastMessage::Kind::error ? "error" : "info"}};
    if (pane.watchedURL()) out["watchedURL"] = *pane.watchedURL();
    if (pane.activeOperationTitle()) out["activeOperation"] = *pane.activeOperationTitle();
    if (const auto& transfer = pane.activeTransfer())
        out["activeTransfer"] = QJsonObject {{"id", transfer->id.toString(QUuid::WithoutBraces)},
                                             {"kind", transferKindText(transfer->kind)},
                                             {"title", transfer->title()},
                                             {"detail", transfer->detail()},
                                             {"destination", transfer->destinationURL},
                                             {"completed", transfer->progress.completedItemCount},
                                             {"total", transfer->progress.totalItemCount},
                                             {"isCancelling", transfer->isCancelling}};
    // Oldest first: the last element is what undo takes back next.
    QJsonArray undo;
    for (const auto& action : pane.undoStack())
        undo.append(QJsonObject {{"kind", action.kindText()}, {"paths", strings(action.currentPaths())}});
    out["undoStack"] = undo;
    if (pane.permissionDeniedURLs()) out["permissionDeniedURLs"] = strings(*pane.permissionDeniedURLs());
    if (pane.pendingInlineRenameEntryID()) out["pendingInlineRename"] = *pane.pendingInlineRenameEntryID();
    return out;
}

QJsonObject StateDump::dumpSearch(const SearchSession& session)
{
    QJsonObject out {{"query", session.query()},
                     {"mode", FileSearchTargets::rawValue(session.searchTarget())},
                     {"scope", session.folderURL()},
                     {"status", session.statusText()},
                     {"isSearching", session.isSearching()},
                     {"elapsedSeconds", session.elapsedSearchTime()},
                     {"generation", session.searchGeneration()},
                     {"resultCount", qint64(session.results().size())}};
    if (const auto& progress = session.latestProgress()) {
        out["skipped"] = progress->skippedItemCount;
        out["phase"] = progress->phase == FileSearchPhase::indexed ? "indexed" : "recursive";
        out["didReachLimit"] = progress->didReachLimit;
    }
    static constexpr const char* columns[] = {"name", "kind", "path"};
    out["sortColumn"] = columns[int(session.sortColumn())];
    out["sortAscending"] = session.sortAscending();
    if (session.selectedResultID()) out["selectedResult"] = *session.selectedResultID();
    // The first rows as the list shows them, sorted.
    QJsonArray first;
    for (const FileSearchResult& result : session.sortedResults()) {
        if (first.size() == 50) break;
        QJsonObject row {{"name", result.name}, {"path", result.url}, {"folder", result.parentPath},
                         {"isDirectory", result.isDirectory}};
        if (result.localizedKind) row["kind"] = *result.localizedKind;
        first.append(row);
    }
    out["firstResults"] = first;
    return out;
}

namespace {

template <typename Settings>
QJsonObject dumpCompressionTask(const CompressionTask<Settings>& task, bool upToDate)
{
    QJsonObject row {{"fileName", task.fileName},
                     {"source", task.sourceURL},
                     {"status", rawValue(task.status)},
                     {"originalSize", task.originalSize},
                     {"upToDate", upToDate},
                     {"settings", task.settings.toJson()}};
    if (task.compressedFileURL) row["result"] = *task.compressedFileURL;
    if (task.compressedSize) row["compressedSize"] = *task.compressedSize;
    if (task.errorMessage) row["error"] = *task.errorMessage;
    return row;
}

template <typename Queue>
QJsonObject dumpCompressionQueue(const Queue& queue)
{
    QJsonObject out {{"title", queue.title()},
                     {"settings", queue.settings().toJson()},
                     {"cacheDirectory", queue.cacheDirectory()},
                     {"isSaving", queue.isSaving()},
                     {"running", queue.runningCompressions()},
                     {"restorableSourceURLs", QJsonArray::fromStringList(queue.restorableSourceURLs())}};
    if (queue.statusMessage()) out["status"] = *queue.statusMessage();
    auto issues = [](const std::vector<CompressionIssue>& list) {
        QJsonArray array;
        for (const auto& issue : list) array.append(QJsonObject {{"fileName", issue.fileName}, {"reason", issue.reason}});
        return array;
    };
    out["importIssues"] = issues(queue.importIssues());
    out["exportIssues"] = issues(queue.exportIssues());
    return out;
}

} // namespace

QJsonObject StateDump::dump(const VelmoStore& store)
{
    QJsonObject out;
    QJsonArray tabs;
    for (const auto& tab : store.tabs()) {
        QJsonObject item {{"id", tab->id().toString(QUuid::WithoutBraces)}, {"title", tab->title()}};
        if (auto* panes = tab->browserPanes()) {
            item["kind"] = "browser";
            item["activePane"] = paneIDText(panes->activePaneID());
            if (panes->expandedPaneID()) item["expandedPane"] = paneIDText(*panes->expandedPaneID());
            item["left"] = dumpPane(*panes->leftPane(), store.viewOptions());
            item["right"] = dumpPane(*panes->rightPane(), store.viewOptions());
        } else if (const SizeMapSession* session = tab->sizeMapSession()) {
            item["kind"] = "sizeMap";
            item["sizeMap"] = dumpSizeMap(*session);
        } else if (const SearchSession* session = tab->searchSession()) {
            item["kind"] = "search";
            item["search"] = dumpSearch(*session);
        } else if (const ImageCompressionSession* session = tab->imageCompressionSession()) {
            item["kind"] = "imageCompression";
            QJsonObject images = dumpCompressionQueue(*session);
            QJsonArray tasks;
            for (const ImageCompressionTask& task : session->tasks()) {
                QJsonObject row = dumpCompressionTask(task, ImageCompressionSession::isUpToDate(task));
                row["dimensions"] = ImageCompressionSession::dimensionsSummaryText(task);
                row["summary"] = ImageCompressionSession::compressedSizeSummaryText(task);
                if (task.outputFormat) row["outputFormat"] = rawValue(*task.outputFormat);
                tasks.append(row);
            }
            images["tasks"] = tasks;
            QJsonArray formats;
            for (OutputFormat format : session->availableFormats()) formats.append(rawValue(format));
            images["availableFormats"] = formats;
            item["imageCompression"] = images;
        } else if (const PDFCompressionSession* session = tab->pdfCompressionSession()) {
            item["kind"] = "pdfCompression";
            QJsonObject pdfs = dumpCompressionQueue(*session);
            QJsonArray tasks;
            for (const PDFCompressionTask& task : session->tasks()) {
                QJsonObject row = dumpCompressionTask(task, PDFCompressionSession::isUpToDate(task));
                row["pageCount"] = task.pageCount;
                row["summary"] = PDFCompressionSession::compressedSizeSummaryText(task);
                if (task.compressionStrategy) row["strategy"] = *task.compressionStrategy;
                row["keptOriginal"] = task.keptOriginal;
                tasks.append(row);
            }
            pdfs["tasks"] = tasks;
            QJsonArray profiles;
            for (PDFCompressionProfile profile : session->availableProfiles())
                profiles.append(PDFCompressionProfiles::rawValue(profile));
            pdfs["availableProfiles"] = profiles;
            item["pdfCompression"] = pdfs;
        } else {
            item["kind"] = "settings";
        }
        tabs.append(item);
    }
    out["tabs"] = tabs;
    out["activeTabID"] = store.activeTabID().toString(QUuid::WithoutBraces);
    out["showHiddenFiles"] = store.showHiddenFiles();
    out["isSidebarVisible"] = store.isSidebarVisible();
    out["sidebarWidth"] = store.sidebarWidth();
    QJsonArray activity;
    for (const auto& item : store.activityItems()) activity.append(dumpActivity(item));
    out["activityItems"] = activity;
    out["viewOptions"] = dumpViewOptions(store);
    dumpFavorites(store, out);
    // Newest last, as "Reopen Closed Tab" takes them.
    QJsonArray closed;
    for (const ClosedWindowTab& tab : store.recentlyClosedTabs()) {
        QJsonObject item {{"index", tab.index}, {"title", tab.title()}};
        if (const auto* browser = std::get_if<ClosedWindowTab::Browser>(&tab.kind)) {
            item["kind"] = "browser";
            item["left"] = browser->leftPane.url;
            item["right"] = browser->rightPane.url;
        } else if (const auto* sizeMap = std::get_if<ClosedWindowTab::SizeMap>(&tab.kind)) {
            item["kind"] = "sizeMap";
            item["folder"] = sizeMap->folderURL;
        } else if (const auto* search = std::get_if<ClosedWindowTab::Search>(&tab.kind)) {
            item["kind"] = "search";
            item["folder"] = search->folderURL;
            item["query"] = search->query;
        } else {
            item["kind"] = "settings";
        }
        closed.append(item);
    }
    out["recentlyClosedTabs"] = closed;
    out["folderViewStates"] = dumpFolderViewStates(store);
    QJsonObject previews {{"autoOpen", store.autoOpenSidePreview(SidePreviewKind::pdf)}};
    if (const auto preview = store.activeSidePreview()) {
        previews["kind"] = rawValue(preview->kind);
        previews["url"] = preview->url;
        previews["sourcePane"] = paneIDText(preview->sourcePaneID);
        previews["targetPane"] = paneIDText(preview->targetPaneID);
    }
    if (const auto strip = store.activeMediaFilmstripPreview()) previews["filmstripCount"] = qint64(strip->entries.size());
    out["sidePreview"] = previews;
    return out;
}
