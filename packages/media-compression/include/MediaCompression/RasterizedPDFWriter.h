#pragma once

#include "MediaCompression/PDFCompressionError.h"

#include <QByteArray>
#include <QString>

#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

class QImage;
class QPdfDocument;

// The last resort of PDF compression: every page drawn to a bitmap, JPEG-encoded, and
// wrapped in a minimal PDF 1.4 file assembled byte by byte. Text stops being text.
// Everything here is stateless and safe to call from several worker threads at once.

enum class RasterizedPDFColorMode { rgb, grayscale };

struct RasterizedPDFPage {
    double widthPoints = 0;
    double heightPoints = 0;
    int pixelWidth = 0;
    int pixelHeight = 0;
    RasterizedPDFColorMode colorMode = RasterizedPDFColorMode::rgb;
    QByteArray jpegData;

    bool operator==(const RasterizedPDFPage&) const = default;
};

namespace PDFImageDocumentWriter {

// The whole file in one buffer: catalog (1), pages (2), then per page i its page (3i),
// content (3i + 1) and image (3i + 2), an exact cross-reference table and trailer.
// An empty page list is `failedToCreateOutput`.
std::expected<QByteArray, PDFCompressionError> documentBytes(const std::vector<RasterizedPDFPage>& pages);

// Writes `documentBytes` atomically: the path holds either the old file or the whole new one.
std::expected<void, PDFCompressionError> write(const std::vector<RasterizedPDFPage>& pages, const QString& path);

} // namespace PDFImageDocumentWriter

namespace RasterizedPDFWriter {

inline constexpr const char* kStrategyName = "Rasterized JPEG pages";

// JPEG bytes of `image` at `quality` (1 to 100); nothing when it cannot be encoded.
// A grayscale image gives a one-component JPEG.
std::optional<QByteArray> jpegData(const QImage& image, int quality);

// Draws page `pageIndex` on white at `dpi` (pixel size = points × dpi / 72, truncated, at
// least 1) and encodes it. A page without a usable size is `failedToCreateOutput`.
std::expected<RasterizedPDFPage, PDFCompressionError> render(QPdfDocument& document, int pageIndex, int dpi,
                                                             int jpegQuality, RasterizedPDFColorMode colorMode);

// The strategy: renders every page of `inputPath` (DPI clamped to 36..300, quality to
// 1..100) and writes the image document to `outputPath`. A stop request between pages
// ends it with `cancelled` and no output file. `progress` gets 0..1 per page done.
std::expected<void, PDFCompressionError> rasterize(const QString& inputPath, const QString& outputPath,
                                                   int jpegQuality, int scanDPI, RasterizedPDFColorMode colorMode,
                                                   std::stop_token stop = {},
                                                   const std::function<void(double)>& progress = {});

} // namespace RasterizedPDFWriter
