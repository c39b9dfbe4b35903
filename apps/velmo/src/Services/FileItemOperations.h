#pragma once

#include "Models/FileTransferModels.h"
#include "Services/FileSystemCalls.h"

#include <QSet>

#include <expected>
#include <memory>

// The single-item steps of a transfer on top of the platform calls. Every step
// creates its destination exclusively, so nothing that appears there meanwhile
// is ever overwritten, and a step that fails leaves nothing of itself behind.
// One instance serves one batch on one thread: it remembers the source file
// systems from which cloning or in-kernel copying failed, so that they are not
// tried again for every file.
class FileItemOperations {
public:
    using Result = std::expected<void, FileTransferSystemError>;

    explicit FileItemOperations(FileSystemCalls& calls) : calls(calls) {}

    // A regular file with its data (cloned where the file system can), mode and
    // times; a link as a link, never followed; a socket, pipe or device as a node.
    Result copyItem(const QString& source, const QString& destination);
    // Anything but a folder: renamed, or copied and removed across file systems.
    Result moveItem(const QString& source, const QString& destination);
    // One exclusive rename of anything, folders included; EXDEV across file systems.
    Result renameItem(const QString& source, const QString& destination);
    Result makeDirectory(const QString& path);
    // A symbolic link at `path` that points to `target`.
    Result makeLink(const QString& target, const QString& path);
    // Creates the missing folders down to `path`.
    Result makeDirectoryWithIntermediates(const QString& path);
    // Removes an empty folder only.
    Result removeDirectory(const QString& path);
    // Deletes `path` and everything below it, never following links. Failures are
    // skipped over: what cannot be removed stays.
    void removeItem(const QString& path);
    // Whether the item can be read by the ids the transfer runs under.
    bool isReadable(const QString& path);
    // Whether anything exists at `path`, links followed.
    bool exists(const QString& path);

private:
    Result copyRegularFile(int sourceFd, const struct stat& status, const QByteArray& destination,
                           const QString& destinationURL);
    FileSystemCalls::Result<void> copyData(int sourceFd, int destinationFd, const struct stat& status);
    FileSystemCalls::Result<void> copyByReading(int sourceFd, int destinationFd);
    FileSystemCalls::Result<void> keepAttributes(int destinationFd, const struct stat& status);
    Result copyLink(const QByteArray& source, const QByteArray& destination, const QString& sourceURL,
                    const QString& destinationURL);
    Result copyNode(const QByteArray& source, const QByteArray& destination, const QString& sourceURL,
                    const QString& destinationURL);
    void removeNative(const QByteArray& path);

    FileSystemCalls& calls;
    QSet<dev_t> devicesWithoutCloning;
    QSet<dev_t> devicesWithoutRangeCopy;
    std::unique_ptr<char[]> buffer;
};
