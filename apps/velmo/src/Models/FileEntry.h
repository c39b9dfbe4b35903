#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// One file-system item as a listing saw it. `id` is the standardised path and the
// key of every selection, cache and per-row map; `url` is the same path (the two
// strings share their data). Links are never followed for the item itself.
struct FileEntry {
    QString id;
    QString url;
    QString name;
    bool isDirectory = false;
    bool isSymbolicLink = false;
    bool isAlias = false;
    bool isPackage = false;
    bool isHidden = false;
    std::optional<qint64> byteSize;
    std::optional<QDateTime> modificationDate;
    std::optional<QDateTime> creationDate;
    std::optional<QDateTime> contentAccessDate;
    std::optional<QDateTime> addedDate;
    std::optional<QString> localizedKind;
    std::optional<QString> version;
    std::optional<QString> resolvedURL;
    bool resolvedIsDirectory = false;
    bool resolvedIsPackage = false;

    bool operator==(const FileEntry&) const = default;

    // The folder that receives a drop on this entry; a package never does.
    std::optional<QString> dropDestinationDirectoryURL() const;
    // The folder that opening or entering this entry leads to, if any.
    std::optional<QString> folderTarget() const;
    // The folder a size map of this entry scans: a folder that is not a package, or
    // the folder a link leads to. Files and packages have none.
    std::optional<QString> sizeMapURL() const;
    bool canOpenSizeMap() const { return sizeMapURL().has_value(); }
    // The file an image compression tab takes: a file (or a link to one) whose type,
    // by name, is an image, or with one of the image extensions the encoders read.
    std::optional<QString> imageCompressionURL() const;
    // The file a PDF compression tab takes: "pdf" extension or PDF type, by name.
    std::optional<QString> pdfCompressionURL() const;
    static bool isCompressibleImageURL(const QString& url);
    static bool isCompressiblePDFURL(const QString& url);
    // A file the video preview plays: a video type or extension, by name.
    std::optional<QString> previewableVideoURL() const;
    static bool isPreviewableVideoURL(const QString& url);
};
