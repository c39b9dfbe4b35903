#pragma once

#include "Models/FileTransferModels.h"

#include <expected>
#include <functional>
#include <stop_token>

// Carries out copy, move and link batches. Calls run synchronously on the
// calling (background) thread; nothing ever overwrites an existing item, every
// name conflict takes the numbered name, and a batch that stops half way leaves
// each source either where it was or complete at its destination.
class FileTransferProviding {
public:
    // Called on the transfer's thread; the transfer waits until it returns.
    using ProgressHandler = std::function<void(const FileTransferProgress&)>;

    virtual ~FileTransferProviding() = default;

    // A stop keeps the finished top-level copies (FileTransferCancellation::copied);
    // any other failure takes back exactly what this call made, never anything
    // another program put among it.
    virtual std::expected<FileCopyResult, FileTransferError> copyItems(const QStringList& sources,
                                                                       const QString& destinationURL,
                                                                       std::stop_token stop,
                                                                       const ProgressHandler& progress = {}) const = 0;

    // Symbolic links to the sources. A stop or failure removes every link made
    // (FileTransferStopped on a stop).
    virtual std::expected<FileLinkResult, FileTransferError> linkItems(const QStringList& sources,
                                                                       const QString& destinationURL,
                                                                       std::stop_token stop,
                                                                       const ProgressHandler& progress = {}) const = 0;

    // A stop keeps the finished top-level moves (FileTransferCancellation::moved)
    // and moves the interrupted one back; any other failure moves everything back,
    // entry by entry. Across file systems a source is removed only once its copy
    // is complete and flushed to disk.
    virtual std::expected<FileMoveBatchResult, FileTransferError> moveItems(const QStringList& sources,
                                                                           const QString& destinationURL,
                                                                           std::stop_token stop,
                                                                           const ProgressHandler& progress = {}) const = 0;
};
