#pragma once

#include <QHash>
#include <QString>

#include <optional>

// One item a search found. `id` and `url` are the standard path; paths and names hold
// bytes that aren't UTF-8 as FilePaths escapes them.
struct FileSearchResult {
    QString id;
    QString url;
    QString name;
    QString parentPath;
    bool isDirectory = false; // false when unknown
    std::optional<QString> localizedKind;

    bool operator==(const FileSearchResult&) const = default;

    static FileSearchResult make(const QString& standardPath, bool isDirectory, std::optional<QString> kind);
};

inline size_t qHash(const FileSearchResult& result, size_t seed = 0)
{
    return qHash(result.id, seed);
}
