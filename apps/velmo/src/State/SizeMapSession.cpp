#include "State/SizeMapSession.h"

#include "FileSizeScanner/FastScanEngine.h"
#include "FileSizeScanner/StableScanNodeID.h"
#include "PathKit/FilePaths.h"
#include "Support/ByteCountFormatter.h"
#include "Support/ReleaseOffMainThread.h"
#include "Support/VolumeNames.h"

#include <QCoreApplication>
#include <QPointer>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

// The reading end of one generation, shared by the reading thread and the session.
// The thread owns nothing else, so the session can let go of it at any moment.
struct SizeMapSession::ScanReader {
    explicit ScanReader(ScanUpdateStream updates) : stream(std::move(updates)) { }

    // Wakes the thread wherever it waits and cancels the scan; never waits itself.
    void abandon()
    {
        {
            std::lock_guard lock(mutex);
            abandoned = true;
        }
        changed.notify_all();
        stream.close();
    }

    ScanUpdateStream stream;
    std::mutex mutex;
    std::condition_variable changed;
    bool awaitingMainThread = false;
    bool abandoned = false;
};

namespace {

ScanTree placeholderTree(const QString& folderURL)
{
    ScanNodeRecord root;
    root.id = StableScanNodeID::forUrl(folderURL);
    root.url = FilePaths::standardized(folderURL);
    const QString name = FilePaths::lastComponent(root.url);
    root.displayName = name.isEmpty() ? root.url : name;
    root.kind = ScanNodeKind::directory;
    ScanTree tree;
    tree.rootID = root.id;
    tree.nodesByID.insert(root.id, root);
    return tree;
}

bool contains(const std::optional<ScanTree>& tree, const std::optional<QUuid>& id)
{
    return tree && id && tree->nodesByID.contains(*id);
}

QString itemsText(int count)
{
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

} // namespace

SizeMapSession::SizeMapSession(const QString& folderURL, std::optional<QUuid> originBrowserTabID,
                               std::shared_ptr<ScanEngineProviding> scanEngine, QObject* parent)
    : QObject(parent)
    , originBrowserTabID_(originBrowserTabID)
    , folderURL_(FilePaths::standardized(folderURL))
    , breadcrumbTrailURL_(folderURL_)
    , scanEngine_(scanEngine ? std::move(scanEngine) : std::make_shared<FastScanEngine>())
{
}

SizeMapSession::~SizeMapSession()
{
    closeReader();
    releaseOffMainThread(std::move(tree_));
}

// ---------------------------------------------------------------- scanning

void SizeMapSession::closeReader()
{
    if (!reader_) return;
    reader_->abandon();
    reader_.reset();
}

void SizeMapSession::startScan()
{
    stopScan();
    ++scanGeneration_;
    phase_ = ScanPhase::scanning;
    progressSnapshot_.reset();
    summary_.reset();
    errorMessage_.reset();
    noteDrawablePart(nullptr);
    // The chart has its centre at once, before the first live tree.
    applyTree(placeholderTree(folderURL_), false);

    auto reader = std::make_shared<ScanReader>(scanEngine_->startScan(folderURL_));
    reader_ = reader;
    QPointer<SizeMapSession> guard(this);
    // One update at a time: the next is read only once the main thread has applied
    // this one, so a slow window lets the stream drop old progress and live trees
    // instead of piling them up in its event queue. The final update is never dropped.
    MainThreadDelivery deliver = deliver_;
    if (!deliver)
        deliver = [](std::function<void()> apply) {
            if (auto* application = QCoreApplication::instance())
                QMetaObject::invokeMethod(application, std::move(apply), Qt::QueuedConnection);
        };
    auto read = [reader, guard, deliver = std::move(deliver)] {
        while (auto update = reader->stream.next()) {
            const bool terminal = update->isTerminal();
            {
                std::lock_guard lock(reader->mutex);
                if (reader->abandoned) return;
                reader->awaitingMainThread = true;
            }
            deliver([reader, guard, update = std::move(*update)]() mutable {
                // A stopped or replaced generation no longer owns the session.
                if (guard && guard->reader_ == reader) guard->consume(std::move(update));
                {
                    std::lock_guard lock(reader->mutex);
                    reader->awaitingMainThread = false;
                }
                reader->changed.notify_all();
            });
            std::unique_lock lock(reader->mutex);
            reader->changed.wait(lock, [&] { return !reader->awaitingMainThread || reader->abandoned; });
            if (reader->abandoned || terminal) return;
        }
    };
    try {
        std::thread(std::move(read)).detach();
    } catch (const std::system_error&) {
        closeReader();
        phase_ = ScanPhase::failed;
        errorMessage_ = QStringLiteral("The scan could not be started.");
    }
    emit scanStateChanged();
}

void SizeMapSession::stopScan(const std::optional<QString>& status)
{
    closeReader();
    if (phase_ != ScanPhase::scanning) return;
    phase_ = status ? ScanPhase::stopped : ScanPhase::idle;
    if (status) errorMessage_ = *status;
    emit scanStateChanged();
}

void SizeMapSession::consume(ScanUpdate update)
{
    auto ended = [this](ScanPhase phase) {
        phase_ = phase;
        reader_.reset();
    };
    if (std::holds_alternative<ScanUpdate::Started>(update.value)) {
        phase_ = ScanPhase::scanning;
        errorMessage_.reset();
    } else if (auto* progress = std::get_if<ProgressSnapshot>(&update.value)) {
        progressSnapshot_ = std::move(*progress);
    } else if (auto* live = std::get_if<ScanUpdate::IntermediateTree>(&update.value)) {
        noteDrawablePart(live);
        applyTree(std::move(live->tree), false);
    } else if (auto* finished = std::get_if<ScanUpdate::Finished>(&update.value)) {
        summary_ = std::move(finished->summary);
        ended(ScanPhase::finished);
        noteDrawablePart(nullptr);
        applyTree(std::move(finished->tree), true);
    } else if (auto* failed = std::get_if<ScanUpdate::Failed>(&update.value)) {
        errorMessage_ = failed->failure.message();
        ended(ScanPhase::failed);
    } else if (std::holds_alternative<ScanUpdate::Cancelled>(update.value)) {
        errorMessage_ = kStoppedMessage;
        ended(ScanPhase::stopped);
    } else {
        return; // incremental node updates: no engine sends them
    }
    emit scanStateChanged();
}

// The drawable part of a finished walk has the final sizes of what the chart shows and
// packs much of the rest into stand-ins. Until the whole tree comes, the side list keeps
// the rows it had (while that node stays focused) and no stand-in can be focused or
// selected, so none is ever revealed or trashed.
void SizeMapSession::noteDrawablePart(const ScanUpdate::IntermediateTree* live)
{
    if (!live || !live->isDrawablePart) {
        showsDrawablePart_ = false;
        standInIDs_.clear();
        heldChildren_.reset();
        return;
    }
    if (!heldChildren_ && focusedNodeID_) {
        QList<ScanNodeRecord> rows = focusedChildren();
        if (!rows.isEmpty()) heldChildren_.emplace(*focusedNodeID_, std::move(rows));
    }
    showsDrawablePart_ = true;
    standInIDs_ = live->standInIDs;
}

void SizeMapSession::applyTree(ScanTree tree, bool isComplete)
{
    releaseOffMainThread(std::exchange(tree_, std::optional(std::move(tree))));
    std::optional<QUuid> focused = contains(tree_, wantedFocusID_) ? wantedFocusID_ : std::optional(tree_->rootID);
    std::optional<QUuid> selected = contains(tree_, wantedSelectionID_) ? wantedSelectionID_ : std::nullopt;
    if (isComplete) {
        // The whole tree is in: what is missing now is gone.
        wantedFocusID_ = focused;
        wantedSelectionID_ = selected;
    }
    setFocus(focused, selected);
    emit treeChanged();
}

// ---------------------------------------------------------------- focus

void SizeMapSession::setFocus(std::optional<QUuid> focused, std::optional<QUuid> selected)
{
    if (focused == focusedNodeID_ && selected == selectedNodeID_) return;
    focusedNodeID_ = focused;
    selectedNodeID_ = selected;
    emit focusChanged();
}

void SizeMapSession::scanFolder(const QString& url)
{
    folderURL_ = FilePaths::standardized(url);
    breadcrumbTrailURL_ = folderURL_;
    wantedFocusID_.reset();
    wantedSelectionID_.reset();
    focusedNodeID_.reset();
    selectedNodeID_.reset();
    releaseOffMainThread(std::exchange(tree_, std::nullopt));
    emit folderChanged();
    emit treeChanged();
    emit focusChanged();
    startScan();
}

void SizeMapSession::openOrSelectNode(const QUuid& id)
{
    const auto node = tree_ ? tree_->node(id) : std::nullopt;
    if (!node || isStandIn(id)) return;
    if (node->kind == ScanNodeKind::directory && node->childCount > 0) focusNode(id);
    wantedSelectionID_ = id;
    setFocus(focusedNodeID_, id);
}

void SizeMapSession::selectNode(const QUuid& id)
{
    if (!tree_ || !tree_->node(id) || isStandIn(id)) return;
    wantedSelectionID_ = id;
    setFocus(focusedNodeID_, id);
}

void SizeMapSession::focusNode(const QUuid& id)
{
    const auto node = tree_ ? tree_->node(id) : std::nullopt;
    if (!node || isStandIn(id)) return;
    wantedFocusID_ = id;
    wantedSelectionID_ = id;
    // Going up keeps the deeper trail, for going back down.
    const QString url = FilePaths::standardized(node->url);
    const bool trailChanged = !FilePaths::isAncestorOrSelf(url, breadcrumbTrailURL_);
    if (trailChanged) breadcrumbTrailURL_ = url;
    if (focusedNodeID_ == id && selectedNodeID_ == id) {
        if (trailChanged) emit focusChanged();
        return;
    }
    setFocus(id, id);
}

void SizeMapSession::focusParent()
{
    const auto node = focusedNode();
    if (node && node->parentID && tree_->nodesByID.contains(*node->parentID)) focusNode(*node->parentID);
}

void SizeMapSession::focusParentOrSelf()
{
    const auto node = focusedNode();
    if (!node) return;
    if (node->parentID && tree_->nodesByID.contains(*node->parentID)) {
        focusNode(*node->parentID);
        return;
    }
    wantedSelectionID_ = node->id;
    setFocus(focusedNodeID_, node->id);
}

void SizeMapSession::activateBreadcrumb(const SizeMapBreadcrumbEntry& entry)
{
    if (entry.nodeID) focusNode(*entry.nodeID);
    else if (entry.url) scanFolder(*entry.url);
}

// ---------------------------------------------------------------- reading

QString SizeMapSession::title() const
{
    const QString name = FilePaths::lastComponent(folderURL_);
    return name.isEmpty() ? QStringLiteral("Size Map") : FilePaths::displayName(name);
}

std::optional<ScanNodeRecord> SizeMapSession::focusedNode() const
{
    return tree_ ? tree_->node(focusedNodeID_) : std::nullopt;
}

std::optional<ScanNodeRecord> SizeMapSession::selectedNode() const
{
    return tree_ ? tree_->node(selectedNodeID_) : std::nullopt;
}

QList<ScanNodeRecord> SizeMapSession::focusedChildren() const
{
    const auto node = focusedNode();
    if (!node) return {};
    if (heldChildren_ && heldChildren_->first == node->id) return heldChildren_->second;
    QList<ScanNodeRecord> children = tree_->children(node->id);
    children.removeIf([this](const ScanNodeRecord& child) { return isStandIn(child.id); });
    std::stable_sort(children.begin(), children.end(), [](const ScanNodeRecord& a, const ScanNodeRecord& b) {
        if (a.allocatedSize != b.allocatedSize) return a.allocatedSize > b.allocatedSize;
        return a.displayName < b.displayName;
    });
    return children;
}

QList<SizeMapBreadcrumbEntry> SizeMapSession::displayBreadcrumbs() const
{
    const auto focused = focusedNode();
    const QString focusedURL = focused ? FilePaths::standardized(focused->url) : folderURL_;
    if (focusedURL.isEmpty())
        return {SizeMapBreadcrumbEntry {QStringLiteral("placeholder"), title(), std::nullopt, std::nullopt, true}};
    const QString trail = FilePaths::isAncestorOrSelf(focusedURL, breadcrumbTrailURL_) ? breadcrumbTrailURL_ : focusedURL;
    const QString root = tree_ && tree_->rootNode() ? FilePaths::standardized(tree_->rootNode()->url) : folderURL_;
    // Inside the scanned folder an entry focuses its node; above it, it scans anew.
    auto entry = [&](const QString& id, const QString& title, const QString& path) {
        std::optional<QUuid> nodeID;
        if (FilePaths::isAncestorOrSelf(root, path)) nodeID = StableScanNodeID::forUrl(path);
        return SizeMapBreadcrumbEntry {id, title, nodeID, path, path == focusedURL};
    };
    QList<SizeMapBreadcrumbEntry> entries {entry(QStringLiteral("volume"), VolumeNames::rootVolumeName(), QStringLiteral("/"))};
    QString path;
    for (const QString& component : FilePaths::components(trail)) {
        path += u'/' + component;
        entries.append(entry(QStringLiteral("path-") + path, FilePaths::displayName(component), path));
    }
    return entries;
}

int SizeMapSession::itemsScanned() const
{
    if (summary_) return summary_->itemsScanned;
    return progressSnapshot_ ? progressSnapshot_->itemsScanned : 0;
}

int SizeMapSession::foldersScanned() const
{
    if (summary_) return summary_->directoriesScanned;
    return progressSnapshot_ ? progressSnapshot_->directoriesScanned : 0;
}

// A live tree holds only the first part of a large scan; the walk's own count of
// bytes listed covers everything read so far.
qint64 SizeMapSession::sizeSoFar() const
{
    if (summary_) return summary_->totalAllocatedSize;
    const auto root = tree_ ? tree_->rootNode() : std::nullopt;
    return std::max(root ? root->allocatedSize : 0, progressSnapshot_ ? progressSnapshot_->allocatedSizeSoFar : 0);
}

QString SizeMapSession::progressText() const
{
    if (!progressSnapshot_) return isScanning() ? QStringLiteral("Scanning") : QStringLiteral("Ready");
    QStringList parts {itemsText(progressSnapshot_->itemsScanned)};
    if (progressSnapshot_->unreadableCount >= 1) parts << QStringLiteral("%1 skipped").arg(progressSnapshot_->unreadableCount);
    if (progressSnapshot_->currentURL)
        parts << FilePaths::displayName(FilePaths::lastComponent(*progressSnapshot_->currentURL));
    return parts.join(QStringLiteral(" • "));
}

QString SizeMapSession::chromeStatus() const
{
    if (!summary_) return progressText();
    const qint64 total = summary_->totalAllocatedSize;
    const QString size = total == 0 ? QStringLiteral("0 KB") : ByteCountFormatter::string(total);
    return size + QStringLiteral(" • ") + itemsText(summary_->itemsScanned);
}
