#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QStringView>

// Paths are absolute QStrings in standard form everywhere in Velmo. File names on
// Linux are bytes; they become QStrings losslessly: valid UTF-8 decodes as usual
// and every byte that is not part of valid UTF-8 becomes the lone surrogate
// U+DC80..U+DCFF, which encodes back to the same byte. Never use QFile's name
// codec for paths that came from here: it would replace such bytes.
class FilePaths {
public:
    // Lexical standard form: absolute (relative paths are taken from the working
    // folder), "//" collapsed, "." dropped, ".." resolved, no trailing "/" except
    // for the root. Symbolic links are never resolved.
    static QString standardized(QStringView path);
    static bool isStandardized(QStringView path);

    // The last component; "/" for the root, empty for an empty path.
    static QString lastComponent(QStringView path);
    // The parent folder; the root is its own parent.
    static QString parent(QStringView path);
    static QString appending(const QString& folder, QStringView name);
    // Components after the root: "/a/b" gives ["a", "b"], "/" gives [].
    static QStringList components(QStringView path);
    // True if `ancestor` is `path` or one of the folders above it.
    static bool isAncestorOrSelf(QStringView ancestor, QStringView path);
    // True if `path` lies strictly below `ancestor`.
    static bool isDescendant(QStringView path, QStringView ancestor);
    // The extension after the last "." of the last component (none for ".profile").
    static QString extension(QStringView path);

    static QString fromNative(const char* bytes, qsizetype length);
    static QString fromNative(const QByteArray& bytes) { return fromNative(bytes.constData(), bytes.size()); }
    static QByteArray toNative(QStringView path);
    // The name as a person should read it: escaped bytes and control characters
    // (a newline in a name) shown as U+FFFD, so a row stays one line.
    static QString displayName(QStringView name);
};
