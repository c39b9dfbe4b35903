#include "Services/FreedesktopTrash.h"

#include "Models/FileDestinationNamer.h"
#include "PathKit/FilePaths.h"
#include "Support/FileURIList.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Enough for any real trash; a bound so that a broken volume cannot spin forever.
constexpr int kMaximumAttempts = 100000;
constexpr qsizetype kMaximumNameBytes = 255;
const QByteArray kInfoSuffix = ".trashinfo";

std::unexpected<FileActionError> failure(int code, const QByteArray& path)
{
    return std::unexpected(FileActionError{code, FilePaths::fromNative(path)});
}

QByteArray joined(const QByteArray& folder, const QByteArray& name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

QByteArray parentOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

QByteArray lastComponentOf(const QByteArray& path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

// A folder at `path`, made private when missing (with its missing parents when
// asked); an existing one is taken as it is.
int ensureFolder(const QByteArray& path, bool withParents = false)
{
    if (::mkdir(path.constData(), 0700) == 0) return 0;
    if (errno == ENOENT && withParents && path != "/") {
        if (const int error = ensureFolder(parentOf(path), true)) return error;
        if (::mkdir(path.constData(), 0700) == 0) return 0;
    }
    if (errno != EEXIST) return errno;
    struct stat status {};
    if (::stat(path.constData(), &status) != 0) return errno;
    return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

// A trash folder on a shared volume: made private when missing, and taken only
// when it is a real folder of ours, so that no other user can have planted it.
int ensurePrivateFolder(const QByteArray& path)
{
    if (::mkdir(path.constData(), 0700) != 0 && errno != EEXIST) return errno;
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0) return errno;
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::getuid()) return EACCES;
    return 0;
}

// The device of `path`, or of the nearest folder above it that exists.
std::optional<dev_t> deviceOfNearest(QByteArray path)
{
    for (;;) {
        struct stat status {};
        if (::stat(path.constData(), &status) == 0) return status.st_dev;
        if (path == "/") return std::nullopt;
        path = parentOf(path);
    }
}

// The highest folder above `folder` (which has no links in it) still on `device`.
QByteArray volumeTop(QByteArray folder, dev_t device)
{
    while (folder != "/") {
        struct stat status {};
        const QByteArray parent = parentOf(folder);
        if (::stat(parent.constData(), &status) != 0 || status.st_dev != device) break;
        folder = parent;
    }
    return folder;
}

// `name` for the n-th attempt: as it is, then "name.2", "name.3", ...; shortened
// (at a whole UTF-8 character) so that its record's name still fits.
QByteArray candidateName(const QByteArray& name, int attempt)
{
    const QByteArray suffix = attempt == 1 ? QByteArray() : '.' + QByteArray::number(attempt);
    const qsizetype room = kMaximumNameBytes - kInfoSuffix.size() - suffix.size();
    qsizetype length = std::min(name.size(), room);
    while (length > 0 && length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
        --length;
    return name.left(length) + suffix;
}

QByteArray deletionDate()
{
    const std::time_t now = std::time(nullptr);
    std::tm local {};
    ::localtime_r(&now, &local);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return QByteArray(text, qsizetype(length));
}

int writeAll(int fd, const QByteArray& bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = ::write(fd, bytes.constData() + done, std::size_t(bytes.size() - done));
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote < 0) return errno;
        done += wrote;
    }
    return 0;
}

// Writes the record to a new file at `path`; EEXIST when the name is taken.
int writeRecord(const QByteArray& path, const QByteArray& content)
{
    const int fd = ::open(path.constData(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return errno;
    int error = writeAll(fd, content);
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error != 0) ::unlink(path.constData());
    return error;
}

} // namespace

QString FreedesktopTrash::defaultHomeTrash()
{
    // Native bytes throughout: a home folder's name need not be UTF-8.
    const QByteArray dataHome = qgetenv("XDG_DATA_HOME");
    if (dataHome.startsWith('/')) return FilePaths::standardized(FilePaths::fromNative(dataHome + "/Trash"));
    QByteArray home = qgetenv("HOME");
    if (!home.startsWith('/')) {
        if (const passwd* user = ::getpwuid(::getuid()); user && user->pw_dir) home = user->pw_dir;
    }
    return FilePaths::standardized(FilePaths::fromNative(home + "/.local/share/Trash"));
}

FreedesktopTrash::FreedesktopTrash(QString homeTrash) : homeTrash_(FilePaths::standardized(homeTrash)) { }

