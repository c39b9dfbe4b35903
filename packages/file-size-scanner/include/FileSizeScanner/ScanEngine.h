#pragma once

#include "FileSizeScanner/FileSystemProviding.h"
#include "FileSizeScanner/NodeSizingService.h"
#include "FileSizeScanner/ScanEngineProviding.h"

#include <memory>

// A recursive scan over any FileSystemProviding, so the logic runs against an injected
// file system. Folders near the top (depth below 3) are read in parallel.
//
// Updates: started, progress (one per folder done), then progress + finished, or failed,
// or cancelled. Unreadable entries get no record; they count in itemsScanned and
// unreadableCount.
class ScanEngine : public ScanEngineProviding {
public:
    explicit ScanEngine(std::shared_ptr<const FileSystemProviding> fileSystem,
                        NodeSizingService sizingService = {});

    ScanUpdateStream startScan(const QString& rootPath) override;

private:
    std::shared_ptr<const FileSystemProviding> fileSystem_;
    NodeSizingService sizingService_;
};
