#include "Support/PortablePathResolver.h"

#include "Models/NameCollator.h"
#include "PathKit/FilePaths.h"

#include <QDir>

#include <algorithm>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kMyDrive = QStringLiteral("My Drive");
const QString kGoogleDrive = QStringLiteral("Google Drive");
const QString kProviderPrefix = QStringLiteral("GoogleDrive-");

bool exists(const QString& path)
{
    struct stat st {};
    return ::stat(FilePaths::toNative(path).constData(), &st) == 0;
}

bool isExistingFolder(const QString& path)
{
    struct stat st {};
    return ::stat(FilePaths::toNative(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The entries of `folder`; a folder that can't be read lists nothing.
QStringList entries(const QString& folder)
{
    QStringList names;
    DIR* dir = ::opendir(FilePaths::toNative(folder).constData());
    if (!dir) return names;
    while (const dirent* entry = ::readdir(dir)) {
        const QString name = FilePaths::fromNative(entry->d_name, qsizetype(std::strlen(entry->d_name)));
        if (name != u"." && name != u"..") names.append(name);
    }
    ::closedir(dir);
    return names;
}

QString appendingComponents(QString root, const QStringList& components)
{
    for (const QString& component : components) root = FilePaths::appending(root, component);
    return FilePaths::standardized(root);
}

} // namespace

PortablePathResolver::PortablePathResolver(QString homeFolder)
    : home_(FilePaths::standardized(homeFolder.isEmpty() ? QDir::homePath() : homeFolder))
{
}

QString PortablePathResolver::restoredURL(const QString& storedPath, bool /*isDirectory*/) const
{
    const QString original = FilePaths::standardized(storedPath);
    // Paths outside the drive never reach the disk.
    const auto subpath = googleMyDriveSubpath(original);
    if (!subpath) return original;

    QStringList candidates;
    for (const QString& root : googleDriveMyDriveRoots(googleDriveProviderName(original)))
        candidates.append(appendingComponents(root, *subpath));
    for (const QString& candidate : candidates)
        if (exists(candidate)) return directoryURLResolvingLinkIfNeeded(candidate);
    if (candidates.isEmpty() || exists(original)) return directoryURLResolvingLinkIfNeeded(original);
    // Missing everywhere: show it as a missing folder of the drive installed now.
    return candidates.front();
}

std::optional<QStringList> PortablePathResolver::googleMyDriveSubpath(const QString& path) const
{
    // Components after the root: "/Users/a/My Drive" is ["Users", "a", "My Drive"].
    const QStringList components = FilePaths::components(path);
    const QStringList home = FilePaths::components(home_);
    if (auto rest = suffix(components, home + QStringList {kMyDrive})) return rest;
    if (auto rest = suffix(components, home + QStringList {kGoogleDrive, kMyDrive})) return rest;
    // Another user's home on a shared disk: /Users/<anyone>/My Drive/...
    if (components.size() >= 3 && components[0] == u"Users")
        if (auto index = myDriveIndex(components, 2)) return components.mid(*index + 1);
    // .../Library/CloudStorage/GoogleDrive-<account>/My Drive/...: only the
    // first provider folder counts; a mismatch there gives no answer.
    for (qsizetype i = 0; i < components.size(); ++i) {
        if (!components[i].startsWith(kProviderPrefix)) continue;
        if (i < 2 || components[i - 2] != u"Library" || components[i - 1] != u"CloudStorage") return std::nullopt;
        if (i + 1 >= components.size() || components[i + 1] != kMyDrive) return std::nullopt;
        return components.mid(i + 2);
    }
    return std::nullopt;
}

std::optional<QString> PortablePathResolver::googleDriveProviderName(const QString& path)
{
    for (const QString& component : FilePaths::components(path))
        if (component.startsWith(kProviderPrefix)) return component;
    return std::nullopt;
}

QStringList PortablePathResolver::googleDriveMyDriveRoots(const std::optional<QString>& preferredProviderName) const
{
    const QString cloudStorage = FilePaths::appending(FilePaths::appending(home_, QStringLiteral("Library")),
                                                      QStringLiteral("CloudStorage"));
    QStringList providers;
    for (const QString& name : entries(cloudStorage))
        if (name.startsWith(kProviderPrefix)) providers.append(name);
    const NameCollator& collator = NameCollator::forThisThread();
    std::sort(providers.begin(), providers.end(), [&](const QString& a, const QString& b) {
        if (preferredProviderName) {
            if (a == *preferredProviderName && b != *preferredProviderName) return true;
            if (b == *preferredProviderName && a != *preferredProviderName) return false;
        }
        return collator.compare(a, b) < 0;
    });

    QStringList roots;
    auto add = [&roots](const QString& root) {
        if (!roots.contains(root)) roots.append(root);
    };
    for (const QString& provider : providers) {
        const QString myDrive = FilePaths::appending(FilePaths::appending(cloudStorage, provider), kMyDrive);
        if (!isExistingFolder(myDrive)) continue;
        const auto target = linkTarget(myDrive);
        add(target && isExistingFolder(*target) ? *target : myDrive);
    }
    for (const QString& legacy : {FilePaths::appending(FilePaths::appending(home_, kGoogleDrive), kMyDrive),
                                  FilePaths::appending(home_, kMyDrive)}) {
        const QString root = directoryURLResolvingLinkIfNeeded(legacy);
        if (isExistingFolder(root)) add(root);
    }
    return roots;
}

QString PortablePathResolver::directoryURLResolvingLinkIfNeeded(const QString& path)
{
    const QString standard = FilePaths::standardized(path);
    if (auto target = linkTarget(standard); target && isExistingFolder(*target)) return *target;
    return standard;
}

std::optional<QString> PortablePathResolver::linkTarget(const QString& path)
{
    // Symbolic links are the only links on Linux.
    const QByteArray native = FilePaths::toNative(path);
    struct stat st {};
    if (::lstat(native.constData(), &st) != 0 || !S_ISLNK(st.st_mode)) return std::nullopt;
    QByteArray buffer(PATH_MAX, Qt::Uninitialized);
    const ssize_t length = ::readlink(native.constData(), buffer.data(), std::size_t(buffer.size()));
    if (length <= 0 || length >= buffer.size()) return std::nullopt;
    const QString destination = FilePaths::fromNative(buffer.constData(), qsizetype(length));
    if (destination.startsWith(u'/')) return FilePaths::standardized(destination);
    return FilePaths::standardized(FilePaths::appending(FilePaths::parent(path), destination));
}

std::optional<QStringList> PortablePathResolver::suffix(const QStringList& components, const QStringList& prefix)
{
    if (components.size() < prefix.size()) return std::nullopt;
    for (qsizetype i = 0; i < prefix.size(); ++i)
        if (components[i] != prefix[i]) return std::nullopt;
    return components.mid(prefix.size());
}

std::optional<qsizetype> PortablePathResolver::myDriveIndex(const QStringList& components, qsizetype index)
{
    if (index < 0 || index >= components.size()) return std::nullopt;
    if (components[index] == kMyDrive) return index;
    if (components[index] == kGoogleDrive && index + 1 < components.size() && components[index + 1] == kMyDrive)
        return index + 1;
    return std::nullopt;
}
