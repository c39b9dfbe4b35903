#include "Support/UserFolders.h"

#include "PathKit/FilePaths.h"

#include <QDir>
#include <QStandardPaths>

namespace {

QString location(QStandardPaths::StandardLocation kind, const QString& home)
{
    const QString path = QStandardPaths::writableLocation(kind);
    if (path.isEmpty()) return {};
    const QString standard = FilePaths::standardized(path);
    // The desktop's way of switching a named folder off is to point it home.
    return standard == home ? QString() : standard;
}

} // namespace

UserFolders UserFolders::current()
{
    UserFolders folders;
    folders.home = FilePaths::standardized(QDir::homePath());
    folders.downloads = location(QStandardPaths::DownloadLocation, folders.home);
    folders.documents = location(QStandardPaths::DocumentsLocation, folders.home);
    folders.desktop = location(QStandardPaths::DesktopLocation, folders.home);
    folders.pictures = location(QStandardPaths::PicturesLocation, folders.home);
    folders.videos = location(QStandardPaths::MoviesLocation, folders.home);
    folders.music = location(QStandardPaths::MusicLocation, folders.home);
    return folders;
}

UserFolders UserFolders::standardUnder(const QString& home)
{
    const QString root = FilePaths::standardized(home);
    auto under = [&root](const char* name) { return FilePaths::appending(root, QString::fromLatin1(name)); };
    return {root, under("Downloads"), under("Documents"), under("Desktop"), under("Pictures"), under("Videos"), under("Music")};
}
