#include "Services/FileItemOperations.h"

#include "PathKit/FilePaths.h"

#include <QRandomGenerator>

#include <cerrno>

#include <fcntl.h>

namespace {

// A file that changed while it was copied: the copy does not hold what the
// source holds now, so it does not count.
constexpr int kChangedWhileCopying = EAGAIN;

std::unexpected<FileTransferSystemError> failure(int code, const QString& path)
{
    return std::unexpected(FileTransferSystemError{code, path});
}

QByteArray parentOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

// Errors by which creating an unnamed file says the file system has none.
bool meansNoUnnamedFiles(int code)
{
    return code == EOPNOTSUPP || code == EISDIR || code == EINVAL || code == ENOSYS;
}

bool isSameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

FileItemOperations::FileItemOperations(FileSystemCalls& calls)
    : calls(calls)
    , data(calls)
    , attributes(calls)
{
}

std::expected<FileItemOperations::CopiedItem, FileTransferSystemError> FileItemOperations::copyItem(
    const QString& source, const QString& destination, SourceAfterCopy sourceAfterCopy)
{
    const QByteArray from = FilePaths::toNative(source);
    const QByteArray to = FilePaths::toNative(destination);
    // Looked at, not opened: opening a device or a pipe reaches its driver or
    // waits for a writer.
    const auto status = calls.linkStatus(from);
    if (!status) return failure(status.error(), source);
    const mode_t type = status->st_mode & S_IFMT;
    if (type == S_IFDIR) return failure(EISDIR, source);
    const Result copied = type == S_IFREG
        ? copyRegularFile(from, to, *status, source, destination, sourceAfterCopy)
        : copySpecialItem(from, to, *status, source, destination);
    if (!copied) return std::unexpected(copied.error());
    return CopiedItem{type, qint64(status->st_size)};
}

FileItemOperations::Result FileItemOperations::copyRegularFile(const QByteArray& source,
                                                               const QByteArray& destination,
                                                               const struct stat& status, const QString& sourceURL,
                                                               const QString& destinationURL,
                                                               SourceAfterCopy sourceAfterCopy)
{
    // O_NOFOLLOW and O_NONBLOCK: what replaced the file since it was looked at
    // is neither followed nor waited for, and the check after copying refuses it.
    const auto sourceFd = calls.open(source, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0);
    if (!sourceFd) return failure(sourceFd.error(), sourceURL);
    const auto closeSource = qScopeGuard([&] { calls.close(*sourceFd); });
    const auto partial = createPartialFile(destination, status.st_mode & 0777);
    if (!partial) return failure(partial.error(), destinationURL);
    const auto discard = [&](int code, const QString& path) {
        calls.close(partial->fd);
        if (!partial->temporaryPath.isEmpty()) (void)calls.unlink(partial->temporaryPath);
        return failure(code, path);
    };

    const auto copied = data.copy(*sourceFd, partial->fd, status);
    if (!copied) return discard(copied.error(), destinationURL);
    // Read to the end, the copy holds what the source holds now; one that is
    // shorter than the source ever was is not a copy. A source about to go must
    // be matched exactly: what it gained meanwhile would go with it. Files that
    // say they are empty may hold generated content of any length.
    const auto now = calls.fileStatus(*sourceFd);
    if (!now) return discard(now.error(), sourceURL);
    if (!S_ISREG(now->st_mode) || !isSameFile(*now, status)) return discard(kChangedWhileCopying, sourceURL);
    const bool isGenerated = now->st_size == 0 && status.st_size == 0;
    const bool isWhole = *copied == now->st_size
        || (sourceAfterCopy == SourceAfterCopy::kept && *copied >= status.st_size);
    if (!isGenerated && !isWhole) return discard(kChangedWhileCopying, sourceURL);
    if (const auto kept = attributes.applyTo(partial->fd, status, source); !kept)
        return discard(kept.error(), destinationURL);

    // Only a complete file takes the name: a crash before this leaves no
    // truncated file under it.
    if (const auto named = namePartialFile(*partial, destination); !named)
        return discard(named.error(), destinationURL);
    if (const auto closed = calls.closeWritten(partial->fd); !closed) {
        // A late write error (NFS, quotas): the named file is ours and incomplete.
        (void)calls.unlink(destination);
        return failure(closed.error(), destinationURL);
    }
    return {};
}

FileSystemCalls::Result<FileItemOperations::PartialFile> FileItemOperations::createPartialFile(
    const QByteArray& destination, mode_t mode)
{
    // Made with the source's permission bits, so that most files need no change
    // of mode later: unnamed or hidden, nobody finds the file before it is whole.
    const QByteArray folder = parentOf(destination);
    if (canCreateUnnamedFiles) {
        const auto fd = calls.createUnnamed(folder, mode);
        if (fd) return PartialFile{*fd, {}};
        if (!meansNoUnnamedFiles(fd.error())) return std::unexpected(fd.error());
        canCreateUnnamedFiles = false;
    }
    for (int attempt = 0;; ++attempt) {
        const QByteArray name = ".velmo-partial-" + QByteArray::number(QRandomGenerator::global()->generate64(), 36);
        const QByteArray path = folder + (folder.endsWith('/') ? "" : "/") + name;
        const auto fd = calls.open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (fd) return PartialFile{*fd, path};
        if (fd.error() != EEXIST || attempt == 100) return std::unexpected(fd.error());
    }
}

FileSystemCalls::Result<void> FileItemOperations::namePartialFile(const PartialFile& file,
                                                                  const QByteArray& destination)
{
    if (file.temporaryPath.isEmpty()) return calls.linkUnnamed(file.fd, destination);
    auto renamed = calls.renameExclusive(file.temporaryPath, destination);
    if (!renamed && renamed.error() == EINVAL) {
        renamed = calls.link(file.temporaryPath, destination);
        if (renamed) (void)calls.unlink(file.temporaryPath);
    }
    return renamed;
}

FileItemOperations::Result FileItemOperations::copySpecialItem(const QByteArray& source,
                                                               const QByteArray& destination,
                                                               const struct stat& status, const QString& sourceURL,
                                                               const QString& destinationURL)
{
    if (S_ISLNK(status.st_mode)) {
        const auto target = calls.readLink(source);
        if (!target) return failure(target.error(), sourceURL);
        if (const auto made = calls.makeSymbolicLink(*target, destination); !made)
            return failure(made.error(), destinationURL);
    } else {
        // Made private; applyAt gives it its mode.
        if (const auto made = calls.makeNode(destination, (status.st_mode & S_IFMT) | 0600, status.st_rdev); !made)
            return failure(made.error(), destinationURL);
    }
    if (const auto kept = attributes.applyAt(destination, status); !kept) {
        (void)calls.unlink(destination);
        return failure(kept.error(), destinationURL);
    }
    return {};
}

std::expected<FileItemOperations::RenameOutcome, FileTransferSystemError> FileItemOperations::renameItem(
    const QString& source, const QString& destination)
{
    const QByteArray from = FilePaths::toNative(source);
    const QByteArray to = FilePaths::toNative(destination);
    const auto renamed = calls.renameExclusive(from, to);
    if (renamed) return RenameOutcome::renamed;
    if (renamed.error() == EXDEV) return RenameOutcome::copyInstead;
    if (renamed.error() != EINVAL) return failure(renamed.error(), destination);
    // A file system without exclusive rename (NFS, most FUSE): a hard link is
    // exclusive too. Folders and file systems without hard links are copied.
    const auto linked = calls.link(from, to);
    if (!linked) {
        if (linked.error() == EPERM || linked.error() == EOPNOTSUPP || linked.error() == EMLINK
            || linked.error() == EXDEV)
            return RenameOutcome::copyInstead;
        return failure(linked.error(), destination);
    }
    if (const auto removed = calls.unlink(from); !removed) {
        (void)calls.unlink(to);
        return failure(removed.error(), source);
    }
    return RenameOutcome::renamed;
}

FileItemOperations::Result FileItemOperations::makeDirectory(const QString& path)
{
    const auto made = calls.makeDirectory(FilePaths::toNative(path), 0700);
    if (!made) return failure(made.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::makeDirectoryWithIntermediates(const QString& path)
{
    if (exists(path) || path == u"/") return {};
    if (const Result parent = makeDirectoryWithIntermediates(FilePaths::parent(path)); !parent) return parent;
    const auto made = calls.makeDirectory(FilePaths::toNative(path), 0777);
    if (!made && made.error() != EEXIST) return failure(made.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::finishFolder(const QString& path, const struct stat& source,
                                                           const QString& attributeSource)
{
    const auto fd = calls.open(FilePaths::toNative(path), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0);
    if (!fd) return failure(fd.error(), path);
    const auto applied =
        attributes.applyTo(*fd, source, attributeSource.isEmpty() ? QByteArray() : FilePaths::toNative(attributeSource));
    calls.close(*fd);
    if (!applied) return failure(applied.error(), path);
    return {};
}

std::expected<struct stat, FileTransferSystemError> FileItemOperations::itemStatus(const QString& path)
{
    const auto status = calls.linkStatus(FilePaths::toNative(path));
    if (!status) return failure(status.error(), path);
    return *status;
}

FileItemOperations::Result FileItemOperations::removeDirectory(const QString& path)
{
    const auto removed = calls.removeDirectory(FilePaths::toNative(path));
    if (!removed) return failure(removed.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::unlink(const QString& path)
{
    const auto removed = calls.unlink(FilePaths::toNative(path));
    if (!removed) return failure(removed.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::syncFile(const QString& path)
{
    const auto fd = calls.open(FilePaths::toNative(path), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0);
    if (!fd) return failure(fd.error(), path);
    const auto synced = calls.syncData(*fd);
    calls.close(*fd);
    if (!synced) return failure(synced.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::syncFolder(const QString& path)
{
    const auto fd = calls.open(FilePaths::toNative(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (!fd) return failure(fd.error(), path);
    const auto synced = calls.sync(*fd);
    calls.close(*fd);
    // Some file systems cannot sync a folder on its own; their entries go with
    // the files' data.
    if (!synced && synced.error() != EINVAL && synced.error() != EROFS) return failure(synced.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::makeLink(const QString& target, const QString& path)
{
    const auto made = calls.makeSymbolicLink(FilePaths::toNative(target), FilePaths::toNative(path));
    if (!made) return failure(made.error(), path);
    return {};
}

bool FileItemOperations::isReadable(const QString& path)
{
    return calls.isReadable(FilePaths::toNative(path)).value_or(false);
}

bool FileItemOperations::exists(const QString& path)
{
    return calls.status(FilePaths::toNative(path)).has_value();
}
