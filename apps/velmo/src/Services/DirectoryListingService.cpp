#include "Services/DirectoryListingService.h"

#include "Services/InlineFolderProbe.h"
#include "Support/TaskExecutor.h"

#include "PathKit/FileDescriptor.h"
#include "PathKit/FilePaths.h"
#include "Services/FileKindResolver.h"
#include "Services/PackageNames.h"
#include "Support/BackgroundTask.h"
#include "Support/DirectoryStream.h"
#include "PathKit/HiddenFileList.h"
#include "Support/PropertyListReader.h"

#include <QSet>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

struct RawName {
    qsizetype offset;
    int length;
    unsigned char type;
};


std::optional<QDateTime> dateFrom(const statx_timestamp& ts)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(ts.tv_sec) * 1000 + ts.tv_nsec / 1'000'000, Qt::UTC);
}

// Builds the entries of names[begin, end) into entries[begin, end).
class EntryBuilder {
public:
    EntryBuilder(int dirFd, const QString& folder, const QByteArray& arena, const QSet<QByteArray>& hidden)
        : dirFd_(dirFd), prefix_(folder == u"/" ? folder : folder + u'/'), folder_(folder), arena_(arena),
          hidden_(hidden)
    {
    }

    void build(const std::vector<RawName>& names, std::vector<FileEntry>& entries, std::size_t begin,
               std::size_t end, const std::stop_token& stop)
    {
        for (std::size_t i = begin; i < end; ++i) {
            if ((i & 1023) == 0 && stop.stop_requested()) return;
            entries[i] = make(names[i]);
        }
    }

private:
    FileEntry make(const RawName& raw)
    {
        const char* nameBytes = arena_.constData() + raw.offset;
        FileEntry entry;
        entry.name = FilePaths::fromNative(nameBytes, raw.length);
        entry.id = prefix_ + entry.name;
        entry.url = entry.id;

        struct statx stx {};
        const unsigned mask = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_MTIME | STATX_ATIME | STATX_BTIME;
        const bool haveValues = ::statx(dirFd_, nameBytes, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, mask, &stx) == 0;
        // An item whose attributes can't be read stays, with what we know: its name.
        entry.isHidden = entry.name.startsWith(u'.') || hidden_.contains(QByteArray::fromRawData(nameBytes, raw.length));
        if (!haveValues) return entry;

        const mode_t mode = stx.stx_mode;
        entry.isDirectory = S_ISDIR(mode);
        entry.isSymbolicLink = S_ISLNK(mode);
        entry.isPackage = entry.isDirectory && isPackageName(entry.name);
        // Only files and links have a size; a device, pipe or socket reports
        // whatever its driver likes (usually 0), which is no size at all.
        if ((S_ISREG(mode) || S_ISLNK(mode)) && (stx.stx_mask & STATX_SIZE)) entry.byteSize = qint64(stx.stx_size);
        if (stx.stx_mask & STATX_MTIME) entry.modificationDate = dateFrom(stx.stx_mtime);
        if (stx.stx_mask & STATX_BTIME) entry.creationDate = dateFrom(stx.stx_btime);
        if (stx.stx_mask & STATX_ATIME) entry.contentAccessDate = dateFrom(stx.stx_atime);
        if (entry.isSymbolicLink) resolveLink(entry, nameBytes);
        const bool folderLike = entry.isDirectory || entry.resolvedIsDirectory;
        entry.localizedKind = folderLike ? FileKindResolver::folderKind() : kinds_.kindForFileName(entry.name);
        return entry;
    }

    void resolveLink(FileEntry& entry, const char* nameBytes)
    {
        char target[PATH_MAX];
        const ssize_t length = ::readlinkat(dirFd_, nameBytes, target, sizeof target);
        if (length <= 0 || length >= ssize_t(sizeof target)) return;
        const QString destination = FilePaths::fromNative(target, length);
        const QString resolved = FilePaths::standardized(
            destination.startsWith(u'/') ? destination : FilePaths::appending(folder_, destination));
        if (resolved == entry.url) return;
        entry.resolvedURL = resolved;
        struct statx stx {};
        if (::statx(AT_FDCWD, FilePaths::toNative(resolved).constData(), AT_NO_AUTOMOUNT, STATX_TYPE, &stx) == 0) {
            entry.resolvedIsDirectory = S_ISDIR(stx.stx_mode);
            entry.resolvedIsPackage = entry.resolvedIsDirectory && isPackageName(FilePaths::lastComponent(resolved));
        }
    }

    int dirFd_;
    QString prefix_;
    QString folder_;
    const QByteArray& arena_;
    const QSet<QByteArray>& hidden_;
    FileKindResolver kinds_;
};

} // namespace

