#include "FileSizeScanner/ScanEngine.h"

#include "FileSizeScanner/ScanTreeBuilder.h"
#include "FileSizeScanner/StableScanNodeID.h"

#include <PathKit/FilePaths.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <variant>
#include <vector>

namespace {

constexpr int kParallelDepth = 3;

struct Cancelled {};
using ScanStop = std::variant<Cancelled, ScanFailure>;

struct ProgressCounters {
    int itemsScanned = 0;
    int directoriesScanned = 0;
    int filesScanned = 0;
    int unreadableCount = 0;
    qint64 allocatedSize = 0;
};

// Counters shared by the folders read in parallel, and the stream they report on.
class ProgressState {
public:
    explicit ProgressState(ScanUpdateChannel& channel)
        : channel_(channel)
    {
    }

    void add(const ProgressCounters& delta)
    {
        std::lock_guard lock(mutex_);
        counters_.itemsScanned += delta.itemsScanned;
        counters_.directoriesScanned += delta.directoriesScanned;
        counters_.filesScanned += delta.filesScanned;
        counters_.unreadableCount += delta.unreadableCount;
        counters_.allocatedSize += delta.allocatedSize;
    }

    ProgressCounters counters() const
    {
        std::lock_guard lock(mutex_);
        return counters_;
    }

    void yieldProgress(std::optional<QString> currentURL)
    {
        const ProgressCounters now = counters();
        channel_.send({ProgressSnapshot {now.itemsScanned, now.directoriesScanned, now.filesScanned,
                                         now.unreadableCount, std::move(currentURL), now.allocatedSize}});
    }

private:
    ScanUpdateChannel& channel_;
    mutable std::mutex mutex_;
    ProgressCounters counters_;
};

// A folder's records below it and their sizes: each entry's own size plus, for folders,
// everything below them, as du counts.
struct BranchResult {
    QHash<QUuid, ScanNodeRecord> nodesByID;
    QHash<QUuid, QList<QUuid>> childIDsByParentID;
    qint64 allocatedSize = 0;
    qint64 logicalSize = 0;

    void add(qint64 allocated, qint64 logical)
    {
        allocatedSize = ScanTreeBuilder::addSizes(allocatedSize, allocated);
        logicalSize = ScanTreeBuilder::addSizes(logicalSize, logical);
    }
};

// Folds a folder's branch into the records above it: the folder keeps its own size and gains
// the branch's, and so do the totals of the folder holding it.
void merge(BranchResult&& branch, const QUuid& directoryID, QHash<QUuid, ScanNodeRecord>& nodes,
           QHash<QUuid, QList<QUuid>>& childIDsByParentID, BranchResult& totals)
{
    const qsizetype childCount = branch.childIDsByParentID.value(directoryID).size();
    nodes.insert(branch.nodesByID);
    childIDsByParentID.insert(branch.childIDsByParentID);
    auto directory = nodes.find(directoryID);
    if (directory != nodes.end()) {
        directory->allocatedSize = ScanTreeBuilder::addSizes(directory->allocatedSize, branch.allocatedSize);
        directory->logicalSize = ScanTreeBuilder::addSizes(directory->logicalSize, branch.logicalSize);
        directory->childCount = int(childCount);
    }
    totals.add(branch.allocatedSize, branch.logicalSize);
}

class RecursiveScan {
public:
    RecursiveScan(const FileSystemProviding& fileSystem, const NodeSizingService& sizing, std::stop_token stop,
                  ProgressState& progress)
        : fileSystem_(fileSystem)
        , sizing_(sizing)
        , stop_(std::move(stop))
        , progress_(progress)
    {
    }

