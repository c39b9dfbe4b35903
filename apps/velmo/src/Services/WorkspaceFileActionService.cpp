#include "Services/WorkspaceFileActionService.h"

#include "PathKit/FileDescriptor.h"
#include "PathKit/FilePaths.h"
#include "Services/SystemFileOpeningService.h"
#include "Support/FileURIList.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::unexpected<FileActionError> failure(int code, const QString& path)
{
    return std::unexpected(FileActionError{code, path});
}

// The bytes a system call gets; a path holding NUL has none (the call would
// silently act on a shorter path).
std::expected<QByteArray, FileActionError> nativePath(const QString& path)
{
    QByteArray bytes = FilePaths::toNative(path);
    if (bytes.contains('\0')) return failure(EINVAL, path);
    return bytes;
}

bool isSameItem(const QByteArray& first, const QByteArray& second)
{
    struct stat a {};
    struct stat b {};
    return ::lstat(first.constData(), &a) == 0 && ::lstat(second.constData(), &b) == 0 && a.st_dev == b.st_dev
        && a.st_ino == b.st_ino;
}

// A change of case where the file system ignores case: the new name finds the
// item itself, and a direct rename would do nothing. Through a hidden name in
// between; put back when the second step fails.
std::expected<void, int> renameThroughHiddenName(const QByteArray& from, const QByteArray& to)
{
    const QByteArray folder = FilePaths::toNative(FilePaths::parent(FilePaths::fromNative(from)));
    for (int attempt = 0;; ++attempt) {
        const QByteArray hidden =
            folder + "/.velmo-rename-" + QByteArray::number(QRandomGenerator::global()->generate64(), 36);
        const auto away = FreedesktopTrash::renameWithoutReplacing(from, hidden);
        if (!away && away.error() == EEXIST && attempt < 100) continue;
        if (!away) return away;
        const auto renamed = FreedesktopTrash::renameWithoutReplacing(hidden, to);
        if (!renamed) (void)FreedesktopTrash::renameWithoutReplacing(hidden, from);
        return renamed;
    }
}

// x-terminal-emulator (the Debian choice), $TERMINAL, xterm: program and arguments.
QList<QStringList> terminalCommands()
{
    QList<QStringList> commands{{QStringLiteral("x-terminal-emulator")}};
    const QString chosen = qEnvironmentVariable("TERMINAL").trimmed();
    if (!chosen.isEmpty()) commands.append(QProcess::splitCommand(chosen));
    commands.append({QStringLiteral("xterm")});
    return commands;
}

} // namespace

WorkspaceFileActionService::WorkspaceFileActionService(std::shared_ptr<FilePasteboardProviding> pasteboard,
                                                       FreedesktopTrash trash)
    : pasteboard_(std::move(pasteboard)), trash_(std::move(trash))
{
}

void WorkspaceFileActionService::reveal(const QString& url)
{
    const QString path = FilePaths::standardized(url);
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    // The URI is ASCII and names the bytes exactly.
    call << QStringList{QString::fromLatin1(FileURIList::uri(path))} << QString();
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [path](QDBusPendingCallWatcher* finished) {
        if (finished->isError()) SystemFileOpeningService().openWithDefaultApplication(FilePaths::parent(path));
        finished->deleteLater();
    });
}

std::expected<void, FileActionError> WorkspaceFileActionService::copyItemsToPasteboard(const QStringList& urls)
{
    return writeToPasteboard(urls, false);
}

std::expected<void, FileActionError> WorkspaceFileActionService::cutItemsToPasteboard(const QStringList& urls)
{
    return writeToPasteboard(urls, true);
}

std::expected<void, FileActionError> WorkspaceFileActionService::writeToPasteboard(const QStringList& urls, bool cut)
{
    if (urls.isEmpty()) return {};
    QStringList paths;
    for (const QString& url : urls) paths.append(FilePaths::standardized(url));
    pasteboard_->clearContents();
    if (!pasteboard_->writeFileURLs(paths) || (cut && !pasteboard_->setCutOperationMarker()))
        return failure(EIO, QString());
    return {};
}

