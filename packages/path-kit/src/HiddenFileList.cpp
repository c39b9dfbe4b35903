#include "PathKit/HiddenFileList.h"

#include "PathKit/RegularFile.h"

QSet<QByteArray> HiddenFileList::read(int dirFd)
{
    // A real list is a few names; past a megabyte a file is not one. A link
    // named ".hidden" is not a list either.
    QSet<QByteArray> names;
    const auto bytes = RegularFile::read(dirFd, ".hidden", 1024 * 1024, RegularFile::Links::refuse);
    if (!bytes) return names;
    for (const QByteArray& line : bytes->split('\n'))
        if (!line.isEmpty()) names.insert(line);
    return names;
}
