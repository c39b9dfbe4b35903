#pragma once

#include "Models/FileTransferModels.h"
#include "Services/FileAttributeCopier.h"
#include "Services/FileDataCopier.h"
#include "Services/FileSystemCalls.h"

#include <expected>

// The single-item steps of a transfer on top of the platform calls. Every step
// creates its destination exclusively, so nothing that appears there meanwhile is
// ever overwritten, and a step that fails leaves nothing of itself behind.
// One instance serves one batch on one thread.
class FileItemOperations {
public:
    using Result = std::expected<void, FileTransferSystemError>;

    enum class RenameOutcome {
        renamed,
        // Not possible as one exclusive rename here (another file system, or one
        // without exclusive rename or hard links): copy, then remove the source.
        copyInstead,
    };

    // What becomes of the source after its copy: a source about to be removed
    // must be matched byte for byte by its copy; a kept one may have grown meanwhile.
    enum class SourceAfterCopy { kept, removed };

    struct CopiedItem {
        mode_t type = 0; // S_IFMT bits
        qint64 size = 0;
    };

    explicit FileItemOperations(FileSystemCalls& calls);

    // Anything but a folder, inspected with lstat and never opened unless it is a
    // regular file: a file's data (holes kept), owner, mode, extended attributes
    // and times, under its name only once complete; a link as a link; a pipe,
    // socket or device as a new node.
    std::expected<CopiedItem, FileTransferSystemError> copyItem(const QString& source, const QString& destination,
                                                                SourceAfterCopy sourceAfterCopy = SourceAfterCopy::kept);
    // One exclusive rename of anything; without exclusive rename on the file
    // system, a hard link and an unlink (not for folders).
    std::expected<RenameOutcome, FileTransferSystemError> renameItem(const QString& source, const QString& destination);

    // A folder only its owner can enter until finishFolder gives it its mode.
    Result makeDirectory(const QString& path);
    // Creates the missing folders down to `path`.
    Result makeDirectoryWithIntermediates(const QString& path);
    // Gives a folder the owner, mode, attributes (read from `attributeSource`
    // when not empty) and times that `source` describes. Call it once the
    // folder's content is complete: adding to a folder changes its times.
    Result finishFolder(const QString& path, const struct stat& source, const QString& attributeSource);
    std::expected<struct stat, FileTransferSystemError> itemStatus(const QString& path); // lstat
    // Removes an empty folder only.
    Result removeDirectory(const QString& path);
    // Removes anything but a folder.
    Result unlink(const QString& path);
    // Makes a file's data and size durable (fdatasync), or a folder's entries (fsync).
    Result syncFile(const QString& path);
    Result syncFolder(const QString& path);

    // A symbolic link at `path` that points to `target`.
    Result makeLink(const QString& target, const QString& path);
    // Whether the item can be read by the ids the transfer runs under.
    bool isReadable(const QString& path);
    // Whether anything exists at `path`, links followed.
    bool exists(const QString& path);

private:
    Result copyRegularFile(const QByteArray& source, const QByteArray& destination, const struct stat& status,
                           const QString& sourceURL, const QString& destinationURL, SourceAfterCopy sourceAfterCopy);
    // A new file in the destination's folder without a name yet (or, where the
    // file system has no unnamed files, under a hidden temporary name).
    struct PartialFile {
        int fd = -1;
        QByteArray temporaryPath; // empty for an unnamed file
    };
    FileSystemCalls::Result<PartialFile> createPartialFile(const QByteArray& destination, mode_t mode);
    FileSystemCalls::Result<void> namePartialFile(const PartialFile& file, const QByteArray& destination);
    Result copySpecialItem(const QByteArray& source, const QByteArray& destination, const struct stat& status,
                           const QString& sourceURL, const QString& destinationURL);

    FileSystemCalls& calls;
    FileDataCopier data;
    FileAttributeCopier attributes;
    bool canCreateUnnamedFiles = true;
};
