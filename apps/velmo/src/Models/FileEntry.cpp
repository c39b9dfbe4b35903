#include "Models/FileEntry.h"

#include <QMimeDatabase>

namespace {

QString extensionOf(const QString& url)
{
    const qsizetype slash = url.lastIndexOf(u'/');
    const qsizetype dot = url.lastIndexOf(u'.');
    return dot > slash + 1 ? url.mid(dot + 1).toLower() : QString();
}

// By name only: a selection is never read to decide what a menu offers.
QMimeType typeByName(const QString& url)
{
    static const QMimeDatabase database;
    return database.mimeTypeForFile(url, QMimeDatabase::MatchExtension);
}

} // namespace

std::optional<QString> FileEntry::dropDestinationDirectoryURL() const
{
    if (resolvedURL && (isAlias || isSymbolicLink) && resolvedIsDirectory && !resolvedIsPackage) return resolvedURL;
    if (isDirectory && !isPackage) return url;
    return std::nullopt;
}

std::optional<QString> FileEntry::folderTarget() const
{
    if (isDirectory && !isPackage) return url;
    if (resolvedURL && resolvedIsDirectory && !resolvedIsPackage) return resolvedURL;
    return std::nullopt;
}

std::optional<QString> FileEntry::sizeMapURL() const
{
    if (isDirectory && !isPackage) return url;
    if (resolvedURL && (isAlias || isSymbolicLink) && resolvedIsDirectory && !resolvedIsPackage) return resolvedURL;
    return std::nullopt;
}

bool FileEntry::isCompressibleImageURL(const QString& url)
{
    static const QStringList extensions {"jpg", "jpeg", "jpe", "png", "gif", "tif", "tiff", "bmp",
                                         "webp", "avif", "heic", "heif"};
    if (extensions.contains(extensionOf(url))) return true;
    return typeByName(url).name().startsWith(u"image/");
}

bool FileEntry::isCompressiblePDFURL(const QString& url)
{
    return extensionOf(url) == u"pdf" || typeByName(url).inherits(QStringLiteral("application/pdf"));
}

bool FileEntry::isPreviewableVideoURL(const QString& url)
{
    static const QStringList extensions {"mp4", "m4v", "mov", "webm", "mkv", "avi", "ogv", "mpg", "mpeg"};
    if (extensions.contains(extensionOf(url))) return true;
    return typeByName(url).name().startsWith(u"video/");
}

std::optional<QString> FileEntry::previewableVideoURL() const
{
    if (isDirectory || (resolvedURL && resolvedIsDirectory)) return std::nullopt;
    return isPreviewableVideoURL(url) ? std::optional(url) : std::nullopt;
}

std::optional<QString> FileEntry::imageCompressionURL() const
{
    if (isDirectory || (resolvedURL && resolvedIsDirectory)) return std::nullopt;
    return isCompressibleImageURL(url) ? std::optional(url) : std::nullopt;
}

std::optional<QString> FileEntry::pdfCompressionURL() const
{
    if (isDirectory || (resolvedURL && resolvedIsDirectory)) return std::nullopt;
    return isCompressiblePDFURL(url) ? std::optional(url) : std::nullopt;
}
