#pragma once

#include <MediaCompression/CompressionSettings.h>
#include <MediaCompression/ImageProcessorError.h>
#include <MediaCompression/OutputFormat.h>

#include <QByteArray>
#include <QSet>
#include <QString>

#include <expected>
#include <vector>

// What info() finds out about an image file without decoding its pixels.
struct ImageInfo {
    qint64 sizeBytes = 0;
    int width = 0; // stored pixels, before any orientation tag; 0 where unreadable
    int height = 0;
    QString formatName; // "JPEG", "PNG", "WEBP", "AVIF", "GIF", ...; "IMG" when unknown

    bool operator==(const ImageInfo&) const = default;
};

// One re-encoded image, in memory; nothing is written to disk here.
struct CompressedImage {
    QByteArray data;
    int width = 0; // of the encoded image
    int height = 0;
    OutputFormat outputFormat = OutputFormat::original; // the resolved format
    QString outputFileExtension; // "jpg", "png", "webp", "avif", or the kept format's own
};

// Reads an image file, optionally scales it down, and re-encodes it in one format.
//
// A value type holding only the set of formats this build can write, read at construction.
// Const and safe to use from several worker threads at once. Reading, decoding and encoding
// are blocking work: never call it on the GUI thread. A source that is not a regular file (a
// FIFO, a device) is refused without being opened.
//
// Types are Qt's image format names in lower case ("jpeg", "png", "webp", "tiff", ...),
// plus "avif", which libavif reads and writes.
class ImageProcessor {
public:
    ImageProcessor();
    // With a given set of writable types, as a build with fewer encoders would have.
    explicit ImageProcessor(QSet<QByteArray> destinationTypes);

    // original, jpeg and png always; then webp and avif where this build can write them.
    std::vector<OutputFormat> supportedOutputFormats() const;

    std::expected<ImageInfo, ImageProcessorError> info(const QString& path) const;

    // Below 100 %, the longer side becomes longer × scalePercent / 100 (truncated, at least
    // 1) and the orientation tag is applied; at 100 % the stored pixels are encoded as they
    // are. Lossy outputs below quality 11 are pixelated at the original size, since encoders
    // barely change below 10.
    std::expected<CompressedImage, ImageProcessorError> compressImage(const QString& path,
                                                                      const CompressionSettings& settings) const;

    // The output format a type stands for, if it is one of the four named ones.
    static std::optional<OutputFormat> detectedOutputFormat(const QByteArray& type);
    // JPEG, WebP and AVIF are lossy; quality only applies to them.
    static bool isLossy(const QByteArray& type);

    const QSet<QByteArray>& destinationTypes() const { return destinationTypes_; }

private:
    struct ResolvedOutput {
        OutputFormat format;
        QByteArray type;
        bool lossy;
    };
    std::expected<ResolvedOutput, ImageProcessorError> resolveOutput(const CompressionSettings& settings,
                                                                     const QByteArray& sourceType) const;
    std::expected<ResolvedOutput, ImageProcessorError> explicitOutput(OutputFormat format) const;

    QSet<QByteArray> destinationTypes_;
};
