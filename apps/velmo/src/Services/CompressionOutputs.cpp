#include "Services/CompressionOutputs.h"

#include "PathKit/FileDescriptor.h"
#include "PathKit/FilePaths.h"
#include "Support/SystemErrorText.h"

#include <QStandardPaths>
#include <QUuid>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Error = CompressionOutputs::Error;

std::unexpected<Error> systemError(int code, const QString& path)
{
    return std::unexpected(Error {code, SystemErrorText::describe(code, path)});
}

QString uniqueName(const QString& prefix, const QString& extension)
{
    QString name = prefix + QUuid::createUuid().toString(QUuid::WithoutBraces);
    return extension.isEmpty() ? name : name + u'.' + extension;
}

bool writeAll(int fd, const char* data, qint64 size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size_t(size));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        size -= written;
    }
    return true;
}

// Copies every byte of `from` into `to` (both open); false with errno set on failure.
bool copyContent(int from, int to)
{
    char buffer[1 << 16];
    for (;;) {
        const ssize_t got = ::read(from, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) return true;
        if (!writeAll(to, buffer, got)) return false;
    }
}

int makePrivateFolders(const QByteArray& path)
{
    if (::mkdir(path.constData(), 0700) == 0) return 0;
    if (errno == EEXIST) return 0;
    if (errno != ENOENT) return errno;
    const qsizetype slash = path.lastIndexOf('/');
    if (slash <= 0) return ENOENT;
    if (const int failed = makePrivateFolders(path.left(slash))) return failed;
    return ::mkdir(path.constData(), 0700) == 0 || errno == EEXIST ? 0 : errno;
}

} // namespace

QString CompressionOutputs::defaultCacheRoot()
{
    return FilePaths::appending(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation),
                                u"velmo/compression");
}

std::expected<QString, Error> CompressionOutputs::makeCacheFolder(const QString& cacheRoot, const QString& sessionID)
{
    const QString folder = FilePaths::appending(cacheRoot, sessionID);
    if (const int failed = makePrivateFolders(FilePaths::toNative(folder))) return systemError(failed, folder);
    return folder;
}

std::expected<QString, Error> CompressionOutputs::exportPath(const QString& sourcePath, const QString& suffix,
                                                             const QString& extension)
{
    if (suffix.contains(u'/') || suffix.contains(u':'))
        return std::unexpected(Error {2, QStringLiteral("Suffix cannot contain path separators.")});
    const QString name = FilePaths::lastComponent(sourcePath);
    const QString sourceExtension = FilePaths::extension(sourcePath);
    const QString base = sourceExtension.isEmpty() ? name : name.chopped(sourceExtension.size() + 1);
    const QString target
        = FilePaths::standardized(FilePaths::appending(FilePaths::parent(sourcePath), base + suffix + u'.' + extension));
    if (target == FilePaths::standardized(sourcePath))
        return std::unexpected(Error {3, QStringLiteral("Output would overwrite the original file.")});
    return target;
}

std::expected<QString, Error> CompressionOutputs::writeResult(const QString& folder, const QByteArray& bytes,
                                                              const QString& extension)
{
    const QString temporary = FilePaths::appending(folder, uniqueName(QStringLiteral(".partial-"), QString()));
    const QString target = FilePaths::appending(folder, uniqueName(QString(), extension));
    const QByteArray temporaryNative = FilePaths::toNative(temporary);
    {
        const FileDescriptor fd(::open(temporaryNative.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (fd.get() < 0) return systemError(errno, folder);
        if (!writeAll(fd.get(), bytes.constData(), bytes.size())) {
            const int failed = errno;
            ::unlink(temporaryNative.constData());
            return systemError(failed, folder);
        }
    }
    if (auto moved = FreedesktopTrash::renameWithoutReplacing(temporaryNative, FilePaths::toNative(target)); !moved) {
        ::unlink(temporaryNative.constData());
        return systemError(moved.error(), target);
    }
    return target;
}

std::expected<void, Error> CompressionOutputs::save(const QString& resultPath, const QString& targetPath,
                                                    const FreedesktopTrash& trash)
{
    const QString folder = FilePaths::parent(targetPath);
    const QByteArray temporary
        = FilePaths::toNative(FilePaths::appending(folder, uniqueName(QStringLiteral(".velmo-"), QStringLiteral("tmp"))));
    const QByteArray target = FilePaths::toNative(targetPath);
    auto failed = [&](int code, const QString& path) {
        ::unlink(temporary.constData());
        return systemError(code, path);
    };
    {
        const FileDescriptor from(::open(FilePaths::toNative(resultPath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
        if (from.get() < 0) return systemError(errno, resultPath);
        const FileDescriptor to(::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        if (to.get() < 0) return systemError(errno, folder);
        // Durable before it takes the name: a crash never leaves a short file there.
        if (!copyContent(from.get(), to.get()) || ::fdatasync(to.get()) != 0) return failed(errno, targetPath);
    }
    struct stat existing {};
    if (::lstat(target.constData(), &existing) == 0) {
        if (auto trashed = trash.trash(targetPath); !trashed) {
            ::unlink(temporary.constData());
            return std::unexpected(Error {trashed.error().code, QStringLiteral("The file already at “%1” could not be moved to the Trash: %2")
                                                                    .arg(FilePaths::displayName(FilePaths::lastComponent(targetPath)),
                                                                         trashed.error().localizedDescription())});
        }
    }
    if (auto moved = FreedesktopTrash::renameWithoutReplacing(temporary, target); !moved)
        return failed(moved.error(), targetPath);
    return {};
}

void CompressionOutputs::removeResult(const QString& path)
{
    if (!path.isEmpty()) ::unlink(FilePaths::toNative(path).constData());
}

void CompressionOutputs::removeCacheFolder(const QString& folder)
{
    const QByteArray native = FilePaths::toNative(folder);
    const FileDescriptor fd(::open(native.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    if (fd.get() < 0) return;
    // Only the names this class gives: results (UUID.ext) and unfinished writes.
    if (DIR* dir = ::fdopendir(::dup(fd.get()))) {
        while (const dirent* entry = ::readdir(dir)) {
            const QString name = QString::fromUtf8(entry->d_name);
            const bool ours = name.startsWith(u".partial-") || !QUuid::fromString(QStringView(name).left(36)).isNull();
            if (ours && entry->d_type != DT_DIR) ::unlinkat(fd.get(), entry->d_name, 0);
        }
        ::closedir(dir);
    }
    ::rmdir(native.constData());
}
