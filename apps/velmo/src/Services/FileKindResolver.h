#pragma once

#include <QHash>
#include <QString>

// The type description of a file from its name alone (no content sniffing while
// listing), exactly as the MIME database answers for that name.
//
// A large folder must not ask the database once per name, so answers are cached
// by the name's suffix (".tar.gz" of "x.tar.gz") where only the suffix can
// decide: the MIME globs of the form "*.…" look at nothing before the suffix's
// dot, and match no name without a dot. Names that another glob could match
// ("CMakeLists.txt", "README.md", "Makefile", "file.txt~") are asked about
// whole. Which globs those are is read from the database once. Not
// thread-safe: one resolver per thread.
class FileKindResolver {
public:
    QString kindForFileName(const QString& name);
    static QString folderKind() { return QStringLiteral("Folder"); }

private:
    QString cached(const QString& key, const QString& name);

    QHash<QString, QString> cache_;
};
