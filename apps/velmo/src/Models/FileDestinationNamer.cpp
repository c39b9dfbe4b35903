#include "Models/FileDestinationNamer.h"

#include "PathKit/FilePaths.h"

#include <QTextBoundaryFinder>

#include <sys/stat.h>

namespace {

// What Linux file systems allow for one name, in bytes.
constexpr qsizetype kMaximumNameBytes = 255;

qsizetype nativeLength(const QString& text)
{
    return FilePaths::toNative(text).size();
}

// The longest start of `text` that ends between two whole characters (so an
// accent stays with its letter) and takes at most `bytes` bytes.
QString shortened(const QString& text, qsizetype bytes)
{
    QTextBoundaryFinder boundaries(QTextBoundaryFinder::Grapheme, text);
    boundaries.toEnd();
    for (qsizetype end = boundaries.position(); end > 0; end = boundaries.toPreviousBoundary())
        if (nativeLength(text.left(end)) <= bytes) return text.left(end);
    return {};
}

} // namespace

QString FileDestinationNamer::numberedName(const QString& proposedName, qint64 number)
{
    // Plain concatenation: a name may hold "%1", which QString::arg would expand.
    const QString extension = FilePaths::extension(proposedName);
    const QString suffix = u' ' + QString::number(number);
    QString stem = extension.isEmpty() ? proposedName : proposedName.left(proposedName.size() - extension.size() - 1);
    QString tail = extension.isEmpty() ? suffix : suffix + u'.' + extension;
    // A long name loses the end of its stem, never the number or the extension,
    // so that the numbered name can exist at all. An extension too long to keep
    // is numbered like the rest of the name.
    if (nativeLength(tail) >= kMaximumNameBytes) {
        stem = proposedName;
        tail = suffix;
    }
    const qsizetype room = kMaximumNameBytes - nativeLength(tail);
    if (nativeLength(stem) > room) stem = shortened(stem, room);
    return stem + tail;
}

QString FileDestinationNamer::numberedDestinationURL(const QString& directory, const QString& proposedName)
{
    for (qint64 number = 2;; ++number) {
        const QString candidate = FilePaths::appending(directory, numberedName(proposedName, number));
        struct stat status {};
        if (::stat(FilePaths::toNative(candidate).constData(), &status) != 0) return candidate;
    }
}
