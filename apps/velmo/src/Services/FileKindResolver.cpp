#include "Services/FileKindResolver.h"

#include "PathKit/FilePaths.h"

#include <QMimeDatabase>

QString FileKindResolver::kindForFileName(const QString& name)
{
    // "archive.tar.gz" and "x.tar.gz" share ".tar.gz"; names without a dot after
    // their first character ("Makefile", ".bashrc") are their own key.
    const qsizetype dot = name.indexOf(u'.', 1);
    const QString key = dot > 0 ? name.mid(dot) : name;
    auto it = cache_.constFind(key);
    if (it != cache_.constEnd()) return *it;
    static const QMimeDatabase database;
    const QString kind = database.mimeTypeForFile(FilePaths::displayName(name), QMimeDatabase::MatchExtension).comment();
    cache_.insert(key, kind);
    return kind;
}
