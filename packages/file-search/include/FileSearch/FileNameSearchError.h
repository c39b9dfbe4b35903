#pragma once

#include <QString>

// Why a search ended without finishing. Only `unreadableFolder` ever reaches a caller: a
// failing index only means the walk does all the work.
struct FileNameSearchError {
    enum class Kind { unreadableFolder, indexedSearchFailed };
    Kind kind = Kind::unreadableFolder;
    QString url;

    bool operator==(const FileNameSearchError&) const = default;

    static FileNameSearchError unreadableFolder(const QString& url) { return {Kind::unreadableFolder, url}; }
    static FileNameSearchError indexedSearchFailed(const QString& url) { return {Kind::indexedSearchFailed, url}; }

    // "Cannot search /a." or "Cannot search the file index for /a."
    QString errorDescription() const;
};
