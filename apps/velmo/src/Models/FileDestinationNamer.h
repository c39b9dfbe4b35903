#pragma once

#include <QString>

// The one rule by which Velmo names something that must not overwrite what is
// there: "report.pdf" becomes "report 2.pdf", "archive.tar.gz" "archive.tar 2.gz",
// "Folder" "Folder 2", ".profile" ".profile 2". No padding, and 1 is never written.
class FileDestinationNamer {
public:
    // `proposedName` with `number` inserted before its last extension.
    static QString numberedName(const QString& proposedName, qint64 number);

    // The first "name n.ext" in `directory`, n from 2, at which nothing exists
    // (links followed). The caller already knows the plain name is taken.
    // Reads the disk, so never call it on the main thread.
    static QString numberedDestinationURL(const QString& directory, const QString& proposedName);
};