std::expected<FreedesktopTrash::Location, FileActionError> FreedesktopTrash::locationFor(const QByteArray& item,
                                                                                          dev_t device) const
{
    const QByteArray home = FilePaths::toNative(homeTrash_);
    if (deviceOfNearest(home) == device) {
        for (const QByteArray& folder : {home, joined(home, "files"), joined(home, "info")})
            if (const int error = ensureFolder(folder, folder == home)) return failure(error, folder);
        return Location{home, item};
    }

    // Another volume: its own trash at its top folder, found from the item's
    // real folder so that a link on the way cannot lead elsewhere.
    char* real = ::realpath(parentOf(item).constData(), nullptr);
    if (!real) return failure(errno, parentOf(item));
    const QByteArray folder(real);
    std::free(real);
    struct stat status {};
    if (::stat(folder.constData(), &status) != 0) return failure(errno, folder);
    // The item is itself the top of a volume: nothing can move it.
    if (status.st_dev != device) return failure(EBUSY, item);
    const QByteArray top = volumeTop(folder, device);
    const QByteArray inTop = joined(folder, lastComponentOf(item));
    const QByteArray original = top == "/" ? inTop.mid(1) : inTop.mid(top.size() + 1);

    // An administrator's shared trash counts only as a sticky real folder.
    QByteArray trash;
    const QByteArray shared = joined(top, ".Trash");
    if (::lstat(shared.constData(), &status) == 0 && S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX)) {
        const QByteArray own = joined(shared, QByteArray::number(::getuid()));
        if (ensurePrivateFolder(own) == 0) trash = own;
    }
    if (trash.isEmpty()) {
        trash = joined(top, ".Trash-" + QByteArray::number(::getuid()));
        if (const int error = ensurePrivateFolder(trash)) return failure(error, trash);
    }
    for (const QByteArray& part : {joined(trash, "files"), joined(trash, "info")})
        if (const int error = ensureFolder(part)) return failure(error, part);
    return Location{trash, original};
}

std::expected<TrashedItem, FileActionError> FreedesktopTrash::trash(const QString& path) const
{
    const QString standard = FilePaths::standardized(path);
    const QByteArray item = FilePaths::toNative(standard);
    if (standard == u"/" || item.contains('\0')) return failure(EINVAL, item);
    struct stat status {};
    if (::lstat(item.constData(), &status) != 0) return failure(errno, item);
    const auto location = locationFor(item, status.st_dev);
    if (!location) return std::unexpected(location.error());
    // The trash itself, or a folder holding it, has nowhere to go.
    const QString trashFolder = FilePaths::fromNative(location->folder);
    if (FilePaths::isAncestorOrSelf(standard, trashFolder) || FilePaths::isAncestorOrSelf(trashFolder, standard))
        return failure(EINVAL, item);

    const QByteArray record = "[Trash Info]\nPath=" + FileURIList::percentEncoded(location->original)
        + "\nDeletionDate=" + deletionDate() + '\n';
    const QByteArray name = lastComponentOf(item);
    for (int attempt = 1;; ++attempt) {
        // The record is made first and exclusively: it reserves the name.
        const QByteArray trashName = candidateName(name, attempt);
        const QByteArray info = joined(joined(location->folder, "info"), trashName + kInfoSuffix);
        const QByteArray destination = joined(joined(location->folder, "files"), trashName);
        const int error = writeRecord(info, record);
        if (error == EEXIST && attempt < kMaximumAttempts) continue;
        if (error != 0) return failure(error, info);
        const auto moved = renameWithoutReplacing(item, destination);
        if (moved) return TrashedItem{standard, FilePaths::fromNative(destination)};
        ::unlink(info.constData());
        if (moved.error() != EEXIST || attempt == kMaximumAttempts) return failure(moved.error(), item);
    }
}

std::expected<QString, FileActionError> FreedesktopTrash::restore(const TrashedItem& item) const
{
    const QString original = FilePaths::standardized(item.originalURL);
    const QByteArray from = FilePaths::toNative(FilePaths::standardized(item.trashedURL));
    const QByteArray parent = FilePaths::toNative(FilePaths::parent(original));
    const QString name = FilePaths::lastComponent(original);
    if (original == u"/" || from.contains('\0') || parent.contains('\0') || name.contains(QChar(0)))
        return failure(EINVAL, FilePaths::toNative(original));
    struct stat status {};
    if (::stat(parent.constData(), &status) != 0) return failure(errno, parent);
    if (!S_ISDIR(status.st_mode)) return failure(ENOTDIR, parent);

    QByteArray target = FilePaths::toNative(original);
    for (int number = 2;; ++number) {
        const auto moved = renameWithoutReplacing(from, target);
        if (moved) break;
        if (moved.error() == ENOENT) return failure(ENOENT, from);
        if (moved.error() != EEXIST || number == kMaximumAttempts) return failure(moved.error(), target);
        target = joined(parent, FilePaths::toNative(FileDestinationNamer::numberedName(name, number)));
    }

    // Its record goes too: <trash>/files/NAME has <trash>/info/NAME.trashinfo.
    const QByteArray files = parentOf(from);
    if (lastComponentOf(files) == "files")
        ::unlink(joined(joined(parentOf(files), "info"), lastComponentOf(from) + kInfoSuffix).constData());
    return FilePaths::fromNative(target);
}

std::expected<void, int> FreedesktopTrash::renameWithoutReplacing(const QByteArray& from, const QByteArray& to)
{
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0) return {};
    if (errno != EINVAL) return std::unexpected(errno);
    // No exclusive rename on this file system (NFS, many FUSE volumes).
    struct stat status {};
    if (::lstat(from.constData(), &status) != 0) return std::unexpected(errno);
    if (!S_ISDIR(status.st_mode)) {
        if (::link(from.constData(), to.constData()) == 0) {
            if (::unlink(from.constData()) == 0) return {};
            const int error = errno;
            ::unlink(to.constData());
            return std::unexpected(error);
        }
        if (errno == EEXIST || errno == EXDEV || errno == ENOENT) return std::unexpected(errno);
    }
    if (::lstat(to.constData(), &status) == 0) return std::unexpected(EEXIST);
    if (errno != ENOENT) return std::unexpected(errno);
    if (::rename(from.constData(), to.constData()) == 0) return {};
    return std::unexpected(errno);
}
