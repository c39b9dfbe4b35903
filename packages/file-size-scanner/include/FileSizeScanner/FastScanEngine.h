#pragma once

#include "FileSizeScanner/FileSystemProviding.h"
#include "FileSizeScanner/ScanEngineProviding.h"
#include "FileSizeScanner/ScanTreeBuilder.h"

#include <chrono>
#include <memory>

// The engine the application uses: runs the parallel walker on the scan's thread and,
// while it runs, polls its counters and a capped snapshot every `pollInterval`.
//
// Updates: started, then progress and intermediateTree (only while the live tree still
// grows and stays within `snapshotNodeLimit` nodes), then progress + finished, or failed,
// or cancelled. With `drawableLimits`, a walk too large for one live tree also sends the
// drawable part of its finished tree (an intermediateTree marked so) before the whole tree
// is built. A cancel is honoured in every phase: the walk, package sizing and the final
// tree build.
class FastScanEngine : public ScanEngineProviding {
public:
    struct Options {
        std::chrono::milliseconds pollInterval {200};
        int32_t snapshotNodeLimit = 5000;
        int32_t threadCount = 0; // walker threads; 0 means one per processor
        // Reads packages' contents for their sizes; the local file system when null.
        std::shared_ptr<const FileSystemProviding> packageFileSystem {};
        // The chart the finished picture is drawn with at once; none: only the whole tree.
        std::optional<ScanTreeBuilder::DrawableLimits> drawableLimits {};
    };

    FastScanEngine();
    explicit FastScanEngine(Options options);

    ScanUpdateStream startScan(const QString& rootPath) override;

private:
    Options options_;
};
