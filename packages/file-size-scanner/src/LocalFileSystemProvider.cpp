#include "FileSizeScanner/LocalFileSystemProvider.h"

#include "CScanKit/sg_scan.h"

#include <PathKit/FilePaths.h>

#include <QSet>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Names a folder's ".hidden" file lists, one per line (the desktop convention).
QSet<QByteArray> hiddenNames(int dirFd)
{
    QSet<QByteArray> names;
    const int fd = openat(dirFd, ".hidden", O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return names;
    QByteArray text;
    char chunk[4096];
    for (ssize_t got; (got = read(fd, chunk, sizeof chunk)) > 0 && text.size() < (1 << 20);)
        text.append(chunk, got);
    close(fd);
    for (const QByteArray& line : text.split('\n'))
        if (!line.isEmpty()) names.insert(line);
    return names;
}

NodeResourceValues valuesFromStat(const QString& name, const QByteArray& nativeName, const struct statx& sx,
                                  bool isListedHidden, bool isReadable)
{
    NodeResourceValues values;
    values.name = name;
    values.isDirectory = S_ISDIR(sx.stx_mode);
    values.isPackage = values.isDirectory && sg_is_package_name(nativeName.constData());
    values.isHidden = nativeName.startsWith('.') || isListedHidden;
    values.isReadable = isReadable;
    values.fileAllocatedSize = qint64(sx.stx_blocks) * 512;
    values.fileSize = qint64(sx.stx_size);
    return values;
}

constexpr unsigned kStatxMask = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_BLOCKS;

class DirectoryDescriptor {
public:
    explicit DirectoryDescriptor(const QByteArray& path)
        : fd_(open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
    }
    ~DirectoryDescriptor()
    {
        if (fd_ >= 0) close(fd_);
    }
    DirectoryDescriptor(const DirectoryDescriptor&) = delete;
    DirectoryDescriptor& operator=(const DirectoryDescriptor&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

} // namespace

std::expected<QList<ChildEntry>, FileSystemError> LocalFileSystemProvider::childEntries(const QString& path) const
{
    const QString folder = FilePaths::standardized(path);
    const DirectoryDescriptor directory(FilePaths::toNative(folder));
    if (directory.fd() < 0) return std::unexpected(FileSystemError {errno, folder});
    // A second descriptor for reading, so the first stays usable for statx.
    const int readFd = dup(directory.fd());
    DIR* stream = readFd >= 0 ? fdopendir(readFd) : nullptr;
    if (!stream) {
        const int code = errno;
        if (readFd >= 0) close(readFd);
        return std::unexpected(FileSystemError {code, folder});
    }

    QList<QByteArray> names;
    errno = 0;
    for (const dirent* entry; (entry = readdir(stream)) != nullptr; errno = 0) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
        names.append(QByteArray(name));
    }
    const int readError = errno;
    closedir(stream);
    if (readError != 0) return std::unexpected(FileSystemError {readError, folder});

    const QSet<QByteArray> hidden = names.contains(".hidden") ? hiddenNames(directory.fd()) : QSet<QByteArray>();
    QList<ChildEntry> entries;
    entries.reserve(names.size());
    for (const QByteArray& nativeName : names) {
        const QString name = FilePaths::fromNative(nativeName);
        ChildEntry entry {FilePaths::appending(folder, name), {}};
        struct statx sx {};
        if (statx(directory.fd(), nativeName.constData(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, kStatxMask, &sx) == 0) {
            const bool readable =
                faccessat(directory.fd(), nativeName.constData(), R_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) == 0;
            entry.values = valuesFromStat(name, nativeName, sx, hidden.contains(nativeName), readable);
        } else {
            // Listed but not readable: kept as a zero-sized item that is not a folder.
            entry.values.name = name;
            entry.values.isReadable = false;
        }
        entries.append(std::move(entry));
    }
    return entries;
}

std::expected<NodeResourceValues, FileSystemError> LocalFileSystemProvider::resourceValues(const QString& path) const
{
    const QString standardized = FilePaths::standardized(path);
    const QByteArray native = FilePaths::toNative(standardized);
    struct statx sx {};
    if (statx(AT_FDCWD, native.constData(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, kStatxMask, &sx) != 0)
        return std::unexpected(FileSystemError {errno, standardized});
    const QString name = FilePaths::lastComponent(standardized);
    const QByteArray nativeName = FilePaths::toNative(name);
    bool listedHidden = false;
    if (standardized != QStringLiteral("/")) {
        const DirectoryDescriptor parent(FilePaths::toNative(FilePaths::parent(standardized)));
        if (parent.fd() >= 0) listedHidden = hiddenNames(parent.fd()).contains(nativeName);
    }
    const bool readable = faccessat(AT_FDCWD, native.constData(), R_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) == 0;
    return valuesFromStat(name, nativeName, sx, listedHidden, readable);
}
