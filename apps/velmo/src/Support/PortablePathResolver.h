#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// Turns a stored path into the path to use on this machine now. Paths inside a
// synced Google Drive folder move with the account and with how the drive is
// installed (~/My Drive, ~/Google Drive/My Drive,
// ~/Library/CloudStorage/GoogleDrive-<account>/My Drive); such a path is looked
// up under the roots present now. Every other path comes back as it was,
// without touching the disk, since this runs for every stored path at start.
//
// Never fails: a file-system error counts as "not there" and the answer falls
// back to the stored path.
class PortablePathResolver {
public:
    // `homeFolder` empty: the running user's home folder.
    explicit PortablePathResolver(QString homeFolder = {});

    // `isDirectory` is kept for callers that know it; a path carries no folder
    // mark here, so both answers are the same.
    QString restoredURL(const QString& storedPath, bool isDirectory = true) const;

    const QString& homeFolder() const { return home_; }

private:
    std::optional<QStringList> googleMyDriveSubpath(const QString& path) const;
    static std::optional<QString> googleDriveProviderName(const QString& path);
    QStringList googleDriveMyDriveRoots(const std::optional<QString>& preferredProviderName) const;
    static QString directoryURLResolvingLinkIfNeeded(const QString& path);
    static std::optional<QString> linkTarget(const QString& path);
    static std::optional<QStringList> suffix(const QStringList& components, const QStringList& prefix);
    static std::optional<qsizetype> myDriveIndex(const QStringList& components, qsizetype index);

    QString home_;
};
