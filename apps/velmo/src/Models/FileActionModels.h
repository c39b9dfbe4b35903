#pragma once

#include <QString>
#include <QStringList>

#include <vector>

// Value records of the short file actions: trash, paste, create, rename.

// Where a trashed item came from and where it lies in the trash now.
struct TrashedItem {
    QString originalURL;
    QString trashedURL;

    bool operator==(const TrashedItem&) const = default;
};

// What a paste would bring: the files on the clipboard, whether they were cut, and
// the clipboard's change count when they were read, so that emptying it after a
// pasted cut leaves alone anything written since.
struct FilePasteIntent {
    QStringList urls;
    bool isCut = false;
    qint64 changeCount = 0;

    bool operator==(const FilePasteIntent&) const = default;
};

// A short file action that failed: the errno and the path it was about.
struct FileActionError {
    int code = 0;
    QString path;

    bool operator==(const FileActionError&) const = default;

    // The sentence a toast shows after "Could not ...: ".
    QString localizedDescription() const;
};
