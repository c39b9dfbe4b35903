#pragma once

#include "State/CompressionQueue.h"

#include <MediaCompression/PDFCompressionProcessor.h>

#include <QStringList>

using PDFCompressionTaskStatus = CompressionTaskStatus;
using PDFCompressionImportIssue = CompressionIssue;
using PDFCompressionExportIssue = CompressionIssue;

struct PDFCompressionTask : CompressionTask<PDFCompressionSettings> {
    int pageCount = 0;
    std::optional<QString> compressionStrategy;
    bool keptOriginal = false;
};

// PDFs in a compression queue: the processor writes each result straight into the
// cache folder, and the run that is no longer the newest removes its file.
struct PDFCompressionKind {
    using Settings = PDFCompressionSettings;
    using Task = PDFCompressionTask;
    using Info = PDFInfo;
    using Produced = CompressedPDF;
    using Processing = PDFCompressionProcessing;

    static constexpr CompressionQueueTexts texts {"PDF", "Adding PDFs...", "No new PDFs added.",
                                                 "No compressed PDFs to save.", "PDFs: ", "PDF Compression"};

    static std::expected<Info, QString> read(const Processing& processor, const QString& path);
    static void makeTask(const Info& info, Task& task);
    static std::expected<Produced, QString> produce(const Processing& processor, const QString& path,
                                                    const Settings& settings, const QString& cacheFolder,
                                                    std::stop_token stop);
    static std::expected<QString, QString> commit(Produced& pdf, const QString&) { return pdf.filePath; }
    static void discard(Produced& pdf);
    static void apply(const Produced& pdf, Task& task);
    // A live preview's result is not the final one: saving runs again.
    static QString signature(const Settings& settings, bool livePreview)
    {
        return livePreview ? QStringLiteral("live-preview|") + settings.signature() : settings.signature();
    }
    static QString exportExtension(const Task&) { return QStringLiteral("pdf"); }
    static QString suffix(const Settings& settings) { return settings.fileSuffix; }
};

// The names of the strength slider's ranges: "Light", "Balanced", "Strong", "Maximum".
const QStringList& pdfCompressionStrengthLabels();

// One PDF compression tab.
class PDFCompressionSession : public CompressionQueue<PDFCompressionKind> {
public:
    PDFCompressionSession(const QStringList& urls, std::optional<QUuid> originBrowserTabID,
                          PDFCompressionSettings settings, Dependencies dependencies = {}, QObject* parent = nullptr);

    const std::vector<PDFCompressionProfile>& availableProfiles() const { return availableProfiles_; }
    void addPDFURLs(const QStringList& urls) { addURLs(urls); }

    // "12 pages - 2.1 MB"; "Not compressed" or "812 KB saved 61.3%" (a kept original:
    // its own size, "saved 0.0%").
    static QString metadataSummaryText(const PDFCompressionTask& task);
    static QString compressedSizeSummaryText(const PDFCompressionTask& task);

private:
    std::vector<PDFCompressionProfile> availableProfiles_;
};
