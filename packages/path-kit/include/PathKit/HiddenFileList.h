#pragma once

#include <QByteArray>
#include <QSet>

// The names a folder's ".hidden" file hides, one a line, as desktops read it.
class HiddenFileList {
public:
    // Read relative to the open folder `dirFd`; empty if there is no such file.
    // Only a regular file is read: a pipe, socket or device named ".hidden" (or a
    // link to one) is never opened for reading, so it cannot block the caller.
    static QSet<QByteArray> read(int dirFd);
};
