#include "State/PDFCompressionSession.h"

#include "Support/ByteCountFormatter.h"


std::expected<PDFInfo, QString> PDFCompressionKind::read(const PDFCompressionProcessing& processor, const QString& path)
{
    auto info = processor.info(path);
    if (!info) return std::unexpected(info.error().errorDescription());
    return *info;
}

void PDFCompressionKind::makeTask(const PDFInfo& info, PDFCompressionTask& task)
{
    task.originalSize = info.sizeBytes;
    task.pageCount = info.pageCount;
}

std::expected<CompressedPDF, QString> PDFCompressionKind::produce(const PDFCompressionProcessing& processor,
                                                                  const QString& path, const PDFCompressionSettings& settings,
                                                                  const QString& cacheFolder, std::stop_token stop)
{
    auto pdf = processor.compressPDF(path, settings, cacheFolder, stop);
    if (!pdf) return std::unexpected(pdf.error().isCancellation() ? QString() : pdf.error().errorDescription());
    return std::move(*pdf);
}

void PDFCompressionKind::discard(CompressedPDF& pdf)
{
    CompressionOutputs::removeResult(pdf.filePath);
}

void PDFCompressionKind::apply(const CompressedPDF& pdf, PDFCompressionTask& task)
{
    task.compressedSize = pdf.sizeBytes;
    task.outputFileExtension = pdf.outputFileExtension;
    task.compressionStrategy = pdf.usedStrategy;
    task.keptOriginal = pdf.keptOriginal;
}

const QStringList& pdfCompressionStrengthLabels()
{
    static const QStringList labels {QStringLiteral("Light"), QStringLiteral("Balanced"), QStringLiteral("Strong"),
                                     QStringLiteral("Maximum")};
    return labels;
}

PDFCompressionSession::PDFCompressionSession(const QStringList& urls, std::optional<QUuid> originBrowserTabID,
                                             PDFCompressionSettings settings, Dependencies dependencies, QObject* parent)
    : CompressionQueue(urls, originBrowserTabID, std::move(settings),
                       [&] {
                           if (!dependencies.processor)
                               dependencies.processor = std::make_shared<const PDFCompressionProcessor>(
                                   PDFCompressionToolPaths::discover(QString::fromLocal8Bit(qgetenv("PATH"))),
                                   std::make_shared<SystemPDFCompressionCommandRunner>(300));
                           return std::move(dependencies);
                       }(),
                       parent)
    , availableProfiles_(processor().supportedProfiles())
{
}

QString PDFCompressionSession::metadataSummaryText(const PDFCompressionTask& task)
{
    const QString size = task.originalSize == 0 ? QStringLiteral("0 KB") : ByteCountFormatter::string(task.originalSize);
    return QStringLiteral("%1 page%2 - ").arg(task.pageCount).arg(task.pageCount == 1 ? "" : "s") + size;
}

QString PDFCompressionSession::compressedSizeSummaryText(const PDFCompressionTask& task)
{
    if (!task.compressedFileURL || !task.compressedSize) return QStringLiteral("Not compressed");
    const qint64 size = task.keptOriginal ? task.originalSize : *task.compressedSize;
    const double saved = task.originalSize > 0 && !task.keptOriginal
                             ? double(task.originalSize - size) / double(task.originalSize) * 100
                             : 0;
    return ByteCountFormatter::string(size) + QStringLiteral(" saved ") + QString::asprintf("%.1f", saved) + u'%';
}
