#pragma once

#include "Services/FileTransferProviding.h"

// Throttles progress inside one plan run to about a hundred reports: one every
// hundredth of the entries, plus the first and the last.
class FileTransferProgressReporter {
public:
    FileTransferProgressReporter(const FileTransferProviding::ProgressHandler* handler, qint64 entryCount);

    // Called before and after each entry with the running count; `path` names the
    // entry in hand.
    void reportIfDue(qint64 completed, qint64 total, const QString& path);

private:
    const FileTransferProviding::ProgressHandler* handler;
    qint64 interval;
    qint64 lastReported = 0;
    bool isForced = true;
};