    std::expected<BranchResult, ScanStop> scanChildren(const QString& url, const QUuid& parentID,
                                                       bool shouldFailOnEnumerationError, int depth)
    {
        if (stop_.stop_requested()) return std::unexpected(Cancelled {});
        const auto entries = fileSystem_.childEntries(url);
        if (!entries) {
            progress_.add({.unreadableCount = 1});
            progress_.yieldProgress(url);
            if (shouldFailOnEnumerationError) return std::unexpected(ScanFailure::ioError(url));
            return BranchResult {};
        }

        BranchResult branch;
        QList<QUuid> childIDs;
        std::vector<std::pair<QUuid, QString>> queued;
        for (const ChildEntry& entry : *entries) {
            if (stop_.stop_requested()) return std::unexpected(Cancelled {});
            if (!entry.values.isReadable) {
                progress_.add({.itemsScanned = 1, .unreadableCount = 1});
                continue;
            }
            ScanNodeRecord record = recordFor(entry, parentID);
            if (record.kind == ScanNodeKind::package && !sizePackage(record)) return std::unexpected(Cancelled {});
            progress_.add({.itemsScanned = 1, .allocatedSize = record.allocatedSize});
            if (record.kind == ScanNodeKind::directory) {
                progress_.add({.directoriesScanned = 1});
                queued.emplace_back(record.id, entry.url);
            } else {
                progress_.add({.filesScanned = 1});
            }
            branch.add(record.allocatedSize, record.logicalSize);
            childIDs.append(record.id);
            branch.nodesByID.insert(record.id, std::move(record));
        }
        branch.childIDsByParentID.insert(parentID, childIDs);

        if (depth < kParallelDepth && queued.size() > 1) {
            if (auto stopped = scanInParallel(queued, depth + 1, branch)) return std::unexpected(*stopped);
        } else if (queued.empty()) {
            progress_.yieldProgress(url);
            return branch;
        } else {
            for (const auto& [id, childURL] : queued) {
                auto child = scanChildren(childURL, id, false, depth + 1);
                if (!child) return std::unexpected(child.error());
                merge(std::move(*child), id, branch.nodesByID, branch.childIDsByParentID, branch);
            }
        }
        progress_.yieldProgress(url);
        return branch;
    }

private:
    // A package is one leaf sized by its whole content, as the fast engine sizes it; false
    // when the scan was stopped meanwhile.
    bool sizePackage(ScanNodeRecord& record) const
    {
        const auto size =
            ScanTreeBuilder::packageSize(record.url, record.allocatedSize, record.logicalSize, fileSystem_, stop_);
        if (stop_.stop_requested()) return false;
        if (size) {
            record.allocatedSize = size->allocated;
            record.logicalSize = size->logical;
        }
        return true;
    }

    ScanNodeRecord recordFor(const ChildEntry& entry, const QUuid& parentID) const
    {
        const NodeSize size = sizing_.resolveSize(entry.values);
        ScanNodeRecord record;
        record.id = StableScanNodeID::forUrl(entry.url);
        record.parentID = parentID;
        record.url = entry.url;
        record.displayName = entry.values.name;
        record.kind = entry.values.isPackage ? ScanNodeKind::package
            : entry.values.isDirectory       ? ScanNodeKind::directory
                                             : ScanNodeKind::file;
        record.isHidden = entry.values.isHidden;
        record.isPackage = entry.values.isPackage;
        record.isReadable = true;
        record.allocatedSize = size.allocated;
        record.logicalSize = size.logical;
        return record;
    }

    // Reads the queued folders on a few threads (each may fan out again until the depth
    // limit) and merges their branches; the first stop wins.
    std::optional<ScanStop> scanInParallel(const std::vector<std::pair<QUuid, QString>>& queued, int depth,
                                           BranchResult& branch)
    {
        std::vector<std::optional<std::expected<BranchResult, ScanStop>>> results(queued.size());
        std::atomic<size_t> nextIndex {0};
        auto work = [&] {
            for (size_t k; (k = nextIndex.fetch_add(1)) < queued.size();)
                results[k] = scanChildren(queued[k].second, queued[k].first, false, depth);
        };
        const size_t threadCount = std::min<size_t>(queued.size(), std::clamp(std::thread::hardware_concurrency(), 2u, 4u));
        std::vector<std::jthread> helpers;
        for (size_t i = 1; i < threadCount; ++i) helpers.emplace_back(work);
        work();
        helpers.clear();

        for (size_t k = 0; k < queued.size(); ++k) {
            if (!results[k]->has_value()) return results[k]->error();
            merge(std::move(**results[k]), queued[k].first, branch.nodesByID, branch.childIDsByParentID, branch);
        }
        return std::nullopt;
    }

