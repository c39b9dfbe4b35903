#pragma once

#include "Models/FileActionModels.h"

#include <QByteArray>
#include <QString>

#include <expected>

#include <sys/types.h>

// The desktop trash as the freedesktop.org Trash specification lays it out, so
// that every file manager sees and restores what Velmo trashed. Items are only
// ever renamed, never copied or deleted: an item that cannot reach a trash on
// its own volume stays where it is and the call fails. Plain system calls on
// the native bytes of each path; stateless beyond its settings, so any thread
// may call it, and several at once.
class FreedesktopTrash {
public:
    // The home trash: $XDG_DATA_HOME/Trash, by default ~/.local/share/Trash.
    static QString defaultHomeTrash();

    explicit FreedesktopTrash(QString homeTrash = defaultHomeTrash());

    // Moves the item into the trash of its volume: the home trash when it lies on
    // the same device, else the volume's "$top/.Trash/$uid" (a shared sticky
    // folder that is no link) or "$top/.Trash-$uid". Folders are made private
    // (0700) where missing. Answers where the item came from and where it is.
    std::expected<TrashedItem, FileActionError> trash(const QString& path) const;

    // Moves a trashed item back to its old place, or to "name 2.ext" beside it
    // when that is taken, and removes the trash's record of it. A vanished
    // parent folder is an error and the item stays in the trash. Answers the
    // restored path.
    std::expected<QString, FileActionError> restore(const TrashedItem& item) const;

    const QString& homeTrash() const { return homeTrash_; }

    // rename(2) that never replaces what is at `to` (EEXIST then). Where the file
    // system has no exclusive rename, a hard link and an unlink do it for a
    // file; otherwise a look first, so that at most an empty folder made in
    // that instant could be replaced.
    static std::expected<void, int> renameWithoutReplacing(const QByteArray& from, const QByteArray& to);

private:
    struct Location {
        QByteArray folder; // holds files/ and info/
        QByteArray original; // the item's path as its record keeps it
    };
    std::expected<Location, FileActionError> locationFor(const QByteArray& item, dev_t device) const;

    QString homeTrash_;
};
