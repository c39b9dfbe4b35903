#pragma once

#include <QString>

// The user's home folder and the desktop's named folders in it (the XDG user
// folders: Desktop, Documents, Downloads, Music, Pictures, Videos), as
// standardised paths. A folder the desktop has switched off (set to the home
// folder itself) is empty here.
struct UserFolders {
    QString home;
    QString downloads;
    QString documents;
    QString desktop;
    QString pictures;
    QString videos;
    QString music;

    bool operator==(const UserFolders&) const = default;

    // The running user's folders, as the desktop names them. Reads no folder.
    static UserFolders current();
    // The folders under `home` by their usual English names: for tests and for
    // desktops that configure nothing.
    static UserFolders standardUnder(const QString& home);
};
