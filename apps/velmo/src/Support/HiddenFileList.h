#pragma once

#include <QByteArray>
#include <QSet>

// The names a folder's ".hidden" file hides, one a line, as desktops read it.
class HiddenFileList {
public:
    // Read relative to the open folder `dirFd`; empty if there is no such file.
    static QSet<QByteArray> read(int dirFd);
};
