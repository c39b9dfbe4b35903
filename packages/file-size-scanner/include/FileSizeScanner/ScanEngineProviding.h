#pragma once

#include "FileSizeScanner/ScanUpdateStream.h"

#include <QString>

// Starts a scan of one folder. Every call starts a new scan on its own thread and returns
// at once; the updates arrive on the returned stream.
class ScanEngineProviding {
public:
    virtual ~ScanEngineProviding() = default;
    virtual ScanUpdateStream startScan(const QString& rootPath) = 0;
};
