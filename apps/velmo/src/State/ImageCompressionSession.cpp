#include "State/ImageCompressionSession.h"

#include "Support/ByteCountFormatter.h"

std::expected<ImageInfo, QString> ImageCompressionKind::read(const ImageProcessor& processor, const QString& path)
{
    auto info = processor.info(path);
    if (!info) return std::unexpected(message(info.error()));
    return *info;
}

void ImageCompressionKind::makeTask(const ImageInfo& info, ImageCompressionTask& task)
{
    task.originalSize = info.sizeBytes;
    task.originalWidth = info.width;
    task.originalHeight = info.height;
    task.originalFormatName = info.formatName;
}

std::expected<CompressedImage, QString> ImageCompressionKind::produce(const ImageProcessor& processor, const QString& path,
                                                                      const CompressionSettings& settings, const QString&,
                                                                      std::stop_token)
{
    auto image = processor.compressImage(path, settings);
    if (!image) return std::unexpected(message(image.error()));
    return std::move(*image);
}

std::expected<QString, QString> ImageCompressionKind::commit(CompressedImage& image, const QString& cacheFolder)
{
    auto written = CompressionOutputs::writeResult(cacheFolder, image.data, image.outputFileExtension);
    if (!written) return std::unexpected(written.error().message);
    return *written;
}

void ImageCompressionKind::apply(const CompressedImage& image, ImageCompressionTask& task)
{
    task.compressedSize = image.data.size();
    task.compressedWidth = image.width;
    task.compressedHeight = image.height;
    task.outputFormat = image.outputFormat;
    task.outputFileExtension = image.outputFileExtension;
}

QString ImageCompressionKind::exportExtension(const ImageCompressionTask& task)
{
    if (task.outputFileExtension && !task.outputFileExtension->isEmpty()) return *task.outputFileExtension;
    if (task.settings.format == OutputFormat::original) return FilePaths::extension(task.sourceURL);
    return fileExtension(task.settings.format);
}

ImageCompressionSession::ImageCompressionSession(const QStringList& urls, std::optional<QUuid> originBrowserTabID,
                                                 CompressionSettings settings, Dependencies dependencies, QObject* parent)
    : CompressionQueue(urls, originBrowserTabID, std::move(settings),
                       [&] {
                           if (!dependencies.processor) dependencies.processor = std::make_shared<const ImageProcessor>();
                           return std::move(dependencies);
                       }(),
                       parent)
    , availableFormats_(processor().supportedOutputFormats())
{
}

QString ImageCompressionSession::metadataSummaryText(const ImageCompressionTask& task)
{
    const QString size = task.originalSize == 0 ? QStringLiteral("0 KB") : ByteCountFormatter::string(task.originalSize);
    return task.originalFormatName + QStringLiteral(" - ") + size;
}

QString ImageCompressionSession::dimensionsSummaryText(const ImageCompressionTask& task)
{
    QString text = QStringLiteral("%1x%2").arg(task.originalWidth).arg(task.originalHeight);
    const int scale = task.settings.scalePercent;
    if (scale < 100 && task.originalWidth > 0 && task.originalHeight > 0) {
        const int longer = std::max(task.originalWidth, task.originalHeight);
        const int target = std::max(1, longer * scale / 100);
        const double factor = double(target) / longer;
        text += QStringLiteral(" → %1x%2")
                    .arg(std::max(1, int(task.originalWidth * factor)))
                    .arg(std::max(1, int(task.originalHeight * factor)));
    }
    return text;
}

QString ImageCompressionSession::compressedSizeSummaryText(const ImageCompressionTask& task)
{
    if (!task.compressedFileURL || !task.compressedSize) return QStringLiteral("Not compressed");
    const double saved
        = task.originalSize > 0 ? double(task.originalSize - *task.compressedSize) / double(task.originalSize) * 100 : 0;
    return ByteCountFormatter::string(*task.compressedSize) + QStringLiteral(" saved ")
           + QString::asprintf("%.1f", saved) + u'%';
}