    const FileSystemProviding& fileSystem_;
    const NodeSizingService& sizing_;
    std::stop_token stop_;
    ProgressState& progress_;
};

std::expected<ScanUpdate::Finished, ScanStop> scanTree(const QString& rootPath, const FileSystemProviding& fileSystem,
                                                       const NodeSizingService& sizing, std::stop_token stop,
                                                       ProgressState& progress, const QDateTime& startedAt)
{
    const auto values = fileSystem.resourceValues(rootPath);
    if (!values || !(values->isDirectory || values->isPackage))
        return std::unexpected(ScanFailure::rootInaccessible(rootPath));

    const NodeSize size = sizing.resolveSize(*values);
    ScanNodeRecord root;
    root.id = StableScanNodeID::forPath(rootPath);
    root.url = rootPath;
    root.displayName = values->name.isEmpty() ? FilePaths::lastComponent(rootPath) : values->name;
    root.kind = values->isPackage ? ScanNodeKind::package : ScanNodeKind::directory;
    root.isHidden = values->isHidden;
    root.isPackage = values->isPackage;
    root.isReadable = values->isReadable;
    root.allocatedSize = size.allocated;
    root.logicalSize = size.logical;

    ScanTree tree;
    tree.rootID = root.id;
    tree.nodesByID.insert(root.id, root);
    progress.add({.itemsScanned = 1, .directoriesScanned = 1});
    progress.yieldProgress(std::nullopt);

    if (values->isPackage) {
        const auto packageSize = ScanTreeBuilder::packageSize(rootPath, root.allocatedSize, root.logicalSize, fileSystem, stop);
        if (stop.stop_requested()) return std::unexpected(Cancelled {});
        if (packageSize) tree.nodesByID[root.id].allocatedSize = packageSize->allocated;
        if (packageSize) tree.nodesByID[root.id].logicalSize = packageSize->logical;
    } else {
        RecursiveScan scan(fileSystem, sizing, std::move(stop), progress);
        auto branch = scan.scanChildren(rootPath, root.id, true, 0);
        if (!branch) return std::unexpected(branch.error());
        BranchResult totals;
        merge(std::move(*branch), root.id, tree.nodesByID, tree.childIDsByParentID, totals);
    }

    const ProgressCounters counters = progress.counters();
    const ScanSummary summary {rootPath,
                               startedAt,
                               QDateTime::currentDateTimeUtc(),
                               counters.itemsScanned,
                               counters.directoriesScanned,
                               counters.filesScanned,
                               counters.unreadableCount,
                               tree.nodesByID.value(root.id).allocatedSize};
    return ScanUpdate::Finished {std::move(tree), summary};
}

} // namespace

ScanEngine::ScanEngine(std::shared_ptr<const FileSystemProviding> fileSystem, NodeSizingService sizingService)
    : fileSystem_(std::move(fileSystem))
    , sizingService_(sizingService)
{
}

ScanUpdateStream ScanEngine::startScan(const QString& rootPath)
{
    auto channel = std::make_shared<ScanUpdateChannel>(8);
    std::jthread producer([channel, fileSystem = fileSystem_, sizing = sizingService_,
                           rootPath = FilePaths::standardized(rootPath)](std::stop_token stop) {
        const QDateTime startedAt = QDateTime::currentDateTimeUtc();
        channel->send({ScanUpdate::Started {rootPath, startedAt}});
        ProgressState progress(*channel);
        auto finished = scanTree(rootPath, *fileSystem, sizing, stop, progress, startedAt);
        if (finished) {
            progress.yieldProgress(rootPath);
            channel->send({std::move(*finished)});
        } else if (std::holds_alternative<Cancelled>(finished.error())) {
            channel->send({ScanUpdate::Cancelled {}});
        } else {
            channel->send({ScanUpdate::Failed {std::get<ScanFailure>(finished.error())}});
        }
        channel->finish();
    });
    return ScanUpdateStream(channel, std::move(producer));
}
