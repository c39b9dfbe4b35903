#include "Models/FileDestinationNamer.h"

#include "PathKit/FilePaths.h"

#include <sys/stat.h>

QString FileDestinationNamer::numberedName(const QString& proposedName, qint64 number)
{
    // Plain concatenation: a name may hold "%1", which QString::arg would expand.
    const QString extension = FilePaths::extension(proposedName);
    const QString suffix = u' ' + QString::number(number);
    if (extension.isEmpty()) return proposedName + suffix;
    return proposedName.left(proposedName.size() - extension.size() - 1) + suffix + u'.' + extension;
}

QString FileDestinationNamer::numberedDestinationURL(const QString& directory, const QString& proposedName)
{
    for (qint64 number = 2;; ++number) {
        const QString candidate = FilePaths::appending(directory, numberedName(proposedName, number));
        struct stat status {};
        if (::stat(FilePaths::toNative(candidate).constData(), &status) != 0) return candidate;
    }
}
