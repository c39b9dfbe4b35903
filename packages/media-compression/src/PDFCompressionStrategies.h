#pragma once

#include "MediaCompression/PDFCompressionProcessor.h"

#include <functional>

// One way to compress: writes the compressed form of the source to the given path.
struct PDFCompressionStrategy {
    using Compress = std::function<std::expected<void, PDFCompressionError>(
        const QString& outputPath, std::stop_token stop, const std::function<void(double)>& progress)>;
    QString name;
    Compress compress;
};

namespace PDFCompressionStrategies {

// The compressors for `settings`, in the order they are tried.
std::expected<std::vector<PDFCompressionStrategy>, PDFCompressionError>
candidates(const QString& sourcePath, const PDFCompressionSettings& settings, const PDFCompressionToolPaths& tools,
           const std::shared_ptr<PDFCompressionCommandRunning>& runner);

QStringList mutoolArguments(const QString& mutool, const QString& variant, const QString& input, const QString& output);
QStringList ghostscriptArguments(const QString& gs, const QString& preset, bool scanMode, const PDFCompressionSettings& settings,
                                 const QString& input, const QString& output);

// A lossless rewrite through libqpdf: object streams, every stream compressed at the
// strongest Flate level, unused objects dropped.
std::expected<void, PDFCompressionError> rewriteLosslessly(const QString& input, const QString& output);

} // namespace PDFCompressionStrategies
