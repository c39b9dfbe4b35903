#pragma once

#include <QString>
#include <QStringList>

// The clipboard as file actions use it: a list of files, and the marker that says
// they were cut. Main thread only.
class FilePasteboardProviding {
public:
    virtual ~FilePasteboardProviding() = default;

    // Empties the clipboard; answers the change count after that.
    virtual qint64 clearContents() = 0;
    virtual bool setString(const QString& text, const QString& type) = 0;
    // Puts the paths on the clipboard as files other applications can paste.
    virtual bool writeFileURLs(const QStringList& paths) = 0;
    // The local files on the clipboard, in order; empty when it holds none.
    virtual QStringList readFileURLs() const = 0;
    // Marks the files just written as cut, in every form desktops read.
    virtual bool setCutOperationMarker() = 0;
    // Whether the files on the clipboard were cut, here or in another program.
    virtual bool hasCutOperationMarker() const = 0;
    // Rises with every change of the clipboard, by anyone.
    virtual qint64 changeCount() const = 0;
};