struct DirectoryListingService::BundleVersions {
    QHash<QString, QString> versionCache;
    QSet<QString> missingVersionPaths;

    std::optional<QString> version(const FileEntry& entry);
};

namespace {

DirectoryListingProviding::Result listFolder(DirectoryListingService::BundleVersions& versions, const QString& url,
                                             bool includingHiddenFiles, const std::stop_token& stop)
{
    const QString folder = FilePaths::standardized(url);
    const QByteArray nativeFolder = FilePaths::toNative(folder);

    struct stat st {};
    if (::stat(nativeFolder.constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return std::unexpected(DirectoryListingError {DirectoryListingError::NotDirectory {folder}});
    FileDescriptor dir(::open(nativeFolder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() < 0) return std::unexpected(DirectoryListingError::fromErrno(errno, folder));

    const QSet<QByteArray> hiddenNames = HiddenFileList::read(dir.get());
    QByteArray arena;
    std::vector<RawName> names;
    DirectoryStream stream(dir.get());
    const int readError = stream.forEach([&](const DirectoryStream::Name& d) {
        if (!includingHiddenFiles
            && (d.name[0] == '.' || hiddenNames.contains(QByteArray::fromRawData(d.name, d.length))))
            return true;
        names.push_back({arena.size(), d.length, d.type});
        arena.append(d.name, d.length + 1);
        return !stop.stop_requested();
    });
    if (readError) return std::unexpected(DirectoryListingError::fromErrno(readError, folder));
    if (stop.stop_requested()) return {};

    std::vector<FileEntry> entries(names.size());
    if (names.size() >= std::size_t(DirectoryListingService::kParallelThreshold)) {
        const std::size_t half = names.size() / 2;
        std::jthread helper([&] {
            EntryBuilder(dir.get(), folder, arena, hiddenNames).build(names, entries, half, names.size(), stop);
        });
        EntryBuilder(dir.get(), folder, arena, hiddenNames).build(names, entries, 0, half, stop);
    } else {
        EntryBuilder(dir.get(), folder, arena, hiddenNames).build(names, entries, 0, names.size(), stop);
    }
    if (stop.stop_requested()) return {};

    // Only three bundle extensions carry a version; the cheap test keeps the
    // cache look-ups off the other 99.9% of items.
    for (FileEntry& entry : entries)
        if (entry.name.endsWith(u".app") || entry.name.endsWith(u".framework") || entry.name.endsWith(u".plugin"))
            entry.version = versions.version(entry);
    return entries;
}

} // namespace

DirectoryListingService::DirectoryListingService() : versions_(std::make_shared<BundleVersions>()) { }

DirectoryListingService::~DirectoryListingService() = default;

void DirectoryListingService::list(const QString& url, bool includingHiddenFiles, const TaskHandle& task,
                                   QObject* context, Completion completion)
{
    BackgroundTask::run(
        &executor_, context,
        [versions = versions_, url, includingHiddenFiles](std::stop_token stop) {
            return listFolder(*versions, url, includingHiddenFiles, stop);
        },
        std::move(completion), task);
}

void DirectoryListingService::probe(const QString& url, bool includingHiddenFiles, const TaskHandle& task,
                                    QObject* context, std::function<void(bool)> completion)
{
    BackgroundTask::run(
        TaskExecutor::folderProbes().get(), context,
        [url, includingHiddenFiles](std::stop_token) { return InlineFolderProbe::hasVisibleChildren(url, includingHiddenFiles); },
        std::move(completion), task);
}

DirectoryListingProviding::Result DirectoryListingService::listNow(const QString& url, bool includingHiddenFiles,
                                                                   std::stop_token stop)
{
    return listFolder(*versions_, url, includingHiddenFiles, stop);
}

std::optional<QString> DirectoryListingService::BundleVersions::version(const FileEntry& entry)
{
    const QString& path = entry.id;
    if (auto it = versionCache.constFind(path); it != versionCache.constEnd()) return *it;
    if (missingVersionPaths.contains(path)) return std::nullopt;
    const QString extension = FilePaths::extension(path);
    if (extension != u"app" && extension != u"framework" && extension != u"plugin") return std::nullopt;

    const auto info = PropertyListReader::readDictionary(path + QStringLiteral("/Contents/Info.plist"));
    std::optional<QString> found;
    if (info) {
        for (const char* key : {"CFBundleShortVersionString", "CFBundleVersion"}) {
            auto it = info->constFind(QLatin1String(key));
            if (it != info->constEnd() && it->typeId() == QMetaType::QString) {
                found = it->toString();
                break;
            }
        }
    }
    if (!found) {
        missingVersionPaths.insert(path);
        return std::nullopt;
    }
    versionCache.insert(path, *found);
    return found;
}
