#include "PreviewFirstScanEngine.h"

#include <FileSizeScanner/LiveScanState.h>
#include <FileSizeScanner/LocalFileSystemProvider.h>
#include <FileSizeScanner/ScanTreeBuilder.h>
#include <PathKit/FilePaths.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

ProgressSnapshot progressOf(const sg_scan_result_t* result, std::optional<QString> currentURL)
{
    return {sg_get_items_scanned(result), sg_get_dirs_scanned(result), sg_get_files_scanned(result),
            sg_get_unreadable_count(result), std::move(currentURL)};
}

// The application engine's poll: progress every 200 ms and a live tree of at most 5,000
// records while it still grows.
void pollWhileScanning(std::stop_token stop, LiveScanState& live, ScanUpdateChannel& channel, const QString& rootPath)
{
    std::vector<sg_flat_node_t> buffer(5000);
    int32_t lastSeenCount = -1;
    std::mutex mutex;
    std::condition_variable_any wake;
    while (!stop.stop_requested()) {
        {
            std::unique_lock lock(mutex);
            wake.wait_for(lock, stop, std::chrono::milliseconds(200), [] { return false; });
        }
        if (stop.stop_requested()) return;
        channel.send({progressOf(live.scanResult(), std::nullopt)});
        const int32_t count = sg_snapshot_nodes(live.scanResult(), buffer.data(), int32_t(buffer.size()));
        if (count >= 1 && count != lastSeenCount) {
            if (auto tree = ScanTreeBuilder::fromSnapshot(buffer.data(), count, rootPath))
                channel.send({ScanUpdate::IntermediateTree {std::move(*tree)}});
            lastSeenCount = count;
        }
    }
}

// The records the chart can draw from the root of a finished walk, in the walk's order
// (parents first), as copies with their parent indices renumbered.
class PreviewRecords {
public:
    PreviewRecords(const sg_scan_result_t& result, PreviewFirstScanEngine::Limits limits)
        : result_(result), limits_(limits)
    {
        sg_flat_node_t root = result.nodes[0];
        root.parent_index = -1;
        records_.push_back(root);
        addChildren(0, 0, 0, 336.0);
    }

    std::vector<sg_flat_node_t>& records() { return records_; }

private:
    // Children of the walk's record `index`, copied as record `copy` at `depth` and drawn
    // across at most `span` degrees: each that may be big and wide enough to be drawn is
    // kept (and its own children, down to the outer ring); the rest are packed into
    // stand-ins that each stay below the drawable share.
    void addChildren(int32_t index, int32_t copy, int depth, double span)
    {
        const sg_flat_node_t& parent = result_.nodes[index];
        if (depth >= limits_.rings || parent.child_count < 1 || parent.first_child < 0) return;
        const double parentSize = double(parent.allocated_size);
        const double threshold = parentSize * limits_.minimumFraction;
        const int64_t end = std::min<int64_t>(int64_t(parent.first_child) + parent.child_count, result_.children_count);
        // A child's arc is its share of the children's total, which the folder's own size
        // can make smaller than the folder's: the widest it can be.
        double childrenTotal = 0;
        for (int64_t k = parent.first_child; k < end; ++k) {
            const int32_t child = result_.children[k];
            if (child >= 0 && child < result_.node_count) childrenTotal += double(result_.nodes[child].allocated_size);
        }
        std::vector<std::pair<int32_t, int32_t>> kept; // walk index, copy index
        std::vector<double> keptSpans;
        uint64_t bin = 0;
        int bins = 0;
        auto flush = [&] {
            sg_flat_node_t standIn {};
            std::snprintf(standIn.name, sizeof standIn.name, "\x7f-smaller-%d", bins++);
            standIn.parent_index = copy;
            standIn.allocated_size = standIn.logical_size = bin;
            standIn.obj_type = SG_OBJ_FILE;
            standIn.is_readable = 1;
            records_.push_back(standIn);
            bin = 0;
        };
        for (int64_t k = parent.first_child; k < end; ++k) {
            const int32_t child = result_.children[k];
            if (child < 0 || child >= result_.node_count) continue;
            const sg_flat_node_t& node = result_.nodes[child];
            const double size = double(node.allocated_size);
            if (size >= threshold && node.allocated_size > 0 && span * size / parentSize >= limits_.minimumAngleDegrees) {
                sg_flat_node_t keptCopy = node;
                keptCopy.parent_index = copy;
                records_.push_back(keptCopy);
                kept.emplace_back(child, int32_t(records_.size() - 1));
                keptSpans.push_back(childrenTotal > 0 ? span * size / childrenTotal : span);
                continue;
            }
            if (bin > 0 && double(bin + node.allocated_size) >= threshold) flush();
            bin += node.allocated_size;
        }
        if (bin > 0 || (kept.empty() && bins == 0)) flush();
        for (std::size_t i = 0; i < kept.size(); ++i) addChildren(kept[i].first, kept[i].second, depth + 1, keptSpans[i]);
    }

