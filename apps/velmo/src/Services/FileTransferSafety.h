#pragma once

#include <QString>
#include <QStringList>

#include <optional>

struct FileTransferPartition {
    QStringList transferable;
    QStringList skipped;

    bool operator==(const FileTransferPartition&) const = default;
};

// Decides which sources may go into a destination folder at all: never a folder
// into itself or into one of its own subfolders. Reads the disk (links in paths,
// file system types), so it runs on a background task.
class FileTransferSafety {
public:
    // Sources in order; a refused one goes to `skipped` without a word.
    static FileTransferPartition partitionTransferableSources(const QStringList& sources, const QString& destination,
                                                              bool caseSensitivePaths);

    // Whether the file system at `url` (or at its nearest existing ancestor) tells
    // names apart by case; absent when that cannot be read. Callers take absent as
    // false.
    static std::optional<bool> volumeSupportsCaseSensitiveNames(const QString& url);

    // FAT, exFAT and case-folded folders fold case; every other Linux file system
    // keeps names apart.
    static bool fileSystemTypeSupportsCaseSensitiveNames(long fileSystemType, bool isCaseFoldedFolder);

    // Links in the path resolved, standard form, split; lower-cased when case does
    // not count.
    static QStringList normalizedPathComponents(const QString& url, bool caseSensitivePaths);

    static bool isSameOrDescendant(const QString& sourceURL, const QString& targetURL, bool caseSensitivePaths);

private:
    static bool isPrefix(const QStringList& source, const QStringList& target);
};
