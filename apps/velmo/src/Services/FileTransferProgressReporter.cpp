#include "Services/FileTransferProgressReporter.h"

#include "PathKit/FilePaths.h"

FileTransferProgressReporter::FileTransferProgressReporter(const FileTransferProviding::ProgressHandler* handler,
                                                           qint64 entryCount)
    : handler(handler && *handler ? handler : nullptr)
    , interval(entryCount >= 100 ? entryCount / 100 : 1)
{
}

void FileTransferProgressReporter::reportIfDue(qint64 completed, qint64 total, const QString& path)
{
    if (!handler) return;
    if (!isForced && completed < total && completed - lastReported < interval) return;
    (*handler)(FileTransferProgress{completed, total, FilePaths::lastComponent(path)});
    lastReported = completed;
    isForced = false;
}
