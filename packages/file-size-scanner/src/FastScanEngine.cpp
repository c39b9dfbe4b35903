#include "FileSizeScanner/FastScanEngine.h"

#include "FileSizeScanner/LiveScanState.h"
#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "FileSizeScanner/ScanTreeBuilder.h"

#include <PathKit/FilePaths.h>

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <vector>

namespace {

ProgressSnapshot progressOf(const sg_scan_result_t* result, std::optional<QString> currentURL)
{
    return {sg_get_items_scanned(result), sg_get_dirs_scanned(result), sg_get_files_scanned(result),
            sg_get_unreadable_count(result), std::move(currentURL), qint64(sg_get_allocated_scanned(result))};
}

// Runs beside the walk: progress every interval and a live tree while the snapshot still
// grows. Past the node limit the snapshot stops growing, so only progress goes on.
void pollWhileScanning(std::stop_token stop, LiveScanState& live, ScanUpdateChannel& channel, const QString& rootPath,
                       const FastScanEngine::Options& options)
{
    std::vector<sg_flat_node_t> buffer(size_t(std::max(options.snapshotNodeLimit, 1)));
    int32_t lastSeenCount = -1;
    std::mutex mutex;
    std::condition_variable_any wake;
    while (!stop.stop_requested()) {
        {
            std::unique_lock lock(mutex);
            wake.wait_for(lock, stop, options.pollInterval, [] { return false; });
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

void performScan(std::stop_token stop, const QString& rootPath, ScanUpdateChannel& channel,
                 const FastScanEngine::Options& options)
{
    LiveScanState live;
    // Cancelling the scan's thread (the reader cancelled or went away) stops the walk.
    std::stop_callback cancelWalk(stop, [&live] { sg_request_cancel(live.cancelFlag()); });

    const QDateTime startedAt = QDateTime::currentDateTimeUtc();
    channel.send({ScanUpdate::Started {rootPath, startedAt}});

    std::jthread poll([&](std::stop_token pollStop) { pollWhileScanning(pollStop, live, channel, rootPath, options); });
    const QByteArray nativeRoot = FilePaths::toNative(rootPath);
    const int32_t status =
        sg_full_scan_with_threads(nativeRoot.constData(), live.scanResult(), live.cancelFlag(), options.threadCount);
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
    ScanTreeBuilder::sizePackages(live.scanResult(), rootPath, *options.packageFileSystem, stop);
    // The whole tree takes about a second per million records; the chart needs a few
    // thousand of them. A walk that fit one live tree is built whole at once anyway.
    if (options.drawableLimits && live.scanResult()->node_count > options.snapshotNodeLimit && !stop.stop_requested()) {
        if (auto drawable = ScanTreeBuilder::drawableFromScanResult(live.scanResult(), rootPath, *options.drawableLimits))
            channel.send({ScanUpdate::IntermediateTree {std::move(drawable->tree), true, std::move(drawable->standInIDs)}});
    }
    std::optional<ScanTree> tree = ScanTreeBuilder::fromScanResult(live.scanResult(), rootPath, stop);
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

FastScanEngine::FastScanEngine()
    : FastScanEngine(Options {})
{
}

FastScanEngine::FastScanEngine(Options options)
    : options_(std::move(options))
{
    if (!options_.packageFileSystem) options_.packageFileSystem = std::make_shared<LocalFileSystemProvider>();
}

ScanUpdateStream FastScanEngine::startScan(const QString& rootPath)
{
    auto channel = std::make_shared<ScanUpdateChannel>(8);
    // The thread owns copies of all it uses: a closed stream lets it go without waiting.
    std::jthread producer([channel, rootPath = FilePaths::standardized(rootPath), options = options_](std::stop_token stop) {
        performScan(stop, rootPath, *channel, options);
        channel->finish();
    });
    return ScanUpdateStream(channel, std::move(producer));
}