    const sg_scan_result_t& result_;
    PreviewFirstScanEngine::Limits limits_;
    std::vector<sg_flat_node_t> records_;
};

void performScan(std::stop_token stop, const QString& rootPath, ScanUpdateChannel& channel,
                 PreviewFirstScanEngine::Limits limits)
{
    LiveScanState live;
    std::stop_callback cancelWalk(stop, [&live] { sg_request_cancel(live.cancelFlag()); });
    const QDateTime startedAt = QDateTime::currentDateTimeUtc();
    channel.send({ScanUpdate::Started {rootPath, startedAt}});

    std::jthread poll([&](std::stop_token pollStop) { pollWhileScanning(pollStop, live, channel, rootPath); });
    const QByteArray nativeRoot = FilePaths::toNative(rootPath);
    const int32_t status = sg_full_scan_with_threads(nativeRoot.constData(), live.scanResult(), live.cancelFlag(), 0);
    poll.request_stop();
    poll.join();
    if (status == SG_SCAN_CANCELLED || stop.stop_requested()) {
        channel.send({ScanUpdate::Cancelled {}});
        return;
    }
    if (status != SG_SCAN_DONE || live.scanResult()->node_count < 1) {
        channel.send({ScanUpdate::Failed {ScanFailure::rootInaccessible(rootPath)}});
        return;
    }

    // The finished picture first. (Packages would be sized before this in the real engine.)
    const auto previewStart = Clock::now();
    PreviewRecords preview(*live.scanResult(), limits);
    auto previewTree =
        ScanTreeBuilder::fromSnapshot(preview.records().data(), int32_t(preview.records().size()), rootPath);
    PreviewFirstScanEngine::previewBuildMs =
        std::chrono::duration<double, std::milli>(Clock::now() - previewStart).count();
    if (previewTree) {
        PreviewFirstScanEngine::previewNodes = previewTree->nodesByID.size();
        PreviewFirstScanEngine::previewSentAt = Clock::now().time_since_epoch().count();
        channel.send({ScanUpdate::IntermediateTree {std::move(*previewTree)}});
    }

    const LocalFileSystemProvider packages;
    std::optional<ScanTree> tree = ScanTreeBuilder::fromScanResult(live.scanResult(), rootPath, packages, stop);
    live.releaseNodes();
    const ProgressSnapshot counters = progressOf(live.scanResult(), rootPath);
    if (stop.stop_requested()) {
        channel.send({ScanUpdate::Cancelled {}});
        return;
    }
    if (!tree) {
        channel.send({ScanUpdate::Failed {ScanFailure::ioError(rootPath)}});
        return;
    }
    const auto root = tree->rootNode();
    const ScanSummary summary {rootPath,
                               startedAt,
                               QDateTime::currentDateTimeUtc(),
                               counters.itemsScanned,
                               counters.directoriesScanned,
                               counters.filesScanned,
                               counters.unreadableCount,
                               root ? root->allocatedSize : 0};
    channel.send({counters});
    channel.send({ScanUpdate::Finished {std::move(*tree), summary}});
}

} // namespace

ScanUpdateStream PreviewFirstScanEngine::startScan(const QString& rootPath)
{
    auto channel = std::make_shared<ScanUpdateChannel>(8);
    std::jthread producer([channel, rootPath = FilePaths::standardized(rootPath), limits = limits_](std::stop_token stop) {
        performScan(stop, rootPath, *channel, limits);
        channel->finish();
    });
    return ScanUpdateStream(channel, std::move(producer));
}
