#pragma once

#include "Services/FileSystemCalls.h"
#include "Services/FileTransferProviding.h"

#include <memory>

// FileTransferProviding on the Linux file system calls. Holds nothing but the
// calls it goes through, so a copy can be handed to any background task.
// Links are symbolic links to the source's absolute path.
class PosixFileTransferService final : public FileTransferProviding {
public:
    PosixFileTransferService();
    explicit PosixFileTransferService(std::shared_ptr<FileSystemCalls> calls);

    std::expected<FileCopyResult, FileTransferError> copyItems(const QStringList& sources, const QString& destinationURL,
                                                               std::stop_token stop,
                                                               const ProgressHandler& progress = {}) const override;
    std::expected<FileLinkResult, FileTransferError> linkItems(const QStringList& sources, const QString& destinationURL,
                                                               std::stop_token stop,
                                                               const ProgressHandler& progress = {}) const override;
    std::expected<FileMoveBatchResult, FileTransferError> moveItems(const QStringList& sources,
                                                                   const QString& destinationURL, std::stop_token stop,
                                                                   const ProgressHandler& progress = {}) const override;

private:
    std::shared_ptr<FileSystemCalls> calls;
};
