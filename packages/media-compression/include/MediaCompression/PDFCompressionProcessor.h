#pragma once

#include "MediaCompression/PDFCompressionCommandRunner.h"
#include "MediaCompression/PDFCompressionError.h"
#include "MediaCompression/PDFCompressionSettings.h"

#include <QString>
#include <QStringList>

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

struct PDFInfo {
    qint64 sizeBytes = 0;
    int pageCount = 0;
    bool operator==(const PDFInfo&) const = default;
};

struct CompressedPDF {
    QString filePath;  // in the output folder, "<uuid>-compressed.pdf"; the caller owns it
    qint64 sizeBytes = 0;
    int pageCount = 0;
    PDFCompressionProfile profile = PDFCompressionProfile::recommended;
    QString usedStrategy;  // e.g. "Ghostscript ebook", or "Original kept"
    bool keptOriginal = false;
    QString outputFileExtension = QStringLiteral("pdf");
};

// The external compressors, found once at start; an absent one is simply not used.
struct PDFCompressionToolPaths {
    std::optional<QString> mutool;
    std::optional<QString> ghostscript;

    // Looks for "mutool" and "gs" in the PATH text's folders, then /usr/local/bin,
    // /usr/bin and /bin; the first executable regular file wins.
    static PDFCompressionToolPaths discover(const QString& environmentPath);
    static std::optional<QString> findExecutable(const QString& name, const QString& environmentPath);
};

// What a PDF compression queue needs; injected so that a queue can run without tools.
class PDFCompressionProcessing {
public:
    virtual ~PDFCompressionProcessing() = default;
    virtual std::vector<PDFCompressionProfile> supportedProfiles() const = 0;
    virtual std::expected<PDFInfo, PDFCompressionError> info(const QString& path) const = 0;
    virtual std::expected<CompressedPDF, PDFCompressionError>
    compressPDF(const QString& sourcePath, const PDFCompressionSettings& settings, const QString& outputDirectory,
                std::stop_token stop = {}, std::function<void(double)> progress = {}) const = 0;
};

// Shrinks one PDF by trying several compressors one after another and keeping the
// smallest result that opens with the source's page count. The source is only read.
// Synchronous: call it from a worker thread; several calls may run at once.
class PDFCompressionProcessor final : public PDFCompressionProcessing {
public:
    static inline const QString kLosslessRewriteName = QStringLiteral("Lossless rewrite");
    static inline const QString kOriginalKeptName = QStringLiteral("Original kept");

    PDFCompressionProcessor(PDFCompressionToolPaths toolPaths, std::shared_ptr<PDFCompressionCommandRunning> runner);

    const PDFCompressionToolPaths& toolPaths() const { return toolPaths_; }

    // recommended always; highQuality with mutool or gs; extreme and scans with gs.
    std::vector<PDFCompressionProfile> supportedProfiles() const override;

    // failedToReadPDF for anything that is not a regular, readable PDF.
    std::expected<PDFInfo, PDFCompressionError> info(const QString& path) const override;

    // Writes the result into `outputDirectory` (created if need be) and returns it; every
    // intermediate file is removed on every path. `progress` gets 0..1 on this thread.
    // Errors: failedToReadPDF, failedToCreateOutput, missingTool (a profile whose tool is
    // absent), noSuccessfulCandidates, cancelled.
    std::expected<CompressedPDF, PDFCompressionError>
    compressPDF(const QString& sourcePath, const PDFCompressionSettings& settings, const QString& outputDirectory,
                std::stop_token stop = {}, std::function<void(double)> progress = {}) const override;

    // The compressors `compressPDF` would try, in order, e.g. "MuPDF medium", "Ghostscript ebook".
    std::expected<QStringList, PDFCompressionError> candidateStrategyNames(const PDFCompressionSettings& settings) const;

private:
    PDFCompressionToolPaths toolPaths_;
    std::shared_ptr<PDFCompressionCommandRunning> runner_;
};
