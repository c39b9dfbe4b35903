#pragma once

#include "Models/FileTransferModels.h"
#include "Services/FileSystemCalls.h"

#include <QSet>

#include <expected>
#include <stop_token>

class QCollator;

struct FileTransferPlanOptions {
    // Unreadable items are left out and listed as skipped instead of failing.
    bool skipPermissionDeniedItems = false;
    // Sockets, pipes and device nodes are left out and listed as skipped.
    bool skipUnsupportedSpecialFiles = false;
};

// Expands sources into flat, ordered entry lists with a conflict-free destination
// each. Reads the disk but changes nothing; runs on the caller's (background)
// thread and stops with FileTransferStopped when `stop` is requested.
class FileTransferPlanner {
public:
    explicit FileTransferPlanner(FileSystemCalls& calls) : calls(calls) {}

    // One plan per source that went into the batch, in source order. The batch's
    // destinations never collide with each other nor with what is on disk.
    std::expected<FileTransferPlanBatch, FileTransferError> planBatch(const QStringList& sources,
                                                                      const QString& destinationDirectoryURL,
                                                                      FileTransferPlanOptions options,
                                                                      std::stop_token stop) const;

    // The source's name in `directory`, else "name 2", "name 3"...: the first at
    // which nothing exists (links followed) and that is not reserved.
    QString nextAvailableDestinationURL(const QString& source, const QString& directory,
                                        const QSet<QString>& reservedDestinationPaths) const;

    // Appends the entries of `sourceURL` (itself first, then its tree, children by
    // name) and returns whether the item went into the plan at all. Links are
    // never followed.
    std::expected<bool, FileTransferError> collectEntries(const QString& sourceURL, const QString& destinationURL,
                                                          std::vector<FileTransferEntry>& entries,
                                                          QStringList& skippedURLs, FileTransferPlanOptions options,
                                                          std::stop_token stop) const;

private:
    struct Walk;
    std::expected<bool, FileTransferError> collect(Walk& walk, const QString& sourceURL, const QString& destinationURL,
                                                   unsigned char knownType) const;
    std::expected<bool, FileTransferError> collectFolder(Walk& walk, const QString& sourceURL,
                                                         const QString& destinationURL) const;
    bool exists(const QString& path) const;

    FileSystemCalls& calls;
};
