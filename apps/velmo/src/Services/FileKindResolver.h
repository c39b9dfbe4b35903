#pragma once

#include <QHash>
#include <QString>

// The type description of a file from its name alone (no content sniffing while
// listing). Answers are cached by the name's suffix, so a large folder asks the
// MIME database once per kind of name. Not thread-safe: one per thread.
class FileKindResolver {
public:
    QString kindForFileName(const QString& name);
    static QString folderKind() { return QStringLiteral("Folder"); }

private:
    QHash<QString, QString> cache_;
};