void WorkspaceFileActionService::openInTerminal(const QString& url)
{
    const QString folder = terminalTargetURL(url);
    const QByteArray native = FilePaths::toNative(folder);
    // The working folder reaches the child through UTF-8; a folder whose name is
    // not UTF-8 is named instead by a descriptor the child holds until it starts
    // the terminal (closed then, at exec).
    const bool plain = QFile::encodeName(folder) == native && !native.contains('\0');
    const FileDescriptor descriptor(plain ? -1 : ::open(native.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!plain && descriptor.get() < 0) return;
    const QString workingFolder = plain ? folder : QStringLiteral("/proc/self/fd/") + QString::number(descriptor.get());
    for (QStringList command : terminalCommands()) {
        if (command.isEmpty()) continue;
        const QString program = command.takeFirst();
        if (QProcess::startDetached(program, command, workingFolder)) return;
    }
}

QString WorkspaceFileActionService::terminalTargetURL(const QString& url) const
{
    const QString path = FilePaths::standardized(url);
    struct stat status {};
    const bool isFolder = ::stat(FilePaths::toNative(path).constData(), &status) == 0 && S_ISDIR(status.st_mode);
    return isFolder ? path : FilePaths::parent(path);
}

std::expected<std::vector<TrashedItem>, FileActionError> WorkspaceFileActionService::moveToTrash(
    const QStringList& urls)
{
    std::vector<TrashedItem> trashed;
    for (const QString& url : urls) {
        auto item = trash_.trash(url);
        if (!item) return std::unexpected(item.error());
        trashed.push_back(std::move(*item));
    }
    return trashed;
}

std::expected<QStringList, FileActionError> WorkspaceFileActionService::restoreTrashedItems(
    const std::vector<TrashedItem>& items)
{
    QStringList restored;
    for (const TrashedItem& item : items) {
        auto path = trash_.restore(item);
        if (!path) return std::unexpected(path.error());
        restored.append(*path);
    }
    return restored;
}

std::expected<void, FileActionError> WorkspaceFileActionService::createDirectory(const QString& url)
{
    const QString path = FilePaths::standardized(url);
    const auto native = nativePath(path);
    if (!native) return std::unexpected(native.error());
    if (::mkdir(native->constData(), 0777) != 0) return failure(errno, path);
    return {};
}

std::expected<void, FileActionError> WorkspaceFileActionService::createFile(const QString& url)
{
    const QString path = FilePaths::standardized(url);
    const auto native = nativePath(path);
    if (!native) return std::unexpected(native.error());
    const int fd = ::open(native->constData(), O_CREAT | O_EXCL | O_WRONLY | O_NOCTTY | O_CLOEXEC, 0666);
    if (fd < 0) return failure(errno, path);
    if (::close(fd) != 0) return failure(errno, path);
    return {};
}

std::optional<FilePasteIntent> WorkspaceFileActionService::pasteIntent()
{
    QStringList urls;
    for (const QString& path : pasteboard_->readFileURLs()) urls.append(FilePaths::standardized(path));
    if (urls.isEmpty()) return std::nullopt;
    return FilePasteIntent{urls, pasteboard_->hasCutOperationMarker(), pasteboard_->changeCount()};
}

std::expected<QString, FileActionError> WorkspaceFileActionService::rename(const QString& url, const QString& name)
{
    const QString path = FilePaths::standardized(url);
    // The name stays a name: nothing may lead the item out of its folder.
    if (name.isEmpty() || name == u"." || name == u".." || name.contains(u'/') || name.contains(QChar(0)))
        return failure(EINVAL, path);
    const QString renamed = FilePaths::standardized(FilePaths::appending(FilePaths::parent(path), name));
    if (renamed == path) return path;
    const auto from = nativePath(path);
    if (!from) return std::unexpected(from.error());
    const QByteArray to = FilePaths::toNative(renamed);

    auto moved = FreedesktopTrash::renameWithoutReplacing(*from, to);
    if (!moved && moved.error() == EEXIST && path.toLower() == renamed.toLower() && isSameItem(*from, to))
        moved = renameThroughHiddenName(*from, to);
    if (!moved) return failure(moved.error(), moved.error() == EEXIST ? renamed : path);
    return renamed;
}
