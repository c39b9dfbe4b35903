#pragma once

#include "FileSizeScanner/FileSystemProviding.h"
#include "FileSizeScanner/NodeSizingService.h"
#include "FileSizeScanner/ScanEngineProviding.h"

#include <memory>

// A recursive scan over any FileSystemProviding, so the logic runs against an injected
// file system. Folders near the top (depth below 3) are read in parallel.
//
// Updates: started, progress (one per folder done), then progress + finished, or failed,
// or cancelled. Sizes count like du and like FastScanEngine: every record carries its own
// size, a folder adds everything below it, a package is one leaf sized by its content.
// Unreadable entries get no record; they count in itemsScanned and unreadableCount.
class ScanEngine : public ScanEngineProviding {
public:
    explicit ScanEngine(std::shared_ptr<const FileSystemProviding> fileSystem,
                        NodeSizingService sizingService = {});

    ScanUpdateStream startScan(const QString& rootPath) override;

private:
    std::shared_ptr<const FileSystemProviding> fileSystem_;
    NodeSizingService sizingService_;
};
